#include "platform/time_zone.h"

#include <algorithm>
#include <cstring>

#include "platform/civil_date.h"
#include "platform/environment.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"
#include "platform/zone_rule.h"

namespace ombrel::platform {

namespace {

// The years that the system has rules for at most, and some that are like all before and after.
constexpr int32_t first_host_year = 1601, last_host_year = 30'827;

zone_change change_of(const SYSTEMTIME& date) {
    zone_change change;
    change.is = date.wYear == 0 ? zone_change::kind::week_of_month : zone_change::kind::day_of_month;
    change.month = date.wMonth;
    change.week = date.wDay;
    change.day = date.wYear == 0 ? date.wDayOfWeek : date.wDay;
    change.second = date.wHour * 3600 + date.wMinute * 60 + date.wSecond;
    return change;
}

void set_zone(zone_state& zone, LONG minutes_behind, const wchar_t* name) {
    zone.offset = -60 * static_cast<int32_t>(minutes_behind);
    const narrow_text text(name);
    if (text)
        set_zone_name(zone, text.get(), text.size());
}

zone_rule rule_of(const TIME_ZONE_INFORMATION& zone) {
    zone_rule rule;
    set_zone(rule.standard, zone.Bias + zone.StandardBias, zone.StandardName);
    set_zone(rule.summer, zone.Bias + zone.DaylightBias, zone.DaylightName);
    rule.has_summer = zone.DaylightDate.wMonth != 0 && zone.StandardDate.wMonth != 0;
    if (rule.has_summer) {
        rule.starts = change_of(zone.DaylightDate);
        rule.ends = change_of(zone.StandardDate);
    }
    return rule;
}

int32_t year_at(int64_t seconds) {
    const int64_t since_first = seconds - int64_t{first_day} * seconds_per_day;
    const int64_t day = std::clamp<int64_t>(since_first, 0, INT64_MAX) / seconds_per_day + first_day;
    return date_of(static_cast<int32_t>(std::min<int64_t>(day, last_day))).year;
}

/// The system's rule of the year, which is that of its place, and not of Greenwich's.
zone_state ask_system(int64_t seconds) {
    DYNAMIC_TIME_ZONE_INFORMATION host;
    TIME_ZONE_INFORMATION zone;
    if (GetDynamicTimeZoneInformation(&host) == TIME_ZONE_ID_INVALID)
        return zone_state{0, false, "UTC"};
    const int32_t year =
        std::clamp(year_at(seconds - int64_t{host.Bias} * 60), first_host_year, last_host_year);
    if (!GetTimeZoneInformationForYear(static_cast<USHORT>(year), &host, &zone))
        return zone_state{0, false, "UTC"};
    return rule_of(zone).at(seconds);
}

} // namespace

zone_state local_zone_at(int64_t seconds) {
    const variable_text text = environment_variable("TZ");
    zone_rule rule;
    return read_zone_rule(text.get(), rule) ? rule.at(seconds) : ask_system(seconds);
}

int refresh_local_zone() {
    return 0; // nothing is kept
}

} // namespace ombrel::platform
