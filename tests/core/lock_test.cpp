#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ombrel/lock.h>
#include <ombrel/short_lock.h>
#include <ombrel/thread.h>
#include <ombrel/time.h>

#include "support/descriptor_balance.h"
#include "support/descriptor_shortage.h"
#include "support/error_output.h"
#include "support/heap_balance.h"
#include "support/threads.h"
#include "support/waiting_call.h"

using ombrel_test::await;
using ombrel_test::error_output;

namespace {

#define RED(text) "\033[1;31m" text "\033[0m"
constexpr const char initialized[] = "initialized by \"init_here:7\")\n";

class LockTest : public ombrel_test::balanced_test {
protected:
    LockTest() { ombrel_init_lock_tag(&lock, "init_here", 7); }
    ~LockTest() override { EXPECT_EQ(0, ombrel_uninit_lock(&lock)); }

    // What a thread that waits does.
    void take_and_release(uint32_t timeout = def_ombrel_infinite) {
        EXPECT_EQ(0, ombrel_lock_timeout_tag(&lock, timeout, "waiter", 9));
        EXPECT_EQ(0, ombrel_unlock(&lock));
    }
    std::jthread start_waiter() {
        return std::jthread([this] { take_and_release(); });
    }

    // Live claims, as the heap lists them.
    static size_t claim_count() {
        size_t count = 0;
        const auto is_claim = [](const ombrel_heap_block_t* block, void* context) {
            *static_cast<size_t*>(context) += strcmp(block->m_tag, "__ombrel_new_lock_claim") == 0;
            return 0;
        };
        ombrel_get_alloc_list(0, is_claim, &count);
        return count;
    }

    struct claim_record { // the documented part of a claim
        claim_record *previous, *next;
        uint64_t thread_id;
        int read_end, write_end;
    };

    /// The write end of the longest waiter once so many stand in line; negative while it has no pipe.
    static int await_waiters(ombrel_lock_t& lock, size_t count) {
        for (;; std::this_thread::yield()) {
            ombrel_short_lock(&lock.m_guard);
            const auto* head = reinterpret_cast<const claim_record*>(lock.m_waiters_head);
            size_t found = 0;
            for (const claim_record* claim = head; claim != nullptr; claim = claim->next)
                found++;
            const int write_end = head != nullptr ? __atomic_load_n(&head->write_end, __ATOMIC_RELAXED) : -1;
            ombrel_short_unlock(&lock.m_guard);
            if (found >= count)
                return write_end;
        }
    }

    // A waiter's sleep is light at first, and on a pipe after some milliseconds.
    static void outlast_light_sleep() { std::this_thread::sleep_for(std::chrono::milliseconds(40)); }

    ombrel_lock_t lock;

private:
    ombrel_test::descriptor_balance descriptors_;
};

} // namespace

TEST(LockRecord, StartsWithTheDocumentedValues) {
    const ombrel_lock_t fresh = def_ombrel_lock_initializer;
    EXPECT_EQ(0x80u, fresh.m_flags);
    EXPECT_EQ(0xFFFFFFFFu, fresh.m_dead_lock_duration);
    EXPECT_EQ(nullptr, fresh.m_owners);
    EXPECT_STREQ("ombrel_init_lock_tag", fresh.m_tag);
    EXPECT_EQ(141u, fresh.m_line);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(32u, sizeof fresh);
    }
}

TEST_F(LockTest, TryingTakesAFreeLockOnce) {
    EXPECT_EQ(1, ombrel_try_lock(&lock));
    EXPECT_EQ(1u, claim_count());
    EXPECT_EQ(0, ombrel_try_lock(&lock)) << "not thread-aware, so the same thread cannot take it again";
    EXPECT_EQ(1u, claim_count());
    EXPECT_EQ(0, ombrel_unlock(&lock));
    EXPECT_EQ(0u, claim_count());
}

