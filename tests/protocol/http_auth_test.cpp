#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/hmac.h>
#include <ombrel/http_auth.h>

#include "protocol/http/auth_digest.h"
#include "protocol/http/auth_nonce.h"
#include "support/own_stack.h"

namespace {

using namespace ombrel::protocol;
using ombrel_test::stays_on_stack;

constexpr uint32_t basic = def_ombrel_http_auth_basic, md5 = def_ombrel_http_auth_md5,
                   md5_session = def_ombrel_http_auth_md5_session, sha256 = def_ombrel_http_auth_sha256,
                   sha256_session = def_ombrel_http_auth_sha256_session;

struct account {
    const char *name, *password;
};
constexpr account accounts[] = {{"ann", "pass word"}, {"Jäsøn \"D\\e", "Secret, or not?"}};

/// A server with the accounts and a strong one, "bob".
struct auth_server {
    explicit auth_server(uint32_t schemes, int userhash = 0, int lifetime_ms = 300'000, uint32_t nonces = 8,
                         const char* realm = nullptr) {
        std::string text;
        char secret[def_ombrel_secret_text_size];
        const ombrel_secret_options_t strong = {def_ombrel_secret_strong, nullptr, 1},
                                      plain = {def_ombrel_secret_digest, realm, 0};
        for (const account& each : accounts) {
            ombrel_make_secret(secret, sizeof secret, each.name, each.password, &plain);
            text += std::string(each.name) + ":" + secret + "\n";
        }
        ombrel_make_secret(secret, sizeof secret, "bob", "strong", &strong);
        text += std::string("bob:") + secret;
        list = ombrel_open_secret_text(text.data(), text.size(), nullptr, nullptr);
        ombrel_http_auth_server_options_t options;
        ombrel_init_http_auth_server_options(&options);
        options.m_schemes = schemes;
        options.m_userhash = userhash;
        options.m_lifetime_ms = lifetime_ms;
        options.m_nonce_limit = nonces;
        options.m_realm = realm;
        options.m_secrets = list;
        server = ombrel_open_http_auth_server(&options);
    }
    ~auth_server() {
        ombrel_close_http_auth_server(server);
        ombrel_close_secret_list(list);
    }

    std::vector<std::string> challenges() {
        std::vector<std::string> found;
        char text[def_ombrel_http_auth_challenge_size];
        for (int i = 0; ombrel_http_auth_server_challenge(server, i, &result, text, sizeof text) > 0; i++)
            found.emplace_back(text);
        return found;
    }
    /// The outcome of a request.
    int check(const std::string& value, const char* method = "GET", const char* target = "/x?y=1") {
        const int passed = ombrel_http_auth_server_check(server, value.c_str(), method, target, &result);
        EXPECT_EQ(result.m_outcome == def_ombrel_http_auth_granted, passed == 1);
        return result.m_outcome;
    }

    ombrel_secret_list_t* list;
    ombrel_http_auth_server_t* server;
    ombrel_http_auth_result_t result{};
};

struct auth_client {
    auth_client(const char* name, const char* password, uint32_t schemes = def_ombrel_http_auth_any,
                int at_once = 0) {
        const ombrel_http_auth_client_options_t options = {schemes, at_once};
        client = ombrel_open_http_auth_client(name, password, &options);
    }
    ~auth_client() { ombrel_close_http_auth_client(client); }

    int take(const std::vector<std::string>& challenges) {
        std::vector<const char*> values;
        for (const std::string& each : challenges)
            values.push_back(each.c_str());
        return ombrel_http_auth_client_take(client, values.data(), values.size());
    }
    std::string answer(const char* method = "GET", const char* target = "/x?y=1") {
        char text[def_ombrel_http_auth_value_size];
        const int size = ombrel_http_auth_client_answer(client, method, target, text, sizeof text);
        return size < 0 ? "?" : std::string(text, static_cast<size_t>(size));
    }
    uint32_t scheme() const { return ombrel_http_auth_client_get_scheme(client); }

