// The lock of an event base: first come, first served, and two atomic operations when nobody else wants it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread.h"
#include "platform/wait_word.h"

namespace ombrel {

/// The loop passes through it twice for every handler that it calls, so the library's own lock, which takes a
/// heap block a time, would be dear here. Tickets keep a busy loop from starving the other threads. A zeroed
/// record is an open gate.
class fair_gate {
public:
    void enter() {
        const uint32_t ticket = next_.fetch_add(1);
        if (serving_.load(std::memory_order_acquire) != ticket)
            wait_for(ticket);
    }

    void leave() {
        serving_.store(serving_.load(std::memory_order_relaxed) + 1);
        if (sleepers_.load() != 0)
            platform::wake_waiters(serving_);
    }

private:
    void wait_for(uint32_t ticket) {
        for (int i = 0; i < spins; i++) {
            if (serving_.load(std::memory_order_acquire) == ticket)
                return;
            platform::relax_processor();
        }
        sleepers_.fetch_add(1);
        for (uint32_t served; (served = serving_.load()) != ticket;)
            platform::wait_while_equal(serving_, served);
        sleepers_.fetch_sub(1);
    }

    static constexpr int spins = 50;
    std::atomic<uint32_t> next_, serving_, sleepers_;
};

} // namespace ombrel
