#include <gtest/gtest.h>

#include <ombrel/pattern.h>

namespace {

TEST(PatternTest, MatchesToTheLetter) {
    const struct {
        const char *pattern, *s;
        int expected;
    } cases[] = {
        {"eth*", "eth0", 0}, {"*0", "eth0", 0},    {"e?h0", "eth0", 0},   {"e?h0", "eh0", -1},
        {"*a", "bab", -1},   {"*a", "bbb", 0},     {"*.txt", "a.txt", 0}, {"*.txt", "a.b.txt", -1},
        {"a\\*", "a*", 0},   {"a\\*", "ab", -1},   {"*\\*", "ab*", 0},    {"a*\\", "abc", 0},
        {"ab\\", "ab", 0},   {"ab\\", "ab\\", -1}, {"*?", "ab?", 0},      {"*?", "abc", 0},
        {"*?c", "ab?c", 0},  {"**", "a*", 0},      {"**b", "a*b", 0},     {"", "", 0},
        {"", "a", -1},       {"*", "", 0},         {"?", "", -1},         {"a", "", -1},
        {"a", "ab", -1},     {"ab", "a", -1},      {"A", "a", -1},        {"*ab", "xxab", 0},
        {"*x?", "ab", -1},   {"\\\\", "\\", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ombrel_check_pattern(c.pattern, c.s), c.expected) << c.pattern << " on " << c.s;
    EXPECT_EQ(0, ombrel_check_case_pattern("E*H", "eth"));
    EXPECT_EQ(-1, ombrel_check_case_pattern("[", "{")) << "only letters have a case";
    EXPECT_EQ(0, ombrel_check_pattern("*", nullptr));
    EXPECT_EQ(-1, ombrel_check_pattern(nullptr, "a"));
    EXPECT_EQ(-1, ombrel_check_case_pattern(nullptr, "a"));
    EXPECT_EQ(0, ombrel_check_case_pattern("*", nullptr));
}

TEST(PatternTest, MatchesLists) {
    EXPECT_EQ(0, ombrel_check_pattern_list("bond*|eth*|en*|wlan*|ra*|*", "|", "lo"));
    EXPECT_EQ(-1, ombrel_check_pattern_list("bond*|eth*", "|", "lo"));
    EXPECT_EQ(0, ombrel_check_pattern_list("a||b", "|", nullptr))
        << "an empty pattern matches the empty string";
    EXPECT_EQ(-1, ombrel_check_pattern_list("a|", "|", ""));
    EXPECT_EQ(-1, ombrel_check_pattern_list("", "|", ""));
    EXPECT_EQ(-1, ombrel_check_pattern_list(nullptr, "|", ""));
    EXPECT_EQ(-1, ombrel_check_pattern_list(" a", "|", "a")) << "spaces belong to the patterns";
    EXPECT_EQ(-1, ombrel_check_pattern_list("ETH*", "|", "eth0"));
    EXPECT_EQ(0, ombrel_check_case_pattern_list("LO|ETH*", "|", "eth0"));
}

} // namespace
