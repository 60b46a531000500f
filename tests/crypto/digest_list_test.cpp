#include <ombrel/digest_list.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/heap_balance.h"

namespace {

using DigestList = ombrel_test::balanced_test;
using lines = std::vector<std::string>;

constexpr size_t longest_line = def_ombrel_digest_list_line_max;

int take(const ombrel_digest_entry_t* entry, void* context) {
    static_cast<lines*>(context)->push_back(
        entry != nullptr ? std::string(entry->m_digits, entry->m_digit_count) + "|" + entry->m_name : "?");
    return entry != nullptr && std::string(entry->m_name) == "stop" ? 42 : 0;
}

lines read(const std::string& text, size_t piece) {
    lines found;
    ombrel_digest_list_t* const list = ombrel_open_digest_list(take, &found);
    for (size_t at = 0; at < text.size(); at += piece)
        EXPECT_EQ(0, ombrel_push_digest_list(list, text.data() + at, std::min(piece, text.size() - at)));
    EXPECT_EQ(0, ombrel_push_digest_list(list, nullptr, 0));
    EXPECT_EQ(0, ombrel_close_digest_list(list));
    return found;
}

TEST_F(DigestList, LinesAreTakenApartInPiecesOfAnySize) {
    const std::string name(longest_line - 3, 'n'), md5(32, 'a'), sha1(40, 'B'), sha256(64, '0');
    const std::pair<std::string, lines> cases[] = {
        {"", {}},
        {"ab  x\nAB *y\r\n09  z", {"ab|x", "AB|y", "09|z"}},
        {"# ab  x\n#\r\n#" + name + name + "\nab  x\n", {"ab|x"}},
        {"\n \nab x\nab\tx\nab  \nab *\n  x\nxy  z\nab\n", {"?", "?", "?", "?", "?", "?", "?", "?", "?"}},
        {"ab   x \r\r\n", {"ab| x \r"}},
        {"\\ab  a\\\\b\\nc\\rd\\\\\nab  a\\nb\n", {"ab|a\\b\nc\rd\\", "ab|a\\nb"}},
        {"\\ab  x\\\n\\ab  \\t\n\\\n", {"?", "?", "?"}},
        {std::string("ab  x\0y\nab  z", 13), {"?", "ab|z"}},
        {"MD5 (a (1)) = " + md5 + "\r\nMD5(b)= " + md5 + "\n\\MD5 (c\\nd) = " + md5 + "\n",
         {md5 + "|a (1)", md5 + "|b", md5 + "|c\nd"}},
        {"SHA1 (a) = " + sha1 + "\nSHA256 (b) = " + sha256 + "\nSHA256  (c)  =  " + sha256,
         {sha1 + "|a", sha256 + "|b", sha256 + "|c"}},
        {"MD5 (a) = " + md5.substr(1) + "g\nMD5 (a) = g" + md5.substr(1) + "\nSHA256 (a) = " + sha1,
         {"?", "?", "?"}},
        {"MD5 (a) = " + md5 + "0\nSHA1 (a) = " + md5 + "\nMD5 () = " + md5 + "\nMD5 (a) " + md5 +
             "\nMD4 (a) = " + md5 + "\nMD5 (a = " + md5 + "\nMD5 (a) = " + md5 + " \n\\MD5 (a\\t) = " + md5,
         {"?", "?", "?", "?", "?", "?", "?", "?"}},
        // The second line fits, and the last.
        {"a  " + name + "\rx\na  " + name + "\r\na  " + name + "x\r\na  " + name + "x\na  " + name + name +
             "\na  " + name,
         {"?", "a|" + name, "?", "?", "?", "a|" + name}},
    };
    for (const auto& [text, expected] : cases)
        for (const size_t piece : {size_t{1}, size_t{5}, text.size() + 1})
            EXPECT_EQ(read(text, piece), expected) << text.substr(0, 80);
}

TEST_F(DigestList, AHandlerEndsThePush) {
    lines found;
    ombrel_digest_list_t* const list = ombrel_open_digest_list(take, &found);
    EXPECT_EQ(42, ombrel_push_digest_list(list, "ab  stop\ncd  x\n", 15));
    EXPECT_EQ(0, ombrel_push_digest_list(list, "ef  y\nunended", 13));
    EXPECT_EQ(0, ombrel_close_digest_list(list));
    EXPECT_EQ(found, (lines{"ab|stop", "ef|y"}));
    EXPECT_EQ(nullptr, ombrel_open_digest_list(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_push_digest_list(nullptr, "x", 1));
    EXPECT_EQ(0, ombrel_close_digest_list(nullptr));
    ombrel_digest_entry_t entry;
    char line[] = "# ab  x";
    EXPECT_EQ(-1, ombrel_parse_digest_line(line, &entry));
    EXPECT_EQ(-1, ombrel_parse_digest_line(line, nullptr));
    EXPECT_EQ(-1, ombrel_parse_digest_line(nullptr, &entry));
}

TEST_F(DigestList, LinesAreWrittenWithTheEscapesThatTheyNeed) {
    const struct {
        const char *digits, *name, *line;
    } cases[] = {{"ab", "name", "ab  name"},
                 {"AB01", " a b*", "AB01   a b*"},
                 {"ab", "a\\b\nc\r", "\\ab  a\\\\b\\nc\\r"},
                 {"", "name", nullptr},
                 {"ab", "", nullptr},
                 {nullptr, "name", nullptr},
                 {"ab", nullptr, nullptr}};
    for (const auto& c : cases) {
        char* const line = ombrel_alloc_digest_line(c.digits, c.name);
        EXPECT_STREQ(line, c.line);
        ombrel_check_free(line);
    }
}

} // namespace
