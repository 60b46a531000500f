// How waits that are too long report themselves.
#pragma once

#include <cstdint>

#include <ombrel/timer.h>

namespace ombrel {

/// Milliseconds from one report of a wait to the next.
inline constexpr uint32_t report_interval = 4000;

/// Lengthens a timer that has run out by whole intervals until its end lies ahead: the milliseconds added.
inline uint64_t lengthen_into_future(ombrel_timer_t& timer, uint32_t interval = report_interval) {
    uint64_t added = 0;
    for (; ombrel_check_timer(&timer) == 1; added += interval)
        ombrel_update_timer(&timer, interval);
    return added;
}

} // namespace ombrel
