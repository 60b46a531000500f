// The end of a time limit.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

#include "platform/clock.h"

namespace ombrel::protocol {

/// Trivially copyable, so that records on the heap can hold it.
class deadline {
public:
    deadline() = default;
    /// @param limit_ms negative for none
    explicit deadline(int limit_ms) : end_(limit_ms < 0 ? never : now() + static_cast<uint64_t>(limit_ms)) {}

    bool passed() const { return end_ != never && now() >= end_; }

    /// Milliseconds left, 0 when it has passed, -1 without a limit.
    int left() const {
        if (end_ == never)
            return -1;
        const uint64_t time = now();
        return time >= end_ ? 0 : static_cast<int>(std::min<uint64_t>(end_ - time, INT_MAX));
    }

private:
    static constexpr uint64_t never = UINT64_MAX;

    static uint64_t now() { return platform::monotonic_nanoseconds() / 1000000; }

    uint64_t end_ = never;
};

/// The shorter of two results of deadline::left().
inline int shorter_wait(int a, int b) {
    return a < 0 ? b : b < 0 ? a : std::min(a, b);
}

} // namespace ombrel::protocol
