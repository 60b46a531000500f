#include <ombrel/short_lock.h>

#include <ombrel/assert.h>

#include "core/short_lock_guard.h"
#include "platform/thread.h"

namespace ombrel {

uint32_t held_mark = 1;

namespace {

constexpr uint32_t held_by_user = 1;

void count_fork() {
    held_mark++;
}

const struct fork_guard {
    fork_guard() { platform::surround_forks(nullptr, nullptr, count_fork); }
} guard_of_forks;

bool try_take(ombrel_short_lock_t& lock, uint32_t mark) {
    return __atomic_exchange_n(&lock.m_word, mark, __ATOMIC_ACQUIRE) == 0;
}

// About a microsecond of looking at a held word, so that a short contention does not cost a sleep. Nearly all
// of it is pauses: a waiter that looks often takes the cache line from the holder it waits for.
bool spin_and_try(ombrel_short_lock_t& lock, uint32_t mark) {
    constexpr int longest_pause = 16;
    for (int pause = 1; pause <= longest_pause; pause *= 2) {
        for (int i = 0; i < pause; i++)
            platform::relax_processor();
        if (__atomic_load_n(&lock.m_word, __ATOMIC_RELAXED) == 0 && try_take(lock, mark))
            return true;
    }
    return false;
}

void wait_with(ombrel_short_lock_t& lock, uint32_t mark) {
    while (!spin_and_try(lock, mark))
        ombrel_load_balance_short();
}

} // namespace

void wait_and_take(ombrel_short_lock_t& lock) OMBREL_UNCHECKED {
    wait_with(lock, held_mark);
    held_locks::add(&lock);
}

} // namespace ombrel

using namespace ombrel;

int ombrel_init_short_lock(ombrel_short_lock_t* lock) {
    if (lock == nullptr) {
        ombrel_assert_fail_tag("source/short_lock", "ombrel_init_short_lock", __LINE__,
                               "s_short_lock != ((ombrel_short_lock_t *)0)");
        return -1;
    }
    lock->m_word = 0;
    return 0;
}

int ombrel_uninit_short_lock(ombrel_short_lock_t*) {
    return 0;
}

int ombrel_try_short_lock(ombrel_short_lock_t* lock) {
    return lock != nullptr && try_take(*lock, held_by_user) ? 1 : 0;
}

int ombrel_short_lock(ombrel_short_lock_t* lock) {
    if (lock == nullptr)
        return -1;
    if (!try_take(*lock, held_by_user))
        wait_with(*lock, held_by_user);
    return 0;
}

int ombrel_short_unlock(ombrel_short_lock_t* lock) {
    if (lock == nullptr)
        return -1;
    __atomic_store_n(&lock->m_word, 0u, __ATOMIC_RELEASE); // any thread may release a user's lock
    return 0;
}

int ombrel_load_balance(void) {
    platform::sleep_milliseconds(10);
    return 0;
}

int ombrel_load_balance_short(void) {
    platform::sleep_milliseconds(1);
    platform::yield_processor();
    return 0;
}
