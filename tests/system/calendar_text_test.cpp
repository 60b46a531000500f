// Texts of times and durations. Formats are compared with those of GNU's date where its commands are.
#include <climits>
#include <functional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/calendar.h>
#include <ombrel/environment.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

constexpr uint32_t basic = def_ombrel_iso_basic, week = def_ombrel_iso_week, ordinal = def_ombrel_iso_ordinal,
                   date_only = def_ombrel_iso_date_only, no_offset = def_ombrel_iso_no_offset,
                   numeric = def_ombrel_iso_numeric_offset, space = def_ombrel_iso_space,
                   strict = def_ombrel_parse_rfc3339;
constexpr int all = def_ombrel_calendar_all_digits;

ombrel_civil_time_t time_of(int64_t seconds, int32_t nanoseconds, int32_t offset) {
    const ombrel_instant_t instant{seconds, nanoseconds};
    ombrel_civil_time_t time;
    EXPECT_EQ(0, ombrel_make_offset_time(&instant, offset, &time));
    return time;
}

std::string iso(const ombrel_civil_time_t& time, uint32_t flags = 0, int digits = all) {
    char text[48];
    EXPECT_LE(0, ombrel_format_iso_time(text, sizeof text, &time, flags, digits));
    return text;
}

/// Whatever makes a text stores no more of it than fits.
template<typename Format>
void expect_cut_to_fit(const std::string& whole, const Format& format) {
    EXPECT_EQ(0, format(nullptr, 0));
    for (size_t size = 0; size <= whole.size() + 2; size++) {
        std::string buffer(whole.size() + 3, '#');
        const std::string kept = whole.substr(0, size == 0 ? 0 : size - 1);
        EXPECT_EQ(static_cast<int>(kept.size()), format(buffer.data(), size));
        EXPECT_EQ(size == 0 ? "" : kept + '\0', buffer.substr(0, size == 0 ? 0 : kept.size() + 1));
        EXPECT_EQ(std::string(buffer.size() - size, '#'), buffer.substr(size));
    }
}

