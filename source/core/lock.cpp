#include <ombrel/lock.h>

#include <algorithm>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/pipe.h>
#include <ombrel/timer.h>

#include "core/lock_claim.h"
#include "core/lock_report.h"
#include "core/report_interval.h"
#include "core/short_lock_guard.h"
#include "core/wait_registry.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/lock";
constexpr int longest_slice = 30'000;

uint32_t dead_lock_duration(const ombrel_lock_t& lock) {
    return lock.m_dead_lock_duration == def_ombrel_infinite ? def_ombrel_lock_default_duration
                                                            : lock.m_dead_lock_duration;
}

// A claim that finds somebody waiting must wait, too, whether the lock is free or
// not: nobody overtakes.
bool take_if_free(ombrel_lock_t& lock, lock_claim* claim) OMBREL_REQUIRES(lock.m_guard) {
    const lock_claim* owner = lock.m_owners;
    const bool again = owner != nullptr && claim->thread_id != 0 && claim->thread_id == owner->thread_id;
    if (!again && (owner != nullptr || lock.m_waiters_head != nullptr))
        return false;
    push_owner(lock, claim);
    return true;
}

bool try_enter(ombrel_lock_t& lock, lock_claim* claim) {
    const short_lock_guard guard(lock.m_guard);
    return take_if_free(lock, claim);
}

enum class entry { taken, queued, queued_first };

entry enter_or_queue(ombrel_lock_t& lock, lock_claim* claim) {
    const short_lock_guard guard(lock.m_guard);
    if (take_if_free(lock, claim))
        return entry::taken;
    claim->bell.hang();
    const bool first = lock.m_waiters_head == nullptr;
    append_waiter(lock, claim);
    return first ? entry::queued_first : entry::queued;
}

/// The wait of a claim for which the lock was not free.
class lock_wait {
public:
    lock_wait(ombrel_lock_t& lock, lock_claim* claim, uint32_t timeout_ms)
        : registration_(nullptr, &lock), lock_(lock), claim_(claim), caller_(claim->caller),
          endless_(timeout_ms == def_ombrel_infinite) {
        ombrel_init_timer(&timer_, endless_ ? dead_lock_duration(lock) : timeout_ms);
    }

    /// Whether the lock was taken; else the claim is in no list any more.
    bool run() {
        const entry entered = enter_or_queue(lock_, claim_);
        return entered == entry::taken || wait(entered == entry::queued_first);
    }

    /// As run(), from a place that stands in the line already.
    bool run_from(lock_claim* place) {
        {
            const short_lock_guard guard(lock_.m_guard);
            claim_->bell.hang();
            replace_waiter(lock_, place, claim_);
        }
        return wait(false);
    }

private:
    enum class state { waiting, overdue, taken, given_up };

    bool wait(bool first_in_line) {
        // Critical sections are short, and their end often near.
        constexpr int looks = 50;
        if (first_in_line)
            ready_soon(looks, [this] { return is_turn_of(lock_, claim_); });
        state now = look();
        if (now == state::waiting) {
            claim_->bell.sleep(std::min(slice_, light_sleep_limit));
            now = look();
        }
        if (now == state::waiting || now == state::overdue) {
            open_pipe();
            now = look();
        }
        for (; now != state::taken; now = sleep_and_look())
            if (now == state::given_up)
                return false;
        return true;
    }

    // Whoever releases the lock before the pipe is known counts on a look after this.
    void open_pipe() {
        int ends[2];
        if (ombrel_pipe(ends) != 0)
            report_pipe_failure(lock_, caller_);
        if (connect(ends))
            return;
        ombrel_destroy_pipe(ends); // the bell has been rung meanwhile
    }

    bool connect(const int (&ends)[2]) {
        const short_lock_guard guard(lock_.m_guard);
        if (!claim_->bell.connect(ends[1]))
            return false;
        claim_->read_end = ends[0];
        return true;
    }

    state look() {
        uint64_t remaining = 0;
        const bool expired = ombrel_check_timer_ex(&timer_, &remaining) == 1;
        slice_ = read_slice(remaining, longest_slice);
        const short_lock_guard guard(lock_.m_guard);
        if (is_turn_of(lock_, claim_)) {
            leave_line();
            push_owner(lock_, claim_);
            return state::taken;
        }
        if (!expired)
            return state::waiting;
        if (endless_)
            return state::overdue;
        leave_line();
        return state::given_up;
    }

    void leave_line() OMBREL_REQUIRES(lock_.m_guard) {
        remove_waiter(lock_, claim_);
        registration_.leave_lock();
    }

    state sleep_and_look() {
        unsigned char byte;
        int received = 1;
        if (claim_->read_end < 0)
            ombrel_load_balance();
        else
            received = ombrel_pipe_read(claim_->read_end, &byte, 1, slice_);
        const state now = look();
        if (now == state::overdue)
            complain();
        if ((now == state::waiting || now == state::overdue) && (received == 0 || received == -1)) {
            report_read_failure(lock_, caller_, received == 0 ? "broken pipe" : "interrupted or error");
            ombrel_load_balance_short();
        }
        return now;
    }

    void complain() {
        report_dead_lock(lock_, caller_, dead_lock_duration(lock_));
        lengthen_into_future(timer_);
        uint64_t remaining = 0;
        ombrel_check_timer_ex(&timer_, &remaining);
        slice_ = read_slice(remaining, longest_slice);
    }

    registered_wait registration_;
    ombrel_lock_t& lock_;
    lock_claim* claim_;
    call_site caller_;
    bool endless_;
    ombrel_timer_t timer_;
    int slice_ = 0;
};

// These are kept out of the way of the uncontended path.
[[gnu::noinline]] int refuse(const ombrel_lock_t& lock, call_site caller) {
    report_claim_failure(lock, caller);
    return -1;
}

