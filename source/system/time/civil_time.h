// Moments and civil times, between functions that have checked what they were given.
#pragma once

#include <ombrel/calendar.h>

#include <cstdint>
#include <cstring>

#include "platform/civil_date.h"

namespace ombrel::system {

using platform::civil_date;
using platform::date_of;
using platform::day_number;
using platform::days_per_era;
using platform::first_day;
using platform::first_year;
using platform::is_date;
using platform::is_leap_year;
using platform::is_year;
using platform::last_day;
using platform::last_year;
using platform::month_days;
using platform::seconds_per_day;
using platform::week_day_of;
static_assert(last_year == def_ombrel_calendar_year_max);

inline constexpr int32_t nanoseconds_per_second = 1'000'000'000;
inline constexpr int32_t offset_limit = 2 * seconds_per_day; ///< less, either way

inline constexpr int64_t first_second = int64_t{first_day} * seconds_per_day;
inline constexpr int64_t last_second = (int64_t{last_day} + 1) * seconds_per_day - 1;

/// A number in whole units, rounded down, and what is left: 0 to less than a unit.
struct split_number {
    int64_t whole;
    int32_t rest;
};

constexpr split_number split(int64_t value, int32_t unit) {
    const bool is_rounded_up = value % unit < 0;
    return {value / unit - (is_rounded_up ? 1 : 0),
            static_cast<int32_t>(value % unit) + (is_rounded_up ? unit : 0)};
}

constexpr uint64_t magnitude_of(int64_t value) {
    return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

inline bool is_instant(const ombrel_instant_t* instant) {
    return instant != nullptr && instant->m_nanoseconds >= 0 &&
           instant->m_nanoseconds < nanoseconds_per_second;
}

constexpr bool is_offset(int32_t offset) {
    return offset > -offset_limit && offset < offset_limit;
}

inline bool has_clock_fields(const ombrel_civil_time_t& time) {
    // Negative ones are large without a sign.
    return static_cast<uint32_t>(time.m_hour) < 24 && static_cast<uint32_t>(time.m_minute) < 60 &&
           static_cast<uint32_t>(time.m_second) < 60 &&
           static_cast<uint32_t>(time.m_nanosecond) < static_cast<uint32_t>(nanoseconds_per_second);
}

/// Whether it is there and each field that is read is in its range.
inline bool is_civil_time(const ombrel_civil_time_t* time) {
    return time != nullptr && is_date(time->m_year, time->m_month, time->m_day) && has_clock_fields(*time) &&
           is_offset(time->m_offset);
}

/// Sets the date and what follows from it.
inline void set_date(ombrel_civil_time_t& time, int32_t day) {
    const civil_date date = date_of(day);
    time.m_year = date.year;
    time.m_month = date.month;
    time.m_day = date.day;
    time.m_week_day = week_day_of(day);
    time.m_year_day = date.year_day;
}

inline void set_clock(ombrel_civil_time_t& time, int32_t second_of_day) {
    const int32_t minute_of_day = second_of_day / 60;
    time.m_hour = minute_of_day / 60;
    time.m_minute = minute_of_day % 60;
    time.m_second = second_of_day % 60;
}

/// Sets date and time of day to so many seconds after 1970 began; false beyond the calendar's ends.
inline bool set_date_and_clock(ombrel_civil_time_t& time, int64_t local_seconds) {
    if (local_seconds < first_second || local_seconds > last_second)
        return false;
    const auto since_first = static_cast<uint64_t>(local_seconds - first_second);
    set_date(time, static_cast<int32_t>(since_first / seconds_per_day) + first_day);
    set_clock(time, static_cast<int32_t>(since_first % seconds_per_day));
    return true;
}

/// Seconds from 1970's beginning to a civil time, both at the same offset.
inline int64_t local_seconds_of(const ombrel_civil_time_t& time) {
    return int64_t{day_number(time.m_year, time.m_month, time.m_day)} * seconds_per_day + time.m_hour * 3600 +
           time.m_minute * 60 + time.m_second;
}

inline ombrel_instant_t instant_of(const ombrel_civil_time_t& time) {
    return {local_seconds_of(time) - time.m_offset, time.m_nanosecond};
}

inline void set_zone_name(ombrel_civil_time_t& time, const char (&name)[4]) {
    memcpy(time.m_zone, name, sizeof name);
}

} // namespace ombrel::system