TEST(TimeText, IsCutToFitAndAllocatedToSize) {
    const heap_balance balance;
    const ombrel_instant_t instant{784'111'777, 0};
    const ombrel_civil_time_t time = time_of(784'111'777, 123'456'789, 3600);
    const char* const format = "%A %e%% %3N %12c|%_9F %Q %";
    const std::string whole = "Sunday  6% 123 Sun Nov  6 09:49:37 1994|1994-11-06 %Q %";
    expect_cut_to_fit(whole,
                      [&](char* to, size_t size) { return ombrel_format_time(to, size, format, &time); });
    expect_cut_to_fit("1994-11-06T09:49:37.12+01:00",
                      [&](char* to, size_t size) { return ombrel_format_iso_time(to, size, &time, 0, 2); });
    expect_cut_to_fit("Sun, 06 Nov 1994 08:49:37 GMT",
                      [&](char* to, size_t size) { return ombrel_format_http_date(to, size, &instant, 0); });
    expect_cut_to_fit("-106751 d 23:47:16.854775808",
                      [](char* to, size_t size) { return ombrel_format_duration(to, size, INT64_MIN, all); });
    char* text = ombrel_alloc_time_text(format, &time);
    EXPECT_EQ(whole, text);
    ombrel_free(text);
    text = ombrel_alloc_time_text("%99999999999d", &time); // widths have an end
    EXPECT_EQ(std::string(65533, '0') + "06", text);
    ombrel_free(text);
    EXPECT_EQ(nullptr, ombrel_alloc_time_text(nullptr, &time));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(TimeText, NonsenseLeavesAnEmptyText) {
    const ombrel_civil_time_t time = time_of(0, 0, 0);
    const ombrel_instant_t early{-62'167'219'201, 0}, none{0, -1};
    char text[8];
    const auto refused = [&](int result) {
        EXPECT_EQ(-1, result);
        EXPECT_STREQ("", text);
        text[0] = '#';
    };
    refused((text[0] = '#', ombrel_format_time(text, sizeof text, nullptr, &time)));
    refused(ombrel_format_time(text, sizeof text, "", nullptr));
    refused(ombrel_format_iso_time(text, sizeof text, &time, 0, 10));
    refused(ombrel_format_iso_time(text, sizeof text, nullptr, 0, 0));
    refused(ombrel_format_http_date(text, sizeof text, &early, 0));
    refused(ombrel_format_http_date(text, sizeof text, &none, 0));
    refused(ombrel_format_http_date(text, sizeof text, nullptr, 3));
    refused(ombrel_format_duration(text, sizeof text, 0, -2));
    EXPECT_EQ(-1, ombrel_format_time(nullptr, 1, "", &time));
    EXPECT_EQ(-1, ombrel_format_iso_time(nullptr, 1, &time, 0, 0));
    EXPECT_EQ(-1, ombrel_format_duration(nullptr, 1, 0, 0));
}

TEST(IsoTime, HasEachForm) {
    const struct {
        ombrel_civil_time_t time;
        uint32_t flags;
        int digits;
        const char* text;
    } cases[] = {
        {time_of(0, 0, 0), 0, all, "1970-01-01T00:00:00Z"},
        {time_of(0, 0, 0), numeric | space, 3, "1970-01-01 00:00:00.000+00:00"},
        {time_of(1'772'362'800, 500'000'000, 3600), 0, all, "2026-03-01T12:00:00.5+01:00"},
        {time_of(1'772'362'800, 5, -12'600), basic, all, "20260301T073000.000000005-0330"},
        {time_of(1'772'362'800, 999'999'999, 0), week | no_offset, 1, "2026-W09-7T11:00:00.9"},
        {time_of(1'772'362'800, 0, 0), week | basic | date_only, all, "2026W097"},
        {time_of(1'772'362'800, 0, 0), ordinal | basic | no_offset, 0, "2026060T110000"},
        {time_of(1'772'362'800, 0, 0), ordinal | date_only, 0, "2026-060"},
        {time_of(1'735'603'200, 0, 0), week | date_only, 0, "2025-W01-2"},
        {time_of(0, 0, 3661), 0, 0, "1970-01-01T01:01:01+01:01:01"},
        {time_of(-62'167'219'201, 0, 0), 0, 0, "-000001-12-31T23:59:59Z"},
        {time_of(253'402'300'800, 0, 0), date_only, 0, "+010000-01-01"},
        {time_of(31'494'816'403'199, 0, 0), 0, 0, "+1000000-12-31T23:59:59Z"},
    };
    for (const auto& expected : cases)
        EXPECT_EQ(expected.text, iso(expected.time, expected.flags, expected.digits));
}

TEST(IsoTime, IsReadInEachForm) {
    const struct {
        const char* text;
        uint32_t flags;
        const char* time; // null: refused
        size_t fault_at;
    } cases[] = {
        {"2026-03-01", 0, "2026-03-01T00:00:00", 0},
        {"20260301", 0, "2026-03-01T00:00:00", 0},
        {"2026-03", 0, "2026-03-01T00:00:00", 0},
        {"2026-W09-7", 0, "2026-03-01T00:00:00", 0},
        {"2026W097", 0, "2026-03-01T00:00:00", 0},
        {"2026-W09", 0, "2026-02-23T00:00:00", 0},
        {"2026W09", 0, "2026-02-23T00:00:00", 0},
        {"2026-060", 0, "2026-03-01T00:00:00", 0},
        {"2024366", 0, "2024-12-31T00:00:00", 0},
        {"-0044-03-15", 0, "-000044-03-15T00:00:00", 0},
        {"+12026-060T12", 0, "+012026-03-01T12:00:00", 0},
        {"+1000000-12-31T23:59:59Z", 0, "+1000000-12-31T23:59:59Z", 0},
        {"2026-03-01T12:30", 0, "2026-03-01T12:30:00", 0},
        {"2026-03-01t12:30:15,25z", 0, "2026-03-01T12:30:15.25Z", 0},
        {"20260301T123015+0130", 0, "2026-03-01T12:30:15+01:30", 0},
        {"20260301 12:30-01", 0, "2026-03-01T12:30:00-01:00", 0},
        {"2026-03-01 12:30:15 -03:30:20", 0, "2026-03-01T12:30:15-03:30:20", 0},
        {"2026-03-01T12:30:15-00:00", 0, "2026-03-01T12:30:15Z", 0},
        {"2026-03-01 12:30 UTC", 0, "2026-03-01T12:30:00Z", 0},
        {"2026-03-01T12.5", 0, "2026-03-01T12:30:00", 0},
        {"2026-03-01T12.123456789012345", 0, "2026-03-01T12:07:24.444440444", 0},
        {"2026-03-01T12:30.000000000016666666666666666666666667", 0, "2026-03-01T12:30:00.000000001", 0},
        {"2026-03-01T12:30:15.9999999999999", 0, "2026-03-01T12:30:15.999999999", 0},
        {"2026-12-31T24:00:00Z", 0, "2027-01-01T00:00:00Z", 0},
        {"2016-12-31T23:59:60.5Z", 0, "2017-01-01T00:00:00.5Z", 0},
        {"2017-01-01T00:59:60+01:00", 0, "2017-01-01T01:00:00+01:00", 0},
        {"", 0, nullptr, 0},
        {"2026", 0, nullptr, 4},
        {"202603", 0, nullptr, 0},
        {"2026-", 0, nullptr, 5},
        {"2026-13-01", 0, nullptr, 5},
        {"2026-02-29", 0, nullptr, 8},
        {"2026-366", 0, nullptr, 5},
        {"2026-W54-1", 0, nullptr, 6},
        {"2025-W53-1", 0, nullptr, 6},
        {"2026-W09-8", 0, nullptr, 9},
        {"+1000001-01-01", 0, nullptr, 1},
        {"+20260301", 0, nullptr, 1},
        {"2026-03-01T", 0, nullptr, 11},
        {"2026-03T12", 0, nullptr, 7},
        {"2026W09T12", 0, nullptr, 7},
        {"2026-03-01T1230", 0, nullptr, 13},
        {"2026-03-01T12:60", 0, nullptr, 14},
        {"2026-03-01T12:30:61", 0, nullptr, 17},
        {"2026-03-01T12:30:60Z", 0, nullptr, 20},
        {"2026-03-01T24:00:01", 0, nullptr, 19},
        {"2026-03-01T25:00", 0, nullptr, 11},
        {"2026-03-01T12:30:15.", 0, nullptr, 19},
        {"2026-03-01T12:30:15+24:00", 0, nullptr, 20},
        {"2026-03-01T12:30:15+01:60", 0, nullptr, 23},
        {"2026-03-01T12:30:15Zx", 0, nullptr, 20},
        {"2026-03-01 ", 0, nullptr, 11},
        {" 2026-03-01", 0, nullptr, 0},
        {"1000000-12-31T24:00:00", 0, nullptr, 4},
        {"+1000000-12-31T24:00:00", 0, nullptr, 23},
        {"2026-03-01T12:30:15.25Z", strict, "2026-03-01T12:30:15.25Z", 0},
        {"2026-03-01 12:30:15-03:30", strict, "2026-03-01T12:30:15-03:30", 0},
        {"2026-03-01T12:30:15,25Z", strict, nullptr, 19},
        {"2026-03-01T12:30Z", strict, nullptr, 16},
        {"2026-03-01T12:30:15", strict, nullptr, 19},
        {"2026-03-01T12:30:15 +03:30", strict, nullptr, 19},
        {"2026-03-01T12:30:15+0330", strict, nullptr, 22},
        {"2026-03-01T24:00:00Z", strict, nullptr, 11},
        {"20260301T123015Z", strict, nullptr, 4},
    };
    for (const auto& expected : cases) {
        ombrel_civil_time_t time = time_of(5, 5, 5);
        uint32_t given = 99;
        size_t fault_at = 0;
        const int result = ombrel_parse_iso_time(expected.text, expected.flags, &time, &given, &fault_at);
        EXPECT_EQ(expected.time == nullptr ? -1 : 0, result) << expected.text;
        const char* const unchanged = "1970-01-01T00:00:10.000000005+00:00:05";
        EXPECT_EQ(
            expected.time == nullptr ? unchanged : expected.time,
            iso(time, expected.time == nullptr || (given & def_ombrel_given_offset) != 0 ? 0 : no_offset))
            << expected.text;
        EXPECT_EQ(expected.time == nullptr, given == 99);
        EXPECT_EQ(expected.fault_at, fault_at) << expected.text;
    }
    EXPECT_EQ(-1, ombrel_parse_iso_time(nullptr, 0, nullptr, nullptr, nullptr));
}

TEST(IsoTime, WhatIsWrittenIsRead) {
    std::mt19937_64 source(3);
    for (int i = 0; i < 20'000; i++) {
        const int64_t range = 31'000'000'000'000 >> source() % 12;
        const int64_t seconds = static_cast<int64_t>(source() % static_cast<uint64_t>(2 * range)) - range;
        const ombrel_civil_time_t time = time_of(seconds, static_cast<int32_t>(source() % 1'000'000'000),
                                                 static_cast<int32_t>(source() % 172'799) - 86'399);
        const uint32_t forms[] = {0, week, ordinal, space};
        const bool is_short = time.m_year >= 1 && time.m_year <= 9998;
        const std::string text = iso(time, forms[i % 4] | (is_short && i % 3 == 0 ? basic : 0));
        ombrel_civil_time_t again;
        ASSERT_EQ(0, ombrel_parse_iso_time(text.c_str(), 0, &again, nullptr, nullptr)) << text;
        ASSERT_EQ(iso(time), iso(again)) << text;
    }
}

TEST(HttpDate, IsWrittenAndReadInItsThreeForms) {
    const ombrel_instant_t instant{784'111'777, 0}, now{1'772'362'800, 0}; // 2026-03-01T11:00:00Z
    const char* const forms[] = {"Sun, 06 Nov 1994 08:49:37 GMT", "Sunday, 06-Nov-94 08:49:37 GMT",
                                 "Sun Nov  6 08:49:37 1994"};
    for (int form = 0; form < 3; form++) {
        char text[48];
        EXPECT_LT(0, ombrel_format_http_date(text, sizeof text, &instant, form));
        EXPECT_STREQ(forms[form], text);
    }
    const struct {
        const char* text;
        const char* time; // null: refused
        size_t fault_at;
    } cases[] = {
        {forms[0], "1994-11-06T08:49:37Z", 0},
        {forms[1], "1994-11-06T08:49:37Z", 0},
        {forms[2], "1994-11-06T08:49:37Z", 0},
        {"6 nov 1994 08:49 +0130", "1994-11-06T07:19:00Z", 0},
        {"SUN, 6 NOVEMBER 1994 08:49:37 UT", "1994-11-06T08:49:37Z", 0},
        {"Sun, 06-Nov-1994 08:49:37 GMT", "1994-11-06T08:49:37Z", 0},
        {"Sun Nov 06 08:49:37 1994", "1994-11-06T08:49:37Z", 0},
        {"Sat, 31 Dec 2016 23:59:60 GMT", "2017-01-01T00:00:00Z", 0},
        {"Sunday, 01-Mar-76 11:00:00 GMT", "2076-03-01T11:00:00Z", 0},
        {"Monday, 01-Mar-76 11:00:01 GMT", "1976-03-01T11:00:01Z", 0},
        {"Saturday, 29-Feb-00 00:00:00 GMT", nullptr, 32}, // a Tuesday
        {"Mon, 06 Nov 1994 08:49:37 GMT", nullptr, 29},
        {"Sun, 31 Feb 1994 08:49:37 GMT", nullptr, 29},
        {"Sun, 32 Nov 1994 08:49:37 GMT", nullptr, 5},
        {"Sun, 06 Nov 94 08:49:37 GMT", nullptr, 12},
        {"Sun, 06 Nov 1994 24:49:37 GMT", nullptr, 17},
        {"Sun, 06 Nov 1994 08:49:37", nullptr, 25},
        {"Sun, 06 Nov 1994 08:49:37 CET", nullptr, 26},
        {"Sun, 06 Nov 1994 08:49:37 GMT ", nullptr, 29},
        {"Sun, 06 Nob 1994 08:49:37 GMT", nullptr, 8},
        {"Sund, 06 Nov 1994 08:49:37 GMT", nullptr, 0},
        {"Sun Nov  6 08:49:37 1994 GMT", nullptr, 24},
        {"Sun, 06 Nov 1994 08:49:60 GMT", nullptr, 29},
        {"", nullptr, 0},
    };
    for (const auto& expected : cases) {
        ombrel_instant_t found{5, 0};
        size_t fault_at = 0;
        const int result = ombrel_parse_http_date(expected.text, &now, &found, &fault_at);
        EXPECT_EQ(expected.time == nullptr ? -1 : 0, result) << expected.text;
        EXPECT_EQ(expected.time == nullptr ? "1970-01-01T00:00:05Z" : expected.time,
                  iso(time_of(found.m_seconds, 0, 0)))
            << expected.text;
        EXPECT_EQ(expected.fault_at, fault_at) << expected.text;
    }
    ombrel_instant_t found;
    EXPECT_EQ(0, ombrel_parse_http_date(forms[1], nullptr, &found, nullptr));
    EXPECT_EQ(instant.m_seconds, found.m_seconds);
    EXPECT_EQ(-1, ombrel_parse_http_date(nullptr, &now, &found, nullptr));
}

TEST(InstantText, IsSecondsIsoTimeOrHttpDate) {
    ombrel_putenv("TZ=CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(0, ombrel_refresh_time_zone());
    constexpr uint32_t utc = def_ombrel_parse_utc, no_gap = def_ombrel_parse_refuse_gap;
    const struct {
        const char* text;
        uint32_t flags;
        int fault;
        ombrel_instant_t instant;
        size_t fault_at;
    } cases[] = {
        {"@0", 0, 0, {0, 0}, 0},
        {"@-1.5", 0, 0, {-2, 500'000'000}, 0},
        {"@+7,0000000019", 0, 0, {7, 1}, 0},
        {"@9223372036854775807.999999999", 0, 0, {INT64_MAX, 999'999'999}, 0},
        {"2024-07-01T12:00:00", 0, 0, {1'719'828'000, 0}, 0},
        {"2024-07-01", 0, 0, {1'719'784'800, 0}, 0},
        {"2024-07-01T12:00:00", utc, 0, {1'719'835'200, 0}, 0},
        {"2024-07-01T12:00:00-01:00", 0, 0, {1'719'838'800, 0}, 0},
        {"2024-03-31T02:30", 0, 0, {1'711'848'600, 0}, 0},
        {"2024-10-27T02:30", no_gap, 0, {1'729'989'000, 0}, 0},
        {"Sun, 06 Nov 1994 08:49:37 GMT", 0, 0, {784'111'777, 0}, 0},
        {"6 Nov 1994 08:49:37 GMT", 0, 0, {784'111'777, 0}, 0},
        {"2024-03-31T02:30", no_gap, def_ombrel_fault_invalid, {}, 0},
        {"@9223372036854775808", 0, def_ombrel_fault_too_large, {}, 1},
        {"@", 0, def_ombrel_fault_invalid, {}, 1},
        {"@ 1", 0, def_ombrel_fault_invalid, {}, 1},
        {"@1.", 0, def_ombrel_fault_invalid, {}, 2},
        {"@.5", 0, def_ombrel_fault_invalid, {}, 3},
        {"@1 ", 0, def_ombrel_fault_invalid, {}, 2},
        {"", 0, def_ombrel_fault_invalid, {}, 0},
        {"tomorrow", 0, def_ombrel_fault_invalid, {}, 0},
        {"@0", strict, def_ombrel_fault_invalid, {}, 0},
        {"Sun, 06 Nov 1994 08:49:37 GMT", strict, def_ombrel_fault_invalid, {}, 0},
    };
    for (const auto& expected : cases) {
        ombrel_instant_t found{};
        size_t fault_at = 0;
        EXPECT_EQ(expected.fault == 0 ? 0 : -1,
                  ombrel_parse_instant(expected.text, expected.flags, &found, &fault_at))
            << expected.text;
        EXPECT_TRUE(expected.fault == 0 || expected.fault == ombrel_last_fault()) << expected.text;
        EXPECT_EQ(std::pair(expected.instant.m_seconds, expected.instant.m_nanoseconds),
                  std::pair(found.m_seconds, found.m_nanoseconds))
            << expected.text;
        EXPECT_EQ(expected.fault_at, fault_at) << expected.text;
    }
    ombrel_putenv("TZ");
    ombrel_refresh_time_zone();
}

TEST(Duration, IsWrittenAndRead) {
    constexpr int64_t second = 1'000'000'000, day = 86'400 * second;
    const struct {
        int64_t value;
        const char* text;
    } written[] = {{0, "00:00:00"},
                   {day + 7384 * second, "1 d 02:03:04"},
                   {-day - 7384 * second - 500'000'000, "-1 d 02:03:04.5"},
                   {-1, "-00:00:00.000000001"},
                   {INT64_MAX, "106751 d 23:47:16.854775807"},
                   {INT64_MIN, "-106751 d 23:47:16.854775808"}};
    for (const auto& expected : written) {
        char text[48];
        int64_t again;
        EXPECT_LT(0, ombrel_format_duration(text, sizeof text, expected.value, all));
        EXPECT_STREQ(expected.text, text);
        EXPECT_EQ(0, ombrel_parse_duration(text, &again, nullptr));
        EXPECT_EQ(expected.value, again);
    }
    const struct {
        const char* text;
        int fault;
        int64_t value; // or where the fault is
    } read[] = {{"26:03", 0, 93'780 * second},
                {"1d2h30min", 0, day + 9000 * second},
                {"1 w 1 d", 0, 8 * day},
                {"1.5h", 0, 5400 * second},
                {"2 m 3", 0, 123 * second},
                {"250 ms", 0, second / 4},
                {"1s 1us", 0, second + 1000},
                {"+5", 0, 5 * second},
                {"- 1 d 00:00:01", 0, -day - second},
                {"0.0000000019", 0, 1},
                {"", def_ombrel_fault_invalid, 0},
                {"-", def_ombrel_fault_invalid, 1},
                {"5 x", def_ombrel_fault_invalid, 2},
                {"1h 1d", def_ombrel_fault_invalid, 5},
                {"1h 1h", def_ombrel_fault_invalid, 5},
                {"1.5h 3min", def_ombrel_fault_invalid, 5},
                {"1h 02:03", def_ombrel_fault_invalid, 5},
                {"01:60", def_ombrel_fault_invalid, 3},
                {"01:00:00 d", def_ombrel_fault_invalid, 9},
                {"1 d -5", def_ombrel_fault_invalid, 4},
                {"106752 d", def_ombrel_fault_too_large, 8},
                {"99999999999999999999", def_ombrel_fault_too_large, 0}};
    for (const auto& expected : read) {
        int64_t value = 0;
        size_t fault_at = 0;
        EXPECT_EQ(expected.fault == 0 ? 0 : -1, ombrel_parse_duration(expected.text, &value, &fault_at))
            << expected.text;
        EXPECT_EQ(expected.value, expected.fault == 0 ? value : static_cast<int64_t>(fault_at))
            << expected.text;
        EXPECT_TRUE(expected.fault == 0 || expected.fault == ombrel_last_fault()) << expected.text;
    }
}

} // namespace
/// With any character of a text another, or one more, it is refused where that stands, or before, and nothing
/// is received.
TEST(InstantText, EachCharacterCounts) {
    struct reader {
        std::function<int(const char* text, size_t* fault_at)> read;
        std::vector<const char*> texts;
    };
    const ombrel_instant_t kept{5, 6};
    ombrel_instant_t instant = kept;
    ombrel_civil_time_t civil{};
    int64_t nanoseconds = 7;
    const reader readers[] = {
        {[&](const char* text, size_t* at) { return ombrel_parse_http_date(text, nullptr, &instant, at); },
         {"Sun, 06 Nov 1994 08:49:37 GMT", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994",
          "Sun, 06 Nov 1994 08:49:37 +0130", "6 Nov 1994 08:49 UT"}},
        {[&](const char* text, size_t* at) { return ombrel_parse_iso_time(text, 0, &civil, nullptr, at); },
         {"2024-07-01T12:30:15.25+01:30", "20240701T123015Z", "2024-W27-1", "2024W271T12",
          "2024-183T24:00:00"}},
        {[&](const char* text, size_t* at) {
             return ombrel_parse_iso_time(text, strict, &civil, nullptr, at);
         },
         {"2024-07-01T12:30:15.25+01:30", "2024-07-01t12:30:15z"}},
        {[&](const char* text, size_t* at) { return ombrel_parse_instant(text, 0, &instant, at); },
         {"@-1234.5", "2024-07-01 12:30"}},
        {[&](const char* text, size_t* at) { return ombrel_parse_duration(text, &nanoseconds, at); },
         {"1 d 02:03:04.5", "26:03", "-1 d 2 h 30 min", "1.5h", "250 ms"}},
    };
    for (const reader& one : readers)
        for (const std::string text : one.texts) {
            EXPECT_EQ(0, one.read(text.c_str(), nullptr)) << text;
            instant = kept;
            nanoseconds = 7;
            for (size_t at = 0; at <= text.size(); at++) {
                std::string other = text;
                other.replace(at, at < text.size() ? 1 : 0, "~");
                size_t fault_at = 99;
                EXPECT_EQ(-1, one.read(other.c_str(), &fault_at)) << other;
                EXPECT_LE(fault_at, at) << other;
            }
            EXPECT_EQ(std::make_tuple(5, 6, 7),
                      std::make_tuple(instant.m_seconds, instant.m_nanoseconds, nanoseconds))
                << text;
        }
}

} // namespace ombrel_test