[[gnu::noinline]] int wait_or_leave(ombrel_lock_t& lock, lock_claim* claim, uint32_t timeout_ms) {
    if (timeout_ms != 0 && lock_wait(lock, claim, timeout_ms).run())
        return 0;
    free_claim(claim);
    return -1;
}

// An unlock that found no owner, or that has a waiter to wake. Once the guard is
// released another thread may take the lock and end its life, so what a report needs is read before.
[[gnu::noinline]] int finish_unlock(ombrel_lock_t& lock, lock_claim* claim, call_site caller)
    OMBREL_RELEASES(lock.m_guard) {
    const call_site initializer = initializer_of(lock);
    const bool reports = prints_errors(lock);
    const claim_counts counts = reports ? count_all_claims(lock) : claim_counts{};
    lock_claim* heir = lock.m_waiters_head;
    const call_site waiter = heir != nullptr ? heir->caller : call_site{};
    ringing wakeup;
    if (claim != nullptr)
        wakeup = heir->bell.ring();
    release(lock.m_guard);
    if (claim == nullptr) {
        if (reports)
            report_unlock_without_owner(initializer, caller, counts);
        return -1;
    }
    if (!wakeup.send() && reports)
        report_wakeup_failure(initializer, caller, waiter, counts);
    free_claim(claim);
    return 0;
}

// The turn goes to the next one in the line, if it was this one's.
void leave_line(ombrel_lock_t& lock, lock_claim* place) {
    ringing wakeup;
    {
        const short_lock_guard guard(lock.m_guard);
        remove_waiter(lock, place);
        if (lock.m_owners == nullptr && lock.m_waiters_head != nullptr)
            wakeup = lock.m_waiters_head->bell.ring();
    }
    wakeup.send();
}

/// What stands between a lock and its end.
struct pending_claim {
    const char* relation = nullptr; ///< "locked" or "wait"; null when nothing does
    call_site caller{};
    claim_counts counts{};
    ringing wakeup;
};

pending_claim find_pending_claim(ombrel_lock_t& lock) {
    pending_claim found;
    const short_lock_guard guard(lock.m_guard);
    lock_claim* claim = lock.m_owners;
    if (claim != nullptr) {
        found.relation = "locked";
    } else if ((claim = lock.m_waiters_head) != nullptr) {
        found.relation = "wait";
        found.wakeup = claim->bell.ring();
    } else {
        return found;
    }
    found.caller = claim->caller;
    found.counts = count_all_claims(lock);
    return found;
}

} // namespace

int ombrel::take_from_place(ombrel_lock_t& lock, lock_claim* place, call_site caller) {
    lock_claim* claim = new_claim(lock, caller);
    if (claim == nullptr) {
        leave_line(lock, place);
        return refuse(lock, caller);
    }
    lock_wait(lock, claim, def_ombrel_infinite).run_from(place);
    return 0;
}

int ombrel_init_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line) {
    if (lock == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_init_lock_tag", __LINE__,
                               "s_this_lock != ((ombrel_lock_t *)0)");
        return -1;
    }
    *lock = def_ombrel_lock_initializer;
    lock->m_tag = tag;
    lock->m_line = line;
    return 0;
}

ombrel_lock_t* ombrel_new_lock_tag(const char* tag, unsigned long line) {
    auto* lock = static_cast<ombrel_lock_t*>(ombrel_alloc_tag(sizeof(ombrel_lock_t), tag, line));
    if (lock == nullptr)
        return nullptr;
    ombrel_init_lock_tag(lock, tag, line);
    lock->m_flags |= def_ombrel_lock_flag_allocated;
    return lock;
}

int ombrel_uninit_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line) {
    if (lock == nullptr)
        return -1;
    const call_site caller{tag, line};
    ombrel_timer_t timer;
    ombrel_init_timer(&timer, dead_lock_duration(*lock));
    for (pending_claim found = find_pending_claim(*lock); found.relation != nullptr;
         found = find_pending_claim(*lock)) {
        found.wakeup.send();
        report_pending_claim(*lock, caller, found.relation, found.caller, found.counts);
        if (ombrel_check_timer(&timer) == 1) {
            report_pending_lock(*lock, caller);
            lengthen_into_future(timer);
        }
        ombrel_load_balance();
    }
    return 0;
}

int ombrel_free_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line) {
    if (lock == nullptr)
        return 0;
    const bool allocated = (lock->m_flags & def_ombrel_lock_flag_allocated) != 0;
    ombrel_uninit_lock_tag(lock, tag, line);
    if (allocated)
        ombrel_free_tag(lock, tag, line);
    return 0;
}

int ombrel_lock_timeout_tag(ombrel_lock_t* lock, uint32_t timeout_ms, const char* tag, unsigned long line) {
    if (lock == nullptr)
        return -1;
    lock_claim* claim = new_claim(*lock, {tag, line});
    if (claim == nullptr)
        return refuse(*lock, {tag, line});
    return try_enter(*lock, claim) ? 0 : wait_or_leave(*lock, claim, timeout_ms);
}

int ombrel_try_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line) {
    return ombrel_lock_timeout_tag(lock, 0, tag, line) == 0 ? 1 : 0;
}

int ombrel_unlock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line) {
    if (lock == nullptr)
        return -1;
    take(lock->m_guard);
    lock_claim* claim = pop_owner(*lock);
    const bool hands_over = lock->m_owners == nullptr && lock->m_waiters_head != nullptr;
    if (claim != nullptr && !hands_over) {
        release(lock->m_guard);
        free_claim(claim);
        return 0;
    }
    return finish_unlock(*lock, claim, {tag, line});
}
