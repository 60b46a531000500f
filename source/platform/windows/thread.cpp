#include "platform/thread.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <process.h>

#include "platform/clock.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

uint64_t thread_id() {
    return GetCurrentThreadId();
}

// The id, which costs little here: variables of threads would bring a run-time library along.
const void* thread_mark() {
    return reinterpret_cast<const void*>(static_cast<uintptr_t>(GetCurrentThreadId()));
}

// Sleep() counts the ticks of the system, so it may end within the last one.
void sleep_milliseconds(uint32_t milliseconds) {
    const uint64_t end = monotonic_nanoseconds() + milliseconds * nanoseconds_per_millisecond;
    DWORD left = std::min<DWORD>(milliseconds, INT_MAX); // the highest number would mean for ever
    do
        Sleep(left);
    while ((left = static_cast<DWORD>(milliseconds_until(end))) > 0);
}

void yield_processor() {
    SwitchToThread();
}

namespace {

struct start_block {
    void (*entry)(void*);
    void* argument;
};

unsigned __stdcall run_thread(void* block_address) {
    const start_block block = *static_cast<start_block*>(block_address);
    free(block_address);
    block.entry(block.argument);
    return 0;
}

} // namespace

// The size is that of the addresses kept for the stack; memory comes as it grows. The system has its own
// least.
bool start_detached_thread(void (*entry)(void*), void* argument, size_t stack_size) {
    auto* const block =
        stack_size <= UINT_MAX ? static_cast<start_block*>(malloc(sizeof(start_block))) : nullptr;
    if (block == nullptr)
        return false;
    *block = {entry, argument};
    const uintptr_t thread = _beginthreadex(nullptr, static_cast<unsigned>(stack_size), run_thread, block,
                                            STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0) {
        free(block);
        return false;
    }
    CloseHandle(reinterpret_cast<HANDLE>(thread));
    return true;
}

// Processes do not fork.
void surround_forks(void (*)(), void (*)(), void (*)()) {}

// Threads have no policy, and priorities of Windows are relative to their process: not supported, by design.
bool get_thread_priority(thread_priority&) {
    return false;
}

bool set_thread_priority(int, int) {
    return false;
}

} // namespace ombrel::platform
