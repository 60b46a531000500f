#include <cstdio>
#include <cstdlib>

#include <curl/curl.h>
#include <dlfcn.h>

#include <ombrel/download.h>
#include <ombrel/fault.h>
#include <ombrel/global_break.h>
#include <ombrel/heap.h>
#include <ombrel/plugin_curl.h>
#include <ombrel/sha256.h>

#include "plugins/plugin_support.h"
#include "protocol/transfer_server.h"
#include "support/capture.h"
#include "support/scratch_directory.h"

namespace {

/// The certificates that every request trusts while it is set, as it would those of the machine.
const char* trusted = nullptr;

template<typename Function>
Function* of_libcurl(const char* name) {
    return reinterpret_cast<Function*>(dlsym(dlopen("libcurl.so.4", RTLD_LAZY | RTLD_NOLOAD), name));
}

} // namespace

// The plug-in calls this one, as the program stands before the libraries.
CURLMcode curl_multi_add_handle(CURLM* multi, CURL* easy) {
    if (trusted != nullptr)
        of_libcurl<decltype(curl_easy_setopt)>("curl_easy_setopt")(easy, CURLOPT_CAINFO, trusted);
    return of_libcurl<decltype(curl_multi_add_handle)>("curl_multi_add_handle")(multi, easy);
}

namespace ombrel_test {
namespace {

constexpr const char *stream = "application/tuk_stream", *own_type = def_ombrel_plugin_curl_mime_type;

/// The web server beside the tests, for the time of the program.
class web_server : no_copy {
public:
    web_server() : output_(popen(OMBREL_TEST_PYTHON " " OMBREL_TEST_WEB_SERVER, "re")) {
        if (output_ == nullptr || fscanf(output_, "%d %d", &port_, &secure_port_) != 2)
            abort();
        setenv("no_proxy", "*", 1);
    }
    /// The server ends when its output is closed.
    ~web_server() { pclose(output_); }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
    }
    std::string secure_url(const std::string& path) const {
        return "https://127.0.0.1:" + std::to_string(secure_port_) + "/" + path;
    }

private:
    FILE* output_;
    int port_ = 0, secure_port_ = 0;
};

const web_server& server() {
    static const web_server instance;
    return instance;
}

std::string body_of(size_t size) {
    std::string body(size, '\0');
    for (size_t i = 0; i < size; i++)
        body[i] = static_cast<char>(i * 7 % 251);
    return body;
}

std::string read_all(int ctx, size_t room = 65536) {
    std::string all, part(room, '\0');
    int got;
    while ((got = ombrel_ctx_read(ctx, part.data(), room)) > 0)
        all.append(part, 0, static_cast<size_t>(got));
    EXPECT_EQ(0, got);
    return all;
}

class CurlPlugin : public balanced_test {
protected:
    CurlPlugin() { server(); }

    loaded_plugin plugin_{OMBREL_TEST_PLUGIN_CURL};
};

TEST_F(CurlPlugin, ReadsBodiesWholeAndInPieces) {
    struct {
        const char* path;
        size_t size, room;
        long long announced;
    } const cases[] = {{"bytes/0", 0, 100, 0},
                       {"bytes/16385", 16385, 7, 16385},
                       {"bytes/3000017", 3000017, 70001, 3000017},
                       {"chunked/400009", 400009, 1000, -1},
                       {"redirect/bytes/5000", 5000, 4096, 5000}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.path);
        context ctx;
        ASSERT_EQ(0, ctx.open(stream, {{"source", server().url(test.path)}}));
        EXPECT_EQ(1, ombrel_ctx_is_readable(ctx, -1));
        EXPECT_EQ(read_all(ctx, test.room), body_of(test.size));
        constexpr uint32_t code = def_ombrel_curl_control_get_response;
        ombrel_curl_response_t response;
        ASSERT_EQ(0, ombrel_ctx_control(ctx, code, &response, sizeof response));
        EXPECT_EQ(200, response.m_code);
        EXPECT_EQ(response.m_content_length, test.announced);
        EXPECT_EQ(response.m_received, static_cast<long long>(test.size));
        EXPECT_EQ(-1, ombrel_ctx_control(ctx, code, &response, sizeof response - 1));
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
    }
}

TEST_F(CurlPlugin, ARefusalComesWithItsWords) {
    char words[def_ombrel_ctx_error_text_size];
    context ctx;
    ctx.open(stream, {{"source", server().url("status/404")}});
    ombrel_ctx_get_last_error_text(ctx, words, sizeof words);
    EXPECT_STREQ("the server answered 404", words);
    ctx.open(stream, {{"source", "http://name.invalid/"}, {"proxy", ""}});
    ombrel_ctx_get_last_error_text(ctx, words, sizeof words);
    EXPECT_NE(nullptr, strstr(words, "name.invalid")) << words;
}

