// Strings, their lists and paths, and the allocating formatter.
#include <ombrel/charset.h>
#include <ombrel/charset_detect.h>
#include <ombrel/path.h>
#include <ombrel/percent.h>
#include <ombrel/printf.h>
#include <ombrel/replace_string.h>
#include <ombrel/string.h>
#include <ombrel/string_node.h>
#include <ombrel/utf8.h>
#include <ombrel/word.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

constexpr const char special[] = "<>&'\"", escaped[] = "&amp;lt;&amp;gt;&amp;&apos;&quot;";

OMBREL_FAILURES(Text, strings) {
    text_or_null(fail, "abc", [] { return ombrel_strdup("abc"); });
    text_or_null(fail, "ab", [] { return ombrel_strndup("abc", 2); });
    text_or_null(fail, "-1,234,567", [] { return ombrel_comma_string_alloc_tag("-1234567", "t", 1); });
    const char* cursor = "  ab,cd";
    text_or_null(fail, "ab", [&cursor] { return ombrel_get_word_sep_alloc(1, ",", &cursor); });
    text_or_null(fail, "7 of 9", [] { return ombrel_alloc_sprintf("%d of %d", 7, 9); });
    const std::string longest(2000, 'x');
    text_or_null(fail, longest.c_str(), [&] { return ombrel_alloc_sprintf("%s", longest.c_str()); });
    text_or_null(fail, "xxbxx", [] { return ombrel_replace_all_string_alloc("aba", "a", "xx"); });
    text_or_null(fail, "aba", [] { return ombrel_replace_all_string_alloc("aba", "q", "xx"); });
    text_or_null(fail, escaped, [] { return ombrel_replace_to_xml_entity_reference_alloc(special); });
}

OMBREL_FAILURES(Text, characters) {
    text_or_null(fail, "a\xEF\xBF\xBD", [] { return ombrel_alloc_utf8_repaired("a\xFF", 2, nullptr); });
    text_or_null(fail, "AB", [] { return ombrel_alloc_utf8_case("ab", 2, def_ombrel_utf8_upper, nullptr); });
    ombrel_close_charset_detector(fail.during([] { return ombrel_open_charset_detector(); }));
}

OMBREL_FAILURES(Text, converted_texts) {
    null_when_hit(fail, ombrel_close_charset_converter, [] {
        return ombrel_open_charset_converter(def_ombrel_charset_cp949, def_ombrel_charset_utf_8, nullptr);
    });
    // Each character becomes ten, so that the text grows more than once.
    ombrel_charset_options_t options;
    ombrel_init_charset_options(&options);
    options.m_malformed = def_ombrel_charset_replace;
    options.m_replacement = "0123456789";
    std::string expected;
    for (int i = 0; i < 40; i++)
        expected += options.m_replacement;
    text_or_null(fail, expected.c_str(), [&] {
        const std::string wrong(40, '\xFF');
        return ombrel_alloc_converted_text(def_ombrel_charset_utf_8, def_ombrel_charset_us_ascii,
                                           wrong.data(), wrong.size(), &options, nullptr, nullptr);
    });
}

// The old string is gone in any case.
OMBREL_FAILURES(Text, consumed_strings) {
    char* old = ombrel_strdup("old");
    text_or_null(fail, "new", [old] { return ombrel_realloc_strdup_tag(old, "new", "t", 1); });
    old = ombrel_strdup("old");
    text_or_null(fail, "ne", [old] { return ombrel_realloc_strndup_tag(old, "new", 2, "t", 1); });
    old = ombrel_strdup("old");
    text_or_null(fail, "7", [old] { return ombrel_realloc_sprintf(old, "%d", 7); });
}

// The consuming forms give the string as it was when memory runs out.
template<typename Replace>
void replaced_or_unchanged(injection& fail, const char* before, const char* after, Replace replace) {
    char* text = ombrel_strdup(before);
    char* result = fail.during([&] { return replace(text); });
    ASSERT_NE(nullptr, result);
    EXPECT_STREQ(fail.hit() ? before : after, result);
    EXPECT_EQ(fail.hit(), result == text);
    ombrel_free(result);
}

OMBREL_FAILURES(Text, replace_realloc) {
    replaced_or_unchanged(fail, "aba", "xxbxx",
                          [](char* text) { return ombrel_replace_all_string_realloc(text, "a", "xx"); });
    replaced_or_unchanged(fail, special, escaped,
                          [](char* text) { return ombrel_replace_to_xml_entity_reference_realloc(text); });
}

OMBREL_FAILURES(Text, percent) {
    text_or_null(fail, "a+b%2Fc", [] { return ombrel_encode_percent_string("a b/c"); });
    text_or_null(fail, "a b c", [] { return ombrel_decode_percent_string("a%20b+c"); });
    const std::string text(3000, '/');
    std::string expected;
    for (size_t i = 0; i < text.size(); i++)
        expected += "%2F";
    text_or_null(fail, expected.c_str(), [&] { return ombrel_encode_percent_string(text.c_str()); });
}

OMBREL_FAILURES(Text, string_nodes) {
    null_when_hit(fail, ombrel_free_string_node, [] { return ombrel_string_to_node("a,,b", ","); });
    null_when_hit(fail, ombrel_free_string_node, [] { return ombrel_string_to_node("a,,b", nullptr); });
    ombrel_string_node_t* list = ombrel_string_to_node("a,,b", ",");
    text_or_null(fail, "a--b", [list] { return ombrel_node_to_string(list, "-", 0); });
    ombrel_free_string_node(list);
}

OMBREL_FAILURES(Text, paths) {
    text_or_null(fail, "lib", [] { return ombrel_alloc_basename("/usr/lib/"); });
    text_or_null(fail, "/usr", [] { return ombrel_alloc_dirname("/usr/lib/"); });
    null_when_hit(fail, ombrel_free_path_node, [] { return ombrel_path_to_node("/a/./b//../c"); });
    ombrel_string_node_t* list = ombrel_path_to_node("/a/./b//../c");
    text_or_null(fail, "/a/c", [list] { return ombrel_node_to_path(list, 1); });
    null_when_hit(fail, ombrel_free_path_node, [list] { return ombrel_copy_path_node(list); });
    ombrel_free_path_node(list);
}

} // namespace
} // namespace ombrel_test
