#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/lock_condition.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/threads.h"
#include "support/time_travel.h"
#include "support/waiting_call.h"

namespace {

using ombrel_test::await;

class LockConditionTest : public ombrel_test::balanced_test {
protected:
    LockConditionTest() {
        ombrel_init_lock(&lock);
        ombrel_init_lock_condition(&condition);
    }
    ~LockConditionTest() override {
        EXPECT_EQ(0, ombrel_uninit_lock_condition(&condition));
        EXPECT_EQ(0, ombrel_uninit_lock(&lock));
    }

    // Starts a thread that waits once, counting itself in and out under the lock.
    std::jthread waiter(ombrel_lock_condition_t* on = nullptr) {
        const int before = counts(waiting);
        std::jthread thread([this, on] {
            ombrel_lock(&lock);
            waiting++;
            EXPECT_EQ(0, ombrel_lock_condition_wait(on != nullptr ? on : &condition, &lock));
            left++;
            ombrel_unlock(&lock);
        });
        await([&] { return counts(waiting) != before; });
        return thread;
    }

    int counts(const int& counter) {
        ombrel_lock(&lock);
        const int value = counter;
        ombrel_unlock(&lock);
        return value;
    }

    ombrel_lock_t lock;
    ombrel_lock_condition_t condition;
    int waiting = 0, left = 0;

private:
    ombrel_test::descriptor_balance descriptors_;
};

} // namespace

TEST(LockConditionRecord, StartsWithTheDocumentedValues) {
    const ombrel_lock_condition_t fresh = def_ombrel_lock_condition_initializer;
    EXPECT_EQ(nullptr, fresh.m_waiters_head);
    EXPECT_STREQ("ombrel_init_lock_condition_tag", fresh.m_tag);
    EXPECT_EQ(822u, fresh.m_line);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(20u, sizeof fresh);
    }
}

TEST_F(LockConditionTest, TimeOutIsNoFailureAndGivesTheLockBack) {
    ASSERT_EQ(0, ombrel_lock(&lock));
    for (const uint32_t timeout : {0u, 50u}) {
        const uint64_t start = ombrel_time_stamp_msec();
        EXPECT_EQ(0, ombrel_lock_condition_wait_timeout(&condition, &lock, timeout));
        EXPECT_GE(ombrel_time_stamp_msec() - start + 1, timeout);
        EXPECT_EQ(0, ombrel_try_lock(&lock)) << "held again";
        EXPECT_EQ(nullptr, condition.m_waiters_head);
    }
    EXPECT_EQ(0, ombrel_lock_condition_wait_timeout(&condition, nullptr, 1));
    EXPECT_EQ(0, ombrel_unlock(&lock));
}

TEST_F(LockConditionTest, NobodyToWakeIsAFailure) {
    EXPECT_EQ(-1, ombrel_lock_condition_wakeup(&condition));
    EXPECT_EQ(-1, ombrel_lock_condition_wakeup_broadcast(&condition));
    EXPECT_EQ(-1, ombrel_lock_condition_wakeup(nullptr));
    EXPECT_EQ(-1, ombrel_lock_condition_wakeup_broadcast(nullptr));
    EXPECT_EQ(-1, ombrel_lock_condition_wait(nullptr, nullptr));
}

TEST_F(LockConditionTest, ASecondWakeupGoesToTheSameWaiter) {
    std::jthread first = waiter(), second = waiter();
    ASSERT_EQ(0, ombrel_lock(&lock));
    EXPECT_EQ(0, ombrel_lock_condition_wakeup(&condition));
    ombrel_unlock(&lock);
    first.join();
    EXPECT_EQ(1, counts(left));
    EXPECT_EQ(0, ombrel_lock_condition_wakeup(&condition));
}

// They would be woken to wait for the lock; they stand in its line at once and leave the condition alone.
TEST_F(LockConditionTest, WaitersWokenUnderTheLockWaitInItsLine) {
    ombrel_lock_condition_t* allocated = ombrel_new_lock_condition();
    std::jthread waiters[] = {waiter(allocated), waiter(allocated), waiter(allocated)};
    ASSERT_EQ(0, ombrel_lock(&lock));
    EXPECT_EQ(0, ombrel_lock_condition_wakeup(allocated));
    EXPECT_EQ(0, ombrel_lock_condition_wakeup_broadcast(allocated));
    EXPECT_EQ(0, ombrel_free_lock_condition(allocated)) << "nobody is on it, though the lock is held";
    EXPECT_EQ(0, left);
    EXPECT_EQ(0, ombrel_unlock(&lock));
    for (std::jthread& thread : waiters)
        thread.join();
    EXPECT_EQ(3, left);
}

