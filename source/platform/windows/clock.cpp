#include "platform/clock.h"

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

// None of the calls fails on the systems that the library runs on.
uint64_t monotonic_nanoseconds() {
    constexpr uint64_t nanoseconds_per_second = 1'000'000'000;
    LARGE_INTEGER frequency, counter;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    const auto ticks_per_second = static_cast<uint64_t>(frequency.QuadPart);
    const auto ticks = static_cast<uint64_t>(counter.QuadPart);
    // In two steps, as the product of the whole would overflow within hours.
    return ticks / ticks_per_second * nanoseconds_per_second +
           ticks % ticks_per_second * nanoseconds_per_second / ticks_per_second;
}

wall_time wall_clock() {
    constexpr int64_t ticks_per_second = 10'000'000, seconds_from_1601_to_1970 = 11'644'473'600;
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    const auto ticks =
        static_cast<int64_t>(static_cast<uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime);
    return {ticks / ticks_per_second - seconds_from_1601_to_1970,
            static_cast<int32_t>(ticks % ticks_per_second * 100)};
}

} // namespace ombrel::platform
