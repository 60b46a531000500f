// A monotonic clock that a test can put forward, and that counts how often it is looked at. It replaces the
// host's function, in the program and in the library that it links.
#pragma once

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

#include "support/no_copy.h"

namespace ombrel_test {

inline std::atomic<long> seconds_ahead{0};
inline std::atomic<unsigned long> clock_looks{0};

/// Puts the clock forward until the end of the scope, when nothing may look at the clock any more.
class time_travel : no_copy {
public:
    time_travel() = default;
    ~time_travel() { seconds_ahead = 0; }

    void skip_seconds(long seconds) { seconds_ahead += seconds; }
};

} // namespace ombrel_test

extern "C" __attribute__((weak)) int clock_gettime(clockid_t clock, timespec* now) noexcept {
    ombrel_test::clock_looks.fetch_add(1, std::memory_order_relaxed);
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && clock == CLOCK_MONOTONIC)
        now->tv_sec += ombrel_test::seconds_ahead;
    return static_cast<int>(result);
}
