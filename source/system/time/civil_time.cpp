#include "system/time/civil_time.h"

#include <algorithm>

#include "platform/time_zone.h"
#include "system/time/time_fault.h"

using namespace ombrel::system;
using ombrel::fault_code;

namespace {

constexpr char no_name[4] = {};

/// Sets all but summer time and the zone's name.
bool set_fields(const ombrel_instant_t& instant, int32_t offset, ombrel_civil_time_t& time) {
    int64_t local_seconds;
    if (__builtin_add_overflow(instant.m_seconds, int64_t{offset}, &local_seconds) ||
        !set_date_and_clock(time, local_seconds))
        return false;
    time.m_nanosecond = instant.m_nanoseconds;
    time.m_offset = offset;
    return true;
}

int make_time(const ombrel_instant_t* instant, int32_t offset, const char (&zone)[4],
              ombrel_civil_time_t* time) {
    if (!is_instant(instant) || !is_offset(offset) || time == nullptr)
        return refuse();
    if (!set_fields(*instant, offset, *time))
        return fail(fault_code::too_large);
    time->m_is_summer = 0;
    set_zone_name(*time, zone);
    return 0;
}

/// The time of day in range; what was beyond, in days.
int64_t carry_clock(ombrel_civil_time_t& time) {
    const split_number second = split(time.m_nanosecond, nanoseconds_per_second);
    const split_number day =
        split(int64_t{time.m_hour} * 3600 + int64_t{time.m_minute} * 60 + time.m_second + second.whole,
              seconds_per_day);
    time.m_nanosecond = second.rest;
    set_clock(time, day.rest);
    return day.whole;
}

/// The number of a day counted from the beginning of any month of any year.
int64_t day_of_any_month(int64_t months_since_0, int64_t days) {
    const split_number year = split(months_since_0, 12);
    const split_number era = split(year.whole, 400);
    return era.whole * days_per_era + day_number(era.rest, year.rest + 1, 1) + days;
}

/// Sets the date of a month that is counted from the year 0, its last day where it has not that many.
bool set_month(ombrel_civil_time_t& time, int64_t months_since_0) {
    const split_number year = split(months_since_0, 12);
    if (!is_year(year.whole))
        return false;
    const auto in_range = static_cast<int32_t>(year.whole);
    const int32_t month = year.rest + 1;
    set_date(time, day_number(in_range, month, std::min(time.m_day, month_days(in_range, month))));
    return true;
}

} // namespace

int ombrel_make_utc_time(const ombrel_instant_t* instant, ombrel_civil_time_t* time) {
    return make_time(instant, 0, "UTC", time);
}

int ombrel_make_offset_time(const ombrel_instant_t* instant, int32_t offset, ombrel_civil_time_t* time) {
    return make_time(instant, offset, no_name, time);
}

int ombrel_make_local_time(const ombrel_instant_t* instant, ombrel_civil_time_t* time) {
    if (!is_instant(instant) || time == nullptr)
        return refuse();
    if (instant->m_seconds < first_second - offset_limit || instant->m_seconds > last_second + offset_limit)
        return fail(fault_code::too_large);
    const ombrel::platform::zone_state zone = ombrel::platform::local_zone_at(instant->m_seconds);
    if (!set_fields(*instant, zone.offset, *time))
        return fail(fault_code::too_large);
    time->m_is_summer = zone.is_summer ? 1 : 0;
    static_assert(sizeof time->m_zone == sizeof zone.name);
    memcpy(time->m_zone, zone.name, sizeof zone.name);
    return 0;
}

int ombrel_refresh_time_zone() {
    return ombrel::platform::refresh_local_zone();
}

int ombrel_get_civil_instant(const ombrel_civil_time_t* time, ombrel_instant_t* instant) {
    if (!is_civil_time(time) || instant == nullptr)
        return refuse();
    *instant = instant_of(*time);
    return 0;
}

int ombrel_get_local_instant(const ombrel_civil_time_t* time, uint32_t flags, ombrel_instant_t* instant) {
    if (time == nullptr || instant == nullptr || !is_date(time->m_year, time->m_month, time->m_day) ||
        !has_clock_fields(*time))
        return refuse();
    // No zone changes its offset twice in two days, nor by more than one.
    const int64_t local = local_seconds_of(*time);
    const int32_t before = ombrel::platform::local_zone_at(local - seconds_per_day).offset;
    const int32_t after = ombrel::platform::local_zone_at(local + seconds_per_day).offset;
    const bool is_before = ombrel::platform::local_zone_at(local - before).offset == before;
    const bool is_after = ombrel::platform::local_zone_at(local - after).offset == after;
    if (!is_before && !is_after && (flags & def_ombrel_local_refuse_gap) != 0)
        return refuse();
    const bool is_twice = is_before && is_after && before != after;
    if (is_twice && (flags & def_ombrel_local_refuse_overlap) != 0)
        return refuse();
    const bool takes_after = is_twice ? (flags & def_ombrel_local_later) != 0 : is_after;
    *instant = {local - (takes_after ? after : before), time->m_nanosecond};
    return 0;
}

int ombrel_normalize_civil_time(ombrel_civil_time_t* time) {
    if (time == nullptr)
        return refuse();
    ombrel_civil_time_t result = *time;
    const int64_t days = carry_clock(result) + result.m_day - 1;
    const int64_t day = day_of_any_month(int64_t{result.m_year} * 12 + result.m_month - 1, days);
    if (day < first_day || day > last_day)
        return fail(fault_code::too_large);
    set_date(result, static_cast<int32_t>(day));
    *time = result;
    return 0;
}

int ombrel_check_civil_time(const ombrel_civil_time_t* time) {
    return is_civil_time(time) ? 0 : refuse();
}

int ombrel_add_months(ombrel_civil_time_t* time, int32_t months) {
    if (!is_civil_time(time))
        return refuse();
    if (!set_month(*time, int64_t{time->m_year} * 12 + time->m_month - 1 + months))
        return fail(fault_code::too_large);
    return 0;
}
