#include <ombrel/lock_condition.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <utility>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/pipe.h>
#include <ombrel/timer.h>

#include "core/node_list.h"
#include "core/short_lock_guard.h"
#include "core/wakeup.h"
#include "platform/wait_word.h"

/// A waiting thread's record, on that thread's stack.
struct ombrel_lock_condition_waiter_ts {
    ombrel_lock_condition_waiter_ts* previous;
    ombrel_lock_condition_waiter_ts* next;
    int woken;   ///< one of the marks below; the waiter sleeps on it before it makes a pipe
    int pipe[2]; ///< read and write end, -1 until made; the write end goes to the thread that wakes the
                 ///< waiter
    const char* tag;
    unsigned long line;
};

using namespace ombrel;

namespace {

using condition_waiter = ombrel_lock_condition_waiter_ts;

constexpr const char source_name[] = "source/lock";
constexpr uint32_t one_hour = 3'600'000;
constexpr uint32_t report_interval = 4000;

enum woken_mark { not_woken = 0, woken = 1, asleep = 2 };

bool is_woken(const condition_waiter& waiter) {
    return __atomic_load_n(&waiter.woken, __ATOMIC_RELAXED) == woken;
}

using waiter_list = node_list<condition_waiter, &condition_waiter::previous, &condition_waiter::next>;

waiter_list waiters_of(ombrel_lock_condition_t& condition) {
    return waiter_list(condition.m_waiters_head, &condition.m_waiters_tail);
}

void append(ombrel_lock_condition_t& condition, condition_waiter& waiter) {
    const short_lock_guard guard(condition.m_guard);
    waiters_of(condition).append(waiter);
}

void remove(ombrel_lock_condition_t& condition, condition_waiter& waiter) {
    const short_lock_guard guard(condition.m_guard);
    waiters_of(condition).unlink(waiter);
}

/// How to end the sleep of a waiter that was marked as woken. The waiter may see the mark and be gone at any
/// moment, so the thread that wakes takes the write end with it and closes it.
struct condition_wakeup {
    int write_end;
    const int* sleeping_word; ///< an address only
};

// Called with the guard held.
condition_wakeup mark_woken(condition_waiter& waiter) {
    const bool sleeps = __atomic_exchange_n(&waiter.woken, woken, __ATOMIC_RELAXED) == asleep;
    return {std::exchange(waiter.pipe[1], -1), sleeps ? &waiter.woken : nullptr};
}

// A waiter without a pipe looks at its mark by itself.
bool send(const condition_wakeup& wakeup) {
    if (wakeup.sleeping_word != nullptr)
        platform::wake_waiter(wakeup.sleeping_word);
    if (wakeup.write_end < 0)
        return true;
    const bool sent = send_wakeup_byte(wakeup.write_end);
    int ends[2] = {-1, wakeup.write_end};
    ombrel_destroy_pipe(ends);
    return sent;
}

/// One wait on a condition, from its place in the line to its pipe.
class condition_wait {
public:
    condition_wait(ombrel_lock_condition_t& condition, uint32_t timeout_ms, call_site caller)
        : condition_(condition), waiter_{nullptr, nullptr, 0, {-1, -1}, caller.tag, caller.line},
          endless_(timeout_ms == def_ombrel_infinite) {
        ombrel_init_timer(&timer_, endless_ ? one_hour : timeout_ms);
        append(condition_, waiter_);
    }
    ~condition_wait() {
        remove(condition_, waiter_);
        ombrel_destroy_pipe(waiter_.pipe);
    }
    condition_wait(const condition_wait&) = delete;
    condition_wait& operator=(const condition_wait&) = delete;

    void run() {
        constexpr int looks = 10; // what the other thread does first takes longer than this pays for
        if (ready_soon(looks, [this] { return is_woken(waiter_); }) || out_of_time())
            return;
        sleep_lightly();
        if (is_woken(waiter_) || out_of_time())
            return;
        open_pipe();
        while (!woken_under_guard() && !out_of_time()) {
            unsigned char byte;
            const int received = ombrel_pipe_read(waiter_.pipe[0], &byte, 1, slice_);
            if (received == 1)
                return;
            if ((received == 0 || received == -1) && !woken_under_guard())
                received == 0 ? ombrel_load_balance_short() : ombrel_load_balance();
        }
    }

private:
    void sleep_lightly() {
        int expected = not_woken;
        if (!__atomic_compare_exchange_n(&waiter_.woken, &expected, asleep, false, __ATOMIC_RELAXED,
                                         __ATOMIC_RELAXED))
            return;
        platform::wait_while_equal(&waiter_.woken, asleep,
                                   static_cast<uint32_t>(std::min(slice_, light_sleep_limit)));
        expected = asleep;
        __atomic_compare_exchange_n(&waiter_.woken, &expected, not_woken, false, __ATOMIC_RELAXED,
                                    __ATOMIC_RELAXED);
    }

    void open_pipe() {
        int ends[2];
        ombrel_pipe(ends);
        const short_lock_guard guard(condition_.m_guard);
        waiter_.pipe[0] = ends[0];
        waiter_.pipe[1] = ends[1];
    }

    bool woken_under_guard() {
        const short_lock_guard guard(condition_.m_guard);
        return is_woken(waiter_);
    }

