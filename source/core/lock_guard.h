// Holds a lock for a scope.
#pragma once

#include <utility>

#include <ombrel/lock.h>

#include "core/call_site.h"
#include "core/thread_safety.h"

namespace ombrel {

/// Takes a lock without time limit. Taking it can fail for want of memory: look before going on, or let
/// with_lock() look.
class [[nodiscard]] OMBREL_GUARD_CLASS lock_guard {
public:
    lock_guard(ombrel_lock_t& lock, const char* tag, unsigned long line)
        OMBREL_ACQUIRES(lock) OMBREL_UNCHECKED : lock_guard(&lock, tag, line) {}
    /// Null is no lock, which is always had.
    lock_guard(ombrel_lock_t* lock, const char* tag, unsigned long line)
        OMBREL_ACQUIRES(lock) OMBREL_UNCHECKED
        : lock_(lock),
          caller_{tag, line},
          held_(lock == nullptr || ombrel_lock_timeout_tag(lock, def_ombrel_infinite, tag, line) == 0) {}
    ~lock_guard() OMBREL_RELEASES() OMBREL_UNCHECKED {
        if (held_ && lock_ != nullptr)
            ombrel_unlock_tag(lock_, caller_.tag, caller_.line);
    }
    lock_guard(const lock_guard&) = delete;
    lock_guard& operator=(const lock_guard&) = delete;

    explicit operator bool() const { return held_; }

private:
    ombrel_lock_t* lock_;
    call_site caller_;
    bool held_;
};

/// For invariants: whether somebody holds the lock. Locks do not always know their owners.
inline bool is_held(const ombrel_lock_t& lock) {
    return __atomic_load_n(&lock.m_owners, __ATOMIC_RELAXED) != nullptr;
}

/// The result of `work` with the lock held, or `refused`, with nothing done, when it cannot be had.
template<typename Lock, typename Result, typename Work>
Result with_lock(Lock&& lock, const char* tag, unsigned long line, Result refused, Work work) {
    const lock_guard guard(lock, tag, line);
    return guard ? work() : std::move(refused);
}

} // namespace ombrel
