#include <string>
#include <time.h>

#include <gtest/gtest.h>

#include <ombrel/progress.h>

#include "support/capture.h"
#include "support/heap_balance.h"

namespace {

constexpr uint64_t most = UINT64_MAX;

TEST(Ratio, IsTheFloorWithoutOverflow) {
    const struct {
        uint64_t value, total, scale, ratio;
    } cases[] = {{0, 0, 100, 0},
                 {5, 0, 100, 0},
                 {1, 3, 100, 33},
                 {2, 3, 100, 66},
                 {3, 3, 100, 100},
                 {4, 3, 100, 100},
                 {1, 2, 0, 0},
                 {most - 1, most, most, most - 1},
                 {most / 2, most, 100, 49},
                 {most / 3, most, 3, 1},
                 {most / 3 - 1, most, 3, 0},
                 {0x8000000000000000, most, 1000, 500},
                 {1ull << 63, (1ull << 63) + 1, most, most - 2},
                 {most, 1, most, most},
                 {12'345'678'901'234'567u, 98'765'432'109'876'543u, 1'000'000'000'000'000'000u,
                  124'999'998'860'937'491u}};
    for (const auto& c : cases)
        EXPECT_EQ(c.ratio, ombrel_ratio_uintmax(c.value, c.total, c.scale)) << c.value << " of " << c.total;
}

TEST(ProgressBar, StripsItsColoursAndKeepsTheWidthWithoutATerminal) {
    const ombrel_test::heap_balance balance;
    ombrel_test::capture written(stdout);
    EXPECT_LE(0, ombrel_progress_bar(1, 4, "x", nullptr, "%d of %d", 1, 4));
    const std::string text = written.text();
    EXPECT_EQ(0u, text.find("\rx 25% ["));
    EXPECT_EQ(std::string::npos, text.find('\x1b'));
    EXPECT_NE(std::string::npos, text.find("]1 of 4 "));
}

TEST(RollString, AdvancesAtMostEveryTenthOfASecond) {
    const std::string frames[] = {">  ", ">> ", ">>>", " >>", "  >", "  <", " <<", "<<<", "<< ", "<  "};
    size_t at = 0;
    std::string shown = ombrel_roll_string();
    while (at < 10 && frames[at] != shown)
        at++;
    ASSERT_GT(10u, at) << shown;
    // A machine may be busy for more than a tenth between two calls, but not each time.
    std::string next = ombrel_roll_string();
    for (int i = 0; i < 100 && next != shown; i++) {
        shown = next;
        at = (at + 1) % 10;
        next = ombrel_roll_string();
    }
    EXPECT_EQ(frames[at], next);
    for (int i = 1; i <= 3; i++) {
        const timespec pause{0, 105'000'000};
        nanosleep(&pause, nullptr);
        EXPECT_EQ(frames[(at + static_cast<size_t>(i)) % 10], ombrel_roll_string());
    }
}

} // namespace
