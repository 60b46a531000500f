#include <ombrel/time.h>

#include <ombrel/printf.h>

#include "platform/civil_date.h"
#include "platform/clock.h"
#include "platform/time_zone.h"

namespace platform = ombrel::platform;

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
    const platform::wall_time now = platform::wall_clock();
    const int64_t local = now.seconds + platform::local_zone_at(now.seconds).offset;
    const auto number = static_cast<int32_t>(local / platform::seconds_per_day);
    const auto second = static_cast<int32_t>(local % platform::seconds_per_day);
    const platform::civil_date date = platform::date_of(number);
    const int hour = second / 3600, minute = second / 60 % 60;
    switch (style) {
    case def_ombrel_asctime_date_time:
        ombrel_snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month, date.day, hour,
                        minute, second % 60);
        break;
    case def_ombrel_asctime_milliseconds:
        ombrel_snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d", date.year, date.month, date.day,
                        hour, minute, second % 60, now.nanoseconds / 1'000'000);
        break;
    default:
        ombrel_snprintf(buffer, size, "%s %s %02d %02d:%02d:%02d %04d",
                        weekdays[platform::week_day_of(number)], months[date.month - 1], date.day, hour,
                        minute, second % 60, date.year);
    }
    return buffer;
}
