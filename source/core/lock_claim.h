// Claims: the holds and waits that a lock has on its lists.
#pragma once

#include <cstddef>

#include <ombrel/lock.h>

#include "core/bell.h"
#include "core/block.h"
#include "core/call_site.h"
#include "core/invariant.h"
#include "core/short_lock_guard.h"
#include "core/wakeup.h"

/// One hold of a lock or one wait for it: a heap block, on one list of its lock at a time.
struct ombrel_lock_claim_ts {
    ombrel_lock_claim_ts* previous;
    ombrel_lock_claim_ts* next;
    uint64_t thread_id; ///< 0 when the lock is not thread-aware
    int read_end;       ///< of the waiter's pipe, -1 until made
    ombrel::bell bell;  ///< what the waiter is woken by: in the end the pipe's write end
    ombrel::call_site caller;
};

namespace ombrel {

using lock_claim = ombrel_lock_claim_ts;

/// A claim of the calling thread, on no list; null when memory cannot be had.
inline lock_claim* new_claim(const ombrel_lock_t& lock, call_site caller);

/// Frees a claim that is on no list, with its pipe.
inline void free_claim(lock_claim* claim);

inline void push_owner(ombrel_lock_t& lock, lock_claim* claim) OMBREL_REQUIRES(lock.m_guard);
inline lock_claim* pop_owner(ombrel_lock_t& lock) OMBREL_REQUIRES(lock.m_guard);
void append_waiter(ombrel_lock_t& lock, lock_claim* claim) OMBREL_REQUIRES(lock.m_guard);
void remove_waiter(ombrel_lock_t& lock, lock_claim* claim) OMBREL_REQUIRES(lock.m_guard);
void replace_waiter(ombrel_lock_t& lock, lock_claim* old_claim, lock_claim* new_claim)
    OMBREL_REQUIRES(lock.m_guard);
long count_claims(const lock_claim* head);

/// Whether a thread that wants the lock would have to wait. A thread-aware lock never counts as busy here, as
/// the thread itself may hold it.
inline bool is_busy(const ombrel_lock_t& lock) {
    return (__atomic_load_n(&lock.m_flags, __ATOMIC_RELAXED) & def_ombrel_lock_flag_thread_aware) == 0 &&
           (lock.m_owners != nullptr || lock.m_waiters_head != nullptr);
}

/// Goes on from a place in the line, without limit, until the lock is taken: 0, or -1 without memory for the
/// claim. The place is in the line no more.
int take_from_place(ombrel_lock_t& lock, lock_claim* place, call_site caller);

/// Whether the claim may take the lock. Without the guard this is only a hint.
inline bool is_turn_of(const ombrel_lock_t& lock, const lock_claim* claim) {
    return __atomic_load_n(&lock.m_owners, __ATOMIC_RELAXED) == nullptr &&
           __atomic_load_n(&lock.m_waiters_head, __ATOMIC_RELAXED) == claim;
}

// What an uncontended lock does stands here, to be inlined.

/// Repeated attempts after the first one failed.
lock_claim* allocate_claim_patiently();

/// Frees a claim that has a pipe.
void free_claim_with_pipe(lock_claim* claim);

inline lock_claim* allocate_claim() {
    return static_cast<lock_claim*>(allocate_block(sizeof(lock_claim), "__ombrel_new_lock_claim", __LINE__));
}

inline lock_claim* new_claim(const ombrel_lock_t& lock, call_site caller) {
    lock_claim* claim = allocate_claim();
    if (claim == nullptr && (claim = allocate_claim_patiently()) == nullptr)
        return nullptr;
    const bool thread_aware =
        (__atomic_load_n(&lock.m_flags, __ATOMIC_RELAXED) & def_ombrel_lock_flag_thread_aware) != 0;
    claim->thread_id = thread_aware ? platform::thread_id() : 0;
    claim->read_end = -1;
    claim->bell.unhang();
    claim->caller = caller;
    return claim;
}

inline void free_claim(lock_claim* claim) {
    if (claim->read_end < 0)
        free_block(claim, "__ombrel_free_lock_claim", __LINE__);
    else
        free_claim_with_pipe(claim);
}

// Waiters look at the owners and at the head of their line without the guard.
// A fork may take place between any two steps, so the claim is in order before.
inline void set_owners(ombrel_lock_t& lock, lock_claim* claim) {
    __atomic_store_n(&lock.m_owners, claim, __ATOMIC_RELEASE);
}

inline void push_owner(ombrel_lock_t& lock, lock_claim* claim) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    lock_claim* head = lock.m_owners;
    claim->previous = nullptr;
    claim->next = head;
    if (head != nullptr)
        head->previous = claim;
    set_owners(lock, claim);
}

inline lock_claim* pop_owner(ombrel_lock_t& lock) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    lock_claim* claim = lock.m_owners;
    if (claim == nullptr)
        return nullptr;
    OMBREL_INVARIANT(claim->next == nullptr || claim->next->previous == claim);
    if (claim->next != nullptr)
        claim->next->previous = nullptr;
    set_owners(lock, claim->next);
    return claim;
}

} // namespace ombrel
