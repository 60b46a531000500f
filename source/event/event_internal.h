// What the files of the event loop share: the base's record and the work that is done with its gate held.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/resolver_cache.h>
#include <ombrel/service.h>

#include "event/base_registry.h"
#include "event/descriptor_table.h"
#include "event/fair_gate.h"
#include "event/timer_order.h"

namespace ombrel {

inline constexpr uint32_t event_io_kinds =
    def_ombrel_event_read | def_ombrel_event_write | def_ombrel_event_exception;

// The three kinds double as the poll set's bits.
static_assert(def_ombrel_event_read == platform::poll_read &&
              def_ombrel_event_write == platform::poll_write &&
              def_ombrel_event_exception == platform::poll_exception);

/// Bits of m_state.
enum event_state : uint32_t {
    state_on_heap = 1u << 0,      ///< the record was allocated by the library
    state_timed = 1u << 1,        ///< in the timer order
    state_candidate = 1u << 2,    ///< to be examined in this iteration
    state_waiting = 1u << 3,      ///< in a list of events that wait for a name or for the loop
    state_owns_socket = 1u << 4,  ///< the loop opened the socket and has not handed it over
    state_answered = 1u << 5,     ///< the answer of its name is still to be told
    state_bound = 1u << 6,        ///< the caller's socket was bound to the bind address
    state_input_ended = 1u << 7,  ///< the input buffer gets no more bytes
    state_output_ended = 1u << 8, ///< the output buffer is not sent any more
    state_buffered = 1u << 9,     ///< has an input or an output buffer
};

enum class severity { message, warning, error };

/// A line that waits until the gate is open: printing under it would lock up with an output handler that uses
/// the base.
struct pending_line {
    pending_line* next;
    severity level;
    const char* function;
    const char* phrase;
    const ombrel_event_t* event; ///< null for a line about the base
    int fd;
};

struct run_queue {
    ombrel_event_t* head;
    ombrel_event_t* tail;
};

} // namespace ombrel

/// The pipe is made before anybody else knows the base; what signal handlers and assignments look at is
/// atomic. The fields of an event are guarded by the gate of its base, which may change or be missing: they
/// are a public record without the words of the check, and the functions that are called with a gate say so.
struct ombrel_event_base_ts {
    ombrel::fair_gate m_gate;
    uint64_t m_thread_id OMBREL_GUARDED_BY(m_gate);
    uint32_t m_running OMBREL_GUARDED_BY(m_gate);
    uint32_t m_exit OMBREL_GUARDED_BY(m_gate);
    uint32_t m_break OMBREL_GUARDED_BY(m_gate);
    int m_max_wait OMBREL_GUARDED_BY(m_gate);
    ombrel::descriptor_table m_descriptors OMBREL_GUARDED_BY(m_gate);
    size_t m_event_count OMBREL_GUARDED_BY(m_gate);
    size_t m_timer_event_count OMBREL_GUARDED_BY(m_gate);
    size_t m_active_event_count OMBREL_GUARDED_BY(m_gate);
    ombrel_event_t* m_head OMBREL_GUARDED_BY(m_gate);
    ombrel_event_t* m_tail OMBREL_GUARDED_BY(m_gate);
    ombrel::timer_order m_timers OMBREL_GUARDED_BY(m_gate);
    std::atomic<uint32_t> m_max_priority; ///< an assignment reads it without the gate
    ombrel::run_queue* m_queues OMBREL_GUARDED_BY(m_gate);
    int m_notify_pipe[2];
    ombrel_event_t m_notify_event;
    ombrel_resolver_cache_t* m_resolver_cache OMBREL_GUARDED_BY(m_gate);
    ombrel_service_t* m_service OMBREL_GUARDED_BY(m_gate);
    bool m_service_changing OMBREL_GUARDED_BY(m_gate); ///< a thread starts or stops it
    ombrel_event_base_t* m_next_base OMBREL_GUARDED_BY(ombrel::base_registry_gate);

    uint64_t m_last_order OMBREL_GUARDED_BY(m_gate);         ///< of the event registered last
    ombrel_event_t* m_run_last OMBREL_GUARDED_BY(m_gate);    ///< the last event that this iteration is to run
    ombrel_event_t** m_candidates OMBREL_GUARDED_BY(m_gate); ///< room for every registered event
    size_t m_candidate_room OMBREL_GUARDED_BY(m_gate);
    size_t m_candidate_count OMBREL_GUARDED_BY(m_gate);
    /// Pairs of a socket and a kind that no event took yet.
    size_t m_ready_left OMBREL_GUARDED_BY(m_gate);
    /// Events to be examined: their name was answered, or they connect.
    ombrel_event_t* m_waiting OMBREL_GUARDED_BY(m_gate);
    /// Events whose name had no answer, to be asked again.
    ombrel_event_t* m_unanswered OMBREL_GUARDED_BY(m_gate);
    ombrel_signal_node_t* m_signals OMBREL_GUARDED_BY(m_gate); ///< attached signal events
    /// When unanswered names are asked again, 0 for never.
    uint64_t m_resolver_retry OMBREL_GUARDED_BY(m_gate);
    uint64_t m_wait_until OMBREL_GUARDED_BY(m_gate); ///< when a sleeping loop wakes by itself
    bool m_sleeping OMBREL_GUARDED_BY(m_gate);
    ombrel::pending_line* m_lines OMBREL_GUARDED_BY(m_gate);
    ombrel::pending_line* m_last_line OMBREL_GUARDED_BY(m_gate);
    std::atomic<bool> m_wakeup_posted;
    std::atomic<bool> m_signal_news;
};

