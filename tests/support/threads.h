// The same work in several threads at once.
#pragma once

#include <latch>
#include <thread>
#include <vector>

namespace ombrel_test {

/// Runs work(0) to work(count - 1), each in a thread of its own, and waits for all. They begin together, so
/// that short work meets too.
template<typename Work>
void in_threads(int count, const Work& work) {
    std::vector<std::thread> threads;
    std::latch start(count);
    for (int i = 0; i < count; i++)
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

/// Waits until the condition holds.
template<typename Condition>
void await(const Condition& condition) {
    while (!condition())
        std::this_thread::yield();
}

} // namespace ombrel_test
