// Holds a lock for a scope.
#pragma once

#include <ombrel/lock.h>

namespace ombrel {

/// Takes a lock without time limit. Taking it can fail for want of memory: look before going on.
class lock_guard {
public:
    lock_guard(ombrel_lock_t& lock, const char* tag, unsigned long line)
        : lock_(lock), tag_(tag), line_(line),
          held_(ombrel_lock_timeout_tag(&lock, def_ombrel_infinite, tag, line) == 0) {}
    ~lock_guard() {
        if (held_)
            ombrel_unlock_tag(&lock_, tag_, line_);
    }
    lock_guard(const lock_guard&) = delete;
    lock_guard& operator=(const lock_guard&) = delete;

    explicit operator bool() const { return held_; }

private:
    ombrel_lock_t& lock_;
    const char* tag_;
    unsigned long line_;
    bool held_;
};

} // namespace ombrel
