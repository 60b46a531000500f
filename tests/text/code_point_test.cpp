#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/utf8.h>

namespace {

#if !defined(_WIN32)
void put_word(std::string& to, uint32_t word) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        to += static_cast<char>(word >> shift);
}

// Python compares: tests/text/unicode_peer.py explains where others differ.
TEST(CodePoint, IsWhatUnicodeSays) {
    if (system("python3 -c pass") != 0)
        GTEST_SKIP() << "there is no python3";
    std::string facts = ombrel_get_unicode_version() + std::string("\n");
    for (uint32_t code = 0; code <= 0x10FFFF; code++) {
        uint32_t category = 0;
        while (category < 30 && ombrel_code_point_select(code, 1u << category) == 0)
            category++;
        put_word(facts, category);
        put_word(facts, static_cast<uint32_t>(ombrel_code_point_get_columns(code, 0)));
        for (const int mapping : {def_ombrel_utf8_upper, def_ombrel_utf8_lower, def_ombrel_utf8_fold})
            put_word(facts, ombrel_code_point_change_case(code, mapping));
        put_word(facts, static_cast<uint32_t>(ombrel_code_point_select(code, def_ombrel_utf8_space)));
    }
    std::FILE* const python = popen("python3 " OMBREL_TEST_TEXT "/unicode_peer.py", "w");
    ASSERT_NE(nullptr, python);
    EXPECT_EQ(facts.size(), std::fwrite(facts.data(), 1, facts.size(), python));
    EXPECT_EQ(0, pclose(python));
}
#endif

TEST(CodePoint, HasOneCategoryWithinItsGroup) {
    constexpr uint32_t groups[] = {def_ombrel_utf8_letter, def_ombrel_utf8_mark,
                                   def_ombrel_utf8_number, def_ombrel_utf8_punctuation,
                                   def_ombrel_utf8_symbol, def_ombrel_utf8_separator};
    uint32_t all = def_ombrel_utf8_control | def_ombrel_utf8_format | def_ombrel_utf8_surrogate |
                   def_ombrel_utf8_private_use | def_ombrel_utf8_unassigned | def_ombrel_utf8_space;
    for (const uint32_t group : groups) {
        EXPECT_EQ(0u, all & group);
        all |= group;
    }
    EXPECT_EQ(0x7FFFFFFFu, all);
    EXPECT_EQ(1, ombrel_code_point_select(0xAC00, def_ombrel_utf8_letter));
    EXPECT_EQ(0, ombrel_code_point_select(0xAC00, ~uint32_t{def_ombrel_utf8_other_letter}));
    EXPECT_EQ(1, ombrel_code_point_select(0x110000, def_ombrel_utf8_unassigned));
}

TEST(CodePoint, TakesColumns) {
    struct {
        uint32_t code;
        int columns, with_wide;
    } const cases[] = {{0, -1, -1},    {'\t', -1, -1},   {'~', 1, 1},      {0x7F, -1, -1},    {0xA7, 1, 2},
                       {0x0301, 0, 0}, {0x1161, 0, 0},   {0x200D, 0, 0},   {0x2192, 1, 2},    {0x3000, 2, 2},
                       {0xAC00, 2, 2}, {0xD800, -1, -1}, {0xFF21, 2, 2},   {0xFF71, 1, 1},    {0x1F600, 2, 2},
                       {0x9FFF, 2, 2}, {0x3FFFD, 2, 2},  {0x10FFFF, 1, 1}, {0x110000, -1, -1}};
    for (const auto& [code, columns, with_wide] : cases) {
        EXPECT_EQ(columns, ombrel_code_point_get_columns(code, 0)) << std::hex << code;
        EXPECT_EQ(with_wide, ombrel_code_point_get_columns(code, def_ombrel_utf8_ambiguous_wide))
            << std::hex << code;
    }
}

TEST(CodePoint, ChangesCaseOrStays) {
    struct {
        uint32_t code, upper, lower, fold;
    } const cases[] = {{'a', 'A', 'a', 'a'},
                       {0xDF, 0xDF, 0xDF, 0xDF},
                       {0x130, 0x130, 'i', 0x130},
                       {0x131, 'I', 0x131, 0x131},
                       {0x3C2, 0x3A3, 0x3C2, 0x3C3},
                       {0x1E9E, 0x1E9E, 0xDF, 0xDF},
                       {0x1F88, 0x1F88, 0x1F80, 0x1F80},
                       {0x1F80, 0x1F88, 0x1F80, 0x1F80},
                       {0xFB00, 0xFB00, 0xFB00, 0xFB00},
                       {0x10400, 0x10400, 0x10428, 0x10428},
                       {0x110000, 0x110000, 0x110000, 0x110000}};
    for (const auto& [code, upper, lower, fold] : cases) {
        EXPECT_EQ(upper, ombrel_code_point_change_case(code, def_ombrel_utf8_upper)) << std::hex << code;
        EXPECT_EQ(lower, ombrel_code_point_change_case(code, def_ombrel_utf8_lower)) << std::hex << code;
        EXPECT_EQ(fold, ombrel_code_point_change_case(code, def_ombrel_utf8_fold)) << std::hex << code;
        EXPECT_EQ(code, ombrel_code_point_change_case(code, 3));
    }
}

} // namespace
