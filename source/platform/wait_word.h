// Sleeping until another thread changes a word.
#pragma once

#include <atomic>
#include <cstdint>

namespace ombrel::platform {

/// Sleeps while the word holds `value`, until wake_waiters(); may return early.
void wait_while_equal(const std::atomic<uint32_t>& word, uint32_t value);

/// Wakes every thread that sleeps on the word.
void wake_waiters(const std::atomic<uint32_t>& word);

/// Sleeps while the word holds `value`, until wake_waiter(), for about so long at most; may return early.
void wait_while_equal(const int* word, int value, uint32_t milliseconds);

/// Wakes a thread that sleeps on the word. The memory at the address is not touched and may be gone.
void wake_waiter(const int* address);

} // namespace ombrel::platform
