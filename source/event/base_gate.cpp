// Opening the gate of a base: what is to be done by whoever held it.
#include "core/heap_ptr.h"
#include "event/event_internal.h"

namespace ombrel {

namespace {

// Whether a loop that sleeps has to look at the base again.
bool concerns_wait(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    return base.m_break != 0 || base.m_exit != 0 || base.m_active_event_count != 0 ||
           base.m_waiting != nullptr || base.m_descriptors.has_always_ready() ||
           next_expiry(base) < base.m_wait_until || !platform::wait_sees_changes();
}

} // namespace

void leave_base_slowly(ombrel_event_base_t& base, bool to_sleep) OMBREL_UNCHECKED {
    if (to_sleep)
        base.m_sleeping = true;
    else if (base.m_sleeping && concerns_wait(base))
        post_wakeup(base);
    pending_line* line = base.m_lines;
    base.m_lines = base.m_last_line = nullptr;
    base.m_gate.leave();
    while (line != nullptr) {
        const heap_ptr<pending_line> printed(line);
        line = printed->next;
        print_line(printed->level, printed->function, printed->phrase, printed->event, printed->fd);
    }
}

} // namespace ombrel
