#include "core/lock_claim.h"

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>

namespace ombrel {

namespace {

// Whether both neighbours, or the ends of the line, lead to the claim.
[[maybe_unused]] bool is_in_line(const ombrel_lock_t& lock, const lock_claim* claim) {
    return (claim->previous != nullptr ? claim->previous->next : lock.m_waiters_head) == claim &&
           (claim->next != nullptr ? claim->next->previous : lock.m_waiters_tail) == claim;
}

void set_waiters_head(ombrel_lock_t& lock, lock_claim* claim) {
    __atomic_store_n(&lock.m_waiters_head, claim, __ATOMIC_RELAXED);
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
    int ends[2] = {claim->read_end, claim->bell.disconnect()};
    ombrel_destroy_pipe(ends);
    free_block(claim, "__ombrel_free_lock_claim", __LINE__);
}

void append_waiter(ombrel_lock_t& lock, lock_claim* claim) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    OMBREL_INVARIANT((lock.m_waiters_head == nullptr) == (lock.m_waiters_tail == nullptr));
    claim->previous = lock.m_waiters_tail;
    claim->next = nullptr;
    if (lock.m_waiters_tail != nullptr)
        lock.m_waiters_tail->next = claim;
    else
        set_waiters_head(lock, claim);
    lock.m_waiters_tail = claim;
}

void remove_waiter(ombrel_lock_t& lock, lock_claim* claim) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    OMBREL_INVARIANT(is_in_line(lock, claim));
    if (claim->previous != nullptr)
        claim->previous->next = claim->next;
    else
        set_waiters_head(lock, claim->next);
    if (claim->next != nullptr)
        claim->next->previous = claim->previous;
    else
        lock.m_waiters_tail = claim->previous;
}

void replace_waiter(ombrel_lock_t& lock, lock_claim* old_claim, lock_claim* new_claim) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    OMBREL_INVARIANT(is_in_line(lock, old_claim));
    new_claim->previous = old_claim->previous;
    new_claim->next = old_claim->next;
    if (new_claim->next != nullptr)
        new_claim->next->previous = new_claim;
    else
        lock.m_waiters_tail = new_claim;
    if (new_claim->previous != nullptr)
        new_claim->previous->next = new_claim;
    else
        set_waiters_head(lock, new_claim);
}

long count_claims(const lock_claim* head) {
    long count = 0;
    for (; head != nullptr; head = head->next)
        count++;
    return count;
}

} // namespace ombrel
