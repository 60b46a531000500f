// Holding the gate of the base that an event belongs to, which may change or go.
#pragma once

#include "event/event_internal.h"

namespace ombrel {

/// What the loop holds is let go before a base is freed; what it does not hold may have missed that.
inline bool may_have_outlived_its_base(const ombrel_event_t& event) {
    const bool held = is_in_loop(event) || signal_of(event) != nullptr;
    return !held && __atomic_load_n(&event.m_ready, __ATOMIC_RELAXED) != freed_bases();
}

/// enter_base_of() when the base may be gone or has changed meanwhile.
ombrel_event_base_t* enter_base_slowly(ombrel_event_t& event);

/// Enters the gate of the event's base. Null when it has none, or none any more, which is noted in the event.
/// The check of locks follows no gate that comes by a result: home_guard says what is held.
inline ombrel_event_base_t* enter_base_of(ombrel_event_t& event) OMBREL_UNCHECKED {
    ombrel_event_base_t* base = base_of(event);
    if (base == nullptr || may_have_outlived_its_base(event))
        return enter_base_slowly(event);
    enter_base(*base);
    if (base_of(event) == base)
        return base;
    leave_base(*base);
    return enter_base_slowly(event);
}

/// Holds the gate of the event's base, if it has one. To the check of locks the gate of base() is held in any
/// case: without a base there is nothing that it would guard.
class OMBREL_GUARD_CLASS home_guard {
public:
    /// Null for no event.
    explicit home_guard(ombrel_event_t* event) OMBREL_ACQUIRES(base().m_gate)
        : base_(event != nullptr ? enter_base_of(*event) : nullptr) {}
    ~home_guard() OMBREL_RELEASES() { leave(); }
    home_guard(const home_guard&) = delete;
    home_guard& operator=(const home_guard&) = delete;

    explicit operator bool() const { return base_ != nullptr; }
    ombrel_event_base_t& base() const { return *base_; }

protected:
    void leave() OMBREL_UNCHECKED {
        if (base_ != nullptr)
            leave_base(*base_);
        base_ = nullptr;
    }

private:
    ombrel_event_base_t* base_;
};

/// The same for an event that is assigned and has a base; reports any other and holds nothing.
class OMBREL_GUARD_CLASS event_guard : public home_guard {
public:
    event_guard(const char* function, ombrel_event_t* event) OMBREL_ACQUIRES(base().m_gate)
        : home_guard(is_assigned(function, event) ? event : nullptr) {
        if (event == nullptr || (flags_of(*event) & def_ombrel_event_assigned) == 0)
            leave();
        else if (!*this)
            report_homeless(function, *event);
    }
    ~event_guard() OMBREL_RELEASES() {}
};

} // namespace ombrel
