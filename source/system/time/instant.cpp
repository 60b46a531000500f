#include <ombrel/calendar.h>

#include "platform/clock.h"
#include "system/time/civil_time.h"
#include "system/time/time_fault.h"

using namespace ombrel::system;
using ombrel::fault_code;

int ombrel_get_instant(ombrel_instant_t* now) {
    if (now == nullptr)
        return refuse();
    const ombrel::platform::wall_time time = ombrel::platform::wall_clock();
    *now = {time.seconds, time.nanoseconds};
    return 0;
}

int ombrel_make_instant(int64_t seconds, int64_t nanoseconds, ombrel_instant_t* instant) {
    if (instant == nullptr)
        return refuse();
    const split_number carried = split(nanoseconds, nanoseconds_per_second);
    int64_t sum;
    if (__builtin_add_overflow(seconds, carried.whole, &sum))
        return fail(fault_code::too_large);
    *instant = {sum, carried.rest};
    return 0;
}

int ombrel_add_duration(ombrel_instant_t* instant, int64_t nanoseconds) {
    if (!is_instant(instant))
        return refuse();
    // Taken apart first, as the sum of both nanoseconds may overflow.
    ombrel_instant_t sum;
    if (ombrel_make_instant(instant->m_seconds, nanoseconds, &sum) == -1)
        return -1;
    return ombrel_make_instant(sum.m_seconds, int64_t{sum.m_nanoseconds} + instant->m_nanoseconds, instant);
}

int ombrel_get_duration(const ombrel_instant_t* from, const ombrel_instant_t* to, int64_t* nanoseconds) {
    if (!is_instant(from) || !is_instant(to) || nanoseconds == nullptr)
        return refuse();
    int64_t seconds, sum, rest = to->m_nanoseconds - from->m_nanoseconds;
    if (__builtin_sub_overflow(to->m_seconds, from->m_seconds, &seconds))
        return fail(fault_code::too_large);
    // Both of one sign, so that the longest negative duration is no overflow on the way.
    if (seconds < 0 && rest > 0) {
        seconds++;
        rest -= nanoseconds_per_second;
    }
    if (__builtin_mul_overflow(seconds, int64_t{nanoseconds_per_second}, &sum) ||
        __builtin_add_overflow(sum, rest, &sum))
        return fail(fault_code::too_large);
    *nanoseconds = sum;
    return 0;
}

int ombrel_compare_instants(const ombrel_instant_t* a, const ombrel_instant_t* b) {
    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    if (a->m_seconds != b->m_seconds)
        return a->m_seconds < b->m_seconds ? -1 : 1;
    return (a->m_nanoseconds > b->m_nanoseconds) - (a->m_nanoseconds < b->m_nanoseconds);
}
