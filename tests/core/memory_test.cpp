#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <ombrel/memory.h>

#include "support/capture.h"
#include "support/matches.h"

namespace {

// Fills at an odd address inside dots, so that a byte too many shows.
template<typename Unit, auto fill>
void expect_units(auto value) {
    const auto unit = static_cast<Unit>(value);
    for (size_t count = 0; count < 6; count++) {
        std::string area(count * sizeof unit + 2, '.');
        std::string expected = area;
        for (size_t i = 0; i < count; i++)
            memcpy(&expected[1 + i * sizeof unit], &unit, sizeof unit);
        EXPECT_EQ(static_cast<void*>(&area[1]), fill(&area[1], unit, count));
        EXPECT_EQ(expected, area) << count << " of " << sizeof unit;
    }
}

TEST(Memory, FillsWholeUnitsOnly) {
    expect_units<uint8_t, ombrel_memset8_wrapper>('A' + 256);
    expect_units<uint16_t, ombrel_memset16_wrapper>(uint16_t{0x1234});
    expect_units<uint32_t, ombrel_memset32_wrapper>(0x12345678);
    expect_units<uint64_t, ombrel_memset64_wrapper>(0x123456789ABCDEF0);
}

TEST(Memory, ReportsNullArgumentsAndGoesOn) {
    char area[1];
    ombrel_test::capture errors(stderr);
    EXPECT_EQ(nullptr, ombrel_bzero_wrapper(nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_memset_wrapper(nullptr, 1, 0));
    EXPECT_EQ(nullptr, ombrel_memcpy_wrapper(nullptr, area, 0));
    EXPECT_EQ(area, ombrel_memmove_wrapper(area, nullptr, 0));
    EXPECT_EQ(0, ombrel_memcmp_wrapper(nullptr, nullptr, 0));
    constexpr const char to[] = "s_to != \\(\\(void \\*\\)0\\)";
    constexpr const char both[] =
        "\\(s_to != \\(\\(void \\*\\)0\\)\\) && \\(s_from != \\(\\(const void \\*\\)0\\)\\)";
    std::string expected;
    for (const auto& [function, condition] : std::initializer_list<std::pair<const char*, const char*>>{
             {"bzero", to},
             {"memset", to},
             {"memcpy", both},
             {"memmove", both},
             {"memcmp", "s_left != \\(\\(const void \\*\\)0\\)"},
             {"memcmp", "s_right != \\(\\(const void \\*\\)0\\)"}})
        expected += std::string("ombrel \\[ASSERT:source/memory:ombrel_") + function +
                    "_wrapper:[0-9]+\\] <" + condition + "> [^\n]*\n";
    EXPECT_TRUE(ombrel_test::matches(errors.text(), expected));
}

TEST(Memory, CopiesAndCompares) {
    char area[] = "abcdef";
    EXPECT_EQ(area + 2, ombrel_memmove_wrapper(area + 2, area, 4));
    EXPECT_STREQ("ababcd", area);
    EXPECT_EQ(area, ombrel_memcpy_wrapper(area, "XY", 2));
    EXPECT_LT(0, ombrel_memcmp_wrapper(area, "XX", 2));
    EXPECT_EQ(area, ombrel_memset_wrapper(area, 'z', 1));
    EXPECT_EQ(area + 1, ombrel_bzero_wrapper(area + 1, 1));
    EXPECT_EQ(std::string(area, 6), std::string("z\0abcd", 6));
}

TEST(Memory, BlitsRepeatThePatternAndLeaveTails) {
    const struct {
        size_t width, unit;
        const char* row;
    } cases[] = {{5, 1, "aaaaa..."}, {5, 2, "abab...."}, {7, 4, "abcd...."}, {8, 4, "abcdabcd"},
                 {7, 3, "abcabc.."}, {2, 3, "........"}, {4, 0, "........"}, {0, 2, "........"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.row);
        char area[17] = "................";
        EXPECT_EQ(area, ombrel_memset_blit(area, "abcd", c.width, 8, c.unit, 2));
        EXPECT_EQ(std::string(c.row) + c.row, area);
    }
    char area[13] = "............";
    EXPECT_EQ(area, ombrel_memcpy_blit(area, "12345678", 3, 4, 2, 3));
    EXPECT_STREQ("123.345.567.", area);
}

TEST(Memory, ExchangesAreasLongerThanOneStep) {
    for (const size_t size : {0u, 1u, 4096u, 4097u, 10000u}) {
        std::string left(size + 1, 'l'), right(size + 1, 'r');
        EXPECT_EQ(left.data(), ombrel_exchange_memory(left.data(), right.data(), size));
        EXPECT_EQ(std::string(size, 'r') + "l", left);
        EXPECT_EQ(std::string(size, 'l') + "r", right);
    }
}

TEST(Memory, RecognisesFilledAreas) {
    for (const auto& [data, size, byte] : std::initializer_list<std::tuple<const char*, size_t, int>>{
             {nullptr, 5, 1}, {"\xFF\xFF\xFF", 3, 255}, {"\xFF", 1, -1}, {"x", 0, 'a'}})
        EXPECT_EQ(1, ombrel_is_data_fill(data, size, byte)) << size;
    for (const char* data : {"aab", "baa"})
        EXPECT_EQ(0, ombrel_is_data_fill(data, 3, 'a'));
}

TEST(Memory, ComparesDataWithItsSize) {
    const char zeros[4] = {};
    EXPECT_EQ(-1, ombrel_compare_data("abcd", 4, "abc", 3));
    EXPECT_EQ(0, ombrel_compare_data("abcd", 0, nullptr, 0));
    EXPECT_EQ(0, ombrel_compare_data("abcd", 4, "abcd", 4));
    EXPECT_GT(0, ombrel_compare_data("abcd", 4, "abce", 4));
    EXPECT_LT(0, ombrel_compare_data("abce", 4, "abcd", 4));
    EXPECT_EQ(0, ombrel_compare_data("abcd", 4, nullptr, 4)) << "a null second area equals any";
    EXPECT_EQ(0, ombrel_compare_data(nullptr, 4, zeros, 4));
    EXPECT_EQ(-1, ombrel_compare_data(nullptr, 4, "abcd", 4));
}

} // namespace
