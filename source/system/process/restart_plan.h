// When a child that has ended is started again.
#pragma once

#include <cstdint>

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel::system {

struct restart_rules {
    int first_pause_ms, factor, longest_pause_ms, well_ms;
    uint32_t limit; ///< restarts within the period; 0 for any number
    int period_ms;  ///< negative: from the start on
};

/// Pauses that grow and a limit on restarts. Moments are those of the monotonic clock.
class restart_plan {
public:
    /// False when there is no memory for the moments that the limit wants remembered.
    bool prepare(const restart_rules& rules, const call_site& caller);

    /// Counts one more restart, unless that would be one too many.
    bool admit(uint64_t now);

    /// Milliseconds to wait after a child has run for so many nanoseconds.
    int next_pause(int64_t run_time);

    /// Makes the next pause the first one again.
    void begin_anew() { pause_ms_ = 0; }

private:
    bool is_within_period(uint64_t moment, uint64_t now) const;

    restart_rules rules_{};
    int pause_ms_ = 0; ///< the last one, or 0
    uint64_t count_ = 0;
    heap_ptr<uint64_t> moments_; ///< of the last `limit` restarts, in a ring
};

} // namespace ombrel::system
