// Yearly rules of summer time, as the variable TZ of POSIX has them and as tables of hosts come to.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/time_zone.h"

namespace ombrel::platform {

/// When in a year clocks are changed.
struct zone_change {
    enum class kind : uint8_t {
        week_of_month, ///< the week_day of the week'th week, 5 for the last one
        day_of_month,
        day_without_leap, ///< from 1, of a year that has no 29th of February
        day_of_year       ///< from 0
    };
    kind is = kind::week_of_month;
    int32_t month = 1;
    int32_t week = 1;
    int32_t day = 0;           ///< of the week from 0, Sunday; of the month, or of the year
    int32_t second = 2 * 3600; ///< of that day by the clocks before the change; may be before it or after it
};

struct zone_rule {
    zone_state standard{0, false, "UTC"};
    zone_state summer{0, true, ""};
    bool has_summer = false;
    zone_change starts; ///< of summer time
    zone_change ends;

    /// What is in force so many seconds after 1970.
    const zone_state& at(int64_t seconds) const;
};

/// Reads a text such as "CET-1CEST,M3.5.0,M10.5.0/3"; false for one that is no such rule.
bool read_zone_rule(const char* text, zone_rule& rule);

/// Copies a zone's name as far as it fits, whole characters of UTF-8 only.
void set_zone_name(zone_state& zone, const char* name, size_t size);

} // namespace ombrel::platform
