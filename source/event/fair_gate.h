// The lock of an event base: first come, first served, and two atomic operations when nobody else wants it.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/invariant.h"
#include "core/thread_safety.h"
#include "platform/thread.h"
#include "platform/wait_word.h"

namespace ombrel {

/// The loop passes through it twice for every handler that it calls, so the library's own lock, which takes a
/// heap block a time, would be dear here. Tickets keep a busy loop from starving the other threads. A zeroed
/// record is an open gate.
class OMBREL_LOCK_CLASS fair_gate {
public:
    void enter() OMBREL_ACQUIRES() {
        const uint32_t ticket = next_.fetch_add(1) * one_turn;
        if (turn_of(state_.load(std::memory_order_acquire)) != ticket)
            wait_for(ticket);
        held_locks::add(this);
    }

    // What holds the gate may be freed by whoever comes next: nothing of it is read once the turn is given
    // on.
    void leave() OMBREL_RELEASES() {
        held_locks::remove(this);
        uint32_t state = state_.load(std::memory_order_relaxed);
        while (!state_.compare_exchange_weak(state, turn_of(state) + one_turn)) {
        }
        if ((state & has_sleepers) != 0)
            platform::wake_waiters(state_);
    }

    /// For invariants: whether the thread is inside.
    bool is_held() const { return held_locks::has(this); }

    /// For where the check of locks cannot see that the caller is inside.
    void assert_held() const OMBREL_ASSERTS() { OMBREL_INVARIANT(is_held()); }

private:
    void wait_for(uint32_t ticket) {
        for (int i = 0; i < spins; i++) {
            if (turn_of(state_.load(std::memory_order_acquire)) == ticket)
                return;
            platform::relax_processor();
        }
        for (uint32_t state = state_.load(); turn_of(state) != ticket; state = state_.load())
            if ((state & has_sleepers) != 0 || state_.compare_exchange_strong(state, state | has_sleepers))
                platform::wait_while_equal(state_, state | has_sleepers);
    }

    static constexpr uint32_t has_sleepers = 1, one_turn = 2;
    static constexpr uint32_t turn_of(uint32_t state) { return state & ~has_sleepers; }

    static constexpr int spins = 50;
    std::atomic<uint32_t> next_;
    std::atomic<uint32_t> state_; ///< whose turn it is, and whether somebody sleeps until another one
};

} // namespace ombrel
