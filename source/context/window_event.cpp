// Events of windows: they go to a handler, or wait for who polls.
#include <ombrel/window_event.h>

#include <ombrel/assert.h>
#include <ombrel/ctx.h>
#include <ombrel/framebuffer.h>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"
#include "platform/thread.h"
#include "platform/wait_word.h"

using namespace ombrel;

namespace {

/// The oldest make room for the newest; of moves in a row the last is enough.
class event_ring {
public:
    void push(const ombrel_window_event_t& event) {
        const bool follows_move = event.m_kind == def_ombrel_window_event_move && count_ > 0 &&
                                  at(count_ - 1).m_kind == def_ombrel_window_event_move;
        if (follows_move)
            count_--;
        else if (count_ == def_ombrel_window_event_most)
            drop_first();
        at(count_++) = event;
    }

    bool pop(ombrel_window_event_t& event) {
        if (count_ == 0)
            return false;
        event = at(0);
        drop_first();
        return true;
    }

private:
    ombrel_window_event_t& at(uint32_t index) {
        return events_[(first_ + index) % def_ombrel_window_event_most];
    }
    void drop_first() {
        first_ = (first_ + 1) % def_ombrel_window_event_most;
        count_--;
    }

    uint32_t first_, count_;
    ombrel_window_event_t events_[def_ombrel_window_event_most];
};

} // namespace

/// A zeroed record is one without events and handler.
struct ombrel_window_events_ts {
    ombrel_short_lock_t lock;
    ombrel_window_listener_t listener OMBREL_GUARDED_BY(lock);
    uint64_t handling_thread OMBREL_GUARDED_BY(lock); ///< in whose handler an event is; 0 for none
    bool is_over OMBREL_GUARDED_BY(lock);
    int sleepers OMBREL_GUARDED_BY(lock);
    int turn; ///< counts what sleepers wait for; changed with the lock held
    event_ring waiting OMBREL_GUARDED_BY(lock);
};

namespace {

int turn_of(const ombrel_window_events_t& events) {
    return __atomic_load_n(&events.turn, __ATOMIC_ACQUIRE);
}

/// Holds the lock for a scope that makes a change, and wakes whoever waits for one.
class OMBREL_GUARD_CLASS change_guard {
public:
    explicit change_guard(ombrel_window_events_t& events) OMBREL_ACQUIRES(events.lock) : events_(events) {
        take(events_.lock);
    }
    ~change_guard() OMBREL_RELEASES() OMBREL_UNCHECKED {
        __atomic_store_n(&events_.turn, static_cast<int>(static_cast<unsigned>(events_.turn) + 1),
                         __ATOMIC_RELEASE);
        int sleepers = events_.sleepers;
        release(events_.lock);
        for (; sleepers > 0; sleepers--)
            platform::wake_waiter(&events_.turn);
    }
    change_guard(const change_guard&) = delete;
    change_guard& operator=(const change_guard&) = delete;

private:
    ombrel_window_events_t& events_;
};

void count_sleeper(ombrel_window_events_t& events, int by) {
    const short_lock_guard guard(events.lock);
    events.sleepers += by;
}

/// Sleeps until the turn changes, or for so many milliseconds; negative for no limit.
void sleep_until_change(ombrel_window_events_t& events, int turn, int milliseconds) {
    constexpr int longest = 60'000;
    count_sleeper(events, 1);
    platform::wait_while_equal(&events.turn, turn,
                               static_cast<uint32_t>(shorter_wait(milliseconds, longest)));
    count_sleeper(events, -1);
}

/// The handler for one event: begun with the lock held, so that no other can be set before it has ended.
ombrel_window_listener_t begin_handling(ombrel_window_events_t& events, const ombrel_window_event_t& event) {
    const change_guard guard(events);
    if (events.listener.m_handler == nullptr)
        events.waiting.push(event);
    else
        events.handling_thread = platform::thread_id();
    return events.listener;
}

void end_handling(ombrel_window_events_t& events) {
    const change_guard guard(events);
    events.handling_thread = 0;
}

/// Sets the listener; false while a handler is running on another thread.
bool set_between_handlers(ombrel_window_events_t& events, const ombrel_window_listener_t& listener) {
    const short_lock_guard guard(events.lock);
    events.listener = listener;
    return events.handling_thread == 0 || events.handling_thread == platform::thread_id();
}

/// 1 with an event, 0 without, -1 when there will be none.
int take_event(ombrel_window_events_t& events, ombrel_window_event_t& event) {
    const short_lock_guard guard(events.lock);
    if (events.waiting.pop(event))
        return 1;
    event = {};
    return events.is_over ? -1 : 0;
}

int fail(int ctx, int error) {
    ombrel_ctx_set_last_error(ctx, error);
    return -1;
}

template<typename Record>
Record* checked_record(int ctx, void* record, size_t size) {
    if (size != sizeof(Record))
        ombrel_assert_fail_tag("source/builtin_plugin", "ombrel_ctx_control", __LINE__,
                               "s_arg_size == sizeof(*s_arg)");
    if (size == sizeof(Record) && record != nullptr)
        return static_cast<Record*>(record);
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return nullptr;
}

} // namespace

