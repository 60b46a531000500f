// Clocks.
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// Nanoseconds on a clock that never goes back.
uint64_t monotonic_nanoseconds();

struct calendar_time {
    int year, month, day; ///< month and day count from 1
    int hour, minute, second, millisecond;
    int weekday; ///< 0 is Sunday
};

/// The current local time.
calendar_time local_time();

} // namespace ombrel::platform
