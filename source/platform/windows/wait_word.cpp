#include "platform/wait_word.h"

#include <algorithm>

#include "platform/fault.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

namespace {

template<typename Word>
void wait(const Word* word, Word value, DWORD milliseconds) {
    WaitOnAddress(const_cast<Word*>(word), &value, sizeof value, milliseconds);
}

} // namespace

void wait_while_equal(const std::atomic<uint32_t>& word, uint32_t value) {
    static_assert(sizeof word == sizeof value, "the address of the atomic is that of its word");
    wait(reinterpret_cast<const uint32_t*>(&word), value, INFINITE);
}

void wake_waiters(const std::atomic<uint32_t>& word) {
    WakeByAddressAll(const_cast<std::atomic<uint32_t>*>(&word));
}

void wait_while_equal(const int* word, int value, uint32_t milliseconds) {
    wait(word, value, std::min<DWORD>(milliseconds, INFINITE - 1));
}

void wake_waiter(const int* address) {
    WakeByAddressSingle(const_cast<int*>(address));
}

} // namespace ombrel::platform