    ombrel_http_auth_client_t* client;
};

/// The value with a part replaced.
std::string with(std::string value, const std::string& part, const std::string& other) {
    const size_t at = value.find(part);
    EXPECT_NE(std::string::npos, at) << part << " in " << value;
    return at != std::string::npos ? value.replace(at, part.size(), other) : value;
}

// RFC 7616, RFC 2617, and without qop one of hashlib's.
TEST(HttpAuth, ProvesAsTheStandardsShow) {
    const struct {
        const char *algorithm, *realm, *password;
        digest_proof proof;
        const char* expected;
    } cases[] = {
        {"MD5",
         "http-auth@example.org",
         "Circle of Life",
         {"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ",
          "00000001", true, "GET", "/dir/index.html"},
         "8ca523f5e9506fed4657c9700eebdbec"},
        {"SHA-256",
         "http-auth@example.org",
         "Circle of Life",
         {"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ",
          "00000001", true, "GET", "/dir/index.html"},
         "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1"},
        {"",
         "testrealm@host.com",
         "Circle Of Life",
         {"dcd98b7102dd2f0e8b11d0f600bfb0c093", "0a4f113b", "00000001", true, "GET", "/dir/index.html"},
         "6629fae49393a05397450978507c4ef1"},
        {"MD5",
         "testrealm@host.com",
         "Circle Of Life",
         {"dcd98b7102dd2f0e8b11d0f600bfb0c093", "", "", false, "GET", "/dir/index.html"},
         "670fd8c2df070c60b045671b8b24ff02"},
        {"sha-256-SESS",
         "r",
         "p",
         {"n", "c", "00000002", true, "POST", "/"},
         "1ce0c4c42c8fe96085f9ae11bf30c4472d5a6a5a7e4da941972bd1d61443d1de"},
    };
    for (const auto& each : cases) {
        const digest_scheme& scheme = *find_digest_scheme(each.algorithm);
        const digest_text base = digest_of(scheme, {"Mufasa", each.realm, each.password});
        EXPECT_EQ(each.expected, prove(scheme, base.view(), each.proof).view());
    }
    EXPECT_EQ(nullptr, find_digest_scheme("SHA-512-256"));
}

TEST(HttpAuth, ClientsLogInByEachScheme) {
    for (const uint32_t scheme : {basic, md5, md5_session, sha256, sha256_session})
        for (const int userhash : {0, 1})
            for (const account& who : accounts) {
                auth_server server(scheme, userhash);
                auth_client client(who.name, who.password);
                EXPECT_EQ("", client.answer());
                ASSERT_EQ(1, client.take(server.challenges()));
                EXPECT_EQ(scheme, client.scheme());
                EXPECT_STREQ(def_ombrel_secret_realm, ombrel_http_auth_client_get_realm(client.client));
                for (const char* const method : {"GET", "POST", "GET"}) {
                    const std::string value = client.answer(method);
                    ASSERT_EQ(def_ombrel_http_auth_granted, server.check(value, method)) << value;
                    EXPECT_STREQ(who.name, server.result.m_name);
                    EXPECT_EQ(scheme, server.result.m_scheme);
                    EXPECT_EQ(scheme != basic,
                              ombrel_http_auth_client_check_info(client.client, server.result.m_info))
                        << server.result.m_info;
                    EXPECT_EQ(userhash == 1 && scheme != basic,
                              value.find("userhash=true") != std::string::npos);
                }
                auth_client wrong(who.name, "Pass word");
                ASSERT_EQ(1, wrong.take(server.challenges()));
                EXPECT_EQ(def_ombrel_http_auth_denied, server.check(wrong.answer()));
                EXPECT_EQ(0, wrong.take(server.challenges())) << "once is enough";
                EXPECT_EQ("", wrong.answer());
            }
}

TEST(HttpAuth, ChallengesComeWithTheBestFirst) {
    auth_server server(def_ombrel_http_auth_any);
    std::string all;
    for (const std::string& each : server.challenges())
        all += each.substr(0, each.find(' ')) +
               each.substr(std::min(each.find(", algorithm="), each.size()), 20) + "|";
    EXPECT_EQ("Digest, algorithm=SHA-256-|Digest, algorithm=SHA-256,|Digest, algorithm=MD5-sess|"
              "Digest, algorithm=MD5, qop|Basic|",
              all);
    const struct {
        uint32_t schemes;
        std::vector<std::string> challenges;
        uint32_t expected;
    } cases[] = {
        {31,
         {"Basic realm=\"a\", Digest realm=b, nonce=c, Digest realm=\"x,y\", nonce=\"z\", algorithm=SHA-256"},
         sha256},
        {31, {"Negotiate, Negotiate YWJj==, Basic realm=\"a\""}, basic},
        {31, {"NTLM", "digest Realm=\"b\" , Nonce = \"c\", qop=\"auth-int, auth\""}, md5},
        {31, {"Digest realm=b, nonce=c, qop=\"auth-int\"", "Basic realm=x"}, basic},
        {30, {"Basic realm=\"a\""}, 0},
        {31, {"Digest realm=b, nonce=c, algorithm=SHA-512-256"}, 0},
        {31, {"Digest realm=b"}, 0},
        {31, {"Digest realm=b, nonce=c, nonce=d"}, 0},
        {31, {"Digest realm=b, nonce=\"c"}, 0},
        {31,
         {"realm=b, nonce=c", "", ",,", "\"", "Digest",
          "Digest =", "Digest realm=\"" + std::string(2000, 'r') + "\", nonce=c"},
         0},
    };
    for (const auto& each : cases) {
        auth_client client("ann", "pass", each.schemes);
        EXPECT_EQ(each.expected != 0, client.take(each.challenges) == 1) << each.challenges[0];
        EXPECT_EQ(each.expected, client.scheme()) << each.challenges[0];
    }
}

TEST(HttpAuth, ClientsGiveUpInTime) {
    auth_client client("ann", "pass", basic | sha256 | md5, 1);
    EXPECT_EQ("Basic YW5uOnBhc3M=", client.answer());
    EXPECT_EQ(0, client.take({"Basic realm=\"x\""}));
    auth_client patient("ann", "pass");
    int taken = 0;
    for (int i = 0; i < 50; i++) {
        taken += patient.take({"Digest realm=\"" + std::to_string(i) + "\", nonce=a, stale=true"});
        patient.answer();
    }
    EXPECT_EQ(4, taken) << "a server that always asks for more";
    auth_client long_lived("ann", "pass");
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(1, long_lived.take({"Digest realm=a, nonce=" + std::to_string(i) +
                                      ", stale=" + (i > 0 ? "true" : "no")}));
        for (int request = 0; request < 3; request++)
            EXPECT_NE("", long_lived.answer());
    }
    auth_client no_basic("a:b", "pass");
    EXPECT_EQ(0, no_basic.take({"Basic realm=x"}));
}

