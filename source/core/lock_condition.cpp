#include <ombrel/lock_condition.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <iterator>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/pipe.h>
#include <ombrel/timer.h>

#include "core/lock_claim.h"
#include "core/node_list.h"
#include "core/report_interval.h"
#include "core/short_lock_guard.h"
#include "core/wait_registry.h"
#include "core/wakeup.h"

/// Where a waiter is. Who changes it from the first value decides.
enum class waiter_place {
    on_condition, ///< it may be moved to the line of its lock
    settled,      ///< it stays until it removes itself
    in_line       ///< it is in the line of its lock, and the condition may be gone
};

/// A waiting thread's record, on that thread's stack.
struct ombrel_lock_condition_waiter_ts {
    ombrel_lock_condition_waiter_ts(ombrel_lock_condition_t& condition, ombrel_lock_t* next_lock,
                                    ombrel::call_site caller)
        : lock(next_lock), registration(&condition, next_lock) {
        claim.read_end = -1;
        claim.caller = caller;
        claim.bell.hang();
    }

    bool settle() {
        waiter_place found = waiter_place::on_condition;
        return place.compare_exchange_strong(found, waiter_place::settled) || found == waiter_place::settled;
    }

    ombrel_lock_condition_waiter_ts* previous = nullptr;
    ombrel_lock_condition_waiter_ts* next = nullptr;
    ombrel::lock_claim claim{}; ///< its bell is rung when the waiter is woken
    ombrel_lock_t* lock;        ///< taken after the wait, or null
    std::atomic<waiter_place> place = waiter_place::on_condition;
    ombrel::registered_wait registration;
};

using namespace ombrel;

namespace {

using condition_waiter = ombrel_lock_condition_waiter_ts;

constexpr const char source_name[] = "source/lock";
constexpr uint32_t one_hour = 3'600'000;

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
    waiter.registration.leave_condition();
}

/// One wait on a condition, from its place in the line to its pipe.
class condition_wait {
public:
    condition_wait(ombrel_lock_condition_t& condition, ombrel_lock_t* lock, uint32_t timeout_ms,
                   call_site caller)
        : condition_(condition), waiter_(condition, lock, caller),
          endless_(timeout_ms == def_ombrel_infinite) {
        ombrel_init_timer(&timer_, endless_ ? one_hour : timeout_ms);
        append(condition_, waiter_);
    }
    ~condition_wait() {
        int ends[2] = {waiter_.claim.read_end, waiter_.claim.bell.disconnect()};
        ombrel_destroy_pipe(ends);
    }
    condition_wait(const condition_wait&) = delete;
    condition_wait& operator=(const condition_wait&) = delete;

    void run() {
        constexpr int looks = 10; // what the other thread does first takes longer than this pays for
        if (ready_soon(looks, [this] { return waiter_.claim.bell.is_rung(); }) || out_of_time())
            return;
        waiter_.claim.bell.sleep(std::min(slice_, light_sleep_limit));
        if (waiter_.claim.bell.is_rung() || out_of_time() || !waiter_.settle())
            return;
        open_pipe();
        while (!is_woken() && !out_of_time()) {
            unsigned char byte;
            const int received = ombrel_pipe_read(waiter_.claim.read_end, &byte, 1, slice_);
            if (received == 1)
                return;
            if ((received == 0 || received == -1) && !is_woken())
                received == 0 ? ombrel_load_balance_short() : ombrel_load_balance();
        }
    }

    /// Leaves the condition, and takes the lock if it has a place in that one's line.
    bool has_taken_lock() {
        if (!waiter_.settle())
            return take_from_place(*waiter_.lock, &waiter_.claim, waiter_.claim.caller) == 0;
        remove(condition_, waiter_);
        return false;
    }

private:
    // Without a pipe the waiter looks at its bell by itself.
    void open_pipe() {
        int ends[2];
        if (ombrel_pipe(ends) != 0 || connect(ends))
            return;
        ombrel_destroy_pipe(ends); // the bell has been rung meanwhile
    }

    bool connect(const int (&ends)[2]) {
        const short_lock_guard guard(condition_.m_guard);
        if (!waiter_.claim.bell.connect(ends[1]))
            return false;
        waiter_.claim.read_end = ends[0];
        return true;
    }

    bool is_woken() {
        const short_lock_guard guard(condition_.m_guard);
        return waiter_.claim.bell.is_rung();
    }

    bool out_of_time() {
        uint64_t remaining = 0;
        while (ombrel_check_timer_ex(&timer_, &remaining) == 1) {
            if (!endless_)
                return true;
            lengthen_into_future(timer_, one_hour);
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

// A waiter whose lock is held would be woken to wait again. It goes into the lock's line as it is, and is
// woken when its turn comes.
bool move_to_lock(ombrel_lock_condition_t& condition, condition_waiter& waiter)
    OMBREL_REQUIRES(condition.m_guard) {
    OMBREL_INVARIANT(is_held(condition.m_guard));
    ombrel_lock_t* lock = waiter.lock;
    if (lock == nullptr)
        return false;
    const short_lock_guard guard(lock->m_guard);
    waiter_place found = waiter_place::on_condition;
    if (!is_busy(*lock) || !waiter.place.compare_exchange_strong(found, waiter_place::in_line))
        return false;
    waiters_of(condition).unlink(waiter);
    waiter.registration.leave_condition();
    append_waiter(*lock, &waiter.claim);
    return true;
}

int wake_head(ombrel_lock_condition_t& condition) {
    ringing wakeup;
    {
        const short_lock_guard guard(condition.m_guard);
        condition_waiter* head = condition.m_waiters_head;
        if (head == nullptr)
            return -1;
        // The next waiter is left alone even so: meant so, one wake-up goes to the head or to nobody.
        if (head->claim.bell.is_rung() || move_to_lock(condition, *head))
            return 0;
        wakeup = head->claim.bell.ring();
    }
    return wakeup.send() ? 0 : -1;
}

size_t count_waiters(ombrel_lock_condition_t& condition) {
    const short_lock_guard guard(condition.m_guard);
    size_t count = 0;
    for (const condition_waiter* waiter = condition.m_waiters_head; waiter != nullptr; waiter = waiter->next)
        count++;
    return count;
}

// Rings for the longest waiting ones whose bells have not been rung yet; those that are moved need no ring.
size_t ring_some(ombrel_lock_condition_t& condition, ringing* wakeups, size_t limit) {
    const short_lock_guard guard(condition.m_guard);
    size_t count = 0;
    for (condition_waiter *waiter = condition.m_waiters_head, *rest = nullptr;
         waiter != nullptr && count < limit; waiter = rest) {
        rest = waiter->next;
        if (waiter->claim.bell.is_rung())
            continue;
        wakeups[count++] = move_to_lock(condition, *waiter) ? ringing() : waiter->claim.bell.ring();
    }
    return count;
}

// Wakes as many as wait now. Threads that wait again at once cannot keep it going.
int wake_all(ombrel_lock_condition_t& condition) {
    ringing wakeups[32];
    bool any_woken = false;
    for (size_t left = count_waiters(condition); left > 0;) {
        const size_t count = ring_some(condition, wakeups, std::min(left, std::size(wakeups)));
        if (count == 0)
            return 0; // all that are left have been woken by somebody else
        for (size_t i = 0; i < count; i++)
            any_woken = wakeups[i].send() || any_woken;
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
        waited += lengthen_into_future(timer);
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
        condition_wait wait(*condition, lock, timeout_ms, caller);
        if (lock != nullptr)
            ombrel_unlock_tag(lock, tag, line);
        wait.run();
        if (wait.has_taken_lock())
            return 0;
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
