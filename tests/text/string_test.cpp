#include <cstring>
#include <iomanip>
#include <sstream>
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
        EXPECT_EQ(1, ombrel_is_decimal_string(yes)) << yes;
    for (const char* no : {"", "1.5", "0x1", " 1"})
        EXPECT_EQ(0, ombrel_is_decimal_string(no)) << no;
    EXPECT_EQ(0, ombrel_is_decimal_string(nullptr));
}

TEST_F(StringTest, FoldsAsciiOnly) {
    EXPECT_EQ("AZ{`\xe9@Z", in_place(ombrel_strupper, "az{`\xe9@Z"));
    EXPECT_EQ("az[@\xc9`z", in_place(ombrel_strlower, "AZ[@\xc9`z"));
    EXPECT_EQ(nullptr, ombrel_strupper(nullptr));
}

TEST_F(StringTest, TrimsAndSkips) {
    EXPECT_EQ("a b", in_place(ombrel_trim_string, " \t\v\f\r\n a b \n"));
    EXPECT_EQ("a ", in_place(ombrel_trim_string_left, "  a "));
    EXPECT_EQ("  a", in_place(ombrel_trim_string_right, "  a "));
    EXPECT_EQ("", in_place(ombrel_trim_string, " \t "));
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
        EXPECT_STREQ("", end.trim(listed.data(), "xy"));
    }
    EXPECT_EQ(nullptr, ombrel_trim_charlist(nullptr, "x"));
    EXPECT_STREQ("a", ombrel_skip_charlist("--+a", "+-"));
    EXPECT_STREQ("", ombrel_skip_space(" \n"));
    EXPECT_EQ(nullptr, ombrel_skip_space(nullptr));
    EXPECT_EQ(0, ombrel_is_charlist(0, "a")) << "the terminator is no character of a list";
    EXPECT_EQ(1, ombrel_is_charlist('\xe9', "\xe9"));
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
    EXPECT_EQ(0, ombrel_compare_string("a|cd", "|", "cd"));
    EXPECT_EQ(0, ombrel_compare_case_string("a|CD", "|", "cd"));
    EXPECT_EQ('E', ombrel_compare_case_string("a|CDE", "|", "cd"));
    EXPECT_EQ(0, ombrel_compare_string_limit("a", "|", "b", 0));
    EXPECT_EQ(0, ombrel_compare_case_string_limit("abX|q", "|", "ABy", 2));
}

TEST_F(StringTest, Duplicates) {
    char* s = ombrel_strndup("abc", 2);
    EXPECT_STREQ("ab", s);
    s = ombrel_realloc_strdup(s, "longer");
    EXPECT_STREQ("longer", s);
    s = ombrel_realloc_strndup(s, "abc", 9);
    EXPECT_STREQ("abc", s);
    EXPECT_EQ(nullptr, ombrel_realloc_strdup(s, nullptr));
    const char unterminated[] = {'x', 'y'};
    char* bounded = ombrel_strndup(unterminated, 2);
    EXPECT_STREQ("xy", bounded);
    ombrel_free(bounded);
}

