// A loop that a test turns itself, with the clients of its server in the same thread.
#pragma once

#include <chrono>
#include <thread>

#include <ombrel/event_base.h>

namespace ombrel_test {

inline void turn(ombrel_event_base_t* base) {
    ombrel_event_base_loop(base, def_ombrel_event_loop_non_block);
}

/// Turns until something holds. @return false when that took minutes
template<typename Condition>
bool turn_until(ombrel_event_base_t* base, Condition holds) {
    for (int i = 0; i < 200000; i++) {
        if (holds())
            return true;
        turn(base);
        if (i > 1000)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

} // namespace ombrel_test
