// Threads of the host, and the pauses of loops that wait for them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

/// The calling thread's id, never 0: no other thread has it at the same time.
uint64_t thread_id();

/// A value that is the calling thread's own for as long as it lives, never null, where asking for its id
/// would cost too much.
#if defined(_WIN32)
const void* thread_mark();
#else
inline thread_local char own_thread_mark;
inline const void* thread_mark() {
    return &own_thread_mark;
}
#endif

/// Sleeps at least so long, interrupted or not.
void sleep_milliseconds(uint32_t milliseconds);

void yield_processor();

/// Tells the processor that the caller spins.
inline void relax_processor() {
#if defined(__i386__) || defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__ARM_ARCH_7A__)
    asm volatile("yield" ::: "memory");
#endif
}

/// Runs `entry(argument)` on a new detached thread; `stack_size` 0 means the host's default; the
/// host's least takes the place of anything smaller. False when there can be no more threads.
bool start_detached_thread(void (*entry)(void*), void* argument, size_t stack_size);

/// Has `before` called before each fork of the process and, behind it, one function in the parent and another
/// in the child. Null calls nothing. Nothing to do where processes do not fork.
void surround_forks(void (*before)(), void (*in_parent)(), void (*in_child)());

/// Scheduling policy and priority of the calling thread, with the policy's range.
struct thread_priority {
    int policy, priority, lowest, highest;
};
bool get_thread_priority(thread_priority& result);
bool set_thread_priority(int policy, int priority);

} // namespace ombrel::platform
