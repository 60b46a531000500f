#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "support/argument_list.h"
#include "support/heap_balance.h"
#include "support/heap_block.h"

namespace {

template<typename... Arguments>
std::string format(const char* text, Arguments... arguments) {
    char buffer[512];
    const int stored = ombrel_snprintf(buffer, sizeof buffer, text, arguments...);
    EXPECT_EQ('\0', buffer[stored]);
    return std::string(buffer, static_cast<size_t>(stored));
}

TEST(Printf, Integers) {
    EXPECT_EQ("-7|8|9", format("%d|%i|%u", -7, 8, 9u));
    EXPECT_EQ("  -42|-0042|42   |00042", format("%5d|%05d|%-5d|%-05d", -42, -42, 42, 42));
    EXPECT_EQ("-42  |-0042|", format("%-5d|%-05d|", -42, -42));
    EXPECT_EQ("ff FF 10 ff", format("%x %X %o %#x", 255u, 255u, 8u, 255u));
    EXPECT_EQ(format("%lld %ld %llu %lx", int64_t{-1}, -5L, UINT64_MAX, ULONG_MAX),
              "-1 -5 18446744073709551615 " + std::string(sizeof(long) * 2, 'f'));
    EXPECT_EQ("-2147483648 -9223372036854775808", format("%d %lld", INT_MIN, INT64_MIN));
    EXPECT_EQ("       5|   7", format("%8.3d|%.4d", 5, 7)) << "a precision means nothing to integers";
    EXPECT_EQ("-123|-5", format("%1d|%02d", -123, -5));
}

TEST(Printf, WidthsFromArguments) {
    EXPECT_EQ("   1|2   |0003", format("%*d|%-*d|%0*d", 4, 1, 4, 2, 4, 3));
    EXPECT_EQ("    1|", format("%*2d|", 3, 1)) << "digits after the star are added";
    EXPECT_EQ("1|2|x|", format("%*d|%*d|%*s|", -5, 1, INT_MIN, 2, -5, "x"));
    EXPECT_EQ(" 1|", format("%*5d|", -3, 1));
}

TEST(Printf, OrderOfThePartsIsFixed) {
    EXPECT_EQ("-d", format("%0-5d")) << "the character behind an unknown conversion is dropped";
    EXPECT_EQ("q|y|%", format("%qz|%y!|%5%d"));
    EXPECT_EQ("l", format("%llld"));
    EXPECT_EQ("%|100%", format("%%|100%%"));
    for (const char* unfinished : {"a%", "a%5", "a%-.0", "a%5.3", "a%ll", "a%#"})
        EXPECT_EQ("a", format(unfinished)) << unfinished;
    EXPECT_EQ("aq", format("a%q"));
}

TEST(Printf, Strings) {
    EXPECT_EQ("ab|(null)|   ab|ab   |", format("%s|%s|%5s|%-5s|", "ab", nullptr, "ab", "ab"));
    EXPECT_EQ(" ab|abc|ab |abc", format("%.3s|%.3s|%-.3s|%.s", "ab", "abcdef", "ab", "abc"));
    EXPECT_EQ("abcdef|abcdef|  (null)|(null)  |",
              format("%5.2s|%2s|%.8s|%-8s|", "abcdef", "abcdef", nullptr, nullptr));
    EXPECT_EQ("ab|abc|", format("%.*s|%*s|", 2, "abc", 0, "abc"));
    EXPECT_EQ("|", format("%.*s|", 0, "abc"));
    EXPECT_EQ("abc    |", format("%-7.1s|", "abc"));
    const char unterminated[] = {'a', 'b', 'c'};
    EXPECT_EQ("abc", format("%.3s", unterminated));
}

TEST(Printf, CharactersAndPointers) {
    EXPECT_EQ("ab|", format("%c%5c|", 'a', 'b'));
    EXPECT_EQ(std::string("\0|", 2), format("%c|", 0));
    const void* low = reinterpret_cast<void*>(0xab12);
    const void* top = reinterpret_cast<void*>(INTPTR_MIN + 0xc);
    EXPECT_EQ("000000000000ab12|000000000000AB12|0000000000000000", format("%p|%-30P|%p", low, low, nullptr));
    EXPECT_EQ(format("%p", top), sizeof top == 4 ? "ffffffff8000000c" : "800000000000000c");
}

TEST(Printf, FixedPoint) {
    EXPECT_EQ("1.500000|1.25|      -1.500|3", format("%f|%.2f|%8.3f|%.0f", 1.5, 1.25, -1.5, 2.5));
    EXPECT_EQ("       4|2   .3|-002.3|-0000001.500|",
              format("%8f|%-4.1f|%04.1f|%08.3f|", 3.7, 2.26, -2.26, -1.5));
    EXPECT_EQ("0.25|-1|-1.00", format("%.2f|%.0f|%.2f", -0.25, -0.75, -0.999));
    EXPECT_EQ("0.50000000|0.500|   0.50|", format("%.08f|%.*f|%*.2f|", 0.5, 3, 0.5, 4, 0.5));
    EXPECT_EQ("0.500000||7", format("%lf|%llf|%d", 0.5, 7)) << "ll takes no argument";
    EXPECT_EQ("0.000|0.001|10.0", format("%.3f|%.3f|%.1f", 0.0004, 0.0005, 9.96));
}

TEST(Printf, DoublesThatNoIntegerHolds) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ("9223372036854775807.0|-9223372036854775808.0", format("%.1f|%.1f", 1e300, -1e300));
    EXPECT_EQ("9223372036854775807.0|-9223372036854775808.0|0.0",
              format("%.1f|%.1f|%.1f", infinity, -infinity, std::nan("")));
    EXPECT_EQ("-9223372036854775808.0|", format("%.1f|", -9223372036854775808.0));
    EXPECT_EQ(format("%.30f", 0.5), "0." + std::string("5") + std::string(29, '0'));
    EXPECT_EQ(format("%.400f", 0.0), "0." + std::string(400, '0'));
    EXPECT_EQ("0.2500", format("%.999999999999f", 0.25).substr(0, 6));
}

