#include <ombrel/event_base.h>

#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/socket.h>
#include <ombrel/thread.h>

#include "core/heap_ptr.h"
#include "event/event_internal.h"
#include "platform/socket.h"

using namespace ombrel;

ombrel_event_base_t* __g_ombrel_current_event_base = nullptr;

ombrel_event_base_t* ombrel::current_base() {
    return __atomic_load_n(&__g_ombrel_current_event_base, __ATOMIC_ACQUIRE);
}

namespace {

constexpr const char* source_name = "source/event";

// The flag is cleared after the bytes are gone: a post that falls in between leaves its reason behind, which
// the loop looks at before it sleeps again.
void on_notify(ombrel_event_t*, int fd, uint32_t result_flags, void* context) {
    if ((result_flags & def_ombrel_event_read) == 0)
        return;
    platform::drain_wakeups(fd);
    static_cast<ombrel_event_base_t*>(context)->m_wakeup_posted.store(false);
}

bool set_priorities(ombrel_event_base_t& base, uint32_t count) OMBREL_REQUIRES(base.m_gate) {
    if (count == 0 || count >= def_ombrel_event_max_priority || base.m_active_event_count != 0)
        return false;
    auto* queues = static_cast<run_queue*>(
        ombrel_calloc_tag(count, sizeof(run_queue), "ombrel_event_base_init_priority", __LINE__));
    if (queues == nullptr)
        return false;
    ombrel_check_free(base.m_queues);
    base.m_queues = queues;
    base.m_max_priority = count;
    return true;
}

// What failed, or null.
const char* build(ombrel_event_base_t& base) {
    assert_unshared(base);
    if (!base.m_descriptors.open())
        return "ombrel_open_select failed !";
    if (!set_priorities(base, 1))
        return "ombrel_event_base_init_priority failed !";
    if (ombrel_socket_pipe(base.m_notify_pipe) != 0)
        return "ombrel_socket_pipe for notify failed !";
    for (const int end : base.m_notify_pipe)
        platform::prepare_wakeup_socket(end);
    constexpr uint32_t flags = def_ombrel_event_read | def_ombrel_event_persist;
    if (ombrel_assign_event(&base, &base.m_notify_event, base.m_notify_pipe[0], flags, on_notify, &base) != 0)
        return "ombrel_assign_event for notify failed !";
    if (ombrel_add_event(&base.m_notify_event, -1) != 0)
        return "ombrel_add_event for notify failed !";
    return nullptr;
}

// Lets an event go, so that it does not reach for the base later.
void forget_base(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    unregister_event(base, event);
    set_base_of(event, nullptr);
}

void free_once_events(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    for (ombrel_event_t* event = base.m_head; event != nullptr;) {
        ombrel_event_t* next = event->m_next;
        if (is_once_event(*event)) {
            forget_base(base, *event);
            free_once_event(*event);
        }
        event = next;
    }
}

void assert_none(size_t count, const char* condition) {
    if (count != 0)
        ombrel_assert_fail_tag(source_name, "ombrel_free_event_base", __LINE__, condition);
}

void detach_left_events(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    while (base.m_head != nullptr)
        forget_base(base, *base.m_head);
    for (uint32_t priority = 0; priority < base.m_max_priority; priority++)
        while (base.m_queues[priority].head != nullptr)
            forget_base(base, *base.m_queues[priority].head);
    // Those that ombrel_add_signal() alone attached.
    while (ombrel_signal_node_t* node = base.m_signals)
        forget_base(base, *next_signal_event(node));
}

void close_notify(ombrel_event_base_t& base) {
    if (base.m_notify_event.m_flags != 0)
        ombrel_unassign_event(&base.m_notify_event);
    for (int& end : base.m_notify_pipe)
        if (end >= 0)
            end = ombrel_close_socket(end);
}

void destroy(ombrel_event_base_t* base) {
    close_names(*base);
    assert_unshared(*base);
    free_once_events(*base);
    close_notify(*base);
    assert_none(base->m_event_count, "s_base->m_event_count == ((size_t)0u)");
    assert_none(base->m_timer_event_count, "s_base->m_timer_event_count == ((size_t)0u)");
    assert_none(base->m_active_event_count, "s_base->m_active_event_count == ((size_t)0u)");
    detach_left_events(*base);
    base->m_descriptors.close();
    ombrel_check_free(base->m_candidates);
    ombrel_check_free(base->m_queues);
    ombrel_free(base);
}

} // namespace

namespace {

// What failed is left to the caller to tell, in a place where it may print.
ombrel_event_base_t* make_base(const char*& failure) {
    auto* base = static_cast<ombrel_event_base_t*>(ombrel_calloc(1, sizeof(ombrel_event_base_t)));
    if (base == nullptr) {
        failure = "not enough memory !";
        return nullptr;
    }
    assert_unshared(*base);
    base->m_thread_id = ombrel_get_thread_id();
    base->m_max_wait = -1;
    base->m_notify_pipe[0] = base->m_notify_pipe[1] = -1;
    enlist_base(*base);
    failure = build(*base);
    if (failure == nullptr)
        return base;
    delist_base(base);
    destroy(base);
    return nullptr;
}

fair_gate current_base_gate;

// The first thread makes it, and those that come meanwhile wait for that.
ombrel_event_base_t* make_current_base(bool& made, const char*& failure) {
    current_base_gate.enter();
    ombrel_event_base_t* base = current_base();
    made = base == nullptr;
    if (made)
        __atomic_store_n(&__g_ombrel_current_event_base, base = make_base(failure), __ATOMIC_RELEASE);
    current_base_gate.leave();
    return base;
}

void forget_current_base(ombrel_event_base_t* base) {
    __atomic_compare_exchange_n(&__g_ombrel_current_event_base, &base, nullptr, false, __ATOMIC_RELAXED,
                                __ATOMIC_RELAXED);
}

void tell_outcome(const char* failure) {
    if (failure != nullptr)
        print_line(severity::error, "ombrel_new_event_base", failure);
    else if (is_tracing())
        print_line(severity::message, "ombrel_new_event_base", "new event_base.");
}

} // namespace

