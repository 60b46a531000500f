// Clocks.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

namespace ombrel::platform {

/// Nanoseconds on a clock that never goes back.
uint64_t monotonic_nanoseconds();

inline constexpr uint64_t nanoseconds_per_millisecond = 1'000'000;

/// A moment of that clock that does not come.
inline constexpr uint64_t never = UINT64_MAX;

/// The moment so many milliseconds from now; never for a negative number. That of 0 is past without a look at
/// the clock, as waits that only look once are many.
inline uint64_t moment_after(int milliseconds) {
    if (milliseconds <= 0)
        return milliseconds < 0 ? never : 0;
    return monotonic_nanoseconds() + static_cast<uint64_t>(milliseconds) * nanoseconds_per_millisecond;
}

/// Milliseconds until a moment as waits take them: rounded up, so that none ends early, INT_MAX at most, 0
/// for one that is past, -1 for never.
inline int milliseconds_until(uint64_t moment) {
    if (moment == never || moment == 0)
        return moment == never ? -1 : 0;
    const uint64_t now = monotonic_nanoseconds();
    if (now >= moment)
        return 0;
    return static_cast<int>(
        std::min<uint64_t>((moment - now - 1) / nanoseconds_per_millisecond + 1, INT_MAX));
}

/// Time since 1970 in UTC.
struct wall_time {
    int64_t seconds;
    int32_t nanoseconds; ///< 0 to 999,999,999
};

/// The time of day, which whoever administers the host may change.
wall_time wall_clock();

} // namespace ombrel::platform
