// The same work in several threads at once.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

namespace ombrel_test {

/// Waits until the condition holds.
template<typename Condition>
void await(const Condition& condition) {
    while (!condition())
        std::this_thread::yield();
}

/// Runs work(0) to work(count - 1), each in a thread of its own, and waits for all. They begin together, so
/// that short work meets too. (On Windows std::latch has been seen to let a thread wait for ever.)
template<typename Work>
void in_threads(int count, const Work& work) {
    std::vector<std::thread> threads;
    std::atomic<int> missing = count;
    for (int i = 0; i < count; i++)
        threads.emplace_back([&, i] {
            missing--;
            await([&] { return missing == 0; });
            work(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace ombrel_test
