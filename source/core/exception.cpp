#include <ombrel/exception.h>

#include <cstdio>
#include <cstdlib>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/time.h>

#include "core/block.h"
#include "core/live_list.h"
#include "core/readable.h"
#include "core/short_lock_guard.h"
#include "platform/allocator.h"
#include "platform/thread.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/exception";
constexpr const char label[] = "CONSOLE #";
constexpr size_t entry_limit = 4096;
constexpr int block_limit = 128;

using section_list = live_list<ombrel_exception_t, block_kind::exception>;

struct {
    ombrel_short_lock_t lock;
    int force_dump OMBREL_GUARDED_BY(lock) = -1;
    section_list sections OMBREL_GUARDED_BY(lock);
} trail;

// A child process has one thread only: a lock that another thread held at the fork would stay held in it.
void hold_trail_and_heap() OMBREL_ACQUIRES(trail.lock) {
    take(trail.lock); // trail first, heap second: the order of the two locks
    hold_heap();
}

void release_trail_and_heap() OMBREL_RELEASES(trail.lock) {
    release_heap();
    release(trail.lock);
}

const struct fork_guard {
    fork_guard() {
        platform::surround_forks(hold_trail_and_heap, release_trail_and_heap, release_trail_and_heap);
    }
} guard_of_forks;

// The number of sections with this one; 0 when there is no memory to remember it.
size_t link_entry(ombrel_exception_t* entry) {
    const short_lock_guard guard(trail.lock);
    return trail.sections.add(entry) ? trail.sections.count() : 0;
}

// What a report says of a section that is not there, or of one whose links are damaged.
const char* unlink_entry(ombrel_exception_t* entry) {
    const short_lock_guard guard(trail.lock);
    if (!section_list::holds(entry))
        return "invalid argument";
    return trail.sections.remove(entry) ? nullptr : "broken exception node";
}

void print_entry(const ombrel_exception_t* entry, uint64_t now) {
    const uint64_t age = now > entry->m_time_stamp ? now - entry->m_time_stamp : 0;
    const readable_text file(entry->m_file), function(entry->m_function);
    fprintf(stderr, "%s     %s:%s():%lu (-%llu msec)\n", label, file.get(), function.get(), entry->m_line,
            static_cast<unsigned long long>(age));
}

void print_entries() OMBREL_REQUIRES(trail.lock) {
    OMBREL_INVARIANT(is_held(trail.lock));
    const uint64_t now = ombrel_time_stamp_msec();
    const ombrel_exception_t* entry = trail.sections.newest();
    for (size_t left = trail.sections.count(); left > 0; left--) {
        if (entry == nullptr) {
            fprintf(stderr, "%s     broken section list (%zu more)\n", label, left);
            return;
        }
        print_entry(entry, now);
        if (entry->m_older == entry) {
            ombrel_assert_fail_tag(source_name, "ombrel_dump_exception_tag", 240, "broken exception node");
            return;
        }
        entry = trail.sections.older_than(entry);
    }
}

int print_block(const ombrel_heap_block_t* block, void*) {
    fprintf(stderr, "%s [ALLOCATED:%s():%lu] %zu bytes at %p\n", label, block->m_tag, block->m_line,
            block->m_size, static_cast<const void*>(block->m_self + 1));
    return 0;
}

} // namespace

void* ombrel_add_exception_tag(const char* file, const char* function, unsigned long line) {
    auto* entry = static_cast<ombrel_exception_t*>(malloc(sizeof(ombrel_exception_t)));
    if (entry != nullptr)
        *entry = {nullptr, nullptr, ombrel_time_stamp_msec(), file, function, line};
    const size_t count = entry != nullptr ? link_entry(entry) : 0;
    if (count == 0) {
        free(entry);
        ombrel_assert_fail_tag(source_name, "ombrel_add_exception_tag", 84, "not enough memory");
        return nullptr;
    }
    if (count > entry_limit)
        ombrel_assert_fail_tag(source_name, "ombrel_add_exception_tag", 120, "too many exception entry");
    return entry;
}

int ombrel_del_exception_tag(void* entry) {
    if (entry == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_del_exception_tag", 133, "invalid argument");
        return 0;
    }
    if (const char* mistake = unlink_entry(static_cast<ombrel_exception_t*>(entry)))
        ombrel_assert_fail_tag(source_name, "ombrel_del_exception_tag", 133, mistake);
    else if (platform::can_be_freed(entry, sizeof(ombrel_exception_t), platform::look::near))
        free(entry);
    return 0;
}

int ombrel_dump_exception_tag(int force, const char* file, const char* function, unsigned long line) {
    size_t count, size, peak;
    ombrel_get_alloc_info(&count, &size, &peak);
    const short_lock_guard guard(trail.lock); // before the heap's, which the list below takes
    if (trail.force_dump == 0)
        return 0;
    if (force == 0 && trail.sections.count() == 0 && count == 0 && size == 0)
        return 0;
    fprintf(stderr, "%s dump exception at %s:%s:%lu (section=%zu, heap size/count/peak=%zu/%zu/%zu)%s\n",
            label, file, function, line, trail.sections.count(), size, count, peak,
            trail.sections.count() != 0 ? " {" : ".");
    if (trail.sections.count() != 0) {
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