TEST_F(CurlPlugin, RefusesWithAReason) {
    const owned_socket deaf = bound(AF_INET, SOCK_STREAM);
    const std::string nobody = "127.0.0.1:" + std::to_string(own_port(deaf)) + "/";
    const struct {
        int error;
        std::string source;
        const char *mime_type = stream, *mode = "r", *timeout = "60000";
    } cases[] = {{ctx_error::not_found, server().url("status/404")},
                 {ctx_error::access_denied, server().url("status/401")},
                 {ctx_error::timed_out, server().url("mute"), stream, "r", "200"},
                 {ctx_error::invalid, server().url("bytes/1"), stream, "a"},
                 {ctx_error::refused, "http://" + nobody},
                 {ctx_error::syntax, "http://[::1/"},
                 {ctx_error::not_supported, "gopher://127.0.0.1/"},
                 {ctx_error::not_supported, "file:///etc/passwd", own_type},
                 {ctx_error::refused, "FTP://" + nobody, own_type}};
    for (const auto& [error, source, mime_type, mode, timeout] : cases)
        EXPECT_EQ(error,
                  context().open(mime_type, {{"source", source}, {"mode", mode}, {"timeout", timeout}}))
            << source;
    for (const char* const option : {"timeout", "any_status", "redirects", "size", "progress", "insecure"})
        for (const char* const text : {"5x", "no", "", "+5", "9223372036854775808"})
            EXPECT_EQ(ctx_error::invalid,
                      context().open(stream, {{"source", server().url("bytes/1")}, {option, text}}))
                << option << " \"" << text << '"';
    context ctx;
    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("status/404")}, {"any_status", "1"}}));
    EXPECT_EQ("body of 404", read_all(ctx));
    ombrel_close_ctx(ctx);
    ASSERT_EQ(0, ctx.open(stream,
                          {{"source", server().url("redirect/x")}, {"any_status", "1"}, {"redirects", "0"}}));
    EXPECT_EQ("elsewhere", read_all(ctx));
    EXPECT_EQ("/x", ctx.env("location"));
    ombrel_close_ctx(ctx);
    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("bytes/9")}, {"method", "head"}}));
    EXPECT_EQ("", read_all(ctx));
    EXPECT_EQ("9", ctx.env("content_length"));
}

TEST_F(CurlPlugin, SendsAndShowsHeaders) {
    context ctx;
    const char* const headers = "X-One: 1\r\n\nX-Two: 2";
    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("echo")}, {"httpheader", headers}}));
    const std::string echo = read_all(ctx);
    EXPECT_NE(echo.find("X-One: 1\n"), echo.npos);
    EXPECT_NE(echo.find("X-Two: 2\n"), echo.npos);
    ombrel_close_ctx(ctx);

    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("redirect/bytes/3")}}));
    EXPECT_EQ("one two", ctx.env("x-mark"));
    EXPECT_EQ("(none)", ctx.env("Location")) << "of the answer before";
    EXPECT_EQ(ctx.env("effective_url"), server().url("bytes/3"));
    char value[5] = "....";
    constexpr uint32_t code = def_ombrel_curl_control_get_header;
    EXPECT_EQ(7, ombrel_ctx_bcontrol(ctx, code, "X-MARK", size_t{6}, value, size_t{3}));
    EXPECT_STREQ("one.", value);
    EXPECT_EQ(-1, ombrel_ctx_bcontrol(ctx, code, "X-", size_t{2}, nullptr, size_t{0}));
    EXPECT_EQ("HTTP/1.1 200", ctx.env("headers").substr(0, 12));
}

TEST_F(CurlPlugin, SendsBodiesAndReadsTheAnswer) {
    const std::string body = body_of(700001);
    ombrel_sha256_t sha;
    ombrel_init_sha256(&sha);
    ombrel_sha256_push(&sha, body.data(), body.size());
    const std::string digest = ombrel_sha256_digest(&sha, nullptr);
    for (const char* const method : {"", "PUT", "POST"}) {
        context ctx;
        const bool is_given = *method != '\0'; // if not, the size is announced
        ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("store")},
                                       {"mode", "wb"},
                                       {is_given ? "method" : "size", is_given ? method : "700001"}}));
        EXPECT_EQ(1, ombrel_ctx_is_writable(ctx, -1));
        for (size_t at = 0; at < body.size();) {
            const size_t part = std::min<size_t>(body.size() - at, 99991);
            const int taken = ombrel_ctx_write(ctx, body.data() + at, part);
            ASSERT_GT(taken, 0);
            at += static_cast<size_t>(taken);
        }
        EXPECT_EQ(std::string(is_given ? method : "PUT") + " 700001 " + digest, read_all(ctx));
        EXPECT_EQ("201", ctx.env("response_code"));
        EXPECT_EQ(-1, ombrel_ctx_write(ctx, "x", 1)) << "the body has ended";
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
    }
    context refused;
    ASSERT_EQ(0, refused.open(stream, {{"source", server().url("refuse")}, {"mode", "w"}}));
    EXPECT_EQ(4, ombrel_ctx_puts(refused, "text"));
    EXPECT_EQ(-1, ombrel_close_ctx(refused));
    EXPECT_EQ(ctx_error::access_denied, refused.error());
}