TEST(HttpAuth, RefusesWhatIsNotRight) {
    auth_server server(basic | md5 | sha256);
    const auto fresh = [&] {
        auth_client client("ann", "pass word");
        EXPECT_EQ(1, client.take(server.challenges()));
        return client.answer();
    };
    const std::string good = fresh(), nc = "nc=00000001",
                      response = good.substr(good.find("response=\""), 75);
    constexpr int malformed = def_ombrel_http_auth_malformed, denied = def_ombrel_http_auth_denied,
                  missing = def_ombrel_http_auth_missing, misplaced = def_ombrel_http_auth_misplaced;

    const struct {
        std::string value;
        int expected;
    } cases[] = {
        {"", malformed},
        {"Bearer abc", missing},
        {"Digest", malformed},
        {"Digest ,", malformed},
        {"Basic", malformed},
        {"Basic YW5u", malformed},                 // no colon
        {"Basic YW5uOnBhc3Mgd29yZA=", malformed},  // padding
        {"Basic YW5uOnBhc3Mgd29yZB==", malformed}, // bits left over
        {"Basic YW5uOnBhc3NhA", malformed},        // six bits more than bytes
        {"Basic YW5uOnBhc3Mgd29yZA== x", malformed},
        {"Basic YW4AOnA=", malformed}, // NUL
        {"Basic " + std::string(4000, 'A'), malformed},
        {"Basic YW5uOnBhc3M=", denied},
        {"Basic Og==", denied},
        {"basic  YW5uOnBhc3Mgd29yZA==", def_ombrel_http_auth_granted},
        {"Basic Ym9iOnN0cm9uZw==", def_ombrel_http_auth_granted},
        {with(good, "ann", "bob"), denied}, // who is there, but not for Digest
        {with(good, "ann", "eve"), denied},
        {with(good, "ann", ""), denied},
        {with(good, "username", "Username*"), malformed},
        {with(good, "username=\"ann\"", "username*=UTF-8''%61nn"), def_ombrel_http_auth_granted},
        {with(fresh(), "username=\"ann\"", "username*=UTF-8''%61n%6"), malformed},
        {with(good, "username=\"ann\"", "username*=UTF-8''ann%00"), malformed},
        {with(good, "username=\"ann\"", "username*=latin1''ann"), malformed},
        {with(good, "username=\"ann\"", "username=ann, username*=UTF-8''ann"), malformed},
        {with(good, "username=\"ann\", ", ""), malformed},
        {with(good, "uri=\"/x?y=1\"", "uri=\"/x\""), misplaced},
        {with(good, "realm=\"ombrel\"", "realm=\"other\""), misplaced},
        {with(good, "opaque=\"", "opaque=\"0"), misplaced},
        {with(good, response, "response=\"\""), denied},
        {with(good, response, "response=\"" + std::string(64, '0') + "\""), denied},
        {with(good, nc, "nc=1"), malformed},
        {with(good, nc, "nc=00000000"), malformed},
        {with(good, nc, "nc=0000000g"), malformed},
        {with(good, nc, "nc=00000002"), denied},
        {with(good, nc, nc + ", " + nc), malformed},
        {with(good, "qop=auth", "qop=auth-int"), malformed},
        {with(good, "qop=auth, ", ""), denied},
        {with(good, ", cnonce", ", other"), malformed},
        {with(good, "algorithm=SHA-256", "algorithm=MD5"), denied},
        {with(good, "algorithm=SHA-256", "algorithm=SHA-256-sess"), missing},
        {with(good, "algorithm=SHA-256", "algorithm=none"), missing},
        {good + ", a=\"", malformed},
        {good + "\n", malformed},
        {good + ", a=\"" + std::string(9000, 'a') + "\"", malformed},
        {fresh() + ", a=b, c=\"d\\\"\"", def_ombrel_http_auth_granted},
    };
    for (const auto& each : cases)
        EXPECT_EQ(each.expected, server.check(each.value)) << each.value;
    EXPECT_EQ(denied, server.check(fresh(), "PUT"));
    EXPECT_EQ(0, ombrel_http_auth_server_check(server.server, nullptr, "GET", "/", nullptr));
}

