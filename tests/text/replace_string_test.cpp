#include <string>

#include <ombrel/replace_string.h>
#include <ombrel/string.h>

#include "support/capture.h"
#include "support/heap_balance.h"

namespace {

class ReplaceStringTest : public ombrel_test::balanced_test {};

std::string taken(char* s) {
    std::string text = s;
    ombrel_free(s);
    return text;
}

TEST_F(ReplaceStringTest, ReplacesEveryOccurrenceOnce) {
    const struct {
        const char *s, *old_string, *new_string, *expected;
    } cases[] = {
        {"aab", "ab", "x", "ax"}, // a true occurrence, though the one-pass search misses it
        {"aaa", "aa", "b", "ba"},     {"abab", "ab", "", ""},  {"aXbX", "X", nullptr, "ab"},
        {"abc", "q", "x", "abc"},     {"abc", "", "x", "abc"}, {"", "a", "b", ""},
        {"aXXXb", "XX", "X", "aXXb"}, {"ab", "b", "b", "ab"},
    };
    for (const auto& c : cases) {
        std::string in_place = c.s;
        EXPECT_STREQ(ombrel_replace_all_string(in_place.data(), c.old_string, c.new_string), c.expected)
            << c.s;
        EXPECT_EQ(taken(ombrel_replace_all_string_alloc(c.s, c.old_string, c.new_string)), c.expected) << c.s;
        char* consumed = ombrel_replace_all_string_realloc(ombrel_strdup(c.s), c.old_string, c.new_string);
        EXPECT_EQ(taken(consumed), c.expected) << c.s;
    }
    EXPECT_EQ("a<->b<->", taken(ombrel_replace_all_string_alloc("a-b-", "-", "<->")));
}

TEST_F(ReplaceStringTest, KeepsTheStringWithNothingToReplace) {
    char* s = ombrel_strdup("abc");
    EXPECT_EQ(ombrel_replace_all_string_realloc(s, "x", "yy"), s);
    EXPECT_EQ(ombrel_replace_to_xml_entity_reference_realloc(s), s);
    ombrel_free(s);
    EXPECT_EQ(nullptr, ombrel_replace_all_string(nullptr, "a", "b"));
    EXPECT_EQ(nullptr, ombrel_replace_all_string_alloc(nullptr, "a", "b"));
    EXPECT_EQ(nullptr, ombrel_replace_all_string_realloc(nullptr, "a", "b"));
    EXPECT_EQ(nullptr, ombrel_replace_to_xml_entity_reference_alloc(nullptr));
    EXPECT_EQ(nullptr, ombrel_replace_to_xml_entity_reference_realloc(nullptr));
}

TEST_F(ReplaceStringTest, ReportsALongerReplacementInPlace) {
    std::string s = "aaa";
    ombrel_test::capture errors(stderr);
    ombrel_replace_all_string(s.data(), "a", "bb");
    const std::string report = errors.text();
    EXPECT_EQ("aaa", s);
    EXPECT_NE(report.find("ombrel [ASSERT:replace_string:__ombrel_replace_all_string:50] "
                          "<MUST BE ::: strlen(new_string) <= strlen(old_string) !>"),
              std::string::npos)
        << report;
}

TEST_F(ReplaceStringTest, EscapesXmlInTheFixedOrder) {
    const char* cases[][2] = {{"a<b", "a&amp;lt;b"},
                              {"Tom & 'Jerry'", "Tom &amp; &apos;Jerry&apos;"},
                              {"\">\"", "&quot;&amp;gt;&quot;"},
                              {"plain", "plain"}};
    for (const auto& c : cases) {
        EXPECT_EQ(taken(ombrel_replace_to_xml_entity_reference_alloc(c[0])), c[1]);
        EXPECT_EQ(taken(ombrel_replace_to_xml_entity_reference_realloc(ombrel_strdup(c[0]))), c[1]);
    }
}

} // namespace
