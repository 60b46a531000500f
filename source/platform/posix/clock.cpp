#include "platform/clock.h"

#include <time.h>

namespace ombrel::platform {

namespace {

timespec read_clock(clockid_t clock) {
    timespec now;
    return clock_gettime(clock, &now) == 0 ? now : timespec{};
}

} // namespace

uint64_t monotonic_nanoseconds() {
    const timespec now = read_clock(CLOCK_MONOTONIC);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(now.tv_nsec);
}

wall_time wall_clock() {
    const timespec now = read_clock(CLOCK_REALTIME);
    return {now.tv_sec, static_cast<int32_t>(now.tv_nsec)};
}

} // namespace ombrel::platform