TEST(Printf, AgreesWithTheCLibraryWhereTheRulesAreTheSame) {
    std::mt19937_64 random(7);
    const char* const flags[] = {"", "-", "0", "1", "7", "-9", "012", "-21", "20"};
    const char* const kinds[] = {"d", "i", "u", "x", "X", "o"};
    for (int round = 0; round < 20000; round++) {
        const uint64_t value = random() >> (random() % 64);
        const std::string level(static_cast<size_t>(random() % 3), 'l');
        const std::string text = std::string("<%") + flags[random() % std::size(flags)] + level +
                                 kinds[random() % std::size(kinds)] + ">%d";
        char ours[64], theirs[64];
        // The value's own type, so that each reads what it names.
        const auto both = [&](auto typed) {
            ombrel_snprintf(ours, sizeof ours, text.c_str(), typed, round);
            snprintf(theirs, sizeof theirs, text.c_str(), typed, round);
        };
        if (level.empty())
            both(static_cast<int>(value));
        else if (level == "l")
            both(static_cast<long>(value));
        else
            both(static_cast<long long>(value));
        ASSERT_STREQ(ours, theirs) << text;
    }
}

TEST(Printf, WhatDoesNotFitIsCutOff) {
    char buffer[8];
    memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(0, ombrel_snprintf(buffer, 0, "%d", 1));
    EXPECT_EQ('Z', buffer[0]);
    EXPECT_EQ(0, ombrel_snprintf(nullptr, 0, "%d", 1));
    EXPECT_EQ(0, ombrel_snprintf(buffer, 1, "%d", 1));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(3, ombrel_snprintf(buffer, 4, "%d", 12345));
    EXPECT_STREQ("123", buffer);
    for (const char* text : {"abcdefgh", "%09d%d", "%-9d%d", "%9d%d", "%lX%lX"}) {
        char whole[64];
        ombrel_snprintf(whole, sizeof whole, text, 0x12345, 0x6789a);
        for (size_t size = 2; size < sizeof buffer; size++) {
            memset(buffer, 'Z', sizeof buffer);
            EXPECT_EQ(ombrel_snprintf(buffer, size, text, 0x12345, 0x6789a), static_cast<int>(size) - 1);
            EXPECT_EQ(std::string(buffer), std::string(whole, size - 1));
            EXPECT_EQ('Z', buffer[size]) << "nothing behind the text is touched";
        }
    }
    EXPECT_EQ(3, ombrel_snprintf(buffer, 4, "%999999999999d%s", 1, "x"));
    EXPECT_STREQ("   ", buffer);
    EXPECT_EQ(5, ombrel_sprintf(buffer, "%s-%d", "ab", 12));
    EXPECT_STREQ("ab-12", buffer);
}

TEST(Printf, ArgumentListsAreTakenAsArgumentsAre) {
    char buffer[8];
    const auto whole = [&](va_list arguments) { return ombrel_vsprintf(buffer, "%d-%s", arguments); };
    const auto cut = [&](va_list arguments) { return ombrel_vsnprintf(buffer, 4, "%s-%d", arguments); };
    EXPECT_EQ(5, ombrel_test::with_list(whole, 12, "ab"));
    EXPECT_STREQ("12-ab", buffer);
    EXPECT_EQ(3, ombrel_test::with_list(cut, "ab", 12));
    EXPECT_STREQ("ab-", buffer);
}