TEST(HttpAuth, TakesTargetsOfProxies) {
    auth_server server(md5);
    const struct {
        const char *named, *target;
        int expected;
    } cases[] = {{"/a?b", "http://h:8/a?b", def_ombrel_http_auth_granted},
                 {"http://h/a", "http://h/a", def_ombrel_http_auth_granted},
                 {"h:443", "h:443", def_ombrel_http_auth_granted},
                 {"/a", "http://h/a?b", def_ombrel_http_auth_misplaced},
                 {"/a", "/x://h/a", def_ombrel_http_auth_misplaced},
                 {"", "http://h", def_ombrel_http_auth_misplaced},
                 {"*", "*", def_ombrel_http_auth_granted}};
    for (const auto& each : cases) {
        auth_client client("ann", "pass word");
        client.take(server.challenges());
        EXPECT_EQ(each.expected, server.check(client.answer("GET", each.named), "GET", each.target))
            << each.target;
    }
}

TEST(HttpAuth, NoRequestCountsTwice) {
    auth_server server(md5);
    auth_client client("ann", "pass word");
    ASSERT_EQ(1, client.take(server.challenges()));
    std::vector<std::string> values = {""};
    for (int i = 1; i <= 200; i++)
        values.push_back(client.answer());
    for (const int count : {1, -1, 5, 2, 4, -2, 100, 37, -36, -37, 101, 38, -37, 200, 199, -100}) {
        const int expected = count > 0 ? def_ombrel_http_auth_granted : def_ombrel_http_auth_replayed;
        EXPECT_EQ(expected, server.check(values[static_cast<size_t>(std::abs(count))])) << count;
    }
    const std::string stale = server.challenges()[0];
    EXPECT_NE(std::string::npos, stale.find("stale=true")) << "nobody is asked for the password";
    EXPECT_EQ(1, client.take({stale}));
    EXPECT_EQ(def_ombrel_http_auth_granted, server.check(client.answer()));
    // A client of old has no counts, and is let in once with each nonce.
    const std::string challenge = with(server.challenges()[0], ", qop=\"auth\"", "");
    auth_client aged("ann", "pass word");
    ASSERT_EQ(1, aged.take({challenge}));
    const std::string old = aged.answer();
    EXPECT_EQ(std::string::npos, old.find("nc="));
    EXPECT_EQ(def_ombrel_http_auth_granted, server.check(old));
    EXPECT_EQ(def_ombrel_http_auth_replayed, server.check(aged.answer()));
}

