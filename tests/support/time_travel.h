// Clocks that a test can put forward, and that count how often they are looked at. They replace the host's
// function, in the program and in the library that it links.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>
#include <unistd.h>

#if !defined(_WIN32)
#include <sys/syscall.h>
#endif

#include "support/no_copy.h"

namespace ombrel_test {

inline std::atomic<int64_t> seconds_ahead{0}, calendar_seconds_ahead{0};
inline std::atomic<unsigned long> clock_looks{0};

#if defined(_WIN32)
inline constexpr bool can_travel = false;
#else
inline constexpr bool can_travel = true;
#endif

/// Stands first in tests that travel: the library's clock cannot be replaced everywhere.
#define OMBREL_TEST_NEEDS_TIME_TRAVEL()                                                                      \
    if (!ombrel_test::can_travel)                                                                            \
    GTEST_SKIP() << "the clock of this host cannot be replaced"

/// Puts the clocks forward until the end of the scope, when nothing may look at them any more.
class time_travel : no_copy {
public:
    time_travel() = default;
    ~time_travel() { seconds_ahead = calendar_seconds_ahead = 0; }

    void skip_seconds(long seconds) { seconds_ahead += seconds; }

    /// Goes to a moment of the calendar, in seconds since 1970.
    void go_to(int64_t moment) { calendar_seconds_ahead = moment - calendar_seconds(); }

private:
    static int64_t calendar_seconds() {
#if defined(_WIN32)
        return time(nullptr);
#else
        timespec now{};
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
        return now.tv_sec;
#endif
    }
};

} // namespace ombrel_test

#if !defined(_WIN32)

namespace ombrel_test {

template<typename Time>
int read_clock(long call, clockid_t clock, Time* now) {
    clock_looks.fetch_add(1, std::memory_order_relaxed);
    const long result = syscall(call, clock, now);
    if (result == 0 && clock == CLOCK_MONOTONIC)
        now->tv_sec = static_cast<decltype(now->tv_sec)>(now->tv_sec + seconds_ahead);
    if (result == 0 && clock == CLOCK_REALTIME)
        now->tv_sec = static_cast<decltype(now->tv_sec)>(now->tv_sec + calendar_seconds_ahead);
    return static_cast<int>(result);
}

/// What a 32-bit library with calendar time of 64 bits asks for.
struct wide_time {
    int64_t tv_sec;
    int64_t tv_nsec;
};

} // namespace ombrel_test

extern "C" __attribute__((weak)) int clock_gettime(clockid_t clock, timespec* now) noexcept {
    return ombrel_test::read_clock(SYS_clock_gettime, clock, now);
}

#if defined(SYS_clock_gettime64)
extern "C" int __clock_gettime64(clockid_t clock, ombrel_test::wide_time* now) noexcept;
extern "C" __attribute__((weak)) int __clock_gettime64(clockid_t clock,
                                                       ombrel_test::wide_time* now) noexcept {
    return ombrel_test::read_clock(SYS_clock_gettime64, clock, now);
}
#endif

#endif