std::string in_base(uint64_t value, unsigned base, unsigned flags_width, const char* digits = nullptr,
                    size_t room = 100) {
    char buffer[100];
    return std::string(buffer, ombrel_llxtoa_limit(buffer, room, value, base, flags_width, digits));
}

TEST(Printf, IntegerWriters) {
    EXPECT_EQ("0", in_base(0, 2, 0));
    EXPECT_EQ(std::string(64, '1'), in_base(UINT64_MAX, 2, 0));
    EXPECT_EQ("2222", in_base(80, 3, 0));
    EXPECT_EQ("FF", in_base(255, 16, 0));
    EXPECT_EQ("zzaz", in_base(10, 10, 4, "zabcdefghi")) << "the first digit also pads";
    constexpr unsigned space = def_ombrel_xtoa_space, negative = def_ombrel_xtoa_negative;
    EXPECT_EQ("-0042", in_base(42, 10, negative | 5));
    EXPECT_EQ("  -42", in_base(42, 10, space | negative | 5));
    EXPECT_EQ("-42  ", in_base(42, 10, space | negative | def_ombrel_xtoa_left | 5));
    EXPECT_EQ("00-42", in_base(42, 10, space | negative | def_ombrel_xtoa_digit_pad | 5));
    EXPECT_EQ("00042", in_base(42, 10, def_ombrel_xtoa_left | 5)) << "zeros always stand on the left";
    EXPECT_EQ("-42", in_base(42, 10, negative));
    EXPECT_EQ("-12", in_base(12345, 10, negative, nullptr, 3));
    EXPECT_EQ("  ", in_base(1, 10, space | def_ombrel_xtoa_width_mask, nullptr, 2));
    for (unsigned base : {0u, 1u, 17u})
        EXPECT_EQ("", in_base(5, base, 3)) << base;
    char buffer[16];
    EXPECT_EQ(10u, ombrel_xtoa_limit(buffer, sizeof buffer, UINT_MAX, 10, 0, nullptr));
    EXPECT_EQ(0, memcmp(buffer, "4294967295", 10));
    for (uint64_t power = 1; power < UINT64_MAX / 10; power *= 10) {
        EXPECT_EQ(in_base(power, 10, 0), std::to_string(power));
        EXPECT_EQ(in_base(power - 1, 10, 0), std::to_string(power - 1));
    }
}

class AllocPrintf : public ombrel_test::balanced_test {};

TEST_F(AllocPrintf, GrowsToItsLimitAndNoFurther) {
    for (size_t length : {0u, 1u, 254u, 255u, 256u, 510u, 511u, 65277u, 65278u}) {
        const std::string text(length, 'x');
        const size_t before = ombrel_get_alloc_size();
        char* made = ombrel_alloc_sprintf("%s", text.c_str());
        ASSERT_NE(nullptr, made) << length;
        EXPECT_EQ(made, text);
        EXPECT_EQ(ombrel_get_alloc_size() - before, (length + 1 + 3) / 4 * 4 + def_ombrel_heap_overhead);
        EXPECT_STREQ("ombrel_alloc_sprintf", ombrel_test::newest_tag());
        ombrel_free(made);
    }
    for (size_t length : {65279u, 65280u, 100000u})
        EXPECT_EQ(nullptr, ombrel_alloc_sprintf("%s", std::string(length, 'x').c_str())) << length;
}

TEST_F(AllocPrintf, FreesTheOldStringFirst) {
    char* text = ombrel_realloc_sprintf(nullptr, "%d-%s", 1, std::string(300, 'y').c_str());
    EXPECT_EQ(text, std::string("1-").append(300, 'y'));
    text = ombrel_realloc_sprintf(text, "%d", 2);
    EXPECT_STREQ("2", text);
    EXPECT_EQ(nullptr, ombrel_realloc_sprintf(text, "%70000d", 1)) << "the old string is gone all the same";
    text =
        ombrel_test::with_list([](va_list list) { return ombrel_alloc_vsprintf("%s%c", list); }, "ab", 'c');
    EXPECT_STREQ("abc", text);
    text = ombrel_test::with_list([text](va_list list) { return ombrel_realloc_vsprintf(text, "%x", list); },
                                  0xabcu);
    EXPECT_STREQ("abc", text);
    ombrel_free(text);
}

} // namespace