namespace ombrel {

/// Prints a line; not with a gate held.
void print_line(severity level, const char* function, const char* phrase,
                const ombrel_event_t* event = nullptr, int fd = -1);
bool is_tracing();
/// Queues a line until the gate is left. Messages are dropped unless the debug mode is on.
void log_line(ombrel_event_base_t& base, severity level, const char* function, const char* phrase,
              const ombrel_event_t* event = nullptr) OMBREL_REQUIRES(base.m_gate);

/// Reports an event that cannot be used, by null or by not being assigned.
bool is_assigned(const char* function, const ombrel_event_t* event);
/// Reports an event without a base.
void report_homeless(const char* function, const ombrel_event_t& event);
bool is_base(const char* function, const ombrel_event_base_t* base);
/// Reports an event that must not be in the loop. Gives false.
bool refuse_added(ombrel_event_base_t& base, const char* function) OMBREL_REQUIRES(base.m_gate);

inline void enter_base(ombrel_event_base_t& base) OMBREL_ACQUIRES(base.m_gate) {
    base.m_gate.enter();
}
/// Wakes the loop if what changed concerns its wait, opens the gate and prints the lines that were queued.
/// `to_sleep` is said by the loop itself when it is about to wait.
void leave_base_slowly(ombrel_event_base_t& base, bool to_sleep) OMBREL_RELEASES(base.m_gate);
inline void leave_base(ombrel_event_base_t& base, bool to_sleep = false) OMBREL_RELEASES(base.m_gate) {
    if (to_sleep || base.m_sleeping || base.m_lines != nullptr)
        leave_base_slowly(base, to_sleep);
    else
        base.m_gate.leave();
}

/// Enters the gate of a base unless it is gone.
bool enter_living_base(ombrel_event_base_t* base) OMBREL_TRIES(base->m_gate);

class OMBREL_GUARD_CLASS base_guard {
public:
    explicit base_guard(ombrel_event_base_t& base) OMBREL_ACQUIRES(base.m_gate) : base_(base) {
        enter_base(base_);
    }
    ~base_guard() OMBREL_RELEASES() { leave_base(base_); }
    base_guard(const base_guard&) = delete;
    base_guard& operator=(const base_guard&) = delete;

private:
    ombrel_event_base_t& base_;
};

/// A base that is being made or destroyed is one thread's own: its gate counts as held, and keeps nobody out.
inline void assert_unshared(const ombrel_event_base_t& base) OMBREL_ASSERTS(base.m_gate) {
    static_cast<void>(base);
}

/// Wakes the loop from any context, signal handlers included; needs no gate.
void post_wakeup(ombrel_event_base_t& base);

// The flags change with the gate held but are also read before it is taken, to tell an event that cannot be
// used.

inline uint32_t flags_of(const ombrel_event_t& event) {
    return __atomic_load_n(&event.m_flags, __ATOMIC_RELAXED);
}
inline void add_flags(ombrel_event_t& event, uint32_t flags) {
    __atomic_store_n(&event.m_flags, event.m_flags | flags, __ATOMIC_RELAXED);
}
inline void remove_flags(ombrel_event_t& event, uint32_t flags) {
    __atomic_store_n(&event.m_flags, event.m_flags & ~flags, __ATOMIC_RELAXED);
}

// So do the base, the registration with a signal and, outside the list of all events, the word of the ready
// kinds, which then tells how many bases had been freed when the event's was seen to exist.

inline ombrel_event_base_t* base_of(const ombrel_event_t& event) {
    return __atomic_load_n(&event.m_base, __ATOMIC_RELAXED);
}
inline void set_base_of(ombrel_event_t& event, ombrel_event_base_t* base) {
    __atomic_store_n(&event.m_base, base, __ATOMIC_RELAXED);
}
inline ombrel_signal_node_t* signal_of(const ombrel_event_t& event) {
    return __atomic_load_n(&event.m_signal, __ATOMIC_RELAXED);
}
inline void set_signal_of(ombrel_event_t& event, ombrel_signal_node_t* node) {
    __atomic_store_n(&event.m_signal, node, __ATOMIC_RELAXED);
}
inline void set_ready(ombrel_event_t& event, uint32_t kinds) {
    __atomic_store_n(&event.m_ready, kinds, __ATOMIC_RELAXED);
}
inline void note_base_lives(ombrel_event_t& event, uint32_t freed) {
    set_ready(event, freed);
}

inline bool is_in_loop(const ombrel_event_t& event) {
    return (flags_of(event) & (def_ombrel_event_registered | def_ombrel_event_active)) != 0;
}

/// Whether the event is of a socket; a managed connection is one even before it has it.
inline bool is_io_event(const ombrel_event_t& event) {
    return (event.m_flags & (event_io_kinds | def_ombrel_event_managed_connect)) != 0 ||
           (event.m_state & state_buffered) != 0 || event.m_process_watch != nullptr;
}

/// Whether the loop still has to make the event's connection.
inline bool is_connect_pending(const ombrel_event_t& event) {
    return (event.m_flags & (def_ombrel_event_managed_connect | def_ombrel_event_connected |
                             def_ombrel_event_connect_failed)) == def_ombrel_event_managed_connect;
}

inline bool needs_answer(const ombrel_event_t& event) {
    return (event.m_flags & (def_ombrel_event_with_resolver | def_ombrel_event_managed_connect)) != 0 &&
           event.m_resolver_name != nullptr && event.m_resolver_info == nullptr;
}

/// The kinds for which the event wants its descriptor watched now.
unsigned interest_of(const ombrel_event_t& event);

// All of the following need the gate; those without a base among their arguments need that of the event's.

bool register_event(ombrel_event_base_t& base, ombrel_event_t& event, int timeout_ms, const char* function)
    OMBREL_REQUIRES(base.m_gate);
void unregister_event(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
void arm_timer(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
void disarm_timer(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
void activate(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
void deactivate(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
/// Puts an event first into one of the lists of those that wait; it leaves the one that it stands in.
void start_waiting(ombrel_event_t*& list, ombrel_event_t& event);
void stop_waiting(ombrel_event_t& event);
/// Brings the descriptor's interest up to date after a change of a registered event.
bool refresh_interest(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);

/// Stores the answer to the event's name if it is there, or has the event wait for it.
bool ask_resolver(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
/// Has names without answers asked again once it is time. The events come to be examined.
void retry_names(ombrel_event_base_t& base, uint64_t now) OMBREL_REQUIRES(base.m_gate);
/// Goes on with a managed connection, whose socket is ready for `ready`. Returns the result for the handler.
uint32_t progress_connect(ombrel_event_base_t& base, ombrel_event_t& event, unsigned ready)
    OMBREL_REQUIRES(base.m_gate);
/// Closes a socket that the loop opened and has not handed over.
void drop_socket(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
/// Takes the status of the event's child if that has ended. Returns the result for the handler.
uint32_t take_process_end(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate);
void release_process(ombrel_event_t& event);
/// Moves bytes between a ready socket and the event's buffers. Returns what the handler is to be told.
uint32_t move_bytes(ombrel_event_base_t& base, ombrel_event_t& event, uint32_t ready)
    OMBREL_REQUIRES(base.m_gate);
void release_buffers(ombrel_event_t& event);
/// When the next time limit passes or names are asked again, UINT64_MAX for never.
uint64_t next_expiry(ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate);

// The rest takes the gate itself or needs none.

struct event_assignment {
    const char* function;        ///< for messages
    const char* verb = "assign"; ///< or "new" or "set"
    ombrel_event_base_t* base;
    int fd;
    uint32_t flags;
    ombrel_event_handler_t handler;
    void* context;
    const char* bind_address = nullptr;
    int bind_port = -1;
    const char* resolver_name = nullptr;
    int resolver_port = -1;
};
int assign_event(ombrel_event_t* event, const event_assignment& wanted);
int add_event(ombrel_event_t* event, int timeout_ms, const char* function);
int unassign_event(ombrel_event_t* event, const char* function);

/// Closes the resolver cache; its thread, which enters the gate, does not come back to the base.
void close_names(ombrel_event_base_t& base) OMBREL_EXCLUDES(base.m_gate);

/// The process-wide base, or null.
ombrel_event_base_t* current_base();

void free_once_event(ombrel_event_t& event);
bool is_once_event(const ombrel_event_t& event);

enum class loop_end { ended, interrupted, failed };
loop_end run_loop(ombrel_event_base_t& base, uint32_t loop_flags) OMBREL_EXCLUDES(base.m_gate);

/// The signal registry. A held signal stays caught although no event is attached to it.
bool attach_signal(ombrel_event_t& event);
void detach_signal(ombrel_event_t& event);
/// The first half of a move to another base, with the gate of the present one, and the second half.
void unlink_signal_from_base(ombrel_event_t& event);
void link_signal_to_base(ombrel_event_t& event, ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate);
/// Has the loop look at what was delivered while it did not watch the event. Needs the gate.
void recall_deliveries(ombrel_event_t& event);
bool is_signal_number(int signum);
uint32_t take_signal_count(ombrel_event_t& event);
ombrel_event_t* next_signal_event(ombrel_signal_node_t*& node);
/// Whether the calling thread runs the base's loop.
bool is_own_loop(const ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate);
void hold_signal(int signum);
void release_signal(int signum);

} // namespace ombrel
