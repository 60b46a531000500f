#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/file_lock.h>
#include <ombrel/spin_lock.h>
#include <ombrel/time.h>

#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/threads.h"

namespace {

class SpinLockTest : public ombrel_test::balanced_test {
protected:
    ombrel_spin_lock_t lock{};
};

} // namespace

TEST_F(SpinLockTest, SharedReferencesExcludeAnExclusiveOne) {
    EXPECT_EQ(1, ombrel_reference_try_spin_lock_tag(&lock, def_ombrel_spin_lock_shared, "first", 3));
    EXPECT_EQ(1, ombrel_reference_try_spin_lock_tag(&lock, 0, "second", 4));
    EXPECT_EQ(2u, lock.m_reference_count);
    EXPECT_STREQ("first", lock.m_tag);
    EXPECT_EQ(3u, lock.m_line);
    for (const uint32_t mode : {def_ombrel_spin_lock_exclusive, def_ombrel_spin_lock_exclusive_bit})
        EXPECT_EQ(0, ombrel_reference_try_spin_lock(&lock, mode));
    EXPECT_EQ(0, ombrel_reference_spin_unlock(&lock));
    EXPECT_EQ(0, ombrel_try_spin_lock(&lock));
    EXPECT_EQ(0, ombrel_reference_spin_unlock(&lock));
    EXPECT_EQ(1, ombrel_try_spin_lock(&lock));
    EXPECT_EQ(0, ombrel_reference_try_spin_lock(&lock, def_ombrel_spin_lock_shared));
    EXPECT_EQ(0, ombrel_spin_unlock(&lock));
    lock.m_reference_count = 0xFFFFFFFFu;
    EXPECT_EQ(0, ombrel_reference_try_spin_lock(&lock, def_ombrel_spin_lock_shared)) << "it cannot wrap";
}

TEST_F(SpinLockTest, AnEmbeddedLockBeginsFree) {
    memset(&lock, 0xff, sizeof lock);
    EXPECT_EQ(0, ombrel_init_spin_lock(&lock));
    EXPECT_EQ(1, ombrel_reference_spin_lock_timeout(&lock, def_ombrel_spin_lock_shared, 1));
    EXPECT_EQ(0, ombrel_try_spin_lock(&lock)) << "held shared";
    EXPECT_EQ(0, ombrel_spin_unlock(&lock));
    EXPECT_EQ(0, ombrel_uninit_spin_lock(&lock));
}

TEST_F(SpinLockTest, AnUnlockTooManyIsReported) {
    const std::string rule = "-=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=-";
    ombrel_test::capture output(stderr);
    EXPECT_EQ(-1, ombrel_spin_unlock_tag(&lock, "caller", 12));
    EXPECT_EQ(output.text(), "\n" + rule +
                                 "\nombrel: [WARNING] unlock - invalid reference count (already unlocked ?, "
                                 "\"caller:12\")\n" +
                                 rule + "\n");
    EXPECT_EQ(0u, lock.m_reference_count);
    EXPECT_EQ(1, ombrel_try_spin_lock(&lock)) << "still usable";
}

TEST_F(SpinLockTest, NoLockIsNeverHeld) {
    EXPECT_EQ(0, ombrel_try_spin_lock(nullptr));
    EXPECT_EQ(0, ombrel_spin_lock(nullptr));
    EXPECT_EQ(0, ombrel_spin_lock_timeout(nullptr, 5));
    EXPECT_EQ(0, ombrel_reference_try_spin_lock(nullptr, def_ombrel_spin_lock_shared));
    EXPECT_EQ(0, ombrel_free_spin_lock(nullptr));
    ombrel_test::capture output(stderr);
    EXPECT_EQ(-1, ombrel_spin_unlock(nullptr));
    EXPECT_EQ("", output.so_far());
    EXPECT_EQ(-1, ombrel_init_spin_lock(nullptr));
    EXPECT_EQ(0u, output.text().find("ombrel [ASSERT:source/lock:ombrel_init_spin_lock:"));
}

TEST_F(SpinLockTest, LimitedWaitGivesUpAndEndlessWaitDoesNot) {
    ASSERT_EQ(1, ombrel_try_spin_lock(&lock));
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(0, ombrel_spin_lock_timeout(&lock, 20));
    EXPECT_EQ(0, ombrel_reference_spin_lock_timeout(&lock, def_ombrel_spin_lock_shared, 1));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 19u);
    std::thread waiter([this] {
        EXPECT_EQ(1, ombrel_spin_lock(&lock));
        EXPECT_EQ(0, ombrel_spin_unlock(&lock));
    });
    EXPECT_EQ(0, ombrel_spin_unlock(&lock));
    waiter.join();
}

TEST_F(SpinLockTest, ExclusiveHoldersAreAlone) {
    ombrel_spin_lock_t* shared = ombrel_new_spin_lock();
    long counter = 0, seen = 0;
    ombrel_test::in_threads(3, [&](int i) {
        for (int round = 0; round < 20; round++) {
            const bool writes = (round + i) % 2 == 0;
            const uint32_t mode = writes ? def_ombrel_spin_lock_exclusive : def_ombrel_spin_lock_shared;
            EXPECT_EQ(1, ombrel_reference_spin_lock(shared, mode));
            if (writes)
                counter++;
            else
                __atomic_fetch_add(&seen, counter >= 0 ? 1 : 0, __ATOMIC_RELAXED);
            EXPECT_EQ(0, ombrel_reference_spin_unlock(shared));
        }
    });
    EXPECT_EQ(60, counter + seen);
    EXPECT_EQ(0, ombrel_free_spin_lock(shared));
}

TEST(FileLock, SaysThatItIsMissing) {
    ombrel_test::capture output(stderr);
    EXPECT_EQ(-1, ombrel_file_lock(nullptr));
    EXPECT_EQ(-1, ombrel_file_lock("path"));
    EXPECT_EQ(-1, ombrel_file_unlock("path"));
    const std::string text = output.text();
    EXPECT_EQ(0u, text.find("ombrel [ASSERT:source/file_lock:ombrel_file_lock_tag:31] <TODO> ")) << text;
    EXPECT_NE(text.find("\nombrel [ASSERT:source/file_lock:ombrel_file_unlock_tag:45] <TODO> "),
              std::string::npos)
        << text;
}
