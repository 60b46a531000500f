#include <ombrel/thread.h>

#include <algorithm>

#include "core/heap_ptr.h"
#include "platform/thread.h"
#include "thread/thread_start.h"

namespace ombrel {

namespace {

// What the library's own reports may need on a thread's stack.
constexpr size_t smallest_stack = 64 * 1024;

bool start_with_stack(thread_start* block, void (*thread_handler)(void*), size_t stack_size) {
    if (stack_size == 0)
        return platform::start_detached_thread(thread_handler, block, 0);
    // A size that the host cannot give is a wish, no reason to do without the thread.
    return platform::start_detached_thread(thread_handler, block, std::max(stack_size, smallest_stack)) ||
           platform::start_detached_thread(thread_handler, block, 0);
}

} // namespace

bool start_thread(const thread_start& start, void (*thread_handler)(void*), size_t stack_size) {
    heap_ptr<thread_start> block(
        allocate_record<thread_start>("_ombrel_internal_detached_thread_ex", __LINE__));
    if (!block)
        return false;
    *block = start;
    if (!start_with_stack(block.get(), thread_handler, stack_size))
        return false;
    block.release();
    return true;
}

void run_thread_start(void* start_block) {
    auto* block = static_cast<thread_start*>(start_block);
    block->entry(block->argument);
    ombrel_free_tag(block, "ombrel_thread_handler", 65);
}

} // namespace ombrel

using namespace ombrel;

namespace {

int start_detached(ombrel_thread_entry_t entry, void* argument, size_t stack_size) {
    return entry != nullptr && start_thread({entry, argument}, run_thread_start, stack_size) ? 0 : -1;
}

int set_priority(int (*choose)(const platform::thread_priority&)) {
    platform::thread_priority now;
    return platform::get_thread_priority(now) && platform::set_thread_priority(now.policy, choose(now)) ? 0
                                                                                                        : -1;
}

void store(int* place, int value) {
    if (place != nullptr)
        *place = value;
}

} // namespace

uint64_t ombrel_get_thread_id(void) {
    return platform::thread_id();
}

int ombrel_detached_thread_ex(ombrel_thread_entry_t entry, void* argument, size_t option) {
    return start_detached(entry, argument, option);
}

int _ombrel_internal_detached_thread_ex(ombrel_thread_entry_t entry, void* argument, ...) {
    return start_detached(entry, argument, 0);
}

int ombrel_get_thread_schedule_priority_self(int* policy, int* priority, int* min, int* max) {
    platform::thread_priority now;
    const bool known = platform::get_thread_priority(now);
    if (!known)
        now = {-1, -1, -1, 1};
    store(policy, now.policy);
    store(priority, now.priority);
    store(min, now.lowest);
    store(max, now.highest);
    return known ? 0 : -1;
}

int ombrel_set_thread_schedule_priority_self(int policy, int priority) {
    return platform::set_thread_priority(policy, priority) ? 0 : -1;
}

int ombrel_set_thread_schedule_priority_min_self(void) {
    return set_priority([](const platform::thread_priority& now) { return now.lowest; });
}

int ombrel_set_thread_schedule_priority_max_self(void) {
    return set_priority([](const platform::thread_priority& now) { return now.highest; });
}

int ombrel_set_thread_schedule_priority_normal_self(void) {
    return set_priority(
        [](const platform::thread_priority& now) { return now.lowest + (now.highest - now.lowest) / 2; });
}
