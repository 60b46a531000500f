#include "core/lock_claim.h"

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>

#include "platform/wait_word.h"

namespace ombrel {

namespace {

void set_waiters_head(ombrel_lock_t& lock, lock_claim* claim) {
    __atomic_store_n(&lock.m_waiters_head, claim, __ATOMIC_RELAXED);
}

void destroy_claim(lock_claim* claim) {
    ombrel_destroy_pipe(claim->pipe);
    free_block(claim, "__ombrel_free_lock_claim", __LINE__);
}

} // namespace

lock_claim* allocate_claim_patiently() {
    for (int attempt = 1; attempt < attempt_limit; attempt++) {
        ombrel_load_balance();
        if (lock_claim* claim = allocate_claim())
            return claim;
    }
    return nullptr;
}

void free_claim_with_pipe(lock_claim* claim) {
    const int write_end = __atomic_exchange_n(&claim->pipe[1], write_end_abandoned, __ATOMIC_ACQ_REL);
    if (write_end == write_end_lent)
        return;
    claim->pipe[1] = write_end;
    destroy_claim(claim);
}

void append_waiter(ombrel_lock_t& lock, lock_claim* claim) {
    claim->previous = lock.m_waiters_tail;
    claim->next = nullptr;
    if (lock.m_waiters_tail != nullptr)
        lock.m_waiters_tail->next = claim;
    else
        set_waiters_head(lock, claim);
    lock.m_waiters_tail = claim;
}

void remove_waiter(ombrel_lock_t& lock, lock_claim* claim) {
    if (claim->previous != nullptr)
        claim->previous->next = claim->next;
    else
        set_waiters_head(lock, claim->next);
    if (claim->next != nullptr)
        claim->next->previous = claim->previous;
    else
        lock.m_waiters_tail = claim->previous;
}

long count_claims(const lock_claim* head) {
    long count = 0;
    for (; head != nullptr; head = head->next)
        count++;
    return count;
}

void sleep_lightly(lock_claim* claim, int milliseconds) {
    int expected = write_end_pending;
    if (__atomic_compare_exchange_n(&claim->pipe[1], &expected, write_end_asleep, false, __ATOMIC_RELAXED,
                                    __ATOMIC_RELAXED))
        platform::wait_while_equal(&claim->pipe[1], write_end_asleep, static_cast<uint32_t>(milliseconds));
}

claim_wakeup::claim_wakeup(lock_claim* waiter)
    : claim_(waiter),
      found_(__atomic_load_n(&waiter->pipe[1], __ATOMIC_RELAXED)), waiter_{waiter->tag, waiter->line} {
    if (found_ >= 0)
        __atomic_store_n(&waiter->pipe[1], write_end_lent, __ATOMIC_RELAXED);
    else if (found_ == write_end_pending || found_ == write_end_asleep)
        found_ = __atomic_exchange_n(&waiter->pipe[1], write_end_called, __ATOMIC_RELAXED);
}

bool claim_wakeup::send() {
    if (found_ == write_end_asleep)
        platform::wake_waiter(&claim_->pipe[1]);
    if (found_ < 0)
        return found_ != no_end;
    const bool sent = send_wakeup_byte(found_);
    if (__atomic_exchange_n(&claim_->pipe[1], found_, __ATOMIC_ACQ_REL) == write_end_abandoned) {
        claim_->pipe[1] = found_;
        destroy_claim(claim_);
    }
    return sent;
}

} // namespace ombrel
