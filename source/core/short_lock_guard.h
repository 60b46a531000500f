// The short lock inline, for the library's own critical sections.
#pragma once

#include <ombrel/short_lock.h>

namespace ombrel {

inline bool try_take(ombrel_short_lock_t& lock) {
    return __atomic_exchange_n(&lock.m_word, 1u, __ATOMIC_ACQUIRE) == 0;
}

/// Waits for a lock that the first attempt found held.
void wait_and_take(ombrel_short_lock_t& lock);

inline void take(ombrel_short_lock_t& lock) {
    if (!try_take(lock))
        wait_and_take(lock);
}

inline void release(ombrel_short_lock_t& lock) {
    __atomic_store_n(&lock.m_word, 0u, __ATOMIC_RELEASE);
}

/// Holds a short lock for a scope.
class short_lock_guard {
public:
    explicit short_lock_guard(ombrel_short_lock_t& lock) : lock_(lock) { take(lock_); }
    ~short_lock_guard() { release(lock_); }
    short_lock_guard(const short_lock_guard&) = delete;
    short_lock_guard& operator=(const short_lock_guard&) = delete;

private:
    ombrel_short_lock_t& lock_;
};

} // namespace ombrel
