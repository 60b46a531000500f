#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include <ombrel/assert.h>
#include <ombrel/environment.h>
#include <ombrel/time.h>

#include "support/child.h"
#include "support/time_travel.h"

namespace {

TEST(TimeStamp, CountsMillisecondsForwards) {
    const uint64_t first = ombrel_time_stamp_msec();
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    const uint64_t passed = ombrel_time_stamp_msec() - first;
    EXPECT_LE(11u, passed);
    EXPECT_GE(60'000u, passed);
}

// The local time in the standard library's words, asked before and after so that a second's turn is no fault.
// Not by time(): its coarse clock may still tell the old second a few milliseconds after the turn.
std::string standard_time(const char* format) {
    const time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[64];
    strftime(text, sizeof text, format, std::localtime(&now));
    return text;
}

TEST(Asctime, FormatsTheLocalTime) {
    const struct {
        int style;
        const char* format;
        size_t length;
    } styles[] = {{def_ombrel_asctime_standard, "%a %b %d %H:%M:%S %Y", 24},
                  {def_ombrel_asctime_date_time, "%Y-%m-%d %H:%M:%S", 19},
                  {def_ombrel_asctime_milliseconds, "%Y-%m-%d %H:%M:%S", 23},
                  {99, "%a %b %d %H:%M:%S %Y", 24}};
    for (const auto& style : styles) {
        SCOPED_TRACE(style.style);
        char text[32];
        const std::string before = standard_time(style.format);
        ASSERT_EQ(text, ombrel_asctime(text, sizeof text, style.style));
        const std::string after = standard_time(style.format);
        EXPECT_EQ(style.length, strlen(text));
        const std::string shown(text, before.size());
        EXPECT_TRUE(shown == before || shown == after) << text << " between " << before << " and " << after;
    }
}

// Half a minute past the minute, so that a slow machine does not come to the next.
const struct {
    int64_t moment;
    const char *weekday, *minute;
} moments[] = {{30, "Thu Jan 01", "1970-01-01 05:45"},
               {951'780'630, "Tue Feb 29", "2000-02-29 05:15"},
               {2'147'483'670, "Tue Jan 19", "2038-01-19 08:59"},
               {3'981'291'330, "Wed Feb 29", "2096-02-29 00:00"},
               {4'107'517'230, "Sun Feb 28", "2100-02-28 22:45"},
               {13'569'465'630, "Sat Jan 01", "2400-01-01 05:45"}};

int count_wrong_moments() {
    ombrel_test::time_travel clock;
    int wrong = 0;
    for (const auto& expected : moments) {
        char text[32], day[32];
        clock.go_to(expected.moment);
        ombrel_asctime(text, sizeof text, def_ombrel_asctime_date_time);
        ombrel_asctime(day, sizeof day, def_ombrel_asctime_standard);
        wrong += strncmp(text, expected.minute, 16) != 0 || strncmp(day, expected.weekday, 10) != 0;
    }
    return wrong;
}

struct time_zone {
    explicit time_zone(const char* assignment) { ombrel_putenv(assignment), tzset(); }
    ~time_zone() { ombrel_putenv("TZ"), tzset(); }
};

TEST(Asctime, KnowsEveryYear) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    const time_zone east("TZ=XXX-5:45");
    EXPECT_EQ(0, count_wrong_moments());
}

#if !defined(__SANITIZE_THREAD__) // it does not follow a fork among threads
TEST(Asctime, NeedsNoLockOfTheCLibraryInAForkedChild) {
    OMBREL_TEST_NEEDS_FORK();
    const time_zone east("TZ=XXX-5:45");
    std::atomic<bool> stop = false;
    std::jthread busy([&stop] {
        for (time_t now = 0; !stop; now++)
            std::localtime(&now);
    });
    int status = 0;
    for (int i = 0; i < 100 && status == 0; i++)
        status = ombrel_test::in_child([] {
            close(STDERR_FILENO);
            return ombrel_assert_fail_tag("s", "f", 1, "x") + count_wrong_moments() == 0;
        });
    EXPECT_EQ(0, status) << "ended by a signal, or a wrong text (256)";
    stop = true;
}
#endif

TEST(Asctime, StaysInsideTheBuffer) {
    char text[8] = "#######";
    EXPECT_EQ(text, ombrel_asctime(text, 5, def_ombrel_asctime_date_time));
    EXPECT_EQ(4u, strlen(text));
    EXPECT_EQ('#', text[5]);
    EXPECT_EQ(nullptr, ombrel_asctime(text, 0, 0));
    EXPECT_EQ(nullptr, ombrel_asctime(nullptr, 32, 0));
}

} // namespace
