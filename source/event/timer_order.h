// The order of expiry of a base's timers: a pairing heap through the events themselves, so that arming a
// timer needs no memory and takes logarithmic time.
#pragma once

#include <ombrel/event.h>

namespace ombrel {

class timer_order {
public:
    /// The event that expires first, or null.
    ombrel_event_t* first() {
        while (root_ != nullptr && root_->m_timer_key != root_->m_expiry)
            move(*root_);
        return root_;
    }
    void insert(ombrel_event_t& event);
    void remove(ombrel_event_t& event);

    /// To be called when the expiry of an event in the order has changed. One that was put off, as those of
    /// connections are with each use, stays where it is until it comes first.
    void update(ombrel_event_t& event) {
        if (event.m_expiry < event.m_timer_key)
            move(event);
    }

private:
    void move(ombrel_event_t& event) {
        remove(event);
        insert(event);
    }
    ombrel_event_t* root_;
};

} // namespace ombrel
