// The short lock inline, for the library's own critical sections.
#pragma once

#include <ombrel/short_lock.h>

#include "core/invariant.h"
#include "core/thread_safety.h"
#include "platform/single_thread.h"

namespace ombrel {

/// What the library's own locks hold while they are held: 1, and in a child process one more than in its
/// parent. A lock with another number was held at the fork, by a thread that the child does not have. What
/// the library does under its short locks leaves data in order at each step, so that such a lock counts as
/// free. The locks of users, who may hold theirs over a fork, are another matter: they hold 1 everywhere.
extern uint32_t held_mark;

inline bool was_free(uint32_t found) {
    return found == 0 || found != held_mark;
}

/// Waits for a lock that is held.
void wait_and_take(ombrel_short_lock_t& lock) OMBREL_ACQUIRES(lock);

inline bool try_take(ombrel_short_lock_t& lock) OMBREL_TRIES(lock) OMBREL_UNCHECKED {
    if (!was_free(__atomic_exchange_n(&lock.m_word, held_mark, __ATOMIC_ACQUIRE)))
        return false;
    held_locks::add(&lock);
    return true;
}

inline void take(ombrel_short_lock_t& lock) OMBREL_ACQUIRES(lock) {
    if (!try_take(lock))
        wait_and_take(lock);
}

inline void release(ombrel_short_lock_t& lock) OMBREL_RELEASES(lock) OMBREL_UNCHECKED {
    held_locks::remove(&lock);
    __atomic_store_n(&lock.m_word, 0u, __ATOMIC_RELEASE);
}

/// For invariants: whether the thread holds the lock, or is alone, so that it need not. Believed where nobody
/// looks.
inline bool is_held(const ombrel_short_lock_t& lock) {
    return platform::has_one_thread() || held_locks::has(&lock);
}

/// Holds a short lock for a scope.
class OMBREL_GUARD_CLASS short_lock_guard {
public:
    explicit short_lock_guard(ombrel_short_lock_t& lock) OMBREL_ACQUIRES(lock) : lock_(lock) { take(lock_); }
    ~short_lock_guard() OMBREL_RELEASES() { release(lock_); }
    short_lock_guard(const short_lock_guard&) = delete;
    short_lock_guard& operator=(const short_lock_guard&) = delete;

private:
    ombrel_short_lock_t& lock_;
};

/// The same around a few instructions that start no thread. A locked exchange costs more than they do, and
/// without another thread there is nobody to lock out.
class OMBREL_GUARD_CLASS brief_lock_guard {
public:
    explicit brief_lock_guard(ombrel_short_lock_t& lock) OMBREL_ACQUIRES(lock) OMBREL_UNCHECKED
        : lock_(lock),
          is_locked_(!platform::has_one_thread()) {
        if (is_locked_)
            take(lock_);
    }
    ~brief_lock_guard() OMBREL_RELEASES() OMBREL_UNCHECKED {
        if (is_locked_)
            release(lock_);
    }
    brief_lock_guard(const brief_lock_guard&) = delete;
    brief_lock_guard& operator=(const brief_lock_guard&) = delete;

private:
    ombrel_short_lock_t& lock_;
    const bool is_locked_;
};

} // namespace ombrel
