#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/atomic.h>
#include <ombrel/short_lock.h>

#include "support/capture.h"
#include "support/threads.h"

TEST(short_lock, is_taken_once_and_released_by_anybody) {
    ombrel_short_lock_t lock{9};
    EXPECT_EQ(ombrel_init_short_lock(&lock), 0);
    EXPECT_EQ(ombrel_try_short_lock(&lock), 1);
    EXPECT_EQ(lock.m_word, 1u);
    EXPECT_EQ(ombrel_try_short_lock(&lock), 0);
    std::thread([&] { ombrel_short_unlock(&lock); }).join();
    EXPECT_EQ(ombrel_short_lock(&lock), 0);
    EXPECT_EQ(ombrel_short_unlock(&lock), 0);
    EXPECT_EQ(lock.m_word, 0u);
    EXPECT_EQ(ombrel_uninit_short_lock(&lock), 0);
}

TEST(short_lock, null_is_reported_by_the_initialiser_alone) {
    ombrel_test::capture output(stderr);
    EXPECT_EQ(ombrel_init_short_lock(nullptr), -1);
    EXPECT_EQ(ombrel_try_short_lock(nullptr), 0);
    EXPECT_EQ(ombrel_short_lock(nullptr), -1);
    const std::string text = output.text();
    EXPECT_EQ(text.find("ombrel [ASSERT:source/short_lock:ombrel_init_short_lock:"), 0u) << text;
    EXPECT_NE(text.find("] <s_short_lock != ((ombrel_short_lock_t *)0)> "), std::string::npos) << text;
}

TEST(short_lock, contended_lock_admits_one_at_a_time) {
    ombrel_short_lock_t lock{};
    long counter = 0;
    ombrel_test::in_threads(4, [&](int) {
        for (int round = 0; round < 20'000; round++) {
            ombrel_short_lock(&lock);
            counter++;
            ombrel_short_unlock(&lock);
        }
    });
    EXPECT_EQ(counter, 80'000);
}

TEST(atomic, exchange_and_release_hand_back_the_old_value) {
    uint32_t word = 5;
    EXPECT_EQ(ombrel_atomic_exchange(&word, 7), 5u);
    EXPECT_EQ(ombrel_atomic_release(&word), 7u);
    EXPECT_EQ(word, 0u);
}
