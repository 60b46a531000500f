// What locks and conditions are in a child process.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/short_lock.h>
#include <ombrel/spin_lock.h>

#include "support/child.h"
#include "support/threads.h"

namespace {

using ombrel_test::in_child;

// The thread sanitizer does not follow a fork among threads, and an allocator of the address sanitizer may be
// held by one of them.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)

struct monitor {
    ombrel_lock_t lock = def_ombrel_lock_initializer;
    ombrel_lock_condition_t condition = def_ombrel_lock_condition_initializer;
    ombrel_spin_lock_t spin_lock{};

    // One turn of what threads do with it. All three contend for the guards.
    void use() {
        if (ombrel_lock_timeout(&lock, 1) == 0) {
            ombrel_lock_condition_wakeup_broadcast(&condition);
            ombrel_unlock(&lock);
        }
        ombrel_lock_condition_wait_timeout(&condition, nullptr, 0);
        if (ombrel_reference_try_spin_lock(&spin_lock, def_ombrel_spin_lock_shared) == 1)
            ombrel_reference_spin_unlock(&spin_lock);
    }

    // A holder of the parent that is not in the child is released; then the lock serves as ever.
    bool serves_in_child() {
        const bool nobody_waits = ombrel_lock_condition_wakeup(&condition) == -1;
        ombrel_try_lock(&lock);
        while (lock.m_owners != nullptr)
            ombrel_unlock(&lock);
        const bool taken = ombrel_lock(&lock) == 0;
        ombrel_lock_condition_wait_timeout(&condition, &lock, 1);
        while (spin_lock.m_reference_count != 0)
            ombrel_reference_spin_unlock(&spin_lock);
        return nobody_waits && taken && ombrel_unlock(&lock) == 0 && ombrel_spin_lock(&spin_lock) == 1;
    }
};

TEST(ForkTest, NoGuardStaysHeldInAChild) {
    OMBREL_TEST_NEEDS_FORK();
    monitor shared;
    std::atomic<bool> stop = false;
    ombrel_test::in_threads(4, [&](int thread) {
        int failed = 0;
        for (int i = 0; thread == 0 && i < 200 && failed == 0; i++)
            failed = in_child([&] { return shared.serves_in_child(); });
        EXPECT_EQ(0, failed);
        if (thread == 0)
            stop = true;
        while (!stop)
            shared.use();
    });
    EXPECT_EQ(nullptr, shared.lock.m_owners);
}

// The holder forks while others wait for its lock and on its condition, who are not in the child.
TEST(ForkTest, TheForkingThreadsLockIsItsOwnInTheChild) {
    OMBREL_TEST_NEEDS_FORK();
    monitor held;
    ombrel_short_lock_t short_lock{};
    ASSERT_EQ(0, ombrel_short_lock(&short_lock));
    ASSERT_EQ(0, ombrel_lock(&held.lock));
    const std::jthread waiting([&] { EXPECT_EQ(0, ombrel_lock(&held.lock) + ombrel_unlock(&held.lock)); });
    const std::jthread sleeping([&] { ombrel_lock_condition_wait(&held.condition, nullptr); });
    ombrel_test::await([&] {
        return __atomic_load_n(&held.lock.m_waiters_head, __ATOMIC_RELAXED) != nullptr &&
               __atomic_load_n(&held.condition.m_waiters_head, __ATOMIC_RELAXED) != nullptr;
    });
    const auto is_own = [&] {
        return ombrel_try_short_lock(&short_lock) == 0 && ombrel_short_unlock(&short_lock) == 0 &&
               ombrel_try_lock(&held.lock) == 0 && ombrel_unlock(&held.lock) == 0 &&
               ombrel_lock_condition_wakeup(&held.condition) == -1 &&
               ombrel_uninit_lock_condition(&held.condition) == 0 && ombrel_lock(&held.lock) == 0 &&
               ombrel_unlock(&held.lock) == 0 && ombrel_uninit_lock(&held.lock) == 0;
    };
    EXPECT_EQ(0, in_child(is_own));
    EXPECT_EQ(0, ombrel_unlock(&held.lock));
    EXPECT_EQ(0, ombrel_lock_condition_wakeup(&held.condition));
}

#endif

} // namespace