TEST_F(StringTest, ReadsFractions) {
    std::istringstream rows(R"(30000/1001 30000 1001    25 25 1    " -1/" -1 1    /3 0 3    1/2/3 1 2)");
    std::string text;
    for (int numerator, denominator; rows >> std::quoted(text) >> numerator >> denominator;) {
        int n = 99, d = 99;
        EXPECT_EQ(0, ombrel_fraction_string_to_int(text.c_str(), &n, &d));
        EXPECT_EQ(numerator, n) << text;
        EXPECT_EQ(denominator, d) << text;
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(-1, ombrel_fraction_string_to_int(nullptr, nullptr, nullptr));
}

TEST_F(StringTest, StripsTerminalCodes) {
    EXPECT_EQ("red!", in_place(ombrel_strip_ansi_code, "\x1b[1;31mred\x1b[0m!"));
    EXPECT_EQ("a25lb", in_place(ombrel_strip_ansi_code, "a\x1b[?25lb"));
    EXPECT_EQ("cut", in_place(ombrel_strip_ansi_code, "cut\x1b[31"));
    EXPECT_EQ("end", in_place(ombrel_strip_ansi_code, "end\x1b"));
    EXPECT_EQ("[0mx", in_place(ombrel_strip_ansi_code, "\x1b\x1b[0mx"));
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
    EXPECT_EQ(nullptr, ombrel_comma_string(out, 6, "-1234"));
    EXPECT_STREQ("-1,234", ombrel_comma_string(out, 7, "-1234"));
}

TEST_F(StringTest, CopiesWithinBounds) {
    char out[6];
    memset(out, '#', sizeof out);
    ombrel_strncpy_safe(out, "abcdef", 5);
    EXPECT_EQ(0, memcmp(out, "abcd\0#", 6));
    ombrel_strncpy_safe(out, "x", 5);
    EXPECT_EQ(0, memcmp(out, "x\0\0\0\0#", 6));
    ombrel_strncpy_safe(out, "abc", 0);
    EXPECT_EQ('x', out[0]);
    ombrel_strncpy(out, "abcdef", 3);
    EXPECT_EQ(0, memcmp(out, "abc\0\0#", 6));
    EXPECT_STREQ("abcd", ombrel_strncat(out, "defg", 1));
    EXPECT_STREQ("abcd", ombrel_strcat(ombrel_strcpy(out, "ab"), "cd"));
}

TEST_F(StringTest, SearchesInOnePass) {
    EXPECT_STREQ("ab!", ombrel_strstr("cab!", "ab"));
    EXPECT_EQ(nullptr, ombrel_strstr("aab", "ab"));
    EXPECT_EQ(nullptr, ombrel_strstr("a", ""));
    EXPECT_EQ(nullptr, ombrel_strstr("", "a"));
    EXPECT_STREQ("AbC", ombrel_strcasestr("xAbC", "aBc"));
    EXPECT_EQ(nullptr, ombrel_strcasestr("AaB", "ab"));
}

TEST_F(StringTest, TakesNullForNoString) {
    char* (*const changes[])(char*) = {ombrel_strupper,          ombrel_strlower,    ombrel_trim_string_left,
                                       ombrel_trim_string_right, ombrel_trim_string, ombrel_strip_ansi_code};
    for (const auto change : changes)
        EXPECT_EQ(nullptr, change(nullptr));
    const struct {
        char* (*trim)(char* s, const char* charlist);
        const char* left;
    } trims[] = {
        {ombrel_trim_charlist, "a"}, {ombrel_trim_charlist_left, "a "}, {ombrel_trim_charlist_right, " a"}};
    for (const auto& [trim, left] : trims) {
        EXPECT_EQ(nullptr, trim(nullptr, "x"));
        std::string spaced = " a ";
        EXPECT_STREQ(left, trim(spaced.data(), nullptr)) << "no list is that of white space";
    }
    EXPECT_EQ(nullptr, ombrel_skip_charlist(nullptr, "x"));
    EXPECT_STREQ("a", ombrel_skip_charlist(" a", nullptr));
    EXPECT_EQ(1, ombrel_is_charlist('\t', nullptr));
    EXPECT_EQ(0, ombrel_is_charlist('x', nullptr));
    char out[4] = "abc";
    EXPECT_EQ(nullptr, ombrel_comma_string(nullptr, sizeof out, "1"));
    EXPECT_EQ(nullptr, ombrel_comma_string(out, sizeof out, nullptr));
    EXPECT_EQ(nullptr, ombrel_comma_string_alloc(nullptr));
    EXPECT_EQ(nullptr, ombrel_strdup(nullptr));
    EXPECT_EQ(nullptr, ombrel_strndup(nullptr, 3));
    EXPECT_EQ(nullptr, ombrel_realloc_strndup(nullptr, nullptr, 3));
    int number = 7;
    EXPECT_EQ(0, ombrel_fraction_string_to_int("3/4", &number, nullptr));
    EXPECT_EQ(3, number);
    EXPECT_EQ(0, ombrel_fraction_string_to_int("3/4", nullptr, &number));
    EXPECT_EQ(4, number);
    EXPECT_EQ(nullptr, ombrel_strcpy(nullptr, "a"));
    EXPECT_EQ(nullptr, ombrel_strncpy(nullptr, "a", 1));
    EXPECT_EQ(nullptr, ombrel_strncpy_safe(nullptr, "a", 1));
    EXPECT_EQ(nullptr, ombrel_strcat(nullptr, "a"));
    EXPECT_EQ(nullptr, ombrel_strncat(nullptr, "a", 1));
    EXPECT_STREQ("abc", ombrel_strcat(out, nullptr));
    EXPECT_STREQ("abc", ombrel_strncat(out, nullptr, 1));
    ombrel_strncpy(out, nullptr, 2);
    EXPECT_EQ(0, memcmp(out, "\0\0c", 4));
    EXPECT_STREQ("", ombrel_strcpy(out, nullptr));
    EXPECT_EQ(0u, ombrel_strnlen(nullptr, 2));
    EXPECT_EQ(nullptr, ombrel_strrchr(nullptr, 'a'));
    EXPECT_EQ(nullptr, ombrel_strpbrk(nullptr, "a"));
    EXPECT_EQ(nullptr, ombrel_strpbrk("a", nullptr));
    EXPECT_EQ(0u, ombrel_strspn(nullptr, "a") + ombrel_strcspn(nullptr, "a"));
    for (const auto find : {ombrel_strstr, ombrel_strcasestr}) {
        EXPECT_EQ(nullptr, find(nullptr, "a"));
        EXPECT_EQ(nullptr, find("a", nullptr));
    }
    EXPECT_LT(ombrel_strcmp(nullptr, "a"), 0);
    EXPECT_GT(ombrel_strncmp("a", nullptr, 1), 0);
    EXPECT_LT(ombrel_strcasecmp(nullptr, "a"), 0);
    EXPECT_GT(ombrel_strncasecmp("a", nullptr, 1), 0);
    EXPECT_EQ(0, ombrel_strncasecmp("a", nullptr, 0));
}

TEST_F(StringTest, BehavesAsTheStandardOnesAndTakesNull) {
    EXPECT_EQ(0, sign(ombrel_strcasecmp("abC", "ABc")));
    EXPECT_EQ(ombrel_strcasecmp("_", "a"), '_' - 'A') << "folded to upper case, not to lower";
    EXPECT_EQ(0, ombrel_strncasecmp("abX", "ABY", 2));
    EXPECT_GT(ombrel_strcmp("\xff", "a"), 0);
    EXPECT_EQ(0, ombrel_strncmp("abX", "abY", 2));
    EXPECT_EQ(0u, ombrel_strlen(nullptr));
    EXPECT_EQ(2u, ombrel_strnlen("abc", 2));
    EXPECT_EQ(0, ombrel_strcmp(nullptr, ""));
    EXPECT_EQ(nullptr, ombrel_strchr(nullptr, 'a'));
    EXPECT_EQ(2u, ombrel_strcspn("ab", nullptr));
    EXPECT_EQ(2u, ombrel_strcspn("ab-c", "c-"));
    EXPECT_EQ(3u, ombrel_strspn("abac", "ab"));
    EXPECT_EQ(0u, ombrel_strspn("ab", nullptr));
    EXPECT_STREQ("/c", ombrel_strrchr("a/b/c", '/'));
    EXPECT_STREQ("=value", ombrel_strpbrk("key=value", ":="));
    EXPECT_STREQ("", ombrel_check_string(nullptr));
    EXPECT_STREQ("f", ombrel_check_string_ex(nullptr, "f"));
}

} // namespace