TEST_F(LockConditionTest, BroadcastWakesMoreThanOneBatch) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 40; i++)
        threads.push_back(waiter());
    std::this_thread::sleep_for(std::chrono::milliseconds(40)); // all sleep on their pipes by then
    EXPECT_EQ(0, ombrel_lock_condition_wakeup_broadcast(&condition));
    threads.clear();
    EXPECT_EQ(40, left);
}

TEST_F(LockConditionTest, EndingAConditionSendsItsWaitersAway) {
    ombrel_lock_condition_t* allocated = ombrel_new_lock_condition();
    for (const size_t count : {1, 3}) {
        std::vector<std::thread> threads;
        while (threads.size() < count) {
            const auto* const last = allocated->m_waiters_tail;
            threads.emplace_back(
                [allocated] { EXPECT_EQ(0, ombrel_lock_condition_wait(allocated, nullptr)); });
            await([&] {
                ombrel_short_lock(&allocated->m_guard);
                const bool has_come = allocated->m_waiters_tail != last;
                ombrel_short_unlock(&allocated->m_guard);
                return has_come;
            });
        }
        EXPECT_EQ(0, ombrel_uninit_lock_condition(allocated));
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(0, ombrel_free_lock_condition(allocated));
    EXPECT_EQ(-1, ombrel_uninit_lock_condition(nullptr));
    EXPECT_EQ(0, ombrel_free_lock_condition(nullptr));
}

TEST_F(LockConditionTest, CallsWaitWhileAGuardIsHeld) {
    ombrel_lock_condition_t* const one = &condition;
    const struct {
        ombrel_short_lock_t* guard;
        int result;
        std::function<int()> call;
    } cases[] = {
        {&lock.m_guard, 1, [&] { return ombrel_try_lock(&lock) - ombrel_unlock(&lock); }},
        {&lock.m_guard, 0, [&] { return ombrel_uninit_lock(&lock); }},
        {&one->m_guard, 0, [=] { return ombrel_lock_condition_wait_timeout(one, nullptr, 1); }},
        {&one->m_guard, -1, [=] { return ombrel_lock_condition_wakeup(one); }},
        {&one->m_guard, -1, [=] { return ombrel_lock_condition_wakeup_broadcast(one); }},
        {&one->m_guard, 0, [=] { return ombrel_uninit_lock_condition(one); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ombrel_short_lock(c.guard);
        const ombrel_test::waiting_call call([&c] { EXPECT_EQ(c.result, c.call()); });
        EXPECT_TRUE(call.is_waiting());
        EXPECT_TRUE(lock.m_owners == nullptr && condition.m_waiters_head == nullptr);
        ombrel_short_unlock(c.guard);
    }
    std::jthread sleeper = waiter();
    ombrel_lock(&lock);
    ombrel_short_lock(&lock.m_guard);
    {
        const ombrel_test::waiting_call wake([&] { EXPECT_EQ(0, ombrel_lock_condition_wakeup(&condition)); });
        EXPECT_TRUE(wake.is_waiting()) << "for the line of the lock";
        ombrel_short_unlock(&lock.m_guard);
    }
    ombrel_unlock(&lock);
}

TEST_F(LockConditionTest, AnEndlessWaitGoesOnAfterHours) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    ombrel_test::time_travel ahead;
    ombrel_short_lock(&condition.m_guard); // before which a wait looks at the clock
    const ombrel_test::waiting_call wait(
        [&] { EXPECT_EQ(0, ombrel_lock_condition_wait(&condition, nullptr)); });
    EXPECT_TRUE(wait.is_waiting());
    ahead.skip_seconds(3L * 3600);
    ombrel_short_unlock(&condition.m_guard);
    EXPECT_TRUE(wait.is_waiting());
    await([&] { return ombrel_lock_condition_wakeup(&condition) == 0; });
}

// A bounded queue of one: no hand-over may get lost, whoever sleeps and whoever spins.
TEST_F(LockConditionTest, NoHandoverIsLost) {
    constexpr int threads = 3, rounds = 3000;
    int turn = 0;
    ombrel_test::in_threads(threads, [&](int i) {
        for (int round = 0; round < rounds; round++) {
            ASSERT_EQ(0, ombrel_lock(&lock));
            while (turn % threads != i)
                ASSERT_EQ(0, ombrel_lock_condition_wait(&condition, &lock));
            turn++;
            ombrel_lock_condition_wakeup_broadcast(&condition);
            ASSERT_EQ(0, ombrel_unlock(&lock));
        }
    });
    EXPECT_EQ(turn, threads * rounds);
}
