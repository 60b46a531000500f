#include "platform/thread.h"

#include <cerrno>
#include <cstdlib>
#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace ombrel::platform {

#if defined(__linux__)

namespace {

thread_local uint64_t own_id = 0;

// The only thread of a child process is another one than its parent's.
void forget_own_id() {
    own_id = 0;
}

uint64_t ask_own_id() {
    static bool forgets_at_fork = false;
    if (!__atomic_exchange_n(&forgets_at_fork, true, __ATOMIC_RELAXED))
        pthread_atfork(nullptr, nullptr, forget_own_id);
    return static_cast<uint64_t>(syscall(SYS_gettid));
}

} // namespace

// The number that the host's tools show; asked once a thread, as it costs a system call.
uint64_t thread_id() {
    if (own_id == 0)
        own_id = ask_own_id();
    return own_id;
}

#else

uint64_t thread_id() {
    return reinterpret_cast<uintptr_t>(pthread_self());
}

#endif

void sleep_milliseconds(uint32_t milliseconds) {
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void yield_processor() {
    sched_yield();
}

namespace {

struct start_block {
    void (*entry)(void*);
    void* argument;
};

void* run_thread(void* block_address) {
    const start_block block = *static_cast<start_block*>(block_address);
    free(block_address);
    block.entry(block.argument);
    return nullptr;
}

} // namespace

bool start_detached_thread(void (*entry)(void*), void* argument, size_t stack_size) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack_size != 0) {
        const size_t least = static_cast<size_t>(PTHREAD_STACK_MIN);
        pthread_attr_setstacksize(&attributes, stack_size < least ? least : stack_size);
    }
    bool started = false;
    if (auto* block = static_cast<start_block*>(malloc(sizeof(start_block)))) {
        *block = {entry, argument};
        pthread_t thread;
        started = pthread_create(&thread, &attributes, run_thread, block) == 0;
        if (!started)
            free(block);
    }
    pthread_attr_destroy(&attributes);
    return started;
}

void surround_forks(void (*before)(), void (*in_parent)(), void (*in_child)()) {
    pthread_atfork(before, in_parent, in_child);
}

bool get_thread_priority(thread_priority& result) {
    sched_param parameters;
    if (pthread_getschedparam(pthread_self(), &result.policy, &parameters) != 0)
        return false;
    result.priority = parameters.sched_priority;
    result.lowest = sched_get_priority_min(result.policy);
    result.highest = sched_get_priority_max(result.policy);
    return result.lowest != -1 && result.highest != -1;
}

bool set_thread_priority(int policy, int priority) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), policy, &parameters) == 0;
}

} // namespace ombrel::platform