ombrel_event_base_t* ombrel_new_event_base(void) {
    const char* failure = nullptr;
    ombrel_event_base_t* base = make_base(failure);
    tell_outcome(failure);
    return base;
}

namespace {

// Whether there is a base at all; its service is stopped, unless it is the service's own thread that asks.
bool stop_service_of(ombrel_event_base_t* base) {
    if (!enter_living_base(base))
        return false;
    const bool stop = base->m_service != nullptr && !is_own_loop(*base);
    leave_base(*base);
    if (stop)
        ombrel_event_base_stop_service(base);
    return true;
}

delisting delist_stopped(ombrel_event_base_t* base) {
    return stop_service_of(base) ? delist_base(base) : delisting::gone;
}

} // namespace

int ombrel_free_event_base(ombrel_event_base_t* base) {
    constexpr const char* name = "ombrel_free_event_base";
    const delisting result = delist_stopped(base);
    if (result == delisting::gone)
        print_line(severity::warning, name, "no base to free !");
    if (result == delisting::in_use)
        print_line(severity::error, name, "the loop is running !");
    if (result != delisting::done)
        return -1;
    forget_current_base(base);
    destroy(base);
    if (is_tracing())
        print_line(severity::message, name, "free event_base.");
    return 0;
}

int ombrel_event_base_init_priority(ombrel_event_base_t* base, uint32_t count) {
    if (!is_base("ombrel_event_base_init_priority", base))
        return -1;
    const base_guard guard(*base);
    return set_priorities(*base, count) ? 0 : -1;
}

int ombrel_event_base_loop(ombrel_event_base_t* base, uint32_t loop_flags) {
    if (!is_base("ombrel_event_base_loop", base))
        return -1;
    return run_loop(*base, loop_flags) == loop_end::ended ? 0 : -1;
}

int ombrel_event_base_dispatch(ombrel_event_base_t* base) {
    if (!is_base("ombrel_event_base_dispatch", base))
        return -1;
    return ombrel_event_base_loop(base, 0);
}

int ombrel_event_base_break_loop(ombrel_event_base_t* base) {
    if (!is_base("ombrel_event_base_break_loop", base))
        return -1;
    const base_guard guard(*base);
    base->m_break = 1;
    log_line(*base, severity::message, "ombrel_event_base_break_loop", "event loop break.");
    return 0;
}

namespace {

void request_exit(ombrel_event_t*, int, uint32_t, void* context) {
    auto& base = *static_cast<ombrel_event_base_t*>(context);
    const base_guard guard(base);
    base.m_exit = 1;
}

} // namespace

int ombrel_event_base_exit_loop(ombrel_event_base_t* base, int timeout_ms) {
    if (!is_base("ombrel_event_base_exit_loop", base))
        return -1;
    return ombrel_event_base_once(base, -1, 0, request_exit, base, timeout_ms);
}

int ombrel_event_base_get_exit(ombrel_event_base_t* base) {
    if (!is_base("ombrel_event_base_get_exit", base))
        return -1;
    const base_guard guard(*base);
    return static_cast<int>(base->m_exit);
}

int ombrel_event_base_get_counts(ombrel_event_base_t* base, ombrel_event_counts_t* counts) {
    if (!is_base("ombrel_event_base_get_counts", base) || counts == nullptr)
        return -1;
    const base_guard guard(*base);
    *counts = {base->m_event_count - 1, base->m_timer_event_count, base->m_active_event_count, {}};
    return 0;
}

ombrel_event_base_t* ombrel_init_event_base(void) {
    if (ombrel_event_base_t* base = current_base())
        return base;
    const char* failure = nullptr;
    bool made = false;
    ombrel_event_base_t* base = make_current_base(made, failure);
    if (made)
        tell_outcome(failure);
    if (base == nullptr)
        print_line(severity::error, "ombrel_init_event_base", "unable to construct event_base !");
    return base;
}

int ombrel_event_once(int fd, uint32_t flags, ombrel_event_handler_t handler, void* context, int timeout_ms) {
    return ombrel_event_base_once(current_base(), fd, flags, handler, context, timeout_ms);
}

int ombrel_event_loop(uint32_t loop_flags) {
    return ombrel_event_base_loop(current_base(), loop_flags);
}

int ombrel_event_dispatch(void) {
    return ombrel_event_base_dispatch(current_base());
}

int ombrel_event_break_loop(void) {
    return ombrel_event_base_break_loop(current_base());
}

int ombrel_event_exit_loop(int timeout_ms) {
    return ombrel_event_base_exit_loop(current_base(), timeout_ms);
}

int ombrel_event_init_priority(uint32_t count) {
    return ombrel_event_base_init_priority(current_base(), count);
}

ombrel_worker_t* ombrel_open_worker(void) {
    return allocate_record<ombrel_worker_t>("ombrel_open_worker", __LINE__);
}

int ombrel_close_worker(ombrel_worker_t* worker) {
    return ombrel_check_free(worker);
}
