#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/secret.h>

#include "protocol/secret/secret_table.h"
#include "support/own_stack.h"
#include "support/scratch_directory.h"

namespace {

// Made by hashlib.
const std::string anns = "$digest$ombrel$f97b61867c025580c26b5b7c133040d9$b913cfaba31d"
                         "bc880e80d71d52991bae6e60ee778ec124b49c0a4dc5eb46b4bb";
// From the documentation of passlib.hash.pbkdf2_sha256.
const std::string bobs =
    "$pbkdf2-sha256$29000$N2YMIWQsBWBMae09x1jrPQ$1t8iyB2A.WF/Z5JZv.lfCIhXXN33N23OSgQYThBYRfk";

ombrel_secret_options_t strong(uint32_t iterations) {
    return {def_ombrel_secret_strong, nullptr, iterations};
}

TEST(Secret, ReadsWhatOtherProgramsMade) {
    const struct {
        std::string secret;
        const char *name, *password;
        int expected;
    } cases[] = {{anns, "ann", "pass word \xC3\xA4", 1},
                 {anns, "ann", "pass word a", 0},
                 {anns, "Ann", "pass word \xC3\xA4", 0},
                 {anns, "ann", "", 0},
                 {bobs, "bob", "toomanysecrets", 1},
                 {bobs, "anybody", "toomanysecrets", 1},
                 {bobs, "bob", "too", 0}};
    for (const auto& each : cases) {
        ombrel_secret_t secret;
        ASSERT_EQ(0, ombrel_parse_secret(each.secret.c_str(), &secret)) << each.secret;
        EXPECT_EQ(each.expected, ombrel_check_secret(&secret, each.name, each.password)) << each.password;
    }
    EXPECT_EQ(0, ombrel_check_secret(nullptr, "ann", "pass word \xC3\xA4"));
}

TEST(Secret, IsMadeAsItIsRead) {
    const std::string odd_realm = "a b:c$d%\xC3\xA4", long_realm(def_ombrel_secret_realm_max, '\xFE');
    char text[def_ombrel_secret_text_size];
    ASSERT_EQ(static_cast<int>(anns.size()),
              ombrel_make_secret(text, sizeof text, "ann", "pass word \xC3\xA4", nullptr));
    EXPECT_EQ(anns, text);
    const ombrel_secret_options_t choices[] = {{def_ombrel_secret_digest, odd_realm.c_str(), 0},
                                               {def_ombrel_secret_digest, long_realm.c_str(), 0},
                                               strong(1),
                                               strong(1000)};
    for (const ombrel_secret_options_t& choice : choices) {
        const int size = ombrel_make_secret(text, sizeof text, "eve", "apple", &choice);
        ASSERT_LT(0, size);
        EXPECT_EQ(std::string::npos, std::string(text).find_first_of(": \t"));
        ombrel_secret_t secret;
        ASSERT_EQ(0, ombrel_parse_secret(text, &secret)) << text;
        EXPECT_EQ(choice.m_kind, secret.m_kind);
        EXPECT_STREQ(choice.m_realm != nullptr ? choice.m_realm : "", secret.m_realm);
        EXPECT_EQ(1, ombrel_check_secret(&secret, "eve", "apple"));
        EXPECT_EQ(0, ombrel_check_secret(&secret, "eve", "apples"));
        std::string room(static_cast<size_t>(size), 'x');
        EXPECT_EQ(-1, ombrel_make_secret(room.data(), room.size(), "eve", "apple", &choice));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
    char again[sizeof text];
    ombrel_make_secret(again, sizeof again, "eve", "apple", &choices[3]);
    EXPECT_STRNE(text, again) << "the salt is random";
}

TEST(Secret, RefusesWhatBreaksItsRules) {
    const std::string longest_name(def_ombrel_secret_name_max, 'n'),
        longest(def_ombrel_secret_password_max, 'p');
    const struct {
        std::string name, password;
        const char* realm;
        bool good;
    } makes[] = {{longest_name, longest, "r", true},
                 {longest_name + "n", "p", "r", false},
                 {"n", longest + "p", "r", false},
                 {"", "p", "r", false},
                 {"n", "", "r", false},
                 {"a:b", "p", "r", false},
                 {"a\nb", "p", "r", false},
                 {"#a", "p", "r", false},
                 {"a#", "p:\"", "r", true},
                 {"n", "p\r", "r", false},
                 {"n", "p\x7F", "r", false},
                 {"n", "p", "", false},
                 {"n", "p", "a\"b", false},
                 {"n", "p", "a\\b", false},
                 {"n", "p", "a\nb", false}};
    char text[def_ombrel_secret_text_size];
    for (const auto& each : makes) {
        const ombrel_secret_options_t options = {def_ombrel_secret_digest, each.realm, 0};
        EXPECT_EQ(each.good, ombrel_make_secret(text, sizeof text, each.name.c_str(), each.password.c_str(),
                                                &options) > 0)
            << each.name << " " << each.password << " " << each.realm;
    }
    for (const uint32_t iterations : {0u, def_ombrel_secret_iterations_max + 1}) {
        const ombrel_secret_options_t options = strong(iterations);
        EXPECT_EQ(-1, ombrel_make_secret(text, sizeof text, "n", "p", &options));
    }
    const std::string key = bobs.substr(bobs.rfind('$')), hash = anns.substr(anns.find('$', 8));
    const std::string bad[] = {"",
                               "$",
                               "$digest$",
                               "plain",
                               anns + "$",
                               anns + "0",
                               anns.substr(1),
                               anns.substr(0, anns.size() - 1),
                               "$digest$" + hash,
                               "$digest$a%2" + hash,
                               "$digest$a b" + hash,
                               "$digest$a%0A" + hash,
                               "$digest$a%22b" + hash,
                               "$digest$" + std::string(def_ombrel_secret_realm_max + 1, 'r') + hash,
                               "$DIGEST" + anns.substr(7),
                               "$pbkdf2-sha256$0$c2FsdA" + key,
                               "$pbkdf2-sha256$1000001$c2FsdA" + key,
                               "$pbkdf2-sha256$-1$c2FsdA" + key,
                               "$pbkdf2-sha256$99999999999999999999$c2FsdA" + key,
                               "$pbkdf2-sha256$1$" + key,
                               "$pbkdf2-sha256$1$c2FsdB" + key,
                               "$pbkdf2-sha256$1$c2FsdA==" + key,
                               "$pbkdf2-sha256$1$c2Fsd" + key,
                               "$pbkdf2-sha256$1$c2FsA" + key, // six bits more than bytes
                               "$pbkdf2-sha256$1$c2FsdA" + key + "A",
                               "$pbkdf2-sha256$1$c2FsdA$c2FsdA",
                               "$pbkdf2-sha256$1$" + std::string(86, 'A') + "AA" + key,
                               "$pbkdf2-sha256$1$" + std::string(200, 'A') + key};
    for (const std::string& each : bad) {
        ombrel_secret_t secret;
        memset(&secret, 'x', sizeof secret);
        EXPECT_EQ(-1, ombrel_parse_secret(each.c_str(), &secret)) << each;
        EXPECT_EQ(std::string(sizeof secret, 0), std::string(reinterpret_cast<char*>(&secret), sizeof secret))
            << each << ": nothing of a part";
        EXPECT_EQ(0, ombrel_check_secret(&secret, "", "")) << each;
    }
}

struct list_of {
    explicit list_of(const std::string& text, uint32_t flags = 0) {
        ombrel_secret_list_options_t options;
        ombrel_init_secret_list_options(&options);
        options.m_flags = flags;
        options.m_size_limit = 4000;
        options.m_line_limit = 500;
        options.m_secret_limit = 3;
        list = ombrel_open_secret_text(text.data(), text.size(), &options, &failed_line);
        fault = list != nullptr ? def_ombrel_fault_none : ombrel_last_fault();
    }
    ~list_of() { ombrel_close_secret_list(list); }

    uint32_t failed_line = 77;
    ombrel_secret_list_t* list;
    int fault;
};

TEST(Secret, ListsAreReadLineByLine) {
    const std::string a = "ann:" + anns, b = "bob:" + bobs, nul("eve:\0", 5);
    const struct {
        std::string text;
        uint32_t flags;
        size_t count;
        int fault;
        uint32_t line;
    } cases[] = {{"", 0, 0, 0, 0},
                 {a, 0, 1, 0, 0},
                 {"\xEF\xBB\xBF" + a + "\r\n# more\r\n\r\n" + b + "\r\n", 0, 2, 0, 0},
                 {a + "\n\n" + a + "\n", 0, 0, def_ombrel_fault_exists, 3},
                 {a + "\n" + a + ":x\n", 0, 0, def_ombrel_fault_invalid, 2},
                 {a + " \n", 0, 0, def_ombrel_fault_invalid, 1},
                 {" \n", 0, 0, def_ombrel_fault_invalid, 1},
                 {a + "\nbob\n", 0, 0, def_ombrel_fault_invalid, 2},
                 {nul + anns, 0, 0, def_ombrel_fault_invalid, 1},
                 {a + "\n" + std::string(501, '#'), 0, 0, def_ombrel_fault_too_large, 2},
                 {a + "\nb" + a + "\nc" + a + "\nd" + a, 0, 0, def_ombrel_fault_too_large, 4},
                 {std::string(4001, '\n'), 0, 0, def_ombrel_fault_too_large, 0},
                 {a + ":/:rw\n" + b + ":\n", 1, 2, 0, 0},
                 {a + ":/\n" + b, 1, 0, def_ombrel_fault_invalid, 2}};
    for (const auto& each : cases) {
        const list_of made(each.text, each.flags);
        EXPECT_EQ(each.fault, made.fault) << each.text;
        EXPECT_EQ(each.line, made.failed_line) << each.text;
        EXPECT_EQ(each.count, ombrel_secret_list_get_count(made.list)) << each.text;
        EXPECT_EQ(0, ombrel_secret_list_is_exposed(made.list));
        EXPECT_EQ(0, ombrel_secret_list_refresh(made.list) * (made.list != nullptr));
    }
}

TEST(Secret, ListsFindNames) {
    const list_of made("ann:" + anns + ":C:\\a b:rwd\n#\nbob:" + bobs + ":\n", def_ombrel_secret_list_more);
    ASSERT_EQ(0, ombrel_secret_list_find(made.list, "ann"));
    EXPECT_EQ(1, ombrel_secret_list_find(made.list, "bob"));
    EXPECT_EQ(-1, ombrel_secret_list_find(made.list, "an"));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_STREQ("C:\\a b:rwd", ombrel_secret_list_get_more(made.list, 0));
    EXPECT_STREQ("", ombrel_secret_list_get_more(made.list, 1));
    EXPECT_STREQ("bob", ombrel_secret_list_get_name(made.list, 1));
    EXPECT_EQ(3u, ombrel_secret_list_get_line(made.list, 1));
    EXPECT_EQ(def_ombrel_secret_strong, ombrel_secret_list_get_secret(made.list, 1)->m_kind);
    EXPECT_EQ(nullptr, ombrel_secret_list_get_secret(made.list, 2));
    for (int round = 0; round < 2; round++) { // the second knows the right one of a strong secret
        EXPECT_EQ(1, ombrel_secret_list_check(made.list, "ann", "pass word \xC3\xA4"));
        EXPECT_EQ(1, ombrel_secret_list_check(made.list, "bob", "toomanysecrets"));
        for (const auto& [name, password] :
             {std::pair("ann", "toomanysecrets"), {"bob", "x"}, {"eve", "toomanysecrets"}, {"", ""}})
            EXPECT_EQ(0, ombrel_secret_list_check(made.list, name, password)) << name;
    }
}

TEST(Secret, ListsFollowTheirFile) {
    const ombrel_test::scratch_directory directory;
    const std::string path = directory / "passwords", a = "ann:" + anns + "\n", b = "bob:" + bobs + "\n";
    ombrel_secret_list_options_t options;
    ombrel_init_secret_list_options(&options);
    options.m_look_ms = 0;
    EXPECT_EQ(nullptr, ombrel_open_secret_list(path.c_str(), &options, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    const auto store = [&](const std::string& text, uint32_t mode) {
        EXPECT_EQ(0, ombrel_store_file(path.c_str(), text.data(), text.size(), 0, mode));
        ombrel_set_file_mode(path.c_str(), mode);
    };
    store(a, 0600);
    ombrel_secret_list_t* const list = ombrel_open_secret_list(path.c_str(), &options, nullptr);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(0, ombrel_secret_list_is_exposed(list));
    EXPECT_EQ(0, ombrel_secret_list_refresh(list));
    store(a + b, 0644);
    EXPECT_EQ(1, ombrel_secret_list_refresh(list));
    EXPECT_EQ(0, ombrel_secret_list_refresh(list));
    EXPECT_EQ(2u, ombrel_secret_list_get_count(list));
    EXPECT_EQ(*ombrel_test::separator == '/' ? 1 : 0, ombrel_secret_list_is_exposed(list));
    EXPECT_EQ(1, ombrel_secret_list_check(list, "bob", "toomanysecrets"));
    store(a + "bob", 0600);
    EXPECT_EQ(-1, ombrel_secret_list_refresh(list));
    EXPECT_EQ(2u, ombrel_secret_list_get_failed_line(list));
    EXPECT_EQ(2u, ombrel_secret_list_get_count(list)) << "stays as it was";
    store("bob:" + bobs.substr(0, bobs.size() - 43) + std::string(42, 'B') + "A\n", 0600);
    EXPECT_EQ(1, ombrel_secret_list_refresh(list));
    EXPECT_EQ(0, ombrel_secret_list_check(list, "bob", "toomanysecrets"))
        << "a new password makes the old one void";
    EXPECT_EQ(0, ombrel_remove_file(path.c_str()));
    EXPECT_EQ(-1, ombrel_secret_list_refresh(list));
    EXPECT_EQ(1u, ombrel_secret_list_get_count(list));
    ombrel_close_secret_list(list);
}

// Of a password, of what is made of it, and of what a list has by chance so that nobody can foresee it.
TEST(Secret, LeavesNothingBehind) {
    const std::string passwords[] = {"a word to pass by", "quite another one"};
    char text[def_ombrel_secret_text_size];
    EXPECT_EQ(0u, ombrel_test::bytes_left_on_stack(passwords[0], passwords[1], [&](const std::string& word) {
                  ombrel_make_secret(text, sizeof text, "ann", word.c_str(), nullptr);
              }));
    const ombrel_secret_options_t how = strong(1);
    const std::string left = ombrel_test::stack_left_by(
        [&] { ombrel_make_secret(text, sizeof text, "bob", passwords[0].c_str(), &how); });
    ombrel_secret_t made;
    ASSERT_EQ(0, ombrel_parse_secret(text, &made));
    EXPECT_EQ(std::string::npos, left.find(passwords[0]));
    EXPECT_EQ(std::string::npos, left.find(strrchr(text, '$')));
    EXPECT_EQ(std::string::npos, left.find(std::string(reinterpret_cast<char*>(made.m_sha256), 32)));

    for (const std::string& each : {anns, bobs, std::string(text)}) {
        ombrel_secret_t secret;
        ASSERT_EQ(0, ombrel_parse_secret(each.c_str(), &secret));
        secret.m_iterations = std::min(secret.m_iterations, 3u);
        EXPECT_EQ(0u, ombrel_test::bytes_left_on_stack(passwords[0], passwords[1],
                                                       [&](const std::string& word) {
                                                           ombrel_check_secret(&secret, "ann", word.c_str());
                                                       }))
            << each;
    }
}

TEST(Secret, ListsLeaveNothingOnTheHeap) {
    const std::string line = "bob:" + bobs;
    ombrel_secret_list_t* const list = ombrel_open_secret_text(line.data(), line.size(), nullptr, nullptr);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(1, ombrel_secret_list_check(list, "bob", "toomanysecrets"));
    const ombrel_secret_t bob = *ombrel_secret_list_get_secret(list, 0);
    EXPECT_TRUE(ombrel_test::runs_left_of(list, ombrel_close_secret_list).empty());
    EXPECT_EQ(std::string::npos, ombrel_test::freed_bytes(line.size() + 1).find(bobs.substr(30)));
    EXPECT_EQ(std::string::npos,
              ombrel_test::freed_bytes(sizeof(ombrel::protocol::secret_entry))
                  .find(std::string(reinterpret_cast<const char*>(bob.m_sha256), sizeof bob.m_sha256)));
}

TEST(Secret, RefusesNothing) {
    char text[8];
    EXPECT_EQ(-1, ombrel_init_secret_options(nullptr) + ombrel_is_secret_name(nullptr));
    EXPECT_EQ(-1, ombrel_init_secret_list_options(nullptr) + ombrel_is_secret_password(nullptr));
    EXPECT_EQ(-1, ombrel_make_secret(nullptr, 9, "n", "p", nullptr));
    EXPECT_EQ(-1, ombrel_make_secret(text, sizeof text, nullptr, "p", nullptr));
    EXPECT_EQ(-1, ombrel_check_secret(nullptr, "n", nullptr));
    EXPECT_EQ(-1, ombrel_parse_secret("x", nullptr));
    EXPECT_EQ(nullptr, ombrel_open_secret_list(nullptr, nullptr, nullptr));
    EXPECT_EQ(nullptr, ombrel_open_secret_text(nullptr, 1, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_secret_list_check(nullptr, "n", "p"));
    EXPECT_EQ(-1, ombrel_secret_list_refresh(nullptr));
    EXPECT_EQ(-1, ombrel_secret_list_find(nullptr, "n"));
    EXPECT_EQ(nullptr, ombrel_secret_list_get_name(nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_secret_list_get_more(nullptr, 0));
    EXPECT_EQ(0u, ombrel_secret_list_get_line(nullptr, 0) + ombrel_secret_list_get_failed_line(nullptr));
    EXPECT_EQ(0, ombrel_close_secret_list(nullptr));
}

} // namespace
