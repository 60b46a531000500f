// What the waiters of locks and conditions share.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/call_site.h"
#include "platform/thread.h"

namespace ombrel {

/// An operation that fails for want of memory or room is tried so often before its caller gives up.
inline constexpr int attempt_limit = 64;

/// The read limit for a wait with so much time left.
inline int read_slice(uint64_t remaining_milliseconds, int longest) {
    return static_cast<int>(std::min(remaining_milliseconds, static_cast<uint64_t>(longest)));
}

/// A wait is light at first: so many milliseconds of sleep on a word, as most waits end within them and a
/// pipe costs more than a switch of threads. A limit below the scheduler's tick would cost a turn of the
/// hardware timer each time.
inline constexpr int light_sleep_limit = 20;

/// Looks a few times whether the wait is over already, as a thread that hands over may just be doing so.
template<typename Ready>
bool ready_soon(int looks, Ready ready) {
    for (int i = 0; i < looks; i++) {
        if (ready())
            return true;
        platform::relax_processor();
    }
    return false;
}

} // namespace ombrel
