// Clocks, threads, words that one sleeps on.
#include <atomic>
#include <climits>
#include <ctime>
#include <memory>
#include <set>
#include <thread>

#include "platform/seam_support.h"
#include "platform/single_thread.h"
#include "platform/time_zone.h"
#include "platform/wait_word.h"
#include "support/threads.h"

using namespace ombrel_test;

namespace {

TEST(Clock, NeverGoesBackAndCountsSleep) {
    uint64_t last = platform::monotonic_nanoseconds();
    for (int i = 0; i < 100000; i++) {
        const uint64_t now = platform::monotonic_nanoseconds();
        ASSERT_LE(last, now);
        last = now;
    }
    platform::sleep_milliseconds(20);
    EXPECT_LE(last + 20 * platform::nanoseconds_per_millisecond, platform::monotonic_nanoseconds());
}

TEST(Clock, LocalTimeIsThatOfTheLanguage) {
    for (const time_t moment : {std::time(nullptr), time_t{951'780'630}, time_t{1'720'000'000}}) {
        const platform::zone_state zone = platform::local_zone_at(moment);
        const time_t local = moment + zone.offset;
        char expected[32], actual[32];
        strftime(expected, sizeof expected, "%Y-%m-%d %H:%M:%S", std::localtime(&moment));
        strftime(actual, sizeof actual, "%Y-%m-%d %H:%M:%S", std::gmtime(&local));
        EXPECT_STREQ(expected, actual);
        EXPECT_EQ(std::localtime(&moment)->tm_isdst > 0, zone.is_summer);
        EXPECT_LT(0u, strnlen(zone.name, sizeof zone.name));
    }
}

TEST(Thread, EachHasAnIdOfItsOwn) {
    constexpr int count = 8;
    uint64_t ids[count + 1] = {platform::thread_id()};
    std::atomic<int> asked{0};
    in_threads(count, [&](int i) {
        ids[i + 1] = platform::thread_id();
        EXPECT_EQ(ids[i + 1], platform::thread_id());
        asked++;
        holds_soon([&] { return asked == count; }); // all of them live at once
    });
    const std::set<uint64_t> different(ids, ids + count + 1);
    EXPECT_EQ(size_t{count + 1}, different.size());
    EXPECT_EQ(0u, different.count(0));
    EXPECT_EQ(ids[0], platform::thread_id());
}

struct task {
    std::atomic<uint64_t> ran_by{0};
    uint64_t starter = platform::thread_id();
    bool was_alone = true;
};

void run_task(void* argument) {
    task& given = *static_cast<task*>(argument);
    // Even the least stack has room for a usual function.
    volatile char block[8192];
    for (size_t i = 0; i < sizeof block; i++)
        block[i] = static_cast<char>(i);
    given.was_alone = platform::has_one_thread();
    given.ran_by = platform::thread_id();
}

TEST(Thread, DetachedOnesRunWithTheirArgument) {
    for (const size_t stack_size : {size_t{0}, size_t{1}, size_t{64} << 10, size_t{4} << 20}) {
        const auto given = std::make_shared<task>();
        ASSERT_TRUE(platform::start_detached_thread(run_task, given.get(), stack_size));
        ASSERT_TRUE(holds_soon([&] { return given->ran_by != 0; }));
        EXPECT_NE(given->starter, given->ran_by);
        EXPECT_FALSE(given->was_alone);
    }
}

TEST(Thread, PriorityCanBeReadAndSetWhereTheHostHasOne) {
    platform::thread_priority own{};
    if (!platform::get_thread_priority(own))
        GTEST_SKIP() << "the host has no priorities of threads";
    EXPECT_LE(own.lowest, own.priority);
    EXPECT_LE(own.priority, own.highest);
    EXPECT_TRUE(platform::set_thread_priority(own.policy, own.priority));
    EXPECT_FALSE(platform::set_thread_priority(own.policy, own.highest + 1000));
}

TEST(WaitWord, AnotherValueIsNotWaitedFor) {
    std::atomic<uint32_t> word{1};
    platform::wait_while_equal(word, 0);
    int plain = 1;
    platform::wait_while_equal(&plain, 0, patience_ms);
}

TEST(WaitWord, AllSleepersWake) {
    std::atomic<uint32_t> word{0};
    std::atomic<int> awake{0};
    std::thread waker([&] {
        platform::sleep_milliseconds(30);
        word = 1;
        platform::wake_waiters(word);
        platform::wake_waiters(word); // with nobody asleep, too
    });
    in_threads(4, [&](int) {
        while (word == 0)
            platform::wait_while_equal(word, 0);
        awake++;
    });
    waker.join();
    EXPECT_EQ(4, awake);
}

TEST(WaitWord, ALimitedSleepEndsByItselfOrByItsWaker) {
    int word = 0;
    // May return early, but not always: it sleeps.
    const uint64_t start = platform::monotonic_nanoseconds();
    unsigned turns = 0;
    for (; platform::monotonic_nanoseconds() - start < 100 * platform::nanoseconds_per_millisecond; turns++)
        platform::wait_while_equal(&word, 0, 50);
    EXPECT_LT(turns, 100u);

    std::thread sleeper([&] {
        while (__atomic_load_n(&word, __ATOMIC_ACQUIRE) == 0)
            platform::wait_while_equal(&word, 0, patience_ms);
    });
    platform::sleep_milliseconds(30);
    __atomic_store_n(&word, 1, __ATOMIC_RELEASE);
    platform::wake_waiter(&word);
    sleeper.join();

    const auto gone = std::make_unique<int>(0);
    platform::wake_waiter(gone.get() + 4096); // an address that is nobody's
}

} // namespace