TEST_F(LockTest, NullIsRefusedAndOnlyAllocatedLocksAreFreed) {
    EXPECT_EQ(-1, ombrel_lock(nullptr));
    EXPECT_EQ(0, ombrel_try_lock(nullptr));
    EXPECT_EQ(-1, ombrel_unlock(nullptr));
    EXPECT_EQ(-1, ombrel_uninit_lock(nullptr));
    EXPECT_EQ(0, ombrel_free_lock(nullptr));
    ombrel_lock_t* allocated = ombrel_new_lock();
    EXPECT_EQ(0x8080u, allocated->m_flags);
    EXPECT_EQ(0, ombrel_free_lock(allocated));
    EXPECT_EQ(0, ombrel_free_lock(&lock)) << "an embedded lock is left where it is";
}

TEST_F(LockTest, ThreadAwareLockNeedsAsManyUnlocksAsLocks) {
    lock.m_flags |= def_ombrel_lock_flag_thread_aware;
    ASSERT_EQ(0, ombrel_lock(&lock));
    ASSERT_EQ(0, ombrel_lock(&lock));
    for (const int expected : {0, 0, 1}) {
        std::thread([&] { EXPECT_EQ(expected, ombrel_try_lock(&lock)); }).join();
        EXPECT_EQ(0, ombrel_unlock(&lock)) << "any thread may release";
    }
}

TEST_F(LockTest, FiniteWaitGivesUpAndLeavesTheLine) {
    ASSERT_EQ(0, ombrel_lock(&lock));
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(-1, ombrel_lock_timeout(&lock, 60));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 59u);
    EXPECT_EQ(nullptr, lock.m_waiters_head);
    EXPECT_EQ(nullptr, lock.m_waiters_tail);
    EXPECT_EQ(0, ombrel_unlock(&lock));
}

TEST_F(LockTest, WaitersGetTheLockInTheOrderTheyCame) {
    for (const bool long_wait : {false, true}) {
        ASSERT_EQ(0, ombrel_lock(&lock));
        std::string order;
        std::vector<std::jthread> threads;
        for (char name = 'A'; name <= 'E'; name++) {
            threads.emplace_back([this, name, &order] {
                ASSERT_EQ(0, ombrel_lock(&lock));
                order += name;
                ASSERT_EQ(0, ombrel_unlock(&lock));
            });
            await_waiters(lock, static_cast<size_t>(name - 'A') + 1);
        }
        if (long_wait)
            outlast_light_sleep();
        EXPECT_EQ(0, ombrel_unlock(&lock));
        threads.clear();
        EXPECT_EQ("ABCDE", order);
    }
}

TEST_F(LockTest, AWaiterThatGivesUpLeavesTheOthersInLine) {
    ASSERT_EQ(0, ombrel_lock(&lock));
    std::atomic<bool> gave_up{false};
    std::thread impatient([&] {
        EXPECT_EQ(-1, ombrel_lock_timeout(&lock, 60));
        gave_up = true;
    });
    // On a busy machine it may give up before anybody stands behind it.
    await([&] { return claim_count() >= 2 || gave_up; });
    const std::jthread patient = start_waiter();
    await([&] { return claim_count() >= 3 || gave_up; });
    impatient.join();
    await_waiters(lock, 1);
    EXPECT_EQ(-1, ombrel_lock_timeout(&lock, 1)) << "from behind the patient one";
    EXPECT_EQ(lock.m_waiters_head, lock.m_waiters_tail);
    EXPECT_EQ(0, ombrel_unlock(&lock));
}

TEST_F(LockTest, ContendedLockAdmitsOneAtATime) {
    constexpr int threads = 4, rounds = 2000;
    int counter = 0;
    ombrel_test::in_threads(threads, [&](int i) {
        for (int round = 0; round < rounds; round++) {
            while (ombrel_lock_timeout(&lock, i % 2 == 0 ? def_ombrel_infinite : 1) != 0)
                std::this_thread::yield();
            counter++;
            ombrel_unlock(&lock);
        }
    });
    EXPECT_EQ(counter, threads * rounds);
}

