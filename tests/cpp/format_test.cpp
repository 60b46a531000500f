// What formats give is the C functions' matter and tested there; here it is that arguments come to them as
// they are.
#include <ombrel_tuk.hpp>

#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "support/capture.h"
#include "support/heap_balance.h"

using namespace std::string_view_literals;

namespace {

using Formats = ombrel_test::balanced_test;

TEST_F(Formats, TakeEachKindOfArgument) {
    const std::string long_one(5000, 'x');
    const ombrel::text made = ombrel::format("%s", "made");
    enum plain_enum { seven = 7 };
    struct {
        ombrel::text given;
        std::string wanted;
    } rows[] = {
        {ombrel::format("none, 100%%"), "none, 100%"},
        {ombrel::format("%d %i %c", -1, seven, 'c'), "-1 7 c"},
        {ombrel::format("%u %08X %x %o", 7u, 0xbeefu, static_cast<unsigned char>(255),
                        static_cast<unsigned short>(8)),
         "7 0000BEEF ff 10"},
        {ombrel::format("%ld %lu", LONG_MIN, ULONG_MAX),
         std::to_string(LONG_MIN) + " " + std::to_string(ULONG_MAX)},
        {ombrel::format("%lld %llu", INT64_MIN, UINT64_MAX), "-9223372036854775808 18446744073709551615"},
        {ombrel::format("%llu %lld", ombrel::wide(sizeof(char)), ombrel::wide(-3)), "1 -3"},
        {ombrel::format("%5.2f|%.1f", 1.25, 2.5f), "    1.25|2.5"},
        {ombrel::format("%s %s", "text", std::string("string")), "text string"},
        {ombrel::format("%6s|%-6s|%.2s", "view"sv.substr(1, 2), made, "cut"sv), "    ie|made  |cu"},
        {ombrel::format("%s", std::string_view(long_one)), long_one},
        {ombrel::format("[%s]", std::string_view()), "[]"},
        {ombrel::format("%s", "ends\0here"sv), "ends"},
        {ombrel::format("%s %s", true, false), "true false"},
        {ombrel::format("%*d", 4, 5), "   5"},
        {ombrel::format("%p", nullptr), "0000000000000000"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.wanted, row.given.view());
    EXPECT_FALSE(ombrel::format("%s%s", std::string(65000, 'x'), std::string(65000, 'x')))
        << "longer than can be";
}

TEST_F(Formats, GoToAllThatFormatsInC) {
    char small[8];
    EXPECT_EQ("a 1 tru"sv, ombrel::format_to(small, "%s %d %s", "a"sv, 1, true));
    const ombrel::buffer queue = ombrel::buffer::open();
    EXPECT_EQ(5u, ombrel::format_to(queue, "%d %s", 42, "is"sv));
    EXPECT_EQ(1u, ombrel::format_to(queue.get(), "\n"));
    EXPECT_EQ("42 is"sv, queue.pop_line().view());
    EXPECT_EQ(0u, ombrel::format_to(ombrel::buffer_ref(), "%s", "nowhere"));
}

TEST_F(Formats, ScanIntoVariables) {
    int number = 0;
    short small_number = 0;
    std::int64_t large = 0;
    char word[8] = "", rest[16] = "";
    EXPECT_EQ(5, ombrel::scan("-7 9 word: x=ff,", "%d %hd %7[^:]: %15[x=] %llx", number, small_number, word,
                              rest, large));
    EXPECT_EQ(-7, number);
    EXPECT_EQ(9, small_number);
    EXPECT_EQ("word x= 255"sv, ombrel::format("%s %s %lld", word, rest, large).view());
    EXPECT_EQ(1, ombrel::scan(std::string("1 2 x"), "%*d %d %d", number, number));
    EXPECT_EQ(2, number);
}

} // namespace
