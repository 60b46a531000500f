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

class lock_condition_test : public ombrel_test::balanced_test {
protected:
    lock_condition_test() {
        ombrel_init_lock(&lock);
        ombrel_init_lock_condition(&condition);
    }
    ~lock_condition_test() override {
        EXPECT_EQ(ombrel_uninit_lock_condition(&condition), 0);
        EXPECT_EQ(ombrel_uninit_lock(&lock), 0);
    }

    // Starts a thread that waits once, counting itself in and out under the lock.
    std::thread waiter() {
        const int before = counts(waiting);
        std::thread thread([this] {
            ombrel_lock(&lock);
            waiting++;
            EXPECT_EQ(ombrel_lock_condition_wait(&condition, &lock), 0);
            left++;
            ombrel_unlock(&lock);
        });
        while (counts(waiting) == before)
            std::this_thread::yield();
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

TEST(lock_condition_record, starts_with_the_documented_values) {
    const ombrel_lock_condition_t fresh = def_ombrel_lock_condition_initializer;
    EXPECT_EQ(fresh.m_waiters_head, nullptr);
    EXPECT_STREQ(fresh.m_tag, "ombrel_init_lock_condition_tag");
    EXPECT_EQ(fresh.m_line, 822u);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(sizeof fresh, 20u);
    }
}

TEST_F(lock_condition_test, time_out_is_no_failure_and_gives_the_lock_back) {
    ASSERT_EQ(ombrel_lock(&lock), 0);
    for (const uint32_t timeout : {0u, 50u}) {
        const uint64_t start = ombrel_time_stamp_msec();
        EXPECT_EQ(ombrel_lock_condition_wait_timeout(&condition, &lock, timeout), 0);
        EXPECT_GE(ombrel_time_stamp_msec() - start + 1, timeout);
        EXPECT_EQ(ombrel_try_lock(&lock), 0) << "held again";
        EXPECT_EQ(condition.m_waiters_head, nullptr);
    }
    EXPECT_EQ(ombrel_lock_condition_wait_timeout(&condition, nullptr, 1), 0);
    EXPECT_EQ(ombrel_unlock(&lock), 0);
}

TEST_F(lock_condition_test, nobody_to_wake_is_a_failure) {
    EXPECT_EQ(ombrel_lock_condition_wakeup(&condition), -1);
    EXPECT_EQ(ombrel_lock_condition_wakeup_broadcast(&condition), -1);
    EXPECT_EQ(ombrel_lock_condition_wakeup(nullptr), -1);
    EXPECT_EQ(ombrel_lock_condition_wait(nullptr, nullptr), -1);
}

TEST_F(lock_condition_test, a_second_wakeup_goes_to_the_same_waiter) {
    std::thread first = waiter(), second = waiter();
    ASSERT_EQ(ombrel_lock(&lock), 0);
    EXPECT_EQ(ombrel_lock_condition_wakeup(&condition), 0);
    ombrel_unlock(&lock);
    first.join();
    EXPECT_EQ(counts(left), 1);
    EXPECT_EQ(ombrel_lock_condition_wakeup(&condition), 0);
    second.join();
}

// They would be woken to wait for the lock; they stand in its line at once and leave the condition to its
// end.
TEST_F(lock_condition_test, waiters_woken_under_the_lock_wait_in_its_line) {
    ombrel_lock_condition_t* allocated = ombrel_new_lock_condition();
    constexpr int threads = 3;
    std::vector<std::thread> waiters;
    std::atomic<int> entered = 0;
    for (int i = 0; i < threads; i++)
        waiters.emplace_back([&] {
            ombrel_lock(&lock);
            entered++;
            EXPECT_EQ(ombrel_lock_condition_wait(allocated, &lock), 0);
            left++;
            ombrel_unlock(&lock);
        });
    while (entered < threads)
        std::this_thread::yield();
    ASSERT_EQ(ombrel_lock(&lock), 0);
    EXPECT_EQ(ombrel_lock_condition_wakeup(allocated), 0);
    EXPECT_EQ(ombrel_lock_condition_wakeup_broadcast(allocated), 0);
    EXPECT_EQ(ombrel_free_lock_condition(allocated), 0) << "nobody is on it, though the lock is held";
    EXPECT_EQ(left, 0);
    EXPECT_EQ(ombrel_unlock(&lock), 0);
    for (std::thread& thread : waiters)
        thread.join();
    EXPECT_EQ(left, threads);
}

TEST_F(lock_condition_test, broadcast_wakes_more_than_one_batch) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 40; i++)
        threads.push_back(waiter());
    std::this_thread::sleep_for(std::chrono::milliseconds(40)); // all sleep on their pipes by then
    EXPECT_EQ(ombrel_lock_condition_wakeup_broadcast(&condition), 0);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(left, 40);
}

