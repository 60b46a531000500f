// Joining and leaving a base: the list of all events, the timer order, the run queues and the descriptors.
#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/time.h>

#include "event/event_internal.h"

namespace ombrel {

namespace {

// Each registered event has its place among the candidates beforehand, so that the loop needs no memory.
bool reserve_candidate(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    if (base.m_event_count < base.m_candidate_room)
        return true;
    const size_t room = base.m_candidate_room == 0 ? 64 : base.m_candidate_room * 2;
    if (room > SIZE_MAX / sizeof(ombrel_event_t*))
        return false;
    auto** candidates = static_cast<ombrel_event_t**>(
        ombrel_realloc_tag(base.m_candidates, room * sizeof(ombrel_event_t*), "ombrel_add_event", __LINE__));
    if (candidates == nullptr)
        return false;
    base.m_candidates = candidates;
    base.m_candidate_room = room;
    return true;
}

void link_event(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    event.m_prev = base.m_tail;
    event.m_next = nullptr;
    (base.m_tail != nullptr ? base.m_tail->m_next : base.m_head) = &event;
    base.m_tail = &event;
    event.m_order = ++base.m_last_order;
    set_ready(event, 0);
    add_flags(event, def_ombrel_event_registered);
    base.m_event_count++;
}

void unlink_event(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    (event.m_prev != nullptr ? event.m_prev->m_next : base.m_head) = event.m_next;
    (event.m_next != nullptr ? event.m_next->m_prev : base.m_tail) = event.m_prev;
    event.m_prev = event.m_next = nullptr;
    note_base_lives(event, freed_bases());
    remove_flags(event, def_ombrel_event_registered);
    base.m_event_count--;
}

bool is_signal_event(const ombrel_event_t& event) {
    return (event.m_flags & def_ombrel_event_signal) != 0 && !is_io_event(event) &&
           is_signal_number(event.m_fd);
}

// A second try is made of a connection that failed, and buffers that ended begin anew.
void forget_outcomes(ombrel_event_t& event) {
    remove_flags(event, def_ombrel_event_connecting | def_ombrel_event_connect_failed);
    if (event.m_fd < 0)
        remove_flags(event, def_ombrel_event_connected);
    event.m_state &= ~(state_input_ended | state_output_ended | state_answered);
    event.m_connect_address = nullptr;
}

bool join(ombrel_event_base_t& base, ombrel_event_t& event, const char* function)
    OMBREL_REQUIRES(base.m_gate) {
    if (!reserve_candidate(base)) {
        log_line(base, severity::error, function, "not enough memory !");
        return false;
    }
    forget_outcomes(event);
    if (is_signal_event(event) && !attach_signal(event)) {
        log_line(base, severity::error, function, "ombrel_add_signal failed !");
        return false;
    }
    if (is_io_event(event) && event.m_fd >= 0 && !base.m_descriptors.attach(event, interest_of(event))) {
        log_line(base, severity::error, function, "ombrel_set_select failed !");
        return false;
    }
    link_event(base, event);
    recall_deliveries(event);
    if (needs_answer(event) ? ask_resolver(base, event) : is_connect_pending(event))
        start_waiting(base.m_waiting, event);
    return true;
}

} // namespace

bool register_event(ombrel_event_base_t& base, ombrel_event_t& event, int timeout_ms, const char* function) {
    if (event.m_priority >= base.m_max_priority)
        log_line(base, severity::warning, function, "s_event->m_priority >= s_base->m_max_priority !");
    const bool makes_socket = is_connect_pending(event) && event.m_resolver_name != nullptr;
    // An event with neither socket nor time limit fires at the next iteration, by design.
    event.m_timeout = event.m_fd >= 0 || timeout_ms >= 0 || makes_socket ? timeout_ms : 0;
    if (!is_in_loop(event) && !join(base, event, function))
        return false;
    arm_timer(base, event);
    return true;
}

void unregister_event(ombrel_event_base_t& base, ombrel_event_t& event) {
    deactivate(base, event);
    disarm_timer(base, event);
    stop_waiting(event);
    drop_socket(base, event);
    detach_signal(event);
    if ((event.m_flags & def_ombrel_event_registered) == 0)
        return;
    base.m_descriptors.detach(event);
    unlink_event(base, event);
    remove_flags(event, def_ombrel_event_connecting);
}

void arm_timer(ombrel_event_base_t& base, ombrel_event_t& event) {
    if (event.m_timeout < 0) {
        disarm_timer(base, event);
        return;
    }
    event.m_expiry = ombrel_time_stamp_msec() + static_cast<uint64_t>(event.m_timeout);
    if ((event.m_state & state_timed) != 0) {
        base.m_timers.update(event);
        return;
    }
    base.m_timers.insert(event);
    event.m_state |= state_timed;
    base.m_timer_event_count++;
}

void disarm_timer(ombrel_event_base_t& base, ombrel_event_t& event) {
    if ((event.m_state & state_timed) == 0)
        return;
    base.m_timers.remove(event);
    event.m_state &= ~state_timed;
    base.m_timer_event_count--;
}

namespace {

// The count of priorities may have shrunk since the event's was set.
run_queue& queue_of(ombrel_event_base_t& base, const ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    return base.m_queues[std::min(event.m_priority, base.m_max_priority - 1)];
}

} // namespace

void activate(ombrel_event_base_t& base, ombrel_event_t& event) {
    run_queue& queue = queue_of(base, event);
    event.m_active_prev = queue.tail;
    event.m_active_next = nullptr;
    (queue.tail != nullptr ? queue.tail->m_active_next : queue.head) = &event;
    queue.tail = &event;
    add_flags(event, def_ombrel_event_active);
    base.m_active_event_count++;
}

void deactivate(ombrel_event_base_t& base, ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_active) == 0)
        return;
    if (base.m_run_last == &event)
        base.m_run_last = event.m_active_prev;
    run_queue& queue = queue_of(base, event);
    (event.m_active_prev != nullptr ? event.m_active_prev->m_active_next : queue.head) = event.m_active_next;
    (event.m_active_next != nullptr ? event.m_active_next->m_active_prev : queue.tail) = event.m_active_prev;
    event.m_active_prev = event.m_active_next = nullptr;
    remove_flags(event, def_ombrel_event_active);
    base.m_active_event_count--;
}

