#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/time.h>

namespace {

TEST(TimeStamp, CountsMillisecondsForwards) {
    const uint64_t first = ombrel_time_stamp_msec();
    const timespec pause{0, 12'000'000};
    nanosleep(&pause, nullptr);
    const uint64_t passed = ombrel_time_stamp_msec() - first;
    EXPECT_LE(11u, passed);
    EXPECT_GE(60'000u, passed);
}

// The local time in the standard library's words, asked before and after so that a second's turn is no fault.
// Not by time(): its coarse clock may still tell the old second a few milliseconds after the turn.
std::string standard_time(const char* format) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields;
    localtime_r(&now.tv_sec, &fields);
    char text[64];
    strftime(text, sizeof text, format, &fields);
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
        EXPECT_TRUE(shown == before || shown == after)
            << text << " is neither " << before << " nor " << after;
    }
}

TEST(Asctime, StaysInsideTheBuffer) {
    char text[8] = "#######";
    EXPECT_EQ(text, ombrel_asctime(text, 5, def_ombrel_asctime_date_time));
    EXPECT_EQ(4u, strlen(text));
    EXPECT_EQ('#', text[5]);
    EXPECT_EQ(nullptr, ombrel_asctime(text, 0, 0));
    EXPECT_EQ(nullptr, ombrel_asctime(nullptr, 32, 0));
}

} // namespace