TEST_F(lock_condition_test, ending_a_condition_sends_its_waiters_away) {
    ombrel_lock_condition_t* allocated = ombrel_new_lock_condition();
    std::thread threads[3];
    for (std::thread& thread : threads)
        thread = std::thread([allocated] { EXPECT_EQ(ombrel_lock_condition_wait(allocated, nullptr), 0); });
    ombrel_load_balance();
    EXPECT_EQ(ombrel_uninit_lock_condition(allocated), 0);
    for (std::thread& thread : threads) {
        while (ombrel_lock_condition_wakeup_broadcast(allocated) == 0)
            std::this_thread::yield();
        thread.join();
    }
    EXPECT_EQ(ombrel_free_lock_condition(allocated), 0);
    EXPECT_EQ(ombrel_free_lock_condition(nullptr), 0);
}

TEST_F(lock_condition_test, calls_wait_while_a_guard_is_held) {
    const struct {
        const char* name;
        ombrel_short_lock_t& guard;
        std::function<int()> call;
        int result;
    } cases[] = {
        {"try", lock.m_guard, [&] { return ombrel_try_lock(&lock) - ombrel_unlock(&lock); }, 1},
        {"end of a lock", lock.m_guard, [&] { return ombrel_uninit_lock(&lock); }, 0},
        {"wait", condition.m_guard,
         [&] { return ombrel_lock_condition_wait_timeout(&condition, nullptr, 1); }, 0},
        {"wake", condition.m_guard, [&] { return ombrel_lock_condition_wakeup(&condition); }, -1},
        {"wake all", condition.m_guard, [&] { return ombrel_lock_condition_wakeup_broadcast(&condition); },
         -1},
        {"end", condition.m_guard, [&] { return ombrel_uninit_lock_condition(&condition); }, 0},
    };
    for (const auto& c : cases) {
        ombrel_short_lock(&c.guard);
        const ombrel_test::waiting_call call([&c] { EXPECT_EQ(c.call(), c.result) << c.name; });
        EXPECT_TRUE(call.is_waiting()) << c.name;
        EXPECT_TRUE(lock.m_owners == nullptr && condition.m_waiters_head == nullptr) << c.name;
        ombrel_short_unlock(&c.guard);
    }
    std::thread sleeper = waiter();
    ombrel_lock(&lock);
    ombrel_short_lock(&lock.m_guard);
    {
        const ombrel_test::waiting_call wake([&] { EXPECT_EQ(ombrel_lock_condition_wakeup(&condition), 0); });
        EXPECT_TRUE(wake.is_waiting()) << "for the line of the lock";
        ombrel_short_unlock(&lock.m_guard);
    }
    ombrel_unlock(&lock);
    sleeper.join();
}

TEST_F(lock_condition_test, an_endless_wait_goes_on_after_hours) {
    ombrel_test::time_travel ahead;
    ombrel_short_lock(&condition.m_guard); // before which a wait looks at the clock
    const ombrel_test::waiting_call wait(
        [&] { EXPECT_EQ(ombrel_lock_condition_wait(&condition, nullptr), 0); });
    EXPECT_TRUE(wait.is_waiting());
    ahead.skip_seconds(3L * 3600);
    ombrel_short_unlock(&condition.m_guard);
    EXPECT_TRUE(wait.is_waiting());
    while (ombrel_lock_condition_wakeup(&condition) != 0)
        std::this_thread::yield();
}

// A bounded queue of one: no hand-over may get lost, whoever sleeps and whoever spins.
TEST_F(lock_condition_test, no_handover_is_lost) {
    constexpr int threads = 3, rounds = 3000;
    int turn = 0;
    ombrel_test::in_threads(threads, [&](int i) {
        for (int round = 0; round < rounds; round++) {
            ASSERT_EQ(ombrel_lock(&lock), 0);
            while (turn % threads != i)
                ASSERT_EQ(ombrel_lock_condition_wait(&condition, &lock), 0);
            turn++;
            ombrel_lock_condition_wakeup_broadcast(&condition);
            ASSERT_EQ(ombrel_unlock(&lock), 0);
        }
    });
    EXPECT_EQ(turn, threads * rounds);
}
