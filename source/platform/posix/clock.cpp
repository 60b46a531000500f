#include "platform/clock.h"

#include <atomic>
#include <pthread.h>
#include <time.h>

#include "platform/single_thread.h"

namespace ombrel::platform {

namespace {

timespec read_clock(clockid_t clock) {
    timespec now;
    return clock_gettime(clock, &now) == 0 ? now : timespec{};
}

// The C library tells local time under a lock of its own. In a child that was forked while another thread
// held that lock it stays held for good, so such a child counts on from the offset to UTC at the fork.
std::atomic<bool> is_child_of_threads;
std::atomic<bool> forks_among_threads;
std::atomic<long> offset_at_fork; // seconds east of UTC

void before_fork() {
    forks_among_threads = !has_one_thread();
    if (!forks_among_threads || is_child_of_threads)
        return;
    const timespec now = read_clock(CLOCK_REALTIME);
    tm fields{};
    if (localtime_r(&now.tv_sec, &fields) != nullptr)
        offset_at_fork = fields.tm_gmtoff;
}

void in_child() {
    if (forks_among_threads)
        is_child_of_threads = true;
}

const struct fork_guard {
    fork_guard() { pthread_atfork(before_fork, nullptr, in_child); }
} guard_of_forks;

// The Gregorian date, counted in years that begin in March, so that a leap day is the last of its year.
void set_date(calendar_time& result, int64_t days_since_1970) {
    constexpr int days_of_400_years = 146'097;
    const int64_t since_march_of_0 = days_since_1970 + 719'468;
    const auto era = since_march_of_0 / days_of_400_years;
    const int day_of_era = static_cast<int>(since_march_of_0 % days_of_400_years);
    const int year_of_era =
        (day_of_era - day_of_era / 1460 + day_of_era / 36'524 - day_of_era / (days_of_400_years - 1)) / 365;
    const int day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const int month_from_march = (5 * day_of_year + 2) / 153;
    result.day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
    result.month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
    result.year = static_cast<int>(era * 400) + year_of_era + (result.month <= 2 ? 1 : 0);
    result.weekday = static_cast<int>((days_since_1970 + 4) % 7); // it was a Thursday
}

// From 1970 on; an earlier clock counts as that.
calendar_time time_at_offset(int64_t seconds, long offset) {
    const int64_t local = seconds + offset > 0 ? seconds + offset : 0;
    const int of_day = static_cast<int>(local % 86'400);
    calendar_time result{};
    result.hour = of_day / 3600;
    result.minute = of_day / 60 % 60;
    result.second = of_day % 60;
    set_date(result, local / 86'400);
    return result;
}

} // namespace

uint64_t monotonic_nanoseconds() {
    const timespec now = read_clock(CLOCK_MONOTONIC);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(now.tv_nsec);
}

calendar_time local_time() {
    const timespec now = read_clock(CLOCK_REALTIME);
    calendar_time result = time_at_offset(now.tv_sec, offset_at_fork);
    tm fields{};
    if (!is_child_of_threads && localtime_r(&now.tv_sec, &fields) != nullptr)
        result = {fields.tm_year + 1900,
                  fields.tm_mon + 1,
                  fields.tm_mday,
                  fields.tm_hour,
                  fields.tm_min,
                  fields.tm_sec,
                  0,
                  fields.tm_wday};
    result.millisecond = static_cast<int>(now.tv_nsec / 1'000'000);
    return result;
}

} // namespace ombrel::platform
