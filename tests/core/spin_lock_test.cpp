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

class spin_lock_test : public ombrel_test::balanced_test {
protected:
    ombrel_spin_lock_t lock{};
};

} // namespace

TEST_F(spin_lock_test, shared_references_exclude_an_exclusive_one) {
    EXPECT_EQ(ombrel_reference_try_spin_lock_tag(&lock, def_ombrel_spin_lock_shared, "first", 3), 1);
    EXPECT_EQ(ombrel_reference_try_spin_lock_tag(&lock, 0, "second", 4), 1);
    EXPECT_EQ(lock.m_reference_count, 2u);
    EXPECT_STREQ(lock.m_tag, "first");
    EXPECT_EQ(lock.m_line, 3u);
    for (const uint32_t mode : {def_ombrel_spin_lock_exclusive, def_ombrel_spin_lock_exclusive_bit})
        EXPECT_EQ(ombrel_reference_try_spin_lock(&lock, mode), 0);
    EXPECT_EQ(ombrel_reference_spin_unlock(&lock), 0);
    EXPECT_EQ(ombrel_try_spin_lock(&lock), 0);
    EXPECT_EQ(ombrel_reference_spin_unlock(&lock), 0);
    EXPECT_EQ(ombrel_try_spin_lock(&lock), 1);
    EXPECT_EQ(ombrel_reference_try_spin_lock(&lock, def_ombrel_spin_lock_shared), 0);
    EXPECT_EQ(ombrel_spin_unlock(&lock), 0);
}

TEST_F(spin_lock_test, an_embedded_lock_begins_free) {
    memset(&lock, 0xff, sizeof lock);
    EXPECT_EQ(ombrel_init_spin_lock(&lock), 0);
    EXPECT_EQ(ombrel_reference_spin_lock_timeout(&lock, def_ombrel_spin_lock_shared, 1), 1);
    EXPECT_EQ(ombrel_try_spin_lock(&lock), 0) << "held shared";
    EXPECT_EQ(ombrel_spin_unlock(&lock), 0);
    EXPECT_EQ(ombrel_uninit_spin_lock(&lock), 0);
}

TEST_F(spin_lock_test, the_count_cannot_wrap) {
    lock.m_reference_count = 0xFFFFFFFFu;
    EXPECT_EQ(ombrel_reference_try_spin_lock(&lock, def_ombrel_spin_lock_shared), 0);
    lock.m_reference_count = 0;
}

TEST_F(spin_lock_test, an_unlock_too_many_is_reported) {
    const std::string rule = "-=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=-";
    ombrel_test::capture output(stderr);
    EXPECT_EQ(ombrel_spin_unlock_tag(&lock, "caller", 12), -1);
    EXPECT_EQ(output.text(), "\n" + rule +
                                 "\nombrel: [WARNING] unlock - invalid reference count (already unlocked ?, "
                                 "\"caller:12\")\n" +
                                 rule + "\n");
    EXPECT_EQ(lock.m_reference_count, 0u);
    EXPECT_EQ(ombrel_try_spin_lock(&lock), 1) << "still usable";
}

TEST_F(spin_lock_test, limited_wait_gives_up_and_endless_wait_does_not) {
    ASSERT_EQ(ombrel_try_spin_lock(&lock), 1);
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(ombrel_spin_lock_timeout(&lock, 20), 0);
    EXPECT_EQ(ombrel_reference_spin_lock_timeout(&lock, def_ombrel_spin_lock_shared, 1), 0);
    EXPECT_GE(ombrel_time_stamp_msec() - start, 19u);
    std::thread waiter([this] {
        EXPECT_EQ(ombrel_spin_lock(&lock), 1);
        EXPECT_EQ(ombrel_spin_unlock(&lock), 0);
    });
    EXPECT_EQ(ombrel_spin_unlock(&lock), 0);
    waiter.join();
    EXPECT_EQ(ombrel_spin_lock(nullptr), 0);
}

TEST_F(spin_lock_test, exclusive_holders_are_alone) {
    ombrel_spin_lock_t* shared = ombrel_new_spin_lock();
    long counter = 0, seen = 0;
    ombrel_test::in_threads(3, [&](int i) {
        for (int round = 0; round < 20; round++) {
            const bool writes = (round + i) % 2 == 0;
            const uint32_t mode = writes ? def_ombrel_spin_lock_exclusive : def_ombrel_spin_lock_shared;
            EXPECT_EQ(ombrel_reference_spin_lock(shared, mode), 1);
            if (writes)
                counter++;
            else
                __atomic_fetch_add(&seen, counter >= 0 ? 1 : 0, __ATOMIC_RELAXED);
            EXPECT_EQ(ombrel_reference_spin_unlock(shared), 0);
        }
    });
    EXPECT_EQ(counter + seen, 60);
    EXPECT_EQ(ombrel_free_spin_lock(shared), 0);
}

TEST(file_lock, says_that_it_is_missing) {
    ombrel_test::capture output(stderr);
    EXPECT_EQ(ombrel_file_lock(nullptr), -1);
    EXPECT_EQ(ombrel_file_lock("path"), -1);
    EXPECT_EQ(ombrel_file_unlock("path"), -1);
    const std::string text = output.text();
    EXPECT_EQ(text.find("ombrel [ASSERT:source/file_lock:ombrel_file_lock_tag:31] <TODO> "), 0u) << text;
    EXPECT_NE(text.find("\nombrel [ASSERT:source/file_lock:ombrel_file_unlock_tag:45] <TODO> "),
              std::string::npos)
        << text;
}
