// What is shared by threads: locks under the standard's guards, conditions, services and queues with
// callables.
#include <ombrel_tuk.hpp>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_balance.h"

namespace {

using namespace std::chrono_literals;
using ThreadObjects = ombrel_test::balanced_test;

TEST_F(ThreadObjects, CountRightUnderEachKindOfGuard) {
    ombrel::lock first, second;
    int count = 0;
    std::vector<std::thread> threads;
    for (int kind = 0; kind < 4; kind++)
        threads.emplace_back([&, kind] {
            for (int i = 0; i < 2000; i++) {
                if (kind == 0) {
                    const std::lock_guard held(first);
                    count++;
                } else if (kind == 1) {
                    const std::unique_lock held(first, 1h);
                    count++;
                } else if (kind == 2) {
                    const std::scoped_lock held(first, second);
                    count++;
                } else {
                    const ombrel::guard held(first);
                    count++;
                }
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(8000, count);
}

TEST_F(ThreadObjects, TryAndGiveUpInTime) {
    ombrel::lock lock;
    const ombrel::guard held(lock);
    EXPECT_FALSE(lock.try_lock());
    EXPECT_FALSE(lock.try_lock_for(1us));
    EXPECT_FALSE(lock.try_lock_until(std::chrono::steady_clock::now() - 1s));
    ombrel::lock aware;
    aware.set_thread_aware();
    EXPECT_TRUE(aware.try_lock() && aware.try_lock());
    aware.unlock();
    aware.unlock();
}

TEST_F(ThreadObjects, WaitForWhatAnotherThreadSays) {
    ombrel::lock lock;
    ombrel::condition condition;
    int turn = 0;
    std::thread other([&] {
        std::unique_lock held(lock);
        condition.wait(held, [&] { return turn == 1; });
        turn = 2;
        condition.notify_all();
    });
    {
        ombrel::guard held(lock);
        EXPECT_FALSE(condition.wait_for(held, 1ms, [&] { return turn == 2; }));
        turn = 1;
        condition.notify_one();
        EXPECT_TRUE(condition.wait_for(held, std::chrono::hours::max(), [&] { return turn == 2; }));
    }
    other.join();
}

TEST_F(ThreadObjects, RunServicesUntilTheirOwnersEnd) {
    std::atomic<int> passes{0};
    const auto kept = std::make_shared<int>(1);
    {
        auto service = ombrel::service::open("cpp_test", [&passes, kept](ombrel::service_ref self) {
            self.ack();
            while (!self.is_stopping()) {
                passes++;
                ombrel_load_balance();
            }
        });
        ASSERT_TRUE(service);
        EXPECT_EQ(1, service.ref().check());
        ombrel::service moved = std::move(service);
        EXPECT_FALSE(service);
        service = std::move(moved);
        while (passes == 0)
            ombrel_load_balance();
    }
    EXPECT_EQ(1, kept.use_count());
}

// A service that fails is given up while its thread may still be in the callable.
TEST_F(ThreadObjects, KeepTheCallableOfAFailedServiceUntilItReturns) {
    const std::size_t before = ombrel_get_alloc_count();
    std::atomic<bool> may_return{false}, has_returned{false};
    {
        const auto kept = std::make_shared<int>(1);
        EXPECT_FALSE(ombrel::service::open("cpp_test", [&, kept](ombrel::service_ref self) {
            self.fail();
            while (!may_return)
                std::this_thread::yield();
            has_returned = *kept == 1;
        }));
        may_return = true;
        while (kept.use_count() != 1)
            std::this_thread::yield();
    }
    EXPECT_TRUE(has_returned);
    EXPECT_FALSE(ombrel::service::open("cpp_test", [](ombrel::service_ref) {})) << "it never acknowledged";
    while (ombrel_get_alloc_count() != before)
        std::this_thread::yield();
}

TEST_F(ThreadObjects, HandEachPushToTheQueuesCallable) {
    std::atomic<std::size_t> bytes{0};
    auto queue = ombrel::handled_buffer::open([&](std::string_view data) { bytes += data.size(); });
    ASSERT_TRUE(queue);
    ombrel::handled_buffer moved = std::move(queue);
    EXPECT_FALSE(queue);
    EXPECT_EQ(5u, moved.get().push("bytes"));
    EXPECT_EQ(2u, moved.get().print("%d", 42));
    while (bytes != 7)
        std::this_thread::yield();
    moved = ombrel::handled_buffer();
    EXPECT_FALSE(moved);
}

} // namespace
