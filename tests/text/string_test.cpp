#include <cstring>
#include <string>

#include <ombrel/string.h>

#include "support/heap_balance.h"

namespace {

class StringTest : public ombrel_test::balanced_test {};

/// A writable copy for the functions that work in place.
std::string in_place(char* (*change)(char*), std::string text) {
    return change(text.data());
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

TEST_F(StringTest, TellsDecimalStrings) {
    for (const char* yes : {"0", "-12", "1+2-", "+"})
        EXPECT_EQ(ombrel_is_decimal_string(yes), 1) << yes;
    for (const char* no : {"", "1.5", "0x1", " 1"})
        EXPECT_EQ(ombrel_is_decimal_string(no), 0) << no;
    EXPECT_EQ(ombrel_is_decimal_string(nullptr), 0);
}

TEST_F(StringTest, FoldsAsciiOnly) {
    EXPECT_EQ(in_place(ombrel_strupper, "az{`\xe9@Z"), "AZ{`\xe9@Z");
    EXPECT_EQ(in_place(ombrel_strlower, "AZ[@\xc9`z"), "az[@\xc9`z");
    EXPECT_EQ(ombrel_strupper(nullptr), nullptr);
}

TEST_F(StringTest, TrimsAndSkips) {
    EXPECT_EQ(in_place(ombrel_trim_string, " \t\v\f\r\n a b \n"), "a b");
    EXPECT_EQ(in_place(ombrel_trim_string_left, "  a "), "a ");
    EXPECT_EQ(in_place(ombrel_trim_string_right, "  a "), "  a");
    EXPECT_EQ(in_place(ombrel_trim_string, " \t "), "");
    const struct {
        char* (*trim)(char* s, const char* charlist);
        const char* left;
    } ends[] = {{ombrel_trim_charlist, "axb"},
                {ombrel_trim_charlist_left, "axbyx"},
                {ombrel_trim_charlist_right, "xyaxb"}};
    for (const auto& end : ends) {
        std::string listed = "xyaxbyx";
        EXPECT_STREQ(end.trim(listed.data(), "xy"), end.left);
        listed = "xyx";
        EXPECT_STREQ(end.trim(listed.data(), "xy"), "");
    }
    EXPECT_EQ(ombrel_trim_charlist(nullptr, "x"), nullptr);
    EXPECT_STREQ(ombrel_skip_charlist("--+a", "+-"), "a");
    EXPECT_STREQ(ombrel_skip_space(" \n"), "");
    EXPECT_EQ(ombrel_skip_space(nullptr), nullptr);
    EXPECT_EQ(ombrel_is_charlist(0, "a"), 0) << "the terminator is no character of a list";
    EXPECT_EQ(ombrel_is_charlist('\xe9', "\xe9"), 1);
}

TEST_F(StringTest, ComparesWithLists) {
    const struct {
        const char *list, *separators, *s;
        size_t limit;
        int ignore_case, expected;
    } cases[] = {
        {"a|b|cd", "|", "cd", 0, 0, 0},
        {"a|b|cd", "|", "c", 0, 0, 'd'},
        {"a|bX", "|", "b", 1, 0, 0},
        {"A|CD", "|", "cd", 0, 1, 0},
        {"a|c", "|", "C", 0, 0, 'c' - 'C'},
        {"", "|", "", 0, 0, -1},
        {"a||b", "|", "", 0, 0, 0},
        {"a|", "|", "", 0, 0, 'a'},
        {"a|b", nullptr, "a|b", 0, 0, 0},
        {"a|b", nullptr, "a", 0, 0, '|'},
        {" a", ",", "a", 0, 0, ' ' - 'a'},
        {"_", nullptr, "a", 0, 1, '_' - 'A'},
        {"\xff", nullptr, "a", 0, 0, 0xff - 'a'},
        {nullptr, nullptr, nullptr, 0, 0, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ombrel_compare_string_ex(c.list, c.separators, c.s, c.limit, c.ignore_case), c.expected)
            << (c.list ? c.list : "(null)") << " and " << (c.s ? c.s : "(null)");
    EXPECT_EQ(ombrel_compare_string("a|CD", "|", "cd"), 'C' - 'c');
    EXPECT_EQ(ombrel_compare_string("a|cd", "|", "cd"), 0);
    EXPECT_EQ(ombrel_compare_case_string("a|CD", "|", "cd"), 0);
    EXPECT_EQ(ombrel_compare_case_string("a|CDE", "|", "cd"), 'E');
    EXPECT_EQ(ombrel_compare_string_limit("a", "|", "b", 0), 0);
    EXPECT_EQ(ombrel_compare_case_string_limit("abX|q", "|", "ABy", 2), 0);
}

TEST_F(StringTest, Duplicates) {
    char* s = ombrel_strndup("abc", 2);
    EXPECT_STREQ(s, "ab");
    s = ombrel_realloc_strdup(s, "longer");
    EXPECT_STREQ(s, "longer");
    s = ombrel_realloc_strndup(s, "abc", 9);
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(ombrel_realloc_strdup(s, nullptr), nullptr);
    const char unterminated[] = {'x', 'y'};
    char* bounded = ombrel_strndup(unterminated, 2);
    EXPECT_STREQ(bounded, "xy");
    ombrel_free(bounded);
}

TEST_F(StringTest, ReadsFractions) {
    const struct {
        const char* s;
        int numerator, denominator;
    } cases[] = {{"30000/1001", 30000, 1001}, {"25", 25, 1}, {" -1/", -1, 1}, {"/3", 0, 3}, {"1/2/3", 1, 2}};
    for (const auto& c : cases) {
        int n = 99, d = 99;
        EXPECT_EQ(ombrel_fraction_string_to_int(c.s, &n, &d), 0);
        EXPECT_EQ(n, c.numerator) << c.s;
        EXPECT_EQ(d, c.denominator) << c.s;
    }
    EXPECT_EQ(ombrel_fraction_string_to_int(nullptr, nullptr, nullptr), -1);
}

TEST_F(StringTest, StripsTerminalCodes) {
    EXPECT_EQ(in_place(ombrel_strip_ansi_code, "\x1b[1;31mred\x1b[0m!"), "red!");
    EXPECT_EQ(in_place(ombrel_strip_ansi_code, "a\x1b[?25lb"), "a25lb");
    EXPECT_EQ(in_place(ombrel_strip_ansi_code, "cut\x1b[31"), "cut");
    EXPECT_EQ(in_place(ombrel_strip_ansi_code, "end\x1b"), "end");
    EXPECT_EQ(in_place(ombrel_strip_ansi_code, "\x1b\x1b[0mx"), "[0mx");
}

TEST_F(StringTest, GroupsThousands) {
    const char* cases[][2] = {
        {"1234567", "1,234,567"},     {"-1234", "-1,234"}, {"123", "123"}, {"", ""}, {"-", "-"},
        {"$1000.2500", "$1,000.2500"}};
    for (const auto& c : cases) {
        char* made = ombrel_comma_string_alloc(c[0]);
        EXPECT_STREQ(made, c[1]);
        ombrel_free(made);
    }
    char out[8];
    EXPECT_EQ(ombrel_comma_string(out, 6, "-1234"), nullptr);
    EXPECT_STREQ(ombrel_comma_string(out, 7, "-1234"), "-1,234");
}

TEST_F(StringTest, CopiesWithinBounds) {
    char out[6];
    memset(out, '#', sizeof out);
    ombrel_strncpy_safe(out, "abcdef", 5);
    EXPECT_EQ(memcmp(out, "abcd\0#", 6), 0);
    ombrel_strncpy_safe(out, "x", 5);
    EXPECT_EQ(memcmp(out, "x\0\0\0\0#", 6), 0);
    ombrel_strncpy_safe(out, "abc", 0);
    EXPECT_EQ(out[0], 'x');
    ombrel_strncpy(out, "abcdef", 3);
    EXPECT_EQ(memcmp(out, "abc\0\0#", 6), 0);
    EXPECT_STREQ(ombrel_strncat(out, "defg", 1), "abcd");
    EXPECT_STREQ(ombrel_strcat(ombrel_strcpy(out, "ab"), "cd"), "abcd");
}

TEST_F(StringTest, SearchesInOnePass) {
    EXPECT_STREQ(ombrel_strstr("cab!", "ab"), "ab!");
    EXPECT_EQ(ombrel_strstr("aab", "ab"), nullptr);
    EXPECT_EQ(ombrel_strstr("a", ""), nullptr);
    EXPECT_EQ(ombrel_strstr("", "a"), nullptr);
    EXPECT_STREQ(ombrel_strcasestr("xAbC", "aBc"), "AbC");
    EXPECT_EQ(ombrel_strcasestr("AaB", "ab"), nullptr);
}

TEST_F(StringTest, BehavesAsTheStandardOnesAndTakesNull) {
    EXPECT_EQ(sign(ombrel_strcasecmp("abC", "ABc")), 0);
    EXPECT_EQ(ombrel_strcasecmp("_", "a"), '_' - 'A') << "folded to upper case, not to lower";
    EXPECT_EQ(ombrel_strncasecmp("abX", "ABY", 2), 0);
    EXPECT_GT(ombrel_strcmp("\xff", "a"), 0);
    EXPECT_EQ(ombrel_strncmp("abX", "abY", 2), 0);
    EXPECT_EQ(ombrel_strlen(nullptr), 0u);
    EXPECT_EQ(ombrel_strnlen("abc", 2), 2u);
    EXPECT_EQ(ombrel_strcmp(nullptr, ""), 0);
    EXPECT_EQ(ombrel_strchr(nullptr, 'a'), nullptr);
    EXPECT_EQ(ombrel_strcspn("ab", nullptr), 2u);
    EXPECT_EQ(ombrel_strcspn("ab-c", "c-"), 2u);
    EXPECT_EQ(ombrel_strspn("abac", "ab"), 3u);
    EXPECT_EQ(ombrel_strspn("ab", nullptr), 0u);
    EXPECT_STREQ(ombrel_strrchr("a/b/c", '/'), "/c");
    EXPECT_STREQ(ombrel_strpbrk("key=value", ":="), "=value");
    EXPECT_STREQ(ombrel_check_string(nullptr), "");
    EXPECT_STREQ(ombrel_check_string_ex(nullptr, "f"), "f");
}

} // namespace
