// The end of a time limit.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/clock.h"

namespace ombrel {

/// Trivially copyable, so that records on the heap can hold it.
class deadline {
public:
    deadline() = default;
    /// @param limit_ms milliseconds from now; negative for none, 0 has passed already
    explicit deadline(int limit_ms) : end_(platform::moment_after(limit_ms)) {}

    /// A moment in ombrel_time_stamp_msec(); what that clock does not reach is no limit.
    static deadline at(uint64_t stamp) {
        deadline result;
        if (stamp <= platform::never / platform::nanoseconds_per_millisecond)
            result.end_ = stamp * platform::nanoseconds_per_millisecond;
        return result;
    }

    bool passed() const { return left() == 0; }

    /// Milliseconds left, the last begun one counted, so that nobody who waits for them is early, and INT_MAX
    /// at most; 0 when it has passed, -1 without a limit.
    int left() const { return platform::milliseconds_until(end_); }

private:
    uint64_t end_ = platform::never;
};

/// The shorter of two waits in milliseconds, where negative is one without end.
inline int shorter_wait(int a, int b) {
    return a < 0 ? b : b < 0 ? a : std::min(a, b);
}

} // namespace ombrel