TEST_F(LockTest, ALockMayEndRightAfterTheLastHolderGotIt) {
    for (int round = 0; round < 100; round++) {
        ombrel_lock_t* shared = ombrel_new_lock();
        ASSERT_EQ(0, ombrel_lock(shared));
        std::thread last([shared] {
            EXPECT_EQ(0, ombrel_lock(shared));
            EXPECT_EQ(0, ombrel_unlock(shared));
            EXPECT_EQ(0, ombrel_free_lock(shared));
        });
        await_waiters(*shared, 1);
        if (round % 20 == 0)
            outlast_light_sleep();
        ombrel_unlock(shared);
        last.join();
    }
}

TEST_F(LockTest, WaiterWithoutAPipePolls) {
    lock.m_flags |= def_ombrel_lock_flag_error;
    const error_output output;
    ASSERT_EQ(0, ombrel_lock(&lock));
    std::atomic<bool> go{false};
    std::jthread waiter([&] {
        await([&] { return go.load(); });
        take_and_release();
    });
    {
        const ombrel_test::descriptor_shortage shortage;
        go = true;
        await([&] { return !output.text().empty(); });
        ombrel_load_balance_short();
        EXPECT_EQ(0, ombrel_unlock_tag(&lock, "holder", 8));
    }
    waiter.join();
    EXPECT_EQ(output.text(), std::string("ombrel_lock: [ERROR] " RED("pipe for claim failed !")) +
                                 " (caller=\"waiter:9\", " + initialized + "ombrel_lock: [ERROR] " +
                                 RED("__ombrel_wakeup_lock_claim failed by unlock !") +
                                 " (caller=\"holder:8\", wakeup_claim=\"waiter:9\", recursive_count=0, "
                                 "wait_count=1, " +
                                 initialized);
}