TEST(HttpAuth, NoncesAreBoundedInTimeAndNumber) {
    auth_server server(md5), other(md5);
    for (const auto& [part, expected] :
         {std::pair("", def_ombrel_http_auth_misplaced), {", opaque", def_ombrel_http_auth_stale}}) {
        auth_client client("ann", "pass word");
        client.take({with(other.challenges()[0], part, *part != '\0' ? ", other" : "")});
        EXPECT_EQ(expected, server.check(client.answer())) << "a nonce of another server's";
    }
    ombrel_hmac_t key;
    ombrel_init_hmac(&key, ombrel_find_digest_algorithm("sha256"), "k", 1);
    nonce_book book(key, 1'000'000'000'000, 8), short_lived(key, 0, 8);
    std::vector<nonce_book::known> nonces;
    char text[nonce_book::text_size];
    for (int i = 0; i < 100; i++) {
        book.make(text);
        nonces.emplace_back();
        EXPECT_TRUE(book.read({text, sizeof text}, nonces.back()));
        EXPECT_TRUE(short_lived.read({text, sizeof text}, nonces.back()) && !nonces.back().is_fresh);
        book.read({text, sizeof text}, nonces.back());
        for (const size_t at : {0u, 15u, 16u, 40u, 63u}) {
            text[at] = text[at] == 'a' ? 'b' : 'a';
            nonce_book::known forged;
            EXPECT_FALSE(book.read({text, sizeof text}, forged));
            text[at] = 'g';
        }
    }
    for (const size_t i : {3u, 1u, 2u, 0u, 7u, 5u, 6u, 4u}) // full
        EXPECT_EQ(nonce_book::use::first, book.take(nonces[i], 1)) << i;
    EXPECT_EQ(nonce_book::use::replayed, book.take(nonces[0], 1));
    EXPECT_EQ(nonce_book::use::first, book.take(nonces[50], 1));
    EXPECT_EQ(nonce_book::use::stale, book.take(nonces[0], 2)) << "forgotten, so that nobody knows";
    EXPECT_EQ(nonce_book::use::first, book.take(nonces[20], 1));
    EXPECT_EQ(nonce_book::use::stale, book.take(nonces[1], 2));
    for (size_t i = 60; i < 100; i++)
        EXPECT_EQ(nonce_book::use::first, book.take(nonces[i], 1));
    EXPECT_EQ(nonce_book::use::stale, book.take(nonces[55], 1));
    EXPECT_EQ(8u, book.size());
}

TEST(HttpAuth, ServersProveThemselvesToo) {
    auth_server server(sha256);
    auth_client client("ann", "pass word");
    EXPECT_EQ(0, ombrel_http_auth_client_check_info(client.client, "rspauth=\"\""))
        << "nothing was asked yet";
    client.take(server.challenges());
    ASSERT_EQ(def_ombrel_http_auth_granted, server.check(client.answer()));
    const std::string info = server.result.m_info;
    EXPECT_EQ(1, ombrel_http_auth_client_check_info(client.client, info.c_str()));
    std::string other = info;
    other[9] = info[9] == '0' ? '1' : '0';
    EXPECT_EQ(-1, ombrel_http_auth_client_check_info(client.client, other.c_str()));
    EXPECT_EQ(def_ombrel_fault_access_denied, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_http_auth_client_check_info(client.client, "rspauth"));
    EXPECT_EQ(0, ombrel_http_auth_client_check_info(client.client, "nextnonce=\"new\""));
    const std::string value = client.answer();
    EXPECT_NE(std::string::npos, value.find("nonce=\"new\"")) << value;
    EXPECT_NE(std::string::npos, value.find("nc=00000001")) << value;
}

int find_ann(const char* name, ombrel_secret_t* secret, void* context) {
    if (strcmp(name, "ann") != 0)
        return 0;
    return ombrel_parse_secret(static_cast<const char*>(context), secret) == 0 ? 1 : -1;
}