ombrel_window_events_t* ombrel_new_window_events(void) {
    return static_cast<ombrel_window_events_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_window_events_t), __func__, __LINE__));
}

int ombrel_free_window_events(ombrel_window_events_t* events) {
    if (events != nullptr)
        ombrel_free_tag(events, __func__, __LINE__);
    return 0;
}

int ombrel_put_window_event(ombrel_window_events_t* events, const ombrel_window_event_t* event) {
    if (events == nullptr || event == nullptr)
        return -1;
    const ombrel_window_listener_t listener = begin_handling(*events, *event);
    if (listener.m_handler == nullptr)
        return 0;
    const ombrel_window_event_t copy = *event;
    const int answer = listener.m_handler(&copy, listener.m_context);
    end_handling(*events);
    return answer;
}

int ombrel_end_window_events(ombrel_window_events_t* events) {
    if (events == nullptr)
        return -1;
    const change_guard guard(*events);
    events->is_over = true;
    return 0;
}

int ombrel_set_window_handler(ombrel_window_events_t* events, const ombrel_window_listener_t* listener) {
    if (events == nullptr)
        return -1;
    const ombrel_window_listener_t wanted = listener != nullptr ? *listener : ombrel_window_listener_t{};
    for (int turn = turn_of(*events); !set_between_handlers(*events, wanted); turn = turn_of(*events))
        sleep_until_change(*events, turn, -1);
    return 0;
}

int ombrel_wait_window_event(ombrel_window_events_t* events, ombrel_window_wait_t* wait) {
    if (events == nullptr || wait == nullptr)
        return -1;
    const deadline end(wait->m_timeout_ms);
    for (;;) {
        const int turn = turn_of(*events);
        const int taken = take_event(*events, wait->m_event);
        if (taken != 0 || end.passed())
            return taken;
        sleep_until_change(*events, turn, end.left());
    }
}

int ombrel_control_window_events(ombrel_window_events_t* events, int ctx, uint32_t code, void* record,
                                 size_t size) {
    if (code == def_ombrel_fb_control_set_window_handler) {
        const auto* const listener = checked_record<ombrel_window_listener_t>(ctx, record, size);
        return listener != nullptr ? ombrel_set_window_handler(events, listener) : -1;
    }
    if (code != def_ombrel_fb_control_get_window_event)
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    auto* const wait = checked_record<ombrel_window_wait_t>(ctx, record, size);
    if (wait == nullptr)
        return -1;
    return ombrel_wait_window_event(events, wait) >= 0 ? 0 : fail(ctx, def_ombrel_ctx_error_disconnected);
}
