// The end of a time limit.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

#include "platform/clock.h"

namespace ombrel {

/// Trivially copyable, so that records on the heap can hold it.
class deadline {
public:
    deadline() = default;
    /// @param limit_ms negative for none
    explicit deadline(int limit_ms)
        : end_(limit_ms < 0 ? never : now() + static_cast<uint64_t>(limit_ms) * nanoseconds_each) {}

    bool passed() const { return end_ != never && now() >= end_; }

    /// Milliseconds left, the last begun one counted, so that nobody who waits for them is early; 0 when it
    /// has passed, -1 without a limit.
    int left() const {
        if (end_ == never)
            return -1;
        const uint64_t time = now();
        if (time >= end_)
            return 0;
        return static_cast<int>(std::min<uint64_t>((end_ - time - 1) / nanoseconds_each + 1, INT_MAX));
    }

private:
    static constexpr uint64_t never = UINT64_MAX;

    static constexpr uint64_t nanoseconds_each = 1'000'000;

    static uint64_t now() { return platform::monotonic_nanoseconds(); }

    uint64_t end_ = never;
};

/// The shorter of two results of deadline::left().
inline int shorter_wait(int a, int b) {
    return a < 0 ? b : b < 0 ? a : std::min(a, b);
}

} // namespace ombrel