TEST_F(CurlPlugin, NoWaitIsForEver) {
    char part[16];
    context ctx;
    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("stall")}}));
    EXPECT_EQ(1, ombrel_ctx_is_readable(ctx, -1));
    for (const char each : {'a', 'b', 'c'}) {
        ASSERT_EQ(1, ombrel_ctx_read(ctx, part, 1));
        EXPECT_EQ(each, *part);
    }
    EXPECT_EQ(0, ombrel_ctx_is_readable(ctx, 0));
    EXPECT_EQ(0, ombrel_ctx_is_readable(ctx, 50));
    EXPECT_EQ(0, ombrel_ctx_set_env(ctx, "timeout", "50"));
    EXPECT_LT(ombrel_ctx_read(ctx, part, sizeof part), 0);
    EXPECT_EQ(ctx_error::timed_out, ctx.error());
    EXPECT_EQ(-1, ombrel_ctx_set_env(ctx, "timeout", "99999999999"));
    EXPECT_EQ(0, ombrel_ctx_set_env(ctx, "timeout", "-1"));
    ombrel_set_global_break();
    EXPECT_LT(ombrel_ctx_read(ctx, part, sizeof part), 0);
    ombrel_clear_global_break();
    ombrel_close_ctx(ctx);

    ASSERT_EQ(0, ctx.open(stream, {{"source", server().url("cut")}}));
    int size, all = 0;
    while ((size = ombrel_ctx_read(ctx, part, sizeof part)) > 0)
        all += size;
    EXPECT_EQ(10, all);
    EXPECT_EQ(ctx_error::disconnected, ctx.error());
    EXPECT_NE("", ctx.env("error"));
}

TEST_F(CurlPlugin, CertificatesAreChecked) {
    const std::string source = server().secure_url("bytes/1000");
    context ctx;
    EXPECT_EQ(ctx_error::access_denied, ctx.open(stream, {{"source", source}}));
    ASSERT_EQ(0, ctx.open(stream, {{"source", source}, {"cainfo", OMBREL_TEST_CERTIFICATE}}));
    EXPECT_EQ(read_all(ctx), body_of(1000));
    ombrel_close_ctx(ctx);
    EXPECT_EQ(0, ctx.open(stream, {{"source", source}, {"insecure", "1"}}));
}

TEST_F(CurlPlugin, FtpByItsOwnType) {
    OMBREL_NEEDS_SERVER("vsftpd");
    const ftp_server ftp;
    const std::string source = "ftp://127.0.0.1:" + std::to_string(ftp.port()) + "/file";
    context ctx;
    EXPECT_EQ(ctx_error::not_found, ctx.open(own_type, {{"source", source}}));
    for (const char* const mode : {"w", "a"}) {
        ASSERT_EQ(0, ctx.open(own_type, {{"source", source}, {"mode", mode}}));
        EXPECT_EQ(4, ombrel_ctx_puts(ctx, "text"));
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
    }
    ASSERT_EQ(0, ctx.open(own_type, {{"source", source}}));
    EXPECT_EQ("texttext", read_all(ctx));
}

TEST_F(CurlPlugin, TellsWhatHappens) {
    const std::string source = server().url("bytes/9000");
    capture output(stdout), errors(stderr);
    {
        context ctx;
        ASSERT_EQ(0, ctx.open(stream, {{"source", source}, {"debug", "1"}, {"progress", "1"}}));
        read_all(ctx);
    }
    EXPECT_NE(output.text().find(" 8 KiB"), std::string::npos);
    const std::string told = errors.text();
    for (const char* line : {"curl: > GET /bytes/9000 HTTP/1.1\n", "curl: < HTTP/1.1 200 OK\n"})
        EXPECT_NE(told.find(line), told.npos) << told;
}