TEST_F(LockTest, TroubleWithThePipeIsReportedWhenWarningsAreWanted) {
#if defined(_WIN32)
    GTEST_SKIP() << "this host interrupts no thread, and its descriptors are not those of the pipes below";
#else
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGUSR1, &ignore, nullptr);
    const std::string pending = "ombrel_lock: [WARNING] " RED("lock pending !") " (";
    const std::string caller = std::string(", caller=\"waiter:9\", ") + initialized;
    for (const uint32_t flags : {0x40u, 0x20u}) {
        lock.m_flags = def_ombrel_lock_flag_initialized | flags;
        const error_output output;
        ASSERT_EQ(0, ombrel_lock(&lock));
        std::thread waiter([this] { take_and_release(60'000); });
        int write_end;
        await([&] { return (write_end = await_waiters(lock, 1)) >= 0; });
        const bool reports = flags == 0x20;
        const auto reported = [&](const char* reason) {
            return output.text().find(reason) != std::string::npos;
        };
        for (int i = 0; reports ? !reported("interrupted or error") : i < 3; i++) {
            pthread_kill(waiter.native_handle(), SIGUSR1);
            ombrel_load_balance();
        }
        const int other = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(other, write_end);
        close(other);
        for (int i = 0; reports ? !reported("broken pipe") : i < 3; i++)
            ombrel_load_balance();
        EXPECT_EQ(0, ombrel_unlock(&lock));
        waiter.join();
        for (const char* reason : {"interrupted or error", "broken pipe"})
            EXPECT_EQ(reported((pending + reason + caller).c_str()), reports) << output.text();
    }
#endif
}

TEST_F(LockTest, UnlockingAFreeLockIsReportedWhenErrorsAreWanted) {
    const struct {
        uint32_t flags;
        bool printed;
    } cases[] = {{0, false}, {0x10, true}, {0x20, true}, {0x40, true}, {0x100, false}};
    for (const auto& [flags, printed] : cases) {
        const error_output output;
        lock.m_flags = def_ombrel_lock_flag_initialized | flags;
        EXPECT_EQ(-1, ombrel_unlock_tag(&lock, "caller", 5));
        const std::string expected = std::string("ombrel_lock: [ERROR] " RED("unlock failed !")) +
                                     " (no-owner, recursive_count=0, wait_count=0, caller=\"caller:5\", " +
                                     initialized;
        EXPECT_EQ(output.text(), printed ? expected : "") << flags;
    }
}

TEST_F(LockTest, EndlessWaitReportsEveryClaimOfTheHolder) {
    lock.m_flags |= def_ombrel_lock_flag_thread_aware;
    lock.m_dead_lock_duration = 30;
    const error_output output;
    ASSERT_EQ(0, ombrel_lock_timeout_tag(&lock, 0, "first", 1));
    ASSERT_EQ(0, ombrel_lock_timeout_tag(&lock, 0, "second", 2));
    std::jthread waiter = start_waiter();
    await([&] { return output.text().find("first") != std::string::npos; });
    EXPECT_EQ(0, ombrel_unlock(&lock));
    EXPECT_EQ(0, ombrel_unlock(&lock));
    waiter.join();
    const std::string owner = " (thread_id=" + std::to_string(ombrel_get_thread_id()) + ", " + initialized;
    EXPECT_EQ(output.text(), std::string("ombrel_lock: [WARNING] " RED("dead-lock !")) +
                                 " (duration=30, caller=\"waiter:9\", recursive_count=2, wait_count=1, " +
                                 initialized + "  - locked by \"second:2\"" + owner +
                                 "  - locked by \"first:1\"" + owner);
}

/// Holds a report between its first line and those about the claims.
struct slow_report {
    static inline std::atomic<bool> begun{false}, goes_on{false}, lists_claims{false};

    static unsigned put(const char* text) {
        if (text != nullptr && strstr(text, "dead-lock") != nullptr)
            begun = true;
        await([] { return !begun || goes_on; });
        lists_claims = lists_claims || (text != nullptr && strstr(text, "locked by") != nullptr);
        return 0;
    }
};

TEST_F(LockTest, AReportLooksAtTheClaimsUnderTheGuard) {
    lock.m_dead_lock_duration = 5;
    ombrel_puts_handler_t before = nullptr;
    ombrel_set_error_puts_handler(slow_report::put, &before);
    ASSERT_EQ(0, ombrel_lock(&lock));
    {
        const ombrel_test::waiting_call waiter([this] { take_and_release(); });
        await([] { return slow_report::begun.load(); });
        ombrel_short_lock(&lock.m_guard);
        slow_report::goes_on = true;
        EXPECT_TRUE(waiter.is_waiting());
        EXPECT_FALSE(slow_report::lists_claims);
        ombrel_short_unlock(&lock.m_guard);
        await([] { return slow_report::lists_claims.load(); });
        EXPECT_EQ(0, ombrel_unlock(&lock));
    }
    ombrel_set_error_puts_handler(before, nullptr);
}

TEST_F(LockTest, EndingAHeldLockWaitsAndReports) {
    lock.m_flags |= def_ombrel_lock_flag_warning;
    lock.m_dead_lock_duration = 5;
    const error_output output;
    ASSERT_EQ(0, ombrel_lock_timeout_tag(&lock, 0, "holder", 1));
    std::thread ender([this] { EXPECT_EQ(0, ombrel_uninit_lock_tag(&lock, "ender", 3)); });
    await([&] { return output.text().find("  - locked by") != std::string::npos; });
    EXPECT_EQ(0, ombrel_unlock(&lock));
    ender.join();
    const std::string text = output.text();
    const std::string counts = "recursive_count=1, wait_count=0, caller=\"ender:3\", ";
    EXPECT_EQ(0u, text.find("ombrel_lock: [WARNING] pending lock wait... (locked by \"holder:1\", " + counts +
                            initialized))
        << text;
    EXPECT_NE(text.find("ombrel_lock: [ERROR] " RED("pending lock wait !") " (" + counts + initialized +
                        "  - locked by \"holder:1\" (thread_id=0, " + initialized),
              std::string::npos)
        << text;
}
