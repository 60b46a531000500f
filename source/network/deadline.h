// How much of a time limit is left, for calls that wait more than once.
#pragma once

#include <algorithm>
#include <cstdint>

#include <ombrel/timer.h>

namespace ombrel {

/// Milliseconds as everywhere in networking: negative for no limit, 0 for one attempt.
class deadline {
public:
    explicit deadline(int timeout_ms) : timeout_ms_(timeout_ms) {
        ombrel_init_timer(&timer_, static_cast<uint64_t>(std::max(timeout_ms, 0)));
    }

    int left() const {
        uint64_t left = 0;
        ombrel_check_timer_ex(&timer_, &left);
        return timeout_ms_ > 0 ? static_cast<int>(left) : timeout_ms_;
    }
    bool is_over() const { return left() == 0; }

private:
    ombrel_timer_t timer_;
    int timeout_ms_;
};

} // namespace ombrel