class SafeDownload : public CurlPlugin {
protected:
    SafeDownload() {
        trusted = OMBREL_TEST_CERTIFICATE;
        ombrel_init_download_options(&options_);
        options_.m_first_pause_ms = 1;
    }
    ~SafeDownload() override { trusted = nullptr; }

    int fetch(const std::string& uri) {
        return ombrel_download_file(uri.c_str(), (folder_ / "to").c_str(), &options_, &result_);
    }
    std::string fetched() const { return folder_.read("to"); }

    scratch_directory folder_;
    ombrel_download_options_t options_;
    ombrel_download_result_t result_;
};

TEST_F(SafeDownload, GoesOnWhereItBroke) {
    ASSERT_EQ(0, fetch(server().secure_url("bytes/100000"))) << result_.m_error.m_text;
    EXPECT_EQ(body_of(100000), fetched());
    EXPECT_EQ(100000, result_.m_total);
    ASSERT_EQ(0, fetch(server().secure_url("chunked/5000"))) << result_.m_error.m_text;
    EXPECT_EQ(body_of(5000), fetched());
    ASSERT_EQ(0, fetch(server().secure_url("broken/300001"))) << result_.m_error.m_text;
    EXPECT_EQ(body_of(300001), fetched());
    EXPECT_EQ(2, result_.m_attempts);
}

TEST_F(SafeDownload, FollowsFromServerToServer) {
    const auto by_way_of = [](const std::string& first, const std::string& next) { return first + next; };
    const std::string here = server().secure_url("bytes/70"), away = server().secure_url("away/");
    ASSERT_EQ(0, fetch(by_way_of(server().url("away/"), here))) << result_.m_error.m_text;
    EXPECT_EQ(body_of(70), fetched());
    ASSERT_EQ(0, fetch(by_way_of(away, here))) << result_.m_error.m_text;
    options_.m_redirect_limit = 0;
    EXPECT_EQ(-1, fetch(by_way_of(away, here)));
    EXPECT_EQ(def_ombrel_fault_link_loop, ombrel_last_fault());
}

TEST_F(SafeDownload, ALogInIsForItsOwnServerAlone) {
    const auto with_login = [](std::string uri) { return uri.insert(uri.find("//") + 2, "user:secret@"); };
    const std::string safe = server().secure_url("guarded/"), plain = server().url("guarded/"),
                      from_safe = server().secure_url("away/"), from_plain = server().url("away/");
    const std::string by_name = "http://localhost" + plain.substr(strlen("http://127.0.0.1"));
    for (const auto& [uri, is_let_in] : {std::pair{safe, true},
                                         {plain, true},
                                         {from_safe + safe, true},
                                         {from_plain + plain, true},
                                         {from_plain + safe, false},
                                         {from_plain + by_name, false}}) {
        EXPECT_EQ(is_let_in ? 0 : -1, fetch(with_login(uri))) << uri << result_.m_error.m_text;
        EXPECT_EQ(is_let_in ? 0 : 401, result_.m_error.m_peer_code);
        EXPECT_EQ(is_let_in, fetched().find("Authorization: Basic dXNlcjpzZWNyZXQ=") != std::string::npos);
        folder_.write("to", "");
    }
}

TEST_F(SafeDownload, FailuresSayWhy) {
    folder_.write("to", "old");
    const struct {
        const char* path;
        int fault, peer_code;
    } cases[] = {{"status/404", def_ombrel_fault_not_found, 404},
                 {"status/403", def_ombrel_fault_access_denied, 403},
                 {"cut", def_ombrel_fault_reset, 0}};
    options_.m_retry_limit = 0;
    for (const auto& test : cases) {
        EXPECT_EQ(-1, fetch(server().secure_url(test.path))) << test.path;
        EXPECT_EQ(test.fault, ombrel_last_fault()) << test.path << result_.m_error.m_text;
        EXPECT_EQ(test.peer_code, result_.m_error.m_peer_code) << test.path;
    }
    trusted = nullptr;
    EXPECT_EQ(-1, fetch(server().secure_url("bytes/1")));
    EXPECT_EQ(def_ombrel_fault_access_denied, ombrel_last_fault()) << result_.m_error.m_text;
    EXPECT_EQ("old", fetched());
}

TEST_F(CurlPlugin, ServesTheSimpleGet) {
    size_t size = 0;
    void* const body = ombrel_ctx_simple_http_get(server().url("bytes/100000").c_str(), "X-Any: 1", 0, &size);
    EXPECT_EQ(std::string(static_cast<char*>(body), size), body_of(100000));
    ombrel_free(body);
    EXPECT_EQ(nullptr, ombrel_ctx_simple_http_get(server().url("status/404").c_str(), nullptr, 0, &size));
}

} // namespace
} // namespace ombrel_test
