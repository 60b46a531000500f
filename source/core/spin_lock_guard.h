// Holds a reference on a spin lock for a scope.
#pragma once

#include <ombrel/spin_lock.h>

#include "core/call_site.h"
#include "core/thread_safety.h"

namespace ombrel {

/// Takes a reference, however long it takes.
class OMBREL_GUARD_CLASS spin_lock_guard {
public:
    spin_lock_guard(ombrel_spin_lock_t& lock, uint32_t mode, const char* tag, unsigned long line)
        OMBREL_ACQUIRES(lock)
        : lock_(lock), caller_{tag, line} {
        if (!take_at_once(mode))
            ombrel_reference_spin_lock_tag(&lock_, mode, caller_.tag, caller_.line);
    }
    ~spin_lock_guard() OMBREL_RELEASES() {
        ombrel_reference_spin_unlock_tag(&lock_, caller_.tag, caller_.line);
    }
    spin_lock_guard(const spin_lock_guard&) = delete;
    spin_lock_guard& operator=(const spin_lock_guard&) = delete;

private:
    // A lock that is held for a moment only should not cost a sleep.
    bool take_at_once(uint32_t mode) {
        for (int attempt = 0; attempt < 100; attempt++)
            if (ombrel_reference_try_spin_lock_tag(&lock_, mode, caller_.tag, caller_.line) == 1)
                return true;
        return false;
    }

    ombrel_spin_lock_t& lock_;
    call_site caller_;
};

/// For invariants: whether somebody holds the lock, in either mode.
inline bool is_held(const ombrel_spin_lock_t& lock) {
    return __atomic_load_n(&lock.m_reference_count, __ATOMIC_RELAXED) != 0;
}

} // namespace ombrel
