#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/memory.h>

#include "support/capture.h"

namespace {

using ombrel_test::capture;

std::string bytes(std::initializer_list<int> values) {
    std::string result;
    for (const int value : values)
        result.push_back(static_cast<char>(value));
    return result;
}

// Fills at an odd address inside dots and gives back everything, so that a byte too many shows.
template<typename Fill>
std::string filled(size_t room, Fill fill) {
    std::string area(room + 2, '.');
    EXPECT_EQ(static_cast<void*>(&area[1]), fill(&area[1]));
    return area;
}

template<typename Unit>
std::string units(Unit value, size_t count) {
    std::string result;
    for (size_t i = 0; i < count; i++)
        result.append(reinterpret_cast<const char*>(&value), sizeof value);
    return result;
}

std::string dotted(const std::string& inner) {
    std::string result(1, '.');
    result += inner;
    return result += '.';
}

TEST(Memory, FillsWholeUnitsOnly) {
    for (size_t count = 0; count < 6; count++) {
        SCOPED_TRACE(count);
        EXPECT_EQ(dotted(std::string(count, 'A')),
                  filled(count, [&](void* to) { return ombrel_memset8_wrapper(to, 'A' + 256, count); }));
        EXPECT_EQ(dotted(units<uint16_t>(0x1234, count)),
                  filled(count * 2, [&](void* to) { return ombrel_memset16_wrapper(to, 0x1234, count); }));
        EXPECT_EQ(dotted(units<uint32_t>(0x12345678, count)), filled(count * 4, [&](void* to) {
                      return ombrel_memset32_wrapper(to, 0x12345678, count);
                  }));
        EXPECT_EQ(dotted(units<uint64_t>(0x123456789ABCDEF0, count)), filled(count * 8, [&](void* to) {
                      return ombrel_memset64_wrapper(to, 0x123456789ABCDEF0, count);
                  }));
    }
}

TEST(Memory, ReportsNullArgumentsAndGoesOn) {
    char area[1];
    capture errors(stderr);
    EXPECT_EQ(nullptr, ombrel_bzero_wrapper(nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_memset_wrapper(nullptr, 1, 0));
    EXPECT_EQ(nullptr, ombrel_memcpy_wrapper(nullptr, area, 0));
    EXPECT_EQ(area, ombrel_memmove_wrapper(area, nullptr, 0));
    EXPECT_EQ(0, ombrel_memcmp_wrapper(nullptr, nullptr, 0));
    const char* reports[][2] = {
        {"ombrel_bzero_wrapper", "s_to != ((void *)0)"},
        {"ombrel_memset_wrapper", "s_to != ((void *)0)"},
        {"ombrel_memcpy_wrapper", "(s_to != ((void *)0)) && (s_from != ((const void *)0))"},
        {"ombrel_memmove_wrapper", "(s_to != ((void *)0)) && (s_from != ((const void *)0))"},
        {"ombrel_memcmp_wrapper", "s_left != ((const void *)0)"},
        {"ombrel_memcmp_wrapper", "s_right != ((const void *)0)"},
    };
    const std::string text = errors.text();
    size_t at = 0;
    for (const auto& [function, condition] : reports) {
        const std::string start = std::string("ombrel [ASSERT:source/memory:") + function + ":";
        ASSERT_EQ(at, text.find(start, at)) << text;
        const size_t end = text.find('\n', at);
        EXPECT_NE(std::string::npos, text.substr(at, end - at).find(std::string("] <") + condition + "> "));
        at = end + 1;
    }
    EXPECT_EQ(text.size(), at);
}

TEST(Memory, CopiesAndCompares) {
    char area[] = "abcdef";
    EXPECT_EQ(area + 2, ombrel_memmove_wrapper(area + 2, area, 4));
    EXPECT_STREQ("ababcd", area);
    EXPECT_EQ(area, ombrel_memcpy_wrapper(area, "XY", 2));
    EXPECT_LT(0, ombrel_memcmp_wrapper(area, "XX", 2));
    EXPECT_EQ(area, ombrel_memset_wrapper(area, 'z', 1));
    EXPECT_EQ(area + 1, ombrel_bzero_wrapper(area + 1, 1));
    EXPECT_EQ(std::string(area, 6), bytes({'z', 0, 'a', 'b', 'c', 'd'}));
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
    EXPECT_EQ(1, ombrel_is_data_fill(nullptr, 5, 1));
    EXPECT_EQ(1, ombrel_is_data_fill("\xFF\xFF\xFF", 3, 255));
    EXPECT_EQ(1, ombrel_is_data_fill("\xFF", 1, -1));
    EXPECT_EQ(0, ombrel_is_data_fill("aab", 3, 'a'));
    EXPECT_EQ(0, ombrel_is_data_fill("baa", 3, 'a'));
    EXPECT_EQ(1, ombrel_is_data_fill("x", 0, 'a'));
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
