#include <atomic>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <ombrel/heap.h>
#include <ombrel/thread.h>

#include "support/child.h"

namespace {

std::atomic<uint64_t> id_of_thread{0};

void keep_id(void* argument) {
    EXPECT_EQ(argument, &id_of_thread);
    id_of_thread = ombrel_get_thread_id();
}

uint64_t await_id() {
    while (id_of_thread == 0)
        std::this_thread::yield();
    return id_of_thread.exchange(0);
}

} // namespace

TEST(Thread, IdBelongsToTheThread) {
    const uint64_t own = ombrel_get_thread_id();
    EXPECT_NE(0u, own);
    EXPECT_EQ(ombrel_get_thread_id(), own);
    uint64_t other = 0;
    std::thread([&] { other = ombrel_get_thread_id(); }).join();
    EXPECT_NE(other, own);
    if (!ombrel_test::can_fork)
        return;
    const auto has_own_id = [] { return ombrel_get_thread_id() == static_cast<uint64_t>(getpid()); };
    EXPECT_EQ(0, ombrel_test::in_child(has_own_id)) << "a child's thread is not its parent's";
}

TEST(Thread, DetachedThreadRunsWhateverStackWasAskedFor) {
    const size_t blocks = ombrel_get_alloc_count();
    for (const size_t stack : {size_t{0}, size_t{1}, size_t{256 * 1024}, SIZE_MAX / 2}) {
        EXPECT_EQ(0, ombrel_detached_thread_ex(keep_id, &id_of_thread, stack));
        EXPECT_NE(await_id(), ombrel_get_thread_id()) << stack;
    }
    EXPECT_EQ(0, _ombrel_internal_detached_thread_ex(keep_id, &id_of_thread, 3, 4));
    EXPECT_NE(0u, await_id());
    EXPECT_EQ(-1, ombrel_detached_thread_ex(nullptr, nullptr, 0));
    while (ombrel_get_alloc_count() != blocks)
        std::this_thread::yield();
}

#if defined(_WIN32)

TEST(Thread, PriorityIsNotSupported) {
    int policy = 0, priority = 0, min = 0, max = 0;
    EXPECT_EQ(-1, ombrel_get_thread_schedule_priority_self(&policy, &priority, &min, &max));
    EXPECT_TRUE(policy == -1 && priority == -1 && min == -1 && max == 1);
    EXPECT_EQ(-1, ombrel_get_thread_schedule_priority_self(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_set_thread_schedule_priority_self(0, 0));
    for (const auto set :
         {ombrel_set_thread_schedule_priority_min_self, ombrel_set_thread_schedule_priority_max_self,
          ombrel_set_thread_schedule_priority_normal_self})
        EXPECT_EQ(-1, set());
}

#else

TEST(Thread, PriorityLiesInTheRangeOfItsPolicy) {
    int policy, priority, min, max;
    ASSERT_EQ(0, ombrel_get_thread_schedule_priority_self(&policy, &priority, &min, &max));
    EXPECT_EQ(policy, sched_getscheduler(0));
    EXPECT_EQ(min, sched_get_priority_min(policy));
    EXPECT_EQ(max, sched_get_priority_max(policy));
    EXPECT_EQ(0, ombrel_get_thread_schedule_priority_self(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, ombrel_set_thread_schedule_priority_self(policy, priority));
    EXPECT_EQ(-1, ombrel_set_thread_schedule_priority_self(policy, max + 1));
    // Where the host allows it, with a policy that has a range.
    const sched_param lowest = {sched_get_priority_min(SCHED_RR)};
    std::thread([&] {
        pthread_setschedparam(pthread_self(), SCHED_RR, &lowest);
        ASSERT_EQ(0, ombrel_get_thread_schedule_priority_self(nullptr, nullptr, &min, &max));
        const std::pair<int (*)(), int> cases[] = {
            {ombrel_set_thread_schedule_priority_max_self, max},
            {ombrel_set_thread_schedule_priority_normal_self, min + (max - min) / 2},
            {ombrel_set_thread_schedule_priority_min_self, min}};
        for (const auto& [set, expected] : cases) {
            EXPECT_EQ(0, set());
            ASSERT_EQ(0, ombrel_get_thread_schedule_priority_self(nullptr, &priority, nullptr, nullptr));
            EXPECT_EQ(priority, expected);
        }
    }).join();
}

#endif
