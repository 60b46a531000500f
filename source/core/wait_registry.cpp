#include "core/wait_registry.h"

#include "core/node_list.h"
#include "core/short_lock_guard.h"
#include "platform/thread.h"

namespace ombrel {

namespace {

using wait_list = node_list<registered_wait>;

struct {
    ombrel_short_lock_t lock;
    registered_wait* first OMBREL_GUARDED_BY(lock);
} waits;

void hold_waits() OMBREL_ACQUIRES(waits.lock) {
    take(waits.lock);
}

void release_waits() OMBREL_RELEASES(waits.lock) {
    release(waits.lock);
}

void forget_waits() OMBREL_RELEASES(waits.lock) {
    while (registered_wait* wait = waits.first) {
        wait->empty_lines();
        wait_list(waits.first).unlink(*wait);
    }
    release_waits();
}

const struct fork_guard {
    fork_guard() { platform::surround_forks(hold_waits, release_waits, forget_waits); }
} guard_of_forks;

} // namespace

registered_wait::registered_wait(ombrel_lock_condition_t* condition, ombrel_lock_t* lock)
    : condition_(condition), lock_(lock) {
    const short_lock_guard guard(waits.lock);
    wait_list(waits.first).prepend(*this);
}

registered_wait::~registered_wait() {
    const short_lock_guard guard(waits.lock);
    wait_list(waits.first).unlink(*this);
}

void registered_wait::empty_lines() const {
    if (condition_ != nullptr)
        condition_->m_waiters_head = condition_->m_waiters_tail = nullptr;
    if (lock_ != nullptr)
        lock_->m_waiters_head = lock_->m_waiters_tail = nullptr;
}

} // namespace ombrel
