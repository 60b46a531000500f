#include <ombrel/exception.h>

#include <cstdio>
#include <cstdlib>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/time.h>

#include "core/block.h"
#include "core/short_lock_guard.h"
#include "platform/thread.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/exception";
constexpr const char label[] = "CONSOLE #";
constexpr size_t entry_limit = 4096;
constexpr int block_limit = 128;

struct {
    ombrel_short_lock_t lock;
    ombrel_exception_t* newest;
    size_t count;
    int force_dump = -1;
} trail;

// A child process has one thread only: a lock that another thread held at the fork would stay held in it.
void hold_trail_and_heap() {
    take(trail.lock); // trail first, heap second: the order of the two locks
    hold_heap();
}

void release_trail_and_heap() {
    release_heap();
    release(trail.lock);
}

const struct fork_guard {
    fork_guard() {
        platform::surround_forks(hold_trail_and_heap, release_trail_and_heap, release_trail_and_heap);
    }
} guard_of_forks;

size_t link_entry(ombrel_exception_t* entry) {
    const short_lock_guard guard(trail.lock);
    entry->m_newer = nullptr;
    entry->m_older = trail.newest;
    if (trail.newest != nullptr)
        trail.newest->m_newer = entry;
    trail.newest = entry;
    return ++trail.count;
}

void unlink_entry(ombrel_exception_t* entry) {
    const short_lock_guard guard(trail.lock);
    if (entry->m_newer != nullptr)
        entry->m_newer->m_older = entry->m_older;
    else
        trail.newest = entry->m_older;
    if (entry->m_older != nullptr)
        entry->m_older->m_newer = entry->m_newer;
    trail.count--;
}

void print_entries() {
    const uint64_t now = ombrel_time_stamp_msec();
    for (const ombrel_exception_t* entry = trail.newest; entry != nullptr; entry = entry->m_older) {
        const uint64_t age = now > entry->m_time_stamp ? now - entry->m_time_stamp : 0;
        fprintf(stderr, "%s     %s:%s():%lu (-%lu msec)\n", label, entry->m_file, entry->m_function,
                entry->m_line, static_cast<unsigned long>(age));
        if (entry->m_older == entry) {
            ombrel_assert_fail_tag(source_name, "ombrel_dump_exception_tag", 240, "broken exception node");
            return;
        }
    }
}

int print_block(const ombrel_heap_block_t* block, void*) {
    fprintf(stderr, "%s [ALLOCATED:%s():%lu] %lu bytes at %p\n", label, block->m_tag, block->m_line,
            static_cast<unsigned long>(block->m_size), static_cast<const void*>(block + 1));
    return 0;
}

} // namespace

void* ombrel_add_exception_tag(const char* file, const char* function, unsigned long line) {
    auto* entry = static_cast<ombrel_exception_t*>(malloc(sizeof(ombrel_exception_t)));
    if (entry == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_add_exception_tag", 84, "not enough memory");
        return nullptr;
    }
    entry->m_time_stamp = ombrel_time_stamp_msec();
    entry->m_file = file;
    entry->m_function = function;
    entry->m_line = line;
    if (link_entry(entry) > entry_limit)
        ombrel_assert_fail_tag(source_name, "ombrel_add_exception_tag", 120, "too many exception entry");
    return entry;
}

int ombrel_del_exception_tag(void* entry) {
    if (entry == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_del_exception_tag", 133, "invalid argument");
        return 0;
    }
    unlink_entry(static_cast<ombrel_exception_t*>(entry));
    free(entry);
    return 0;
}

int ombrel_dump_exception_tag(int force, const char* file, const char* function, unsigned long line) {
    size_t count, size, peak;
    ombrel_get_alloc_info(&count, &size, &peak);
    const short_lock_guard guard(trail.lock); // before the heap's, which the list below takes
    if (trail.force_dump == 0)
        return 0;
    if (force == 0 && trail.newest == nullptr && count == 0 && size == 0)
        return 0;
    fprintf(stderr, "%s dump exception at %s:%s:%lu (section=%lu, heap size/count/peak=%lu/%lu/%lu)%s\n",
            label, file, function, line, static_cast<unsigned long>(trail.count),
            static_cast<unsigned long>(size), static_cast<unsigned long>(count),
            static_cast<unsigned long>(peak), trail.newest != nullptr ? " {" : ".");
    if (trail.newest != nullptr) {
        print_entries();
        fprintf(stderr, "%s }\n", label);
    }
    ombrel_get_alloc_list(block_limit, print_block, nullptr);
    return 0;
}

int ombrel_set_force_dump_exception(int value) {
    const short_lock_guard guard(trail.lock);
    trail.force_dump = value;
    return value;
}
