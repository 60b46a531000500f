#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>

#include <ombrel/printf.h>
#include <ombrel/scan.h>

#include "support/argument_list.h"

namespace {

// A stream of its own, so that the callbacks are not the library's pair for memory.
struct stream {
    std::string text;
    size_t at = 0;
};

int peek_stream(void* context) {
    auto* from = static_cast<stream*>(context);
    return from->at < from->text.size() ? static_cast<unsigned char>(from->text[from->at]) : 0;
}

int pop_stream(void* context) {
    const int c = peek_stream(context);
    static_cast<stream*>(context)->at++;
    return c;
}

template<typename... Out>
int scan_stream(stream& from, const char* format, Out*... out) {
    const auto scan = [&](va_list list) {
        return ombrel_context_scanf(peek_stream, pop_stream, &from, format, list);
    };
    return ombrel_test::with_list(scan, out...);
}

TEST(Scan, MemoryPair) {
    const char* cursor = "a\xff";
    EXPECT_EQ('a', ombrel_scan_peek_mem(&cursor));
    EXPECT_EQ('a', ombrel_scan_pop_mem(&cursor));
    EXPECT_EQ(255, ombrel_scan_pop_mem(&cursor));
    EXPECT_EQ(0, ombrel_scan_peek_mem(&cursor));
}

TEST(Scan, PrimitivesCountAndKeepTheirLimit) {
    for (bool memory : {true, false}) {
        const char* cursor = " \t\n word\xe9 next";
        stream other{cursor};
        const auto peek = memory ? ombrel_scan_peek_mem : peek_stream;
        const auto pop = memory ? ombrel_scan_pop_mem : pop_stream;
        void* context = memory ? static_cast<void*>(&cursor) : &other;
        char out[16];
        EXPECT_EQ(1, ombrel_scan_skip_space_limit(peek, pop, context, 1));
        EXPECT_EQ(3, ombrel_scan_skip_space(peek, pop, context));
        EXPECT_EQ(2, ombrel_scan_until_space_limit(peek, pop, context, 2, out));
        EXPECT_STREQ("wo", out);
        EXPECT_EQ(3, ombrel_scan_until_space(peek, pop, context, out));
        EXPECT_STREQ("rd\xe9", out);
        EXPECT_EQ(0, ombrel_scan_until_space(peek, pop, context, out));
        EXPECT_STREQ("", out);
        unsigned char table[256] = {};
        table[0x78] = 7;
        EXPECT_EQ(3, ombrel_scan_until_xtable_limit(peek, pop, context, 100, table, 7, out));
        EXPECT_STREQ(" ne", out);
        EXPECT_EQ(1, ombrel_scan_until_xtable_limit(peek, pop, context, 1, nullptr, 7, nullptr));
        EXPECT_EQ(1, ombrel_scan_until_xtable_limit(peek, pop, context, 100, nullptr, 0, out));
        EXPECT_STREQ("t", out);
        EXPECT_EQ(0, peek(context));
    }
}

TEST(Scan, Numbers) {
    // A text, a base, the most to read, what is consumed, and the value.
    std::istringstream rows(R"(
        123 10 100 3 123    "   -12abc" 10 100 3 -12    +7 10 100 2 7    0x1F 0 100 4 31
        0X1fg -1 100 4 31    0x1F 16 100 1 0    -ff 16 100 3 255    -0x10 0 100 5 16
        -010 0 100 4 -10    0 0 100 1 0    0x 0 100 2 0    - 10 100 1 0    +-5 10 100 1 0
        "" 10 100 0 0    "   " 10 100 0 0    abc 10 100 0 0    12345 10 3 3 123    "  -12" 10 2 2 -1
        0x1F 0 2 2 0    0x1F 0 1 1 0    -5 10 0 0 0    1012 2 100 3 5    778 8 100 2 63
        9a 10 100 1 9    -9223372036854775808 10 100 20 -9223372036854775808
        18446744073709551617 10 100 20 1)");
    std::string text;
    int64_t value = 0;
    size_t limit = 0;
    for (int base, consumed; rows >> std::quoted(text) >> base >> limit >> consumed >> value;) {
        SCOPED_TRACE(text);
        const char* cursor = text.c_str();
        stream other{text};
        const auto check = [&](auto scan, auto number) {
            other.at = 0;
            EXPECT_EQ(consumed, scan(peek_stream, pop_stream, &other, limit, &number, base));
            EXPECT_EQ(static_cast<decltype(number)>(value), number);
        };
        check(ombrel_scan_atox_limit, 99);
        check(ombrel_scan_atolx_limit, 99L);
        check(ombrel_scan_atollx_limit, int64_t{99});
        int64_t number = 99;
        ombrel_scan_atollx_limit(ombrel_scan_peek_mem, ombrel_scan_pop_mem, &cursor, limit, &number, base);
        EXPECT_EQ(value, number);
        EXPECT_EQ(other.at, static_cast<size_t>(cursor - text.c_str()));
    }
    EXPECT_TRUE(rows.eof());
    stream zeros{std::string(5000, '0') + "7"};
    EXPECT_EQ(4096, ombrel_scan_atox(peek_stream, pop_stream, &zeros, nullptr, 10));
    EXPECT_EQ(905, ombrel_scan_atollx(peek_stream, pop_stream, &zeros, nullptr, 10));
    EXPECT_EQ(0, ombrel_scan_atolx(peek_stream, pop_stream, &zeros, nullptr, 10));
}

TEST(Scan, ParsersOfStrings) {
    EXPECT_EQ(31, ombrel_atox("0x1F", 0));
    EXPECT_EQ(-1, ombrel_atoi("4294967295"));
    EXPECT_EQ(0, ombrel_atoi(nullptr));
    EXPECT_EQ(7, ombrel_atolx("-7f", 8));
    EXPECT_EQ(ombrel_atol("-2147483648"), -2147483647L - 1);
    EXPECT_EQ(0xdeadbeefcafe, ombrel_atollx("deadBEEFcafe", 16));
    EXPECT_EQ(ombrel_atoll("-9223372036854775807"), -INT64_MAX);
    const char* text = "  42 rest";
    char* end = nullptr;
    EXPECT_EQ(42, ombrel_strtol(text, &end, 10));
    EXPECT_STREQ(" rest", end);
    EXPECT_EQ(0, ombrel_strtoll(text + 4, &end, 10));
    EXPECT_STREQ("rest", end);
    EXPECT_EQ(99, ombrel_strtoll("99", nullptr, 0));
}

TEST(Scan, Fractions) {
    // Decimals count for as long as their value fits into 64 bits, however many they are.
    std::istringstream plain(R"(3.25 3.25    " -0.5x" -0.5    +2. 2    .75 0.75    1e5 1    "" 0    - 0    x 0
        1.2.3 1.2    --1 0    0.00000000999999999999 9.99999999999e-9    0.00000000000000000001 1e-20
        -0.00000000000000000000018446744073709551615 -1.8446744073709551615e-22
        0.18446744073709551616 0.18446744073709551616    0.10000000000000000000 0.1)");
    std::string written;
    for (double value; plain >> std::quoted(written) >> value;)
        EXPECT_DOUBLE_EQ(value, ombrel_atof(written.c_str())) << written;
    EXPECT_TRUE(plain.eof());
    EXPECT_DOUBLE_EQ(ombrel_atof(("0.125" + std::string(400, '0') + "9").c_str()), 0.125);
    EXPECT_DOUBLE_EQ(ombrel_atof("3.14159265358979323846264338327950288"), 3.14159265358979323846);

    // A text, the digits asked for, the value, and what one is in it.
    std::istringstream rows(
        R"(3.14159 2 314 100    3.1 3 3100 1000    1.5 0 6 1    1.59 0 6 1    " -2.50" 1 25 10
        +7 2 700 100    7. 2 700 100    .999 2 99 100    "" 3 0 1000    12abc 1 120 10    1.x 2 100 100
        4.5 -3 9 1    1 19 10000000000000000000 10000000000000000000    0.5 2147483647 0 0)");
    std::string text;
    int digits = 0;
    for (uint64_t value, scale; rows >> std::quoted(text) >> digits >> value >> scale;) {
        uint64_t unit = 0;
        EXPECT_EQ(value, ombrel_atof_uintmax(text.c_str(), digits, &unit)) << text;
        EXPECT_EQ(scale, unit) << text;
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(12u, ombrel_atof_uintmax("1.25", 1, nullptr));
}

TEST(Scanf, NumbersOfEverySize) {
    int a = -1, b = -1;
    EXPECT_EQ(2, ombrel_sscanf("a=10 b=0x20", "a=%d b=%x", &a, &b));
    EXPECT_EQ(10, a);
    EXPECT_EQ(0, b) << "%x takes no 0x";
    struct {
        int8_t tiny = 1, tiny_guard = 2;
        int16_t small = 1, small_guard = 2;
        long middle = 1;
        int64_t wide = 1;
    } s;
    EXPECT_EQ(5, ombrel_sscanf("-300 70000 -5 -6 -ff", "%hhd%hd%ld%lld%llx", &s.tiny, &s.small, &s.middle,
                               &s.wide, &s.wide));
    EXPECT_EQ(s.tiny, static_cast<int8_t>(-300));
    EXPECT_EQ(s.small, static_cast<int16_t>(70000));
    EXPECT_EQ(4, s.tiny_guard + s.small_guard);
    EXPECT_EQ(-5, s.middle);
    EXPECT_EQ(255, s.wide);
    EXPECT_EQ(1, ombrel_sscanf("-3", "%hhhhhd", &s.tiny));
    EXPECT_EQ(1, ombrel_sscanf("-4", "%lllld", &s.wide));
    EXPECT_EQ(-7, s.tiny + s.wide);
    EXPECT_EQ(2, ombrel_sscanf("123456", "%2d%*2d%u", &a, &b));
    EXPECT_EQ(1256, a * 100 + b);
    EXPECT_EQ(1, ombrel_sscanf("1 x 2", "%d%d%d", &a, &b, &b)) << "a number of no characters ends the scan";
    EXPECT_EQ(1, ombrel_sscanf("-", "%d", &a)) << "a lone sign is a number of one character";
    EXPECT_EQ(0, a);
    EXPECT_EQ(0, ombrel_sscanf("5", "%0d", &a));
}

TEST(Scanf, LiteralsNeverFail) {
    int a = 0, at = 0;
    EXPECT_EQ(1, ombrel_sscanf("7", "abc %d", &a));
    EXPECT_EQ(3, ombrel_sscanf("  a \n = 9 %q8", " a=%d%%%q%d%n", &a, &a, &at));
    EXPECT_EQ(8, a);
    EXPECT_EQ(13, at);
    EXPECT_EQ(1, ombrel_sscanf("12", "%d%", &a));
    EXPECT_EQ(1, ombrel_sscanf("12", "%d%5", &a));
    EXPECT_EQ(1, ombrel_sscanf("12", "%*n%*d%n", &at));
    EXPECT_EQ(2, at);
    char text[8];
    EXPECT_EQ(2, ombrel_sscanf(" abc de", "%s%n", text, &at));
    EXPECT_EQ(4, at);
    EXPECT_EQ(2, ombrel_sscanf(" abc de", "%[a-c]%n", text, &at));
    EXPECT_EQ(3, at);
    EXPECT_EQ(2, ombrel_sscanf(" abc de", "%*s %[a-e]%n", text, &at));
    EXPECT_EQ(6, at);
    EXPECT_EQ(1, ombrel_sscanf("\xe9 5", "\xe9%d", &a));
    EXPECT_EQ(5, a);
    EXPECT_EQ(0, ombrel_sscanf(nullptr, "%d", &a));
    const auto pair = [](va_list list) { return ombrel_vsscanf("7;8", "%d;%d", list); };
    EXPECT_EQ(2, ombrel_test::with_list(pair, &a, &at));
    EXPECT_EQ(78, a * 10 + at);
}

TEST(Scanf, Words) {
    char first[16], second[16];
    EXPECT_EQ(2, ombrel_sscanf("  one two", "%s%s", first, second));
    EXPECT_STREQ("one", first);
    EXPECT_STREQ("two", second);
    EXPECT_EQ(2, ombrel_sscanf("abcdef", "%2s%*1s%s", first, second));
    EXPECT_STREQ("ab", first);
    EXPECT_STREQ("def", second);
    EXPECT_EQ(1, ombrel_sscanf(" ", "%s", first)) << "an empty text counts";
    EXPECT_STREQ("", first);
    char longest[4200];
    EXPECT_EQ(1, ombrel_sscanf(std::string(5000, 'x').c_str(), "%s", longest));
    EXPECT_EQ(4096u, strlen(longest));
}

TEST(Scanf, Sets) {
    const struct {
        const char *text, *format, *found;
    } cases[] = {
        {"  abc-def", "%[a-z]", "abc"}, {"xyz", "%[a-z]", "xy"},
        {"abc", "%[^b]", "a"},          {"]]a", "%[]]", "]]"},
        {"a]b", "%[^]]", "a"},          {"-a-b", "%[-a]", "-a-"},
        {"a-z", "%[a-]", "a-"},         {"b-a", "%[b-a]", "b-a"},
        {"abcde", "%[a-c-e]", "abcd"},  {"a b\tc", "%[a b]", "a b"},
        {"abcdef", "%3[a-z]", "abc"},   {"123", "%[a-z]", ""},
        {"aa", "%[a-a]", "aa"},         {"^a", "%[a^]", "^a"},
        {"-b", "%[^-a]", ""},           {"\xe9\xff", "%[\xe0-\xff\xff]", "\xe9\xff"},
    };
    for (const auto& [text, format, found] : cases) {
        char out[16] = "unset";
        EXPECT_EQ(1, ombrel_sscanf(text, format, out)) << format;
        EXPECT_STREQ(found, out) << format;
        stream other{text};
        EXPECT_EQ(1, scan_stream(other, format, out)) << format;
        EXPECT_STREQ(found, out) << format;
    }
    int a = 0;
    char out[16] = "unset";
    EXPECT_EQ(1, ombrel_sscanf("abc5", "%*[a-d]%d", &a));
    EXPECT_EQ(5, a);
    for (const char* open : {"%d%[", "%d%[a-", "%d%[^", "%d%[]"})
        EXPECT_EQ(1, ombrel_sscanf("5abc", open, &a, out)) << open;
    EXPECT_STREQ("unset", out);
}

TEST(Scanf, ReadsNoFurtherThanItMust) {
    stream input{"12,rest"};
    int a = 0;
    EXPECT_EQ(1, scan_stream(input, "%d", &a));
    EXPECT_EQ(2u, input.at);
}

TEST(Scanf, ReadsBackWhatTheFormatterWrote) {
    std::mt19937_64 random(11);
    for (int round = 0; round < 5000; round++) {
        const auto wide = static_cast<int64_t>(random() >> (random() % 64));
        const auto narrow = static_cast<int>(random());
        char line[128], name[16];
        ombrel_snprintf(line, sizeof line, "%s:%lld|%08llX %-12d;", "worker", wide, wide, narrow);
        int64_t decimal = 0, hexadecimal = 0;
        int back = 0;
        ASSERT_EQ(4, ombrel_sscanf(line, "%[^:]:%lld|%llx%d;", name, &decimal, &hexadecimal, &back)) << line;
        ASSERT_STREQ("worker", name);
        ASSERT_EQ(decimal, wide);
        ASSERT_EQ(hexadecimal, wide);
        ASSERT_EQ(back, narrow);
        ASSERT_EQ(ombrel_atoll(line + 7), strtoll(line + 7, nullptr, 10));
    }
}

} // namespace
