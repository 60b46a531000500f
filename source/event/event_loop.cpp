// The iterations of a loop: wait, find out which events have something, run the handlers of one priority.
#include <algorithm>

#include <ombrel/event_base.h>
#include <ombrel/global_break.h>
#include <ombrel/thread.h>
#include <ombrel/time.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "event/event_internal.h"
#include "platform/socket.h"

namespace ombrel {

namespace {

constexpr const char* loop_name = "ombrel_event_base_loop";

bool has_work(const ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    return base.m_active_event_count != 0 || base.m_signal_news.load() || base.m_waiting != nullptr ||
           base.m_descriptors.has_always_ready();
}

int wait_time(ombrel_event_base_t& base, uint32_t loop_flags) OMBREL_REQUIRES(base.m_gate) {
    if (has_work(base) || (loop_flags & def_ombrel_event_loop_non_block) != 0)
        return 0;
    return shorter_wait(deadline::at(next_expiry(base)).left(), base.m_max_wait);
}

// Outside the gate: the host's set is the same from the base's making to its end, and changes while it is
// waited for.
int sleep(ombrel_event_base_t& base, int wait) OMBREL_UNCHECKED {
    return base.m_descriptors.wait(wait);
}

// The gate is open while the loop sleeps: what other threads add is told to the host by themselves, and they
// wake the loop only for what concerns its wait.
int wait_for_readiness(ombrel_event_base_t& base, uint32_t loop_flags) OMBREL_REQUIRES(base.m_gate) {
    base.m_descriptors.settle();
    const int wait = wait_time(base, loop_flags);
    base.m_wait_until = next_expiry(base);
    leave_base(base, wait != 0);
    const int count = sleep(base, wait);
    const fault_keeper why;
    enter_base(base);
    base.m_sleeping = false;
    return count;
}

void collect(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    if ((event.m_state & state_candidate) != 0 || (event.m_flags & def_ombrel_event_registered) == 0)
        return;
    event.m_state |= state_candidate;
    base.m_candidates[base.m_candidate_count++] = &event;
}

// The notify event stands first in the list and takes its readiness itself.
void collect_ready(ombrel_event_base_t& base, int count) OMBREL_REQUIRES(base.m_gate) {
    size_t taken = 0;
    const size_t pairs = base.m_descriptors.take_ready(count, [&](ombrel_event_t& event, unsigned ready) {
        base.m_gate.assert_held();
        if (&event != &base.m_notify_event) {
            set_ready(event, ready);
            collect(base, event);
            return;
        }
        taken++;
        event.m_handler(&event, event.m_fd, def_ombrel_event_read, event.m_context);
    });
    base.m_ready_left = pairs - taken;
}

void collect_expired(ombrel_event_base_t& base, uint64_t now) OMBREL_REQUIRES(base.m_gate) {
    while (ombrel_event_t* event = base.m_timers.first()) {
        if (event->m_expiry > now)
            return;
        // Firing either deletes the event or arms it anew.
        disarm_timer(base, *event);
        collect(base, *event);
    }
}

void collect_signalled(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    if (!base.m_signal_news.load(std::memory_order_relaxed) || !base.m_signal_news.exchange(false))
        return;
    for (ombrel_signal_node_t* node = base.m_signals; node != nullptr;)
        collect(base, *next_signal_event(node));
}

void collect_waiting(ombrel_event_base_t& base, uint64_t now) OMBREL_REQUIRES(base.m_gate) {
    retry_names(base, now);
    while (ombrel_event_t* event = base.m_waiting) {
        stop_waiting(*event);
        collect(base, *event);
    }
}

bool in_list_order(const ombrel_event_t* a, const ombrel_event_t* b) {
    return a->m_order < b->m_order;
}

// The kinds for which an event's socket is ready, each counted off from what the wait reported: events that
// share a socket and stand further down the list may find nothing left, by design.
unsigned take_ready_bits(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    const unsigned ready = event.m_ready;
    set_ready(event, 0);
    if (ready == 0)
        return 0;
    unsigned taken = 0;
    for (unsigned bit = platform::poll_read; bit <= platform::poll_exception && base.m_ready_left != 0;
         bit <<= 1)
        if ((ready & bit) != 0) {
            taken |= bit;
            base.m_ready_left--;
        }
    return taken;
}

uint32_t take_answer(ombrel_event_t& event) {
    if ((event.m_state & state_answered) == 0 || is_connect_pending(event))
        return 0;
    event.m_state &= ~state_answered;
    return def_ombrel_event_with_resolver;
}

uint32_t new_results(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    // One that waits for its answer is told of it.
    if (needs_answer(event) && (event.m_state & state_waiting) == 0)
        ask_resolver(base, event);
    uint32_t result = take_answer(event);
    if (!is_io_event(event))
        return result | (take_signal_count(event) > 0 ? def_ombrel_event_signal : 0);
    const unsigned ready = take_ready_bits(base, event);
    if (event.m_process_watch != nullptr)
        return result | (ready != 0 ? take_process_end(base, event) : 0);
    if (is_connect_pending(event))
        return result | progress_connect(base, event, ready);
    return result | ((event.m_state & state_buffered) != 0 ? move_bytes(base, event, ready) : ready);
}

void examine(ombrel_event_base_t& base, ombrel_event_t& event, uint64_t now) OMBREL_REQUIRES(base.m_gate) {
    event.m_state &= ~state_candidate;
    const bool active = (event.m_flags & def_ombrel_event_active) != 0;
    if (!active)
        event.m_result_flags = 0;
    event.m_result_flags |= new_results(base, event);
    if (event.m_result_flags == 0 && event.m_timeout >= 0 && event.m_expiry <= now)
        event.m_result_flags = def_ombrel_event_timeout;
    if (event.m_result_flags != 0 && !active)
        activate(base, event);
}

// Looks at the events that may have something, in the order of the list of all events.
void gather(ombrel_event_base_t& base, int ready_count) OMBREL_REQUIRES(base.m_gate) {
    const uint64_t now = ombrel_time_stamp_msec();
    base.m_candidate_count = 0;
    collect_ready(base, ready_count);
    collect_expired(base, now);
    collect_signalled(base);
    collect_waiting(base, now);
    ombrel_event_t** const end = base.m_candidates + base.m_candidate_count;
    if (!std::is_sorted(base.m_candidates, end, in_list_order))
        std::sort(base.m_candidates, end, in_list_order);
    for (ombrel_event_t** event = base.m_candidates; event != end; event++)
        examine(base, **event, now);
}

void run_handler(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    const uint32_t result = event.m_result_flags;
    if ((result & def_ombrel_event_connected) != 0)
        event.m_state &= ~state_owns_socket;
    // Between the end of a one-shot event and its addition by the handler the signal stays caught.
    int held_signal = 0;
    const bool stays = (event.m_flags & def_ombrel_event_persist) != 0;
    if (stays && (result & def_ombrel_event_process_end) == 0) {
        deactivate(base, event);
        // One that was only made active by hand has no time limit to go on with.
        if ((event.m_flags & def_ombrel_event_registered) == 0)
            disarm_timer(base, event);
        else if (event.m_timeout >= 0)
            arm_timer(base, event);
    } else {
        if ((event.m_flags & def_ombrel_event_signal) != 0 && event.m_signal != nullptr)
            hold_signal(held_signal = event.m_fd);
        unregister_event(base, event);
    }
    const int fd = event.m_process != 0 ? event.m_process : event.m_fd;
    const ombrel_event_handler_t handler = event.m_handler;
    void* context = event.m_context;
    leave_base(base);
    if (handler != nullptr)
        handler(&event, fd, result, context);
    enter_base(base);
    if (held_signal != 0)
        release_signal(held_signal);
}

// Runs the most urgent queue that is not empty, as it stands now. Returns whether a handler ran.
bool run_active(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    if (base.m_active_event_count == 0)
        return false;
    uint32_t priority = 0;
    while (base.m_queues[priority].head == nullptr)
        priority++;
    // Moves to the front when the event is run or deleted, and to null when no earlier one is left.
    base.m_run_last = base.m_queues[priority].tail;
    while (base.m_run_last != nullptr) {
        run_handler(base, *base.m_queues[priority].head);
        if (base.m_break != 0)
            break;
    }
    base.m_run_last = nullptr;
    return true;
}

bool is_asked_to_stop(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    if (base.m_exit != 0)
        return true;
    const bool stop = base.m_break != 0;
    base.m_break = 0;
    return stop;
}

// Whether the flags end the loop after an iteration.
bool is_last_iteration(ombrel_event_base_t& base, uint32_t loop_flags, bool ran)
    OMBREL_REQUIRES(base.m_gate) {
    const bool idle = base.m_active_event_count == 0;
    const char* reason = nullptr;
    if ((loop_flags & def_ombrel_event_loop_once) != 0 && ran && idle) {
        reason = "break event base once loop.";
    } else if ((loop_flags & def_ombrel_event_loop_non_block) != 0 && idle) {
        reason = "break event base non-block loop.";
    } else if ((loop_flags & def_ombrel_event_loop_global_break) != 0 && ombrel_get_global_break() != 0) {
        base.m_exit = 1;
        reason = "global-break event base loop.";
    }
    if (reason != nullptr)
        log_line(base, severity::message, loop_name, reason);
    return reason != nullptr;
}

loop_end iterate(ombrel_event_base_t& base, uint32_t loop_flags) OMBREL_REQUIRES(base.m_gate) {
    for (;;) {
        if (is_asked_to_stop(base))
            return loop_end::ended;
        if (base.m_event_count == 0 && base.m_active_event_count == 0) {
            log_line(base, severity::message, loop_name, "no event registered.");
            return loop_end::ended;
        }
        int count = wait_for_readiness(base, loop_flags);
        if (failed_by(count, fault_code::interrupted)) {
            // Only a signal that some event of this base waits for lets the loop go on.
            if (!base.m_signal_news.load())
                return loop_end::interrupted;
            count = 0;
        }
        if (count < 0) {
            log_line(base, severity::error, loop_name, "ombrel_select_dispatch failed !");
            return loop_end::failed;
        }
        gather(base, count);
        const bool ran = run_active(base);
        if (is_last_iteration(base, loop_flags, ran))
            return loop_end::ended;
    }
}

} // namespace

loop_end run_loop(ombrel_event_base_t& base, uint32_t loop_flags) {
    const base_guard guard(base);
    if (base.m_running != 0) {
        log_line(base, severity::error, loop_name, "reentrant invocation ! only one loop !");
        return loop_end::failed;
    }
    base.m_running = 1;
    base.m_thread_id = ombrel_get_thread_id();
    base.m_exit = base.m_break = 0;
    const loop_end end = iterate(base, loop_flags);
    base.m_running = 0;
    return end;
}

uint64_t next_expiry(ombrel_event_base_t& base) {
    const ombrel_event_t* timer = base.m_timers.first();
    const uint64_t expiry = timer != nullptr ? timer->m_expiry : UINT64_MAX;
    return base.m_resolver_retry != 0 ? std::min(expiry, base.m_resolver_retry) : expiry;
}

bool is_own_loop(const ombrel_event_base_t& base) {
    return base.m_running != 0 && base.m_thread_id == ombrel_get_thread_id();
}

void post_wakeup(ombrel_event_base_t& base) {
    if (!base.m_wakeup_posted.exchange(true))
        platform::post_wakeup(base.m_notify_pipe[1]);
}

} // namespace ombrel
