#include "platform/clock.h"

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

// Neither call fails on the systems that the library runs on.
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

calendar_time local_time() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,          now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds, now.wDayOfWeek};
}

} // namespace ombrel::platform
