// Moments and civil times, beside a calendar that goes on day by day and beside the C library.
#include <climits>
#include <ctime>
#include <random>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <ombrel/calendar.h>
#include <ombrel/environment.h>
#include <ombrel/fault.h>

#include "support/child.h"

namespace ombrel_test {
namespace {

constexpr int64_t seconds_per_day = 86'400;
constexpr int64_t last_second = 31'494'816'403'199; // of the year 1,000,000

ombrel_civil_time_t civil(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                          int nanosecond = 0) {
    ombrel_civil_time_t time{};
    std::tie(time.m_year, time.m_month, time.m_day) = std::tie(year, month, day);
    std::tie(time.m_hour, time.m_minute, time.m_second) = std::tie(hour, minute, second);
    time.m_nanosecond = nanosecond;
    return time;
}

auto fields(const ombrel_civil_time_t& time) {
    return std::tuple(time.m_year, time.m_month, time.m_day, time.m_hour, time.m_minute, time.m_second,
                      time.m_nanosecond);
}

/// A date that knows its successor and nothing else.
struct plain_date {
    int year, month = 1, day = 1, year_day = 1;

    bool is_leap() const { return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0); }
    int month_days() const {
        const int days[] = {31, is_leap() ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        return days[month - 1];
    }
    void step() {
        year_day++;
        if (++day <= month_days())
            return;
        day = 1;
        if (++month > 12)
            *this = {year + 1};
    }
};

// The weeks of an era, 400 years, are whole: those far away are like those that are near.
void walk_era(int year, int64_t day, int week_day) {
    plain_date date{year};
    // The era before begins on a Saturday (as 2000 does), on which a last week ends that is not its own.
    int week_year = year - 1, week = 52;
    for (const int end = year + 400; date.year < end; date.step(), day++, week_day = (week_day + 1) % 7) {
        if (week_day == 1) {
            const bool starts = date.month == 12 ? date.day >= 29 : date.month == 1 && date.day <= 4;
            week = starts ? 1 : week + 1;
            week_year = starts && date.month == 12  ? date.year + 1
                        : date.month == 1 && starts ? date.year
                                                    : week_year;
        }
        const ombrel_instant_t instant{day * seconds_per_day + 86'399, 5};
        ombrel_civil_time_t time{}, same{};
        ombrel_instant_t again{};
        int32_t found_year = 0;
        ASSERT_EQ(0, ombrel_make_utc_time(&instant, &time));
        ASSERT_EQ(std::tuple(date.year, date.month, date.day, 23, 59, 59, 5), fields(time));
        ASSERT_EQ(std::pair(week_day, date.year_day), std::pair(time.m_week_day, time.m_year_day));
        ASSERT_EQ(0, ombrel_get_civil_instant(&time, &again));
        ASSERT_EQ(0, ombrel_compare_instants(&instant, &again));
        ASSERT_EQ(week, ombrel_get_iso_week(date.year, date.month, date.day, &found_year))
            << date.year << date.day;
        ASSERT_EQ(week_year, found_year);
        ASSERT_EQ(0, ombrel_set_iso_week(week_year, week, (week_day + 6) % 7 + 1, &same));
        ASSERT_EQ(std::pair(date.month, date.day), std::pair(same.m_month, same.m_day));
        ASSERT_EQ(0, ombrel_set_year_day(date.year, date.year_day, &same));
        ASSERT_EQ(std::pair(date.month, date.day), std::pair(same.m_month, same.m_day));
        ASSERT_EQ(date.month_days(), ombrel_get_month_days(date.year, date.month));
        ASSERT_EQ(date.is_leap(), ombrel_is_leap_year(date.year) == 1);
        ASSERT_EQ(week_day, ombrel_get_week_day(date.year, date.month, date.day));
        ASSERT_EQ(date.year_day, ombrel_get_year_day(date.year, date.month, date.day));
    }
}

TEST(Calendar, GoesOnDayByDayInErasNearAndFar) {
    constexpr int64_t days_per_era = 146'097, day_of_2000 = 10'957;
    for (const int era : {0, -5, -2504, 2494})
        walk_era(2000 + 400 * era, day_of_2000 + days_per_era * era, 6);
}

TEST(Calendar, ConvertsAsTheCLibraryDoes) {
#if defined(_WIN32)
    GTEST_SKIP() << "gmtime() of this host knows no years before 1970";
#else
    std::mt19937_64 source(7);
    const int64_t most = sizeof(time_t) == 4 ? INT32_MAX : last_second;
    for (int i = 0; i < 200'000; i++) {
        const int64_t range = most >> source() % 20;
        const auto moment =
            static_cast<time_t>(static_cast<int64_t>(source() % (2 * static_cast<uint64_t>(range))) - range);
        const ombrel_instant_t instant{moment, 999'999'999};
        tm expected{};
        ombrel_civil_time_t time;
        ombrel_instant_t again;
        gmtime_r(&moment, &expected);
        ASSERT_EQ(0, ombrel_make_utc_time(&instant, &time));
        ASSERT_EQ(std::tuple(expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday, expected.tm_hour,
                             expected.tm_min, expected.tm_sec, 999'999'999),
                  fields(time));
        ASSERT_EQ(std::pair(expected.tm_wday, expected.tm_yday + 1),
                  std::pair(time.m_week_day, time.m_year_day));
        ASSERT_EQ(0, ombrel_get_civil_instant(&time, &again));
        ASSERT_EQ(timegm(&expected), again.m_seconds);
    }
#endif
}

TEST(Calendar, EndsWhereItSays) {
    const struct {
        ombrel_instant_t instant;
        int32_t offset;
        int fault; // 0 for none
    } cases[] = {
        {{last_second, 999'999'999}, 0, 0},
        {{last_second + 1, 0}, 0, def_ombrel_fault_too_large},
        {{last_second + 1, 0}, -1, 0},
        {{last_second, 0}, 1, def_ombrel_fault_too_large},
        {{-31'619'119'219'200, 0}, 0, 0},
        {{-31'619'119'219'201, 0}, 0, def_ombrel_fault_too_large},
        {{INT64_MAX, 0}, 172'799, def_ombrel_fault_too_large},
        {{INT64_MIN, 0}, -172'799, def_ombrel_fault_too_large},
        {{0, 0}, 172'800, def_ombrel_fault_invalid},
        {{0, -1}, 0, def_ombrel_fault_invalid},
        {{0, 1'000'000'000}, 0, def_ombrel_fault_invalid},
    };
    for (const auto& expected : cases) {
        ombrel_civil_time_t time = civil(1, 2, 3);
        ombrel_instant_t again;
        EXPECT_EQ(expected.fault == 0 ? 0 : -1,
                  ombrel_make_offset_time(&expected.instant, expected.offset, &time))
            << expected.instant.m_seconds;
        if (expected.fault != 0) {
            EXPECT_EQ(expected.fault, ombrel_last_fault());
            EXPECT_EQ(fields(civil(1, 2, 3)), fields(time));
        } else {
            EXPECT_EQ(0, ombrel_get_civil_instant(&time, &again));
            EXPECT_EQ(0, ombrel_compare_instants(&expected.instant, &again));
        }
    }
    ombrel_civil_time_t time;
    const ombrel_instant_t beyond{last_second + 172'801, 0};
    EXPECT_EQ(-1, ombrel_make_local_time(&beyond, &time));
    EXPECT_EQ(-1, ombrel_set_iso_week(1'000'000, 53, 1, &time));
    EXPECT_EQ(-1, ombrel_set_year_day(1'000'001, 1, &time));
    EXPECT_EQ(-1, ombrel_get_iso_weeks(1'000'001));
    EXPECT_EQ(53, ombrel_get_iso_weeks(2026));
}

TEST(Calendar, RefusesFieldsOutOfRangeAndCarriesThem) {
    const struct {
        ombrel_civil_time_t given, carried;
    } cases[] = {
        {civil(2026, 1, 32), civil(2026, 2, 1)},
        {civil(2026, 2, 29), civil(2026, 3, 1)},
        {civil(1900, 2, 29), civil(1900, 3, 1)},
        {civil(2026, 4, 31), civil(2026, 5, 1)},
        {civil(2026, 3, 0), civil(2026, 2, 28)},
        {civil(2026, 14, 1), civil(2027, 2, 1)},
        {civil(2026, 0, 1), civil(2025, 12, 1)},
        {civil(2026, 1, 1, 24), civil(2026, 1, 2)},
        {civil(2026, 1, 1, 0, -1), civil(2025, 12, 31, 23, 59)},
        {civil(2026, 1, 1, 0, 0, 60), civil(2026, 1, 1, 0, 1)},
        {civil(2026, 1, 1, 0, 0, 0, -1), civil(2025, 12, 31, 23, 59, 59, 999'999'999)},
        {civil(2026, 1, 1, 0, 0, -1, 1'000'000'000), civil(2026, 1, 1)},
        {civil(0, 1, 1, INT_MAX, INT_MAX, INT_MAX), civil(249'134, 11, 20, 12, 21, 7)},
        {civil(1'000'000, -11, 1), civil(999'999, 1, 1)},
        {civil(1'000'001, 1, 0), civil(1'000'000, 12, 31)},
    };
    for (const auto& expected : cases) {
        ombrel_civil_time_t time = expected.given;
        ombrel_instant_t instant;
        char text[8];
        EXPECT_EQ(-1, ombrel_check_civil_time(&time));
        EXPECT_EQ(-1, ombrel_get_civil_instant(&time, &instant));
        EXPECT_EQ(-1, ombrel_get_local_instant(&time, 0, &instant));
        EXPECT_EQ(-1, ombrel_format_time(text, sizeof text, "%Y", &time));
        EXPECT_EQ(0, ombrel_normalize_civil_time(&time));
        EXPECT_EQ(fields(expected.carried), fields(time));
        EXPECT_EQ(0, ombrel_check_civil_time(&time));
        EXPECT_EQ(ombrel_get_week_day(time.m_year, time.m_month, time.m_day), time.m_week_day);
    }
    for (ombrel_civil_time_t time :
         {civil(1'000'001, 1, 1), civil(INT_MAX, INT_MAX, 1), civil(INT_MIN, INT_MIN, INT_MIN)}) {
        EXPECT_EQ(-1, ombrel_normalize_civil_time(&time));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
}

TEST(Calendar, MonthsEndOnTheirLastDay) {
    const struct {
        ombrel_civil_time_t from;
        int months;
        ombrel_civil_time_t to;
    } cases[] = {
        {civil(2026, 1, 31, 5), 1, civil(2026, 2, 28, 5)}, {civil(2024, 1, 31), 1, civil(2024, 2, 29)},
        {civil(2024, 2, 29), 12, civil(2025, 2, 28)},      {civil(2024, 2, 29), -48, civil(2020, 2, 29)},
        {civil(2026, 1, 15), -1, civil(2025, 12, 15)},     {civil(0, 1, 1), -1, civil(-1, 12, 1)}};
    for (const auto& expected : cases) {
        ombrel_civil_time_t time = expected.from;
        EXPECT_EQ(0, ombrel_add_months(&time, expected.months));
        EXPECT_EQ(fields(expected.to), fields(time));
    }
    ombrel_civil_time_t last = civil(1'000'000, 12, 1), none = civil(2026, 2, 30);
    EXPECT_EQ(-1, ombrel_add_months(&last, 1));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_add_months(&none, 1));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(Instants, AreCarriedMovedAndCompared) {
    const struct {
        int64_t seconds, nanoseconds, whole;
        int32_t rest;
    } cases[] = {{0, -1, -1, 999'999'999},
                 {5, 2'500'000'000, 7, 500'000'000},
                 {0, INT64_MIN, -9'223'372'037, 145'224'192},
                 {INT64_MAX, 999'999'999, INT64_MAX, 999'999'999},
                 {INT64_MIN, 1'000'000'000, INT64_MIN + 1, 0}};
    for (const auto& expected : cases) {
        ombrel_instant_t made, moved{expected.seconds, 0};
        EXPECT_EQ(0, ombrel_make_instant(expected.seconds, expected.nanoseconds, &made));
        EXPECT_EQ(std::pair(expected.whole, expected.rest), std::pair(made.m_seconds, made.m_nanoseconds));
        EXPECT_EQ(0, ombrel_add_duration(&moved, expected.nanoseconds));
        EXPECT_EQ(0, ombrel_compare_instants(&made, &moved));
        const ombrel_instant_t start{expected.seconds, 0};
        int64_t duration;
        EXPECT_EQ(0, ombrel_get_duration(&start, &made, &duration));
        EXPECT_EQ(expected.nanoseconds, duration);
    }
    ombrel_instant_t first{INT64_MIN, 0}, last{INT64_MAX, 999'999'999};
    int64_t duration;
    EXPECT_EQ(-1, ombrel_get_duration(&first, &last, &duration));
    EXPECT_EQ(-1, ombrel_add_duration(&last, 1));
    EXPECT_EQ(-1, ombrel_make_instant(INT64_MIN, -1, &last));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_compare_instants(&first, &last));
    EXPECT_EQ(1, ombrel_compare_instants(&first, nullptr));
    const time_t before = time(nullptr);
    EXPECT_EQ(0, ombrel_get_instant(&last));
    EXPECT_GE(last.m_seconds, before);
    EXPECT_LE(last.m_seconds, time(nullptr));
}

/// TZ while it lives; the C library of the tests looks at it, too.
struct zone {
    explicit zone(const std::string& name) {
        ombrel_putenv(("TZ=" + name).c_str());
        look();
    }
    ~zone() {
        ombrel_putenv("TZ");
        look();
    }
    static void look() {
        EXPECT_EQ(0, ombrel_refresh_time_zone());
        tzset();
    }
};

TEST(LocalTime, IsThatOfTheCLibraryInTwentyZones) {
#if defined(_WIN32)
    GTEST_SKIP() << "this host has no database of zones";
#else
    const char* const names[] = {
        "Europe/Berlin",    "Europe/London",       "Europe/Dublin",      "Europe/Lisbon",
        "America/New_York", "America/Los_Angeles", "America/St_Johns",   "America/Sao_Paulo",
        "America/Caracas",  "Africa/Casablanca",   "Africa/Monrovia",    "Asia/Kolkata",
        "Asia/Kathmandu",   "Asia/Tehran",         "Asia/Pyongyang",     "Australia/Lord_Howe",
        "Pacific/Apia",     "Pacific/Chatham",     "Pacific/Kiritimati", "Antarctica/Troll"};
    std::mt19937_64 source(11);
    for (const char* const name : names) {
        const zone here(name);
        for (int i = 0; i < 2000; i++) {
            const int64_t wide = static_cast<int64_t>(source() % 6'000'000'000) - 2'000'000'000;
            const auto moment = static_cast<time_t>(sizeof(time_t) == 4 ? static_cast<int32_t>(wide) : wide);
            const ombrel_instant_t instant{moment, 0};
            tm expected{};
            ombrel_civil_time_t time;
            ombrel_instant_t first, later;
            localtime_r(&moment, &expected);
            ASSERT_EQ(0, ombrel_make_local_time(&instant, &time));
            ASSERT_EQ(std::tuple(expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday,
                                 expected.tm_hour, expected.tm_min, expected.tm_sec, 0),
                      fields(time));
            ASSERT_EQ(
                std::tuple(int64_t{expected.tm_gmtoff}, expected.tm_isdst, std::string(expected.tm_zone)),
                std::tuple(int64_t{time.m_offset}, int{time.m_is_summer}, std::string(time.m_zone)));
            ASSERT_EQ(0, ombrel_get_local_instant(&time, def_ombrel_local_refuse_gap, &first));
            ASSERT_EQ(0, ombrel_get_local_instant(&time, def_ombrel_local_later, &later));
            ASSERT_TRUE(first.m_seconds == moment || later.m_seconds == moment) << name << ' ' << moment;
        }
    }
#endif
}

TEST(LocalTime, GapsAndOverlapsAreAsChosen) {
    constexpr uint32_t later = def_ombrel_local_later, no_gap = def_ombrel_local_refuse_gap,
                       no_overlap = def_ombrel_local_refuse_overlap;
    const struct {
        const char* rule;
        ombrel_civil_time_t local;
        uint32_t flags;
        const char* result; // null: refused
    } cases[] = {
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 3, 31, 2, 30), 0, "03:30:00 +0200 CEST"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 3, 31, 2, 30), later | no_overlap, "03:30:00 +0200 CEST"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 3, 31, 2, 30), no_gap, nullptr},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 3, 31, 1, 59, 59), no_gap, "01:59:59 +0100 CET"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 3, 31, 3), no_gap, "03:00:00 +0200 CEST"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 10, 27, 2, 30), 0, "02:30:00 +0200 CEST"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 10, 27, 2, 30), later | no_gap, "02:30:00 +0100 CET"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 10, 27, 2, 30), no_overlap, nullptr},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 10, 27, 3), no_overlap, "03:00:00 +0100 CET"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", civil(2024, 7, 1), later | no_gap | no_overlap, "00:00:00 +0200 CEST"},
        {"<-03>3", civil(2024, 7, 1), 0, "00:00:00 -0300 -03"},
        {"NST3:30NDT,M3.2.0,M11.1.0", civil(2024, 3, 10, 2, 15), 0, "03:15:00 -0230 NDT"},
        {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", civil(2024, 10, 6, 2, 15), 0, "02:45:00 +1100 +11"},
        {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", civil(2024, 4, 7, 1, 45), later, "01:45:00 +1030 +1030"},
        {"AAA-1BBB,J60/2,J300/2", civil(2024, 3, 1, 2, 30), no_gap, nullptr},
        {"AAA-1BBB,59/2,300/2", civil(2024, 2, 29, 2, 30), no_gap, nullptr},
        {"AAA12BBB-12,M3.5.0,M10.5.0", civil(2024, 4, 1, 1, 0), no_gap, nullptr},
        {"UTC0", civil(2024, 7, 1, 23, 59, 59), no_gap | no_overlap, "23:59:59 +0000 UTC"},
    };
    for (const auto& expected : cases) {
        const zone here(expected.rule);
        ombrel_instant_t instant;
        ombrel_civil_time_t time;
        char text[64] = "";
        const int result = ombrel_get_local_instant(&expected.local, expected.flags, &instant);
        EXPECT_EQ(expected.result == nullptr ? -1 : 0, result) << expected.rule;
        if (result == 0 && ombrel_make_local_time(&instant, &time) == 0)
            ombrel_format_time(text, sizeof text, "%T %z %Z", &time);
        EXPECT_STREQ(expected.result == nullptr ? "" : expected.result, text);
    }
}

} // namespace
} // namespace ombrel_test
