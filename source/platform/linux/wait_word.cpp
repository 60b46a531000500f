#include "platform/wait_word.h"

#include <limits.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ombrel::platform {

void wait_while_equal(const std::atomic<uint32_t>& word, uint32_t value) {
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void wake_waiters(const std::atomic<uint32_t>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void wait_while_equal(const int* word, int value, uint32_t milliseconds) {
    // What the kernel takes by this number has words of the machine's size, whatever the library's timespec.
    const struct {
        long seconds, nanoseconds;
    } limit{static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1'000'000};
    syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, value, &limit, nullptr, 0);
}

void wake_waiter(const int* address) {
    syscall(SYS_futex, address, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

} // namespace ombrel::platform