TEST(HttpAuth, SecretsMayComeFromAnywhere) {
    char secret[def_ombrel_secret_text_size], room[40];
    const ombrel_secret_options_t how = {def_ombrel_secret_digest, "a b", 0};
    ombrel_make_secret(secret, sizeof secret, "ann", "pw", &how);
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    EXPECT_EQ(nullptr, ombrel_open_http_auth_server(&options));
    options.m_realm = "a b";
    options.m_schemes = def_ombrel_http_auth_any;
    options.m_find = find_ann;
    options.m_context = secret;
    ombrel_http_auth_server_t* const server = ombrel_open_http_auth_server(&options);
    for (const uint32_t scheme : {basic, sha256, md5_session})
        for (const auto& [name, password] : {std::pair("ann", "pw"), {"ann", "p"}, {"eve", "pw"}}) {
            auth_client client(name, password, scheme);
            char challenge[def_ombrel_http_auth_challenge_size];
            int taken = 0;
            for (int i = 0; taken == 0 && ombrel_http_auth_server_challenge(server, i, nullptr, challenge,
                                                                            sizeof challenge) > 0;
                 i++)
                taken = client.take({challenge});
            ASSERT_EQ(scheme, client.scheme());
            EXPECT_EQ(strcmp(name, "ann") == 0 && strcmp(password, "pw") == 0,
                      ombrel_http_auth_server_check(server, client.answer().c_str(), "GET", "/x?y=1",
                                                    nullptr) == 1);
        }
    EXPECT_EQ(-1, ombrel_http_auth_server_challenge(server, 0, nullptr, room, sizeof room));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    ombrel_close_http_auth_server(server);
    for (const auto& spoil : std::vector<void (*)(ombrel_http_auth_server_options_t&)>{
             [](auto& it) { it.m_realm = "a\"b"; }, [](auto& it) { it.m_schemes = 0; },
             [](auto& it) { it.m_schemes = 32; }, [](auto& it) { it.m_lifetime_ms = 0; },
             [](auto& it) { it.m_nonce_limit = 0; }}) {
        ombrel_http_auth_server_options_t spoiled = options;
        spoil(spoiled);
        EXPECT_EQ(nullptr, ombrel_open_http_auth_server(&spoiled));
    }
}

int find_copied(const char*, ombrel_secret_t* secret, void* context) {
    memcpy(secret, context, sizeof *secret);
    return 1;
}

TEST(HttpAuth, LeavesNoPasswordOnTheStackAndNothingThatStandsForOne) {
    const std::string password = "a word to pass by";
    char text[def_ombrel_secret_text_size], challenge[def_ombrel_http_auth_challenge_size],
        value[def_ombrel_http_auth_value_size];
    const ombrel_secret_options_t how = {def_ombrel_secret_digest, "a b", 0};
    ombrel_make_secret(text, sizeof text, "ann", password.c_str(), &how);
    ombrel_secret_t secret;
    ASSERT_EQ(0, ombrel_parse_secret(text, &secret));
    const std::string stored(reinterpret_cast<const char*>(secret.m_sha256), sizeof secret.m_sha256);
    std::string digits;
    for (const unsigned char byte : secret.m_sha256) {
        char two[3];
        snprintf(two, sizeof two, "%02x", static_cast<unsigned>(byte));
        digits += two;
    }
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_realm = "a b";
    options.m_find = find_copied;
    options.m_context = &secret;
    for (const uint32_t scheme : {basic, sha256}) {
        options.m_schemes = scheme;
        ombrel_http_auth_server_t* const server = ombrel_open_http_auth_server(&options);
        auth_client client("ann", password.c_str(), scheme);
        ASSERT_LT(0, ombrel_http_auth_server_challenge(server, 0, nullptr, challenge, sizeof challenge));
        ASSERT_EQ(1, client.take({challenge}));
        int passed = 0;
        const auto answer = [&] {
            ombrel_http_auth_client_answer(client.client, "GET", "/", value, sizeof value);
        };
        const auto check = [&] {
            passed = ombrel_http_auth_server_check(server, value, "GET", "/", nullptr);
        };
        // Of the first calls the loader of libraries may keep registers there, as it looks up what they call.
        answer();
        check();
        std::vector<std::string> secrets = {password, stored, digits};
        if (scheme == basic)
            secrets.emplace_back(value + strlen("Basic "));
        for (const std::string& each : secrets) {
            EXPECT_FALSE(stays_on_stack(each, answer)) << scheme << testing::PrintToString(each);
            EXPECT_FALSE(stays_on_stack(each, check)) << scheme << testing::PrintToString(each);
            EXPECT_EQ(1, passed) << scheme;
        }
        ombrel_close_http_auth_server(server);
    }
}

