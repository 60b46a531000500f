// Times of files: the system counts tenths of microseconds since 1601.
#pragma once

#include <cstdint>

#include <ombrel/calendar.h>

namespace ombrel::platform {

inline constexpr int64_t ticks_per_second = 10'000'000;
inline constexpr int64_t seconds_to_1970 = 11'644'473'600;
inline constexpr int nanoseconds_per_tick = 100;

/// Ticks are never negative.
constexpr ombrel_instant_t instant_of(int64_t ticks) {
    return {ticks / ticks_per_second - seconds_to_1970,
            static_cast<int32_t>(ticks % ticks_per_second * nanoseconds_per_tick)};
}

/// False for a moment that the system cannot have, the very first among them, which stands for no change.
constexpr bool ticks_of(const ombrel_instant_t& time, int64_t& ticks) {
    constexpr int64_t most_seconds = INT64_MAX / ticks_per_second - 1;
    if (time.m_seconds < -seconds_to_1970 || time.m_seconds > most_seconds - seconds_to_1970)
        return false;
    ticks = (time.m_seconds + seconds_to_1970) * ticks_per_second + time.m_nanoseconds / nanoseconds_per_tick;
    return ticks > 0;
}

} // namespace ombrel::platform
