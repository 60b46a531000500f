// The Gregorian calendar: dates and numbers of days, each from the other without a loop or a table.
//
// Inside, years begin in March, so that a leap day is the last of its year, and are counted from before the
// calendar's first, so that all is unsigned. Divisions by what is no power of two are products and shifts, as
// Neri and Schneider ("Euclidean affine functions and their application to calendar algorithms") found them.
#pragma once

#include <cstdint>

namespace ombrel::platform {

inline constexpr int32_t last_year = 1'000'000;
inline constexpr int32_t first_year = -last_year;
inline constexpr int32_t seconds_per_day = 86'400;
inline constexpr int32_t days_per_era = 146'097; ///< 400 years

struct civil_date {
    int32_t year;
    int32_t month;    ///< from 1
    int32_t day;      ///< from 1
    int32_t year_day; ///< from 1
};

// As many eras before the year 0 as bring the calendar's first year, and what comes before it, above 0.
inline constexpr uint32_t eras_before = last_year / 400 + 1;
inline constexpr uint32_t years_before = eras_before * 400;
/// Days from the 1st of March of the inner year 0 to that of 1970's 1st of January.
inline constexpr uint32_t days_before_1970 = eras_before * days_per_era + 719'468;
inline constexpr uint32_t days_before_january = 306; ///< in a year that begins in March

/// What 4 and 25 divide, 100 does, and what 16 does besides, 400.
constexpr bool is_leap_year(int32_t year) {
    return (year & (year % 25 == 0 ? 15 : 3)) == 0;
}

constexpr int32_t month_days(int32_t year, int32_t month) {
    return month == 2 ? 28 + (is_leap_year(year) ? 1 : 0) : 30 + ((month ^ month >> 3) & 1);
}

constexpr bool is_year(int64_t year) {
    return year >= first_year && year <= last_year;
}

constexpr bool is_date(int32_t year, int32_t month, int32_t day) {
    return is_year(year) && month >= 1 && month <= 12 && day >= 1 && day <= month_days(year, month);
}

/// Days since 1970 of a date that exists, or whose day is any small number.
constexpr int32_t day_number(int32_t year, int32_t month, int32_t day) {
    const bool is_late = month <= 2; // in the year that began last March
    const uint32_t inner_year = static_cast<uint32_t>(year) + years_before - (is_late ? 1 : 0);
    const uint32_t inner_month = static_cast<uint32_t>(month) + (is_late ? 12 : 0);
    const uint32_t century = inner_year / 100;
    const uint32_t days = 1461 * inner_year / 4 - century + century / 4 + (979 * inner_month - 2919) / 32;
    return static_cast<int32_t>(days - days_before_1970) + day - 1;
}

inline constexpr int32_t first_day = day_number(first_year, 1, 1);
inline constexpr int32_t last_day = day_number(last_year, 12, 31);

/// The date of a day of the calendar, counted from 1970.
constexpr civil_date date_of(int32_t day) {
    const uint32_t quarters = 4 * (static_cast<uint32_t>(day) + days_before_1970) + 3;
    const uint32_t century = quarters / days_per_era;
    const uint64_t years = uint64_t{2'939'745} * (quarters % days_per_era / 4 * 4 + 3);
    const uint32_t year_day = static_cast<uint32_t>(years) / 2'939'745 / 4;
    const uint32_t months = 2141 * year_day + 197'913;
    const bool is_late = year_day >= days_before_january;
    const auto year = static_cast<int32_t>(100 * century + static_cast<uint32_t>(years >> 32) - years_before +
                                           (is_late ? 1 : 0));
    const auto from_march = static_cast<int32_t>(year_day);
    return {year, static_cast<int32_t>(months >> 16) - (is_late ? 12 : 0),
            static_cast<int32_t>((months & 0xFFFF) / 2141) + 1,
            is_late ? from_march - static_cast<int32_t>(days_before_january) + 1
                    : from_march + 60 + (is_leap_year(year) ? 1 : 0)};
}

/// 0 for Sunday. Eras are whole weeks, and the inner count begins on a Wednesday.
constexpr int32_t week_day_of(int32_t day) {
    return static_cast<int32_t>((static_cast<uint32_t>(day) + days_before_1970 + 3) % 7);
}

static_assert(day_number(1970, 1, 1) == 0 && week_day_of(0) == 4);
static_assert(date_of(first_day).year == first_year && date_of(last_day).year_day == 366);

} // namespace ombrel::platform
