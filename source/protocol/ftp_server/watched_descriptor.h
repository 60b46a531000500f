// One descriptor that an event base watches for what is wanted at the moment.
#pragma once

#include <cstdint>

#include <ombrel/event.h>

namespace ombrel::protocol {

/// Part of a record that is all zero before it is used.
class watched_descriptor {
public:
    using handler = void (*)(void* context);

    void open(ombrel_event_base_t* base, handler on_ready, void* context) {
        base_ = base;
        on_ready_ = on_ready;
        context_ = context;
    }

    /// Watches for reading, writing, both, or nothing (0). False when the base cannot.
    bool watch(int descriptor, uint32_t wanted) {
        if (wanted == wanted_ && (wanted == 0 || descriptor == event_.m_fd))
            return true;
        if (wanted_ != 0)
            ombrel_unassign_event(&event_);
        wanted_ = 0;
        if (wanted == 0)
            return true;
        if (ombrel_assign_event(base_, &event_, descriptor, wanted | def_ombrel_event_persist, tell, this) !=
            0)
            return false;
        wanted_ = wanted;
        return ombrel_add_event(&event_, -1) == 0;
    }

    void close() { watch(-1, 0); }

private:
    static void tell(ombrel_event_t*, int, uint32_t ready, void* context) {
        const watched_descriptor& self = *static_cast<watched_descriptor*>(context);
        if ((ready & (def_ombrel_event_read | def_ombrel_event_write | def_ombrel_event_exception)) != 0)
            self.on_ready_(self.context_);
    }

    ombrel_event_base_t* base_;
    handler on_ready_;
    void* context_;
    uint32_t wanted_;
    ombrel_event_t event_;
};

/// A moment at which an event base calls, part of a record that is all zero before it is opened.
class timed_call {
public:
    using handler = void (*)(void* context);

    bool open(ombrel_event_base_t* base, handler on_time, void* context) {
        on_time_ = on_time;
        context_ = context;
        return ombrel_assign_event(base, &event_, -1, 0, tell, this) == 0;
    }
    /// Calls once after so many milliseconds, of which 0 is the loop's next turn; negative, not at all. What
    /// was set before is void.
    bool set(int after_ms) {
        if (after_ms >= 0)
            return ombrel_add_event(&event_, after_ms) == 0;
        if ((event_.m_flags & (def_ombrel_event_registered | def_ombrel_event_active)) != 0)
            ombrel_del_event(&event_);
        return true;
    }
    void close() {
        if ((event_.m_flags & def_ombrel_event_assigned) != 0)
            ombrel_unassign_event(&event_);
    }

private:
    static void tell(ombrel_event_t*, int, uint32_t ready, void* context) {
        const timed_call& self = *static_cast<timed_call*>(context);
        if ((ready & def_ombrel_event_timeout) != 0)
            self.on_time_(self.context_);
    }

    handler on_time_;
    void* context_;
    ombrel_event_t event_;
};

} // namespace ombrel::protocol
