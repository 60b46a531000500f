#include "platform/clock.h"

#include <time.h>

namespace ombrel::platform {

uint64_t monotonic_nanoseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(now.tv_nsec);
}

calendar_time local_time() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    localtime_r(&now.tv_sec, &fields);
    return {fields.tm_year + 1900,
            fields.tm_mon + 1,
            fields.tm_mday,
            fields.tm_hour,
            fields.tm_min,
            fields.tm_sec,
            static_cast<int>(now.tv_nsec / 1'000'000),
            fields.tm_wday};
}

} // namespace ombrel::platform
