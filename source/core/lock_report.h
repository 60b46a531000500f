// What locks print.
#pragma once

#include "core/lock_claim.h"

namespace ombrel {

/// How much stood on a lock's lists at one moment.
struct claim_counts {
    long recursive, waiting;
};

inline claim_counts count_all_claims(const ombrel_lock_t& lock) OMBREL_REQUIRES(lock.m_guard) {
    OMBREL_INVARIANT(is_held(lock.m_guard));
    return {count_claims(lock.m_owners), count_claims(lock.m_waiters_head)};
}

/// Whether the lock wants its errors, or its errors and warnings, printed.
bool prints_errors(const ombrel_lock_t& lock);
bool prints_warnings(const ombrel_lock_t& lock);

inline call_site initializer_of(const ombrel_lock_t& lock) {
    return {lock.m_tag, lock.m_line};
}

// All of these are called without the guard, as printing may take any time. Those about calls that may be the
// lock's last take what they print by value.

void report_claim_failure(const ombrel_lock_t& lock, call_site caller);
void report_pipe_failure(const ombrel_lock_t& lock, call_site caller);
void report_read_failure(const ombrel_lock_t& lock, call_site caller, const char* reason);
void report_dead_lock(ombrel_lock_t& lock, call_site caller, uint64_t duration);
void report_unlock_without_owner(call_site initializer, call_site caller, claim_counts counts);
void report_wakeup_failure(call_site initializer, call_site caller, call_site waiter, claim_counts counts);
void report_pending_claim(const ombrel_lock_t& lock, call_site caller, const char* relation, call_site claim,
                          claim_counts counts);
void report_pending_lock(ombrel_lock_t& lock, call_site caller);

} // namespace ombrel