/// Whether 32 bytes that stand somewhere are the key of a keyed digest in a record.
bool has_key_of(const std::string& bytes, std::string_view record) {
    for (size_t at = 0; at + def_ombrel_sha256_size <= bytes.size(); at++) {
        ombrel_hmac_t keyed;
        if (bytes.find_first_not_of('\0', at) >= at + def_ombrel_sha256_size)
            continue;
        ombrel_init_hmac(&keyed, ombrel_find_digest_algorithm("sha256"), &bytes[at], def_ombrel_sha256_size);
        const auto* const state = reinterpret_cast<const char*>(keyed.m_inner.m_state.m_sha256.m_state);
        if (record.find(std::string_view(state, def_ombrel_sha256_size)) != std::string_view::npos)
            return true;
    }
    return false;
}

/// What opens a record leaves of the random key in it on the stack: the key itself or what is started with
/// it.
template<typename Open>
void expect_no_key_left_by(Open open) {
    decltype(open()) made{};
    const std::string left = ombrel_test::stack_left_by([&] { made = open(); });
    ASSERT_NE(nullptr, made);
    const std::string_view record(reinterpret_cast<const char*>(made), ombrel_test::header_of(made)->m_size);
    EXPECT_FALSE(has_key_of(left.substr(left.size() - std::min<size_t>(left.size(), 8192)), record));
    for (size_t at = 0; at + 32 <= record.size(); at += 4)
        if (record.find('\0', at) >= at + 32) {
            EXPECT_EQ(std::string::npos, left.find(record.substr(at, 32))) << at;
        }
    // Texts are no secrets here, and a few bytes behind them are of nobody.
    const auto is_random = [](const std::string& run) {
        return std::count_if(run.begin(), run.end(), [](char c) { return c <= ' ' || c >= 0x7f; }) > 8;
    };
    const auto close = [](auto* record_to_close) {
        if constexpr (std::is_same_v<decltype(open()), ombrel_secret_list_t*>)
            ombrel_close_secret_list(record_to_close);
        else
            ombrel_close_http_auth_server(record_to_close);
    };
    const std::vector<std::string> runs = ombrel_test::runs_left_of(made, close);
    EXPECT_EQ(0, std::count_if(runs.begin(), runs.end(), is_random));
}

// Who knows them forges nonces, and tells names that are there from others.
TEST(HttpAuth, LeavesItsRandomKeysNowhere) {
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_find = [](const char*, ombrel_secret_t*, void*) { return 0; };
    const std::string realm(def_ombrel_secret_realm_max, 'r'); // all of its room is written
    options.m_realm = realm.c_str();
    expect_no_key_left_by([&] { return ombrel_open_http_auth_server(&options); });
    expect_no_key_left_by([] { return ombrel_open_secret_text("", 0, nullptr, nullptr); });
    const std::string name(30, 'n'), password(30, 'p');
    auto* const client = ombrel_open_http_auth_client(name.c_str(), password.c_str(), nullptr);
    EXPECT_TRUE(ombrel_test::runs_left_of(client, ombrel_close_http_auth_client).empty());
}

TEST(HttpAuth, RefusesNothing) {
    char room[40];
    auth_client client("ann", "pw", basic, 1);
    EXPECT_EQ(-1, ombrel_init_http_auth_server_options(nullptr));
    EXPECT_EQ(-1, ombrel_init_http_auth_client_options(nullptr));
    EXPECT_EQ(-1, ombrel_http_auth_server_check(nullptr, "x", "GET", "/", nullptr));
    EXPECT_EQ(-1, ombrel_http_auth_server_challenge(nullptr, 0, nullptr, room, sizeof room));
    EXPECT_EQ(-1, ombrel_http_auth_client_take(client.client, nullptr, 1));
    EXPECT_EQ(-1, ombrel_http_auth_client_answer(client.client, "GET", "/", room, 10));
    EXPECT_EQ(-1, ombrel_http_auth_client_answer(nullptr, "GET", "/", room, 10));
    EXPECT_EQ(-1, ombrel_http_auth_client_check_info(client.client, nullptr));
    EXPECT_EQ(nullptr, ombrel_http_auth_client_get_realm(nullptr));
    for (const auto& [name, password] :
         {std::pair("", "p"), {"a\nb", "p"}, {"a", "p\r\nX: y"}, {"a", nullptr}, {"a:b", "p"}})
        EXPECT_EQ(nullptr, auth_client(name, password, basic, 1).client);
    EXPECT_EQ(nullptr, auth_client("ann", std::string(1024, 'p').c_str()).client);
    EXPECT_EQ(0, ombrel_close_http_auth_client(nullptr) + ombrel_close_http_auth_server(nullptr));
}

} // namespace