void start_waiting(ombrel_event_t*& list, ombrel_event_t& event) {
    stop_waiting(event);
    event.m_waiting_next = list;
    if (list != nullptr)
        list->m_waiting_link = &event.m_waiting_next;
    list = &event;
    event.m_waiting_link = &list;
    event.m_state |= state_waiting;
}

void stop_waiting(ombrel_event_t& event) {
    if ((event.m_state & state_waiting) == 0)
        return;
    *event.m_waiting_link = event.m_waiting_next;
    if (event.m_waiting_next != nullptr)
        event.m_waiting_next->m_waiting_link = event.m_waiting_link;
    event.m_waiting_link = nullptr;
    event.m_waiting_next = nullptr;
    event.m_state &= ~state_waiting;
}

unsigned interest_of(const ombrel_event_t& event) {
    if (event.m_process_watch != nullptr)
        return def_ombrel_event_read;
    if (is_connect_pending(event))
        return (event.m_flags & def_ombrel_event_connecting) != 0 ? event_io_kinds : 0;
    if ((event.m_flags & def_ombrel_event_connect_failed) != 0)
        return 0;
    unsigned interest = event.m_flags & event_io_kinds;
    if (event.m_input_buffer != nullptr) {
        // With an input buffer the read flag is not looked at: the room in the buffer decides alone.
        interest &= ~def_ombrel_event_read;
        const bool has_room = event.m_input_watermark == 0 ||
                              ombrel_get_buffer_size(event.m_input_buffer) < event.m_input_watermark;
        if (has_room && (event.m_state & state_input_ended) == 0)
            interest |= def_ombrel_event_read;
    }
    if (event.m_output_buffer != nullptr) {
        interest &= ~def_ombrel_event_write;
        const size_t queued = ombrel_get_buffer_size(event.m_output_buffer);
        if (queued >= event.m_output_watermark && (event.m_state & state_output_ended) == 0)
            interest |= def_ombrel_event_write;
    }
    return interest;
}

bool refresh_interest(ombrel_event_base_t& base, ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_registered) == 0 || event.m_fd < 0)
        return true;
    if (base.m_descriptors.is_attached(event))
        return base.m_descriptors.set_interest(event, interest_of(event));
    return !is_io_event(event) || base.m_descriptors.attach(event, interest_of(event));
}

} // namespace ombrel