    bool out_of_time() {
        uint64_t remaining = 0;
        while (ombrel_check_timer_ex(&timer_, &remaining) == 1) {
            if (!endless_)
                return true;
            ombrel_update_timer(&timer_, one_hour);
        }
        slice_ = read_slice(remaining, INT_MAX);
        return false;
    }

    ombrel_lock_condition_t& condition_;
    condition_waiter waiter_;
    bool endless_;
    ombrel_timer_t timer_;
    int slice_ = 0;
};

int take_again(ombrel_lock_t* lock, call_site caller) {
    for (int attempt = 0; attempt < attempt_limit; attempt++)
        if (ombrel_lock_timeout_tag(lock, def_ombrel_infinite, caller.tag, caller.line) == 0)
            return 0;
    return -1;
}

int wake_head(ombrel_lock_condition_t& condition) {
    condition_wakeup wakeup;
    {
        const short_lock_guard guard(condition.m_guard);
        condition_waiter* head = condition.m_waiters_head;
        if (head == nullptr)
            return -1;
        // The next waiter is left alone even so: meant so, one wake-up goes to the head or to nobody.
        if (is_woken(*head))
            return 0;
        wakeup = mark_woken(*head);
    }
    return send(wakeup) ? 0 : -1;
}

size_t count_waiters(ombrel_lock_condition_t& condition) {
    const short_lock_guard guard(condition.m_guard);
    size_t count = 0;
    for (const condition_waiter* waiter = condition.m_waiters_head; waiter != nullptr; waiter = waiter->next)
        count++;
    return count;
}

// Marks the longest waiting ones that are not marked yet, and tells how to wake them.
size_t mark_some(ombrel_lock_condition_t& condition, condition_wakeup* wakeups, size_t limit) {
    const short_lock_guard guard(condition.m_guard);
    size_t count = 0;
    for (condition_waiter* waiter = condition.m_waiters_head; waiter != nullptr && count < limit;
         waiter = waiter->next)
        if (!is_woken(*waiter))
            wakeups[count++] = mark_woken(*waiter);
    return count;
}

// Wakes as many as wait now. Threads that wait again at once cannot keep it going.
int wake_all(ombrel_lock_condition_t& condition) {
    condition_wakeup wakeups[32];
    bool any_woken = false;
    for (size_t left = count_waiters(condition); left > 0;) {
        const size_t count = mark_some(condition, wakeups, std::min(left, std::size(wakeups)));
        if (count == 0)
            return 0; // all that are left have been woken by somebody else
        for (size_t i = 0; i < count; i++)
            any_woken = send(wakeups[i]) || any_woken;
        left -= count;
    }
    return any_woken ? 0 : -1;
}

} // namespace

int ombrel_init_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag, unsigned long line) {
    if (condition == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_init_lock_condition_tag", __LINE__,
                               "s_lock_condition != ((ombrel_lock_condition_t *)0)");
        return -1;
    }
    *condition = def_ombrel_lock_condition_initializer;
    condition->m_tag = tag;
    condition->m_line = line;
    return 0;
}

ombrel_lock_condition_t* ombrel_new_lock_condition_tag(const char* tag, unsigned long line) {
    auto* condition =
        static_cast<ombrel_lock_condition_t*>(ombrel_alloc_tag(sizeof(ombrel_lock_condition_t), tag, line));
    if (condition != nullptr)
        ombrel_init_lock_condition_tag(condition, tag, line);
    return condition;
}

int ombrel_uninit_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag,
                                     unsigned long line) {
    if (condition == nullptr)
        return -1;
    ombrel_timer_t timer;
    ombrel_init_timer(&timer, one_hour);
    for (uint64_t waited = one_hour; count_waiters(*condition) > 0; ombrel_load_balance()) {
        wake_head(*condition);
        if (ombrel_check_timer(&timer) != 1)
            continue;
        ombrel_error_printf("ombrel_lock_condition: [ERROR] \033[1;31mpending too long time lock condition "
                            "!\033[0m (%llu msec, caller=\"%s:%lu\")\n",
                            static_cast<unsigned long long>(waited), tag, line);
        for (; ombrel_check_timer(&timer) == 1; waited += report_interval)
            ombrel_update_timer(&timer, report_interval);
    }
    return 0;
}

int ombrel_free_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag, unsigned long line) {
    if (condition == nullptr)
        return 0;
    ombrel_uninit_lock_condition_tag(condition, tag, line);
    return ombrel_free_tag(condition, tag, line);
}

int ombrel_lock_condition_wait_timeout_tag(ombrel_lock_condition_t* condition, ombrel_lock_t* lock,
                                           uint32_t timeout_ms, const char* tag, unsigned long line) {
    if (condition == nullptr)
        return -1;
    const call_site caller{tag, line};
    {
        condition_wait wait(*condition, timeout_ms, caller);
        if (lock != nullptr)
            ombrel_unlock_tag(lock, tag, line);
        wait.run();
    }
    // Nothing tells a time-out from a wake-up: meant so, the caller looks at its predicate again.
    return lock != nullptr ? take_again(lock, caller) : 0;
}

int ombrel_lock_condition_wakeup_tag(ombrel_lock_condition_t* condition) {
    return condition != nullptr ? wake_head(*condition) : -1;
}

int ombrel_lock_condition_wakeup_broadcast_tag(ombrel_lock_condition_t* condition) {
    return condition != nullptr ? wake_all(*condition) : -1;
}
