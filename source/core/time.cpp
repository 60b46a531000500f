#include <ombrel/time.h>

#include <ombrel/printf.h>

#include "platform/clock.h"

namespace {

constexpr const char weekdays[][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char months[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

} // namespace

uint64_t ombrel_time_stamp_msec(void) {
    return ombrel::platform::monotonic_nanoseconds() / 1'000'000u;
}

char* ombrel_asctime(char* buffer, size_t size, int style) {
    if (buffer == nullptr || size == 0)
        return nullptr;
    const ombrel::platform::calendar_time now = ombrel::platform::local_time();
    switch (style) {
    case def_ombrel_asctime_date_time:
        ombrel_snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month, now.day, now.hour,
                        now.minute, now.second);
        break;
    case def_ombrel_asctime_milliseconds:
        ombrel_snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d", now.year, now.month, now.day,
                        now.hour, now.minute, now.second, now.millisecond);
        break;
    default:
        ombrel_snprintf(buffer, size, "%s %s %02d %02d:%02d:%02d %04d", weekdays[now.weekday],
                        months[now.month - 1], now.day, now.hour, now.minute, now.second, now.year);
    }
    return buffer;
}
