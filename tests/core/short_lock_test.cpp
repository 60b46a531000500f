#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/atomic.h>
#include <ombrel/short_lock.h>

#include "support/capture.h"
#include "support/threads.h"

TEST(ShortLock, IsTakenOnceAndReleasedByAnybody) {
    ombrel_short_lock_t lock{9};
    EXPECT_EQ(0, ombrel_init_short_lock(&lock));
    EXPECT_EQ(1, ombrel_try_short_lock(&lock));
    EXPECT_EQ(1u, lock.m_word);
    EXPECT_EQ(0, ombrel_try_short_lock(&lock));
    std::thread([&] { ombrel_short_unlock(&lock); }).join();
    EXPECT_EQ(0, ombrel_short_lock(&lock));
    EXPECT_EQ(0, ombrel_short_unlock(&lock));
    EXPECT_EQ(0u, lock.m_word);
    EXPECT_EQ(0, ombrel_uninit_short_lock(&lock));
}

TEST(ShortLock, NullIsReportedByTheInitialiserAlone) {
    ombrel_test::capture output(stderr);
    EXPECT_EQ(-1, ombrel_init_short_lock(nullptr));
    EXPECT_EQ(0, ombrel_try_short_lock(nullptr));
    EXPECT_EQ(-1, ombrel_short_lock(nullptr));
    EXPECT_EQ(-1, ombrel_short_unlock(nullptr));
    const std::string text = output.text();
    EXPECT_EQ(0u, text.find("ombrel [ASSERT:source/short_lock:ombrel_init_short_lock:")) << text;
    EXPECT_NE(text.find("] <s_short_lock != ((ombrel_short_lock_t *)0)> "), std::string::npos) << text;
}

TEST(ShortLock, ContendedLockAdmitsOneAtATime) {
    ombrel_short_lock_t lock{};
    long counter = 0;
    ombrel_test::in_threads(4, [&](int) {
        for (int round = 0; round < 20'000; round++) {
            ombrel_short_lock(&lock);
            counter++;
            ombrel_short_unlock(&lock);
        }
    });
    EXPECT_EQ(80'000, counter);
}

TEST(Atomic, ExchangeAndReleaseHandBackTheOldValue) {
    uint32_t word = 5;
    EXPECT_EQ(5u, ombrel_atomic_exchange(&word, 7));
    EXPECT_EQ(7u, ombrel_atomic_release(&word));
    EXPECT_EQ(0u, word);
}
