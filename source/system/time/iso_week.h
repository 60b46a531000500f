// The weeks of ISO 8601: from Monday on, the first being that with the year's first Thursday.
#pragma once

#include <cstdint>

#include "system/time/civil_time.h"

namespace ombrel::system {

struct iso_week {
    int32_t year;
    int32_t week; ///< from 1
};

constexpr int32_t year_days(int32_t year) {
    return is_leap_year(year) ? 366 : 365;
}

/// 53 when the year begins on a Thursday, or ends on one.
constexpr int32_t iso_weeks(int32_t year) {
    const int32_t new_year = week_day_of(day_number(year, 1, 1));
    return new_year == 4 || (new_year == 3 && is_leap_year(year)) ? 53 : 52;
}

/// The day on which the first week begins.
constexpr int32_t first_iso_monday(int32_t year) {
    const int32_t fourth = day_number(year, 1, 4); // always in that week
    return fourth - (week_day_of(fourth) + 6) % 7;
}

/// Of a day of the year, from 1, that is such a day of the week, 0 for Sunday.
constexpr iso_week iso_week_of(int32_t year, int32_t year_day, int32_t week_day) {
    const int32_t thursday = year_day + 3 - (week_day + 6) % 7; // of the same week
    if (thursday < 1)
        return {year - 1, iso_weeks(year - 1)};
    if (thursday > year_days(year))
        return {year + 1, 1};
    return {year, (thursday - 1) / 7 + 1};
}

} // namespace ombrel::system
