// The waits of all threads in the lines of locks and conditions.
#pragma once

#include <ombrel/lock_condition.h>

#include "core/short_lock_guard.h"

namespace ombrel {

/// Made before a thread gets into a line and ended when it has left. None of the threads that wait at a fork
/// is in the child, whose lines are emptied of them: nobody there is woken in vain, or waits behind them.
class registered_wait {
public:
    /// @param lock may be null
    registered_wait(ombrel_lock_condition_t* condition, ombrel_lock_t* lock);
    ~registered_wait();
    registered_wait(const registered_wait&) = delete;
    registered_wait& operator=(const registered_wait&) = delete;

    void empty_lines() const;

    /// To be called with the guard of the line held, behind the wait's way out of it: once the guard is
    /// released, the condition or lock may be gone.
    void leave_condition() {
        OMBREL_INVARIANT(condition_ == nullptr || is_held(condition_->m_guard));
        __atomic_store_n(&condition_, nullptr, __ATOMIC_RELEASE);
    }
    void leave_lock() {
        OMBREL_INVARIANT(lock_ == nullptr || is_held(lock_->m_guard));
        __atomic_store_n(&lock_, nullptr, __ATOMIC_RELEASE);
    }

    registered_wait *m_prev, *m_next;

private:
    ombrel_lock_condition_t* condition_;
    ombrel_lock_t* lock_;
};

} // namespace ombrel
