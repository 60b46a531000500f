#include <ombrel/heap.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/dump.h>
#include <ombrel/exception.h>

#include "core/block.h"
#include "core/block_cache.h"
#include "core/short_lock_guard.h"
#include "platform/system.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/heap";
constexpr size_t overhead = def_ombrel_heap_overhead;
constexpr size_t large_size = size_t{4}
                              << 20; // a failed request of this size is reported as an assertion too

// The accounts stand in cache lines of their own.
struct alignas(64) {
    ombrel_short_lock_t lock;
    ombrel_heap_block_t* newest;
    size_t count, size, peak;
    block_cache freed;
} heap;

unsigned char* data_of(ombrel_heap_block_t* block) {
    return reinterpret_cast<unsigned char*>(block + 1);
}

ombrel_heap_block_t* header_of(void* ptr) {
    return static_cast<ombrel_heap_block_t*>(ptr) - 1;
}

void write_trailer(ombrel_heap_block_t* block) {
    constexpr uint32_t magic = def_ombrel_heap_magic;
    memcpy(data_of(block) + block->m_size, &magic, sizeof magic);
}

bool is_magic_at(const unsigned char* address) {
    constexpr uint32_t magic = def_ombrel_heap_magic;
    return memcmp(address, &magic, sizeof magic) == 0;
}

// Whatever its size word says: that must lie within what the platform allocated, or the trailer is read
// through the checked copy, which is slow.
bool is_sound(ombrel_heap_block_t* block) {
    if (block->m_self != block)
        return false;
    const unsigned char* address = data_of(block) + block->m_size;
    if (platform::allocated_size(block) >= block->m_size + overhead)
        return is_magic_at(address);
    unsigned char trailer[sizeof(uint32_t)];
    return platform::copy_if_readable(trailer, address, sizeof trailer) && is_magic_at(trailer);
}

// An underrun reaches the size word first, and a false size can point anywhere. What lies on the header's own
// page can be read in any case.
bool is_sound_on_one_page(ombrel_heap_block_t* block) {
    constexpr uintptr_t page_size = 4096; // the smallest there is
    const auto header = reinterpret_cast<uintptr_t>(block);
    const uintptr_t trailer = header + sizeof *block + block->m_size;
    return block->m_self == block && (header ^ (trailer + sizeof(uint32_t) - 1)) < page_size &&
           is_magic_at(reinterpret_cast<const unsigned char*>(trailer));
}

void prepare(ombrel_heap_block_t* block, size_t size, const char* tag, unsigned long line) {
    block->m_tag = tag;
    block->m_line = line;
    block->m_self = block;
    block->m_size = size;
    write_trailer(block);
}

// Under the heap's lock.
void link_block(ombrel_heap_block_t* block) {
    const size_t total = block->m_size + overhead;
    heap.size += total;
    if (heap.size > heap.peak)
        heap.peak = heap.size;
    heap.count++;
    block->m_newer = nullptr;
    block->m_older = heap.newest;
    if (heap.newest != nullptr)
        heap.newest->m_newer = block;
    heap.newest = block;
}

// Takes a block out of the accounts; gives what is to go back to the platform, if anything.
inline ombrel_heap_block_t* unlink_block(ombrel_heap_block_t* block) {
    const short_lock_guard guard(heap.lock);
    // A second free is seen as damage. Atomic, as compilers leave out plain stores just before a free().
    __atomic_store_n(&block->m_self, nullptr, __ATOMIC_RELAXED);
    if (block->m_newer != nullptr)
        block->m_newer->m_older = block->m_older;
    else
        heap.newest = block->m_older;
    if (block->m_older != nullptr)
        block->m_older->m_newer = block->m_newer;
    heap.count--;
    heap.size -= block->m_size + overhead;
    return block_cache::wants(block->m_size) ? heap.freed.exchange(block) : block;
}

// A live block from the cache, or null.
[[gnu::noinline]] ombrel_heap_block_t* reuse(size_t size, const char* tag, unsigned long line) {
    const short_lock_guard guard(heap.lock);
    ombrel_heap_block_t* block = heap.freed.take(size);
    if (block == nullptr)
        return nullptr;
    prepare(block, size, tag, line);
    link_block(block);
    return block;
}

// What is rare is kept out of line, so that it costs the usual path nothing.
[[gnu::noinline]] void report_null_free(const char* tag, unsigned long line) {
    if (tag == nullptr || strcmp(tag, "operator delete") != 0)
        fprintf(stderr, "null pointer free ? (at \"%s\":%lu)\n", tag, line);
}

[[gnu::noinline]] void* refuse(const char* reason, const char* tag, unsigned long line) {
    fprintf(stderr, "not enough memory (%sat \"%s\":%lu)\n", reason, tag, line);
    return nullptr;
}

[[gnu::noinline]] void* refuse_for_want_of_memory(size_t size, const char* tag, unsigned long line) {
    refuse("", tag, line);
    if (size >= large_size)
        ombrel_assert_fail_tag(source_name, "ombrel_heap_tag", 210, "s_size < ((size_t)(4u << 20))");
    return nullptr;
}

inline void* allocate_silently(size_t size, const char* tag, unsigned long line) {
    const size_t rounded = (size + 3) & ~size_t{3};
    const size_t total = rounded + overhead;
    if (total < size)
        return refuse("overflow size, ", tag, line);
    if (heap.freed.may_hold(rounded))
        if (ombrel_heap_block_t* block = reuse(rounded, tag, line))
            return data_of(block);
    auto* block = static_cast<ombrel_heap_block_t*>(malloc(total));
    if (block == nullptr)
        return refuse_for_want_of_memory(rounded, tag, line);
    prepare(block, rounded, tag, line);
    const short_lock_guard guard(heap.lock);
    link_block(block);
    return data_of(block);
}

[[gnu::noinline]] void* allocate_nothing(const char* tag, unsigned long line) {
    fprintf(stderr, "zero size allocation ? (at \"%s\":%lu)\n", tag, line);
    return allocate_silently(0, tag, line);
}

void* allocate(size_t size, const char* tag, unsigned long line) {
    return size != 0 ? allocate_silently(size, tag, line) : allocate_nothing(tag, line);
}

// Shows what can be read of [address, address + size), 16 bytes at a time, so that no read can fault.
void dump_readable(const unsigned char* address, size_t size) {
    for (size_t position = 0; position < size; position += 16) {
        unsigned char line[16];
        const size_t bytes = size - position < sizeof line ? size - position : sizeof line;
        if (!platform::copy_if_readable(line, address + position, bytes))
            return;
        ombrel_dump_ex(0, 0, line, bytes, reinterpret_cast<uintptr_t>(address) + position);
    }
}

void report_damage(ombrel_heap_block_t* block, uint32_t trailer, const char* tag, unsigned long line) {
    fprintf(
        stderr,
        "fatal error: invalid magic code (free, magic_code=%08lXH, size=%lu, caller=\"%s:%lu\", pid=%d)\n",
        static_cast<unsigned long>(trailer), static_cast<unsigned long>(block->m_size), tag, line,
        platform::process_id());
    // No block can be larger than all live ones together: a greater size word is damaged, and the dump ends
    // with the header.
    const auto* start = reinterpret_cast<const unsigned char*>(block);
    const size_t live = ombrel_get_alloc_size();
    dump_readable(start, block->m_size <= live ? block->m_size + overhead : sizeof *block);
    fputs("=> REVERSE DUMP\n", stderr);
    for (uintptr_t i = 1; i <= 32; i++)
        dump_readable(start - i * 16, 16);
    ombrel_dump_exception_tag(1, source_name, "ombrel_heap_tag", 272);
}

// A damaged block is leaked, meant so: it must not reach the platform's free().
[[gnu::noinline]] void release_long_or_damaged(ombrel_heap_block_t* block, const char* tag,
                                               unsigned long line) {
    if (is_sound(block))
        return free(unlink_block(block));
    uint32_t trailer = 0;
    platform::copy_if_readable(&trailer, data_of(block) + block->m_size, sizeof trailer);
    report_damage(block, trailer, tag, line);
}

void release_block(void* ptr, const char* tag, unsigned long line) {
    ombrel_heap_block_t* block = header_of(ptr);
    if (is_sound_on_one_page(block))
        free(unlink_block(block));
    else
        release_long_or_damaged(block, tag, line);
}

// A size word above all live blocks together is damaged, and must not lead the copy out of readable memory.
void copy_contents(void* to, const void* from, size_t stored_size, size_t size) {
    const size_t bytes = size < stored_size ? size : stored_size;
    if (stored_size > ombrel_get_alloc_size())
        platform::copy_if_readable(to, from, bytes);
    else
        memcpy(to, from, bytes);
}

void* resize(void* ptr, size_t size, const char* tag, unsigned long line) {
    const size_t old_size = header_of(ptr)->m_size;
    // The stored size is compared with the request as it came, not rounded: meant so.
    if (old_size == size)
        return ptr;
    void* moved = allocate(size, tag, line);
    if (moved == nullptr)
        return nullptr;
    copy_contents(moved, ptr, old_size, size);
    release_block(ptr, tag, line);
    return moved;
}

} // namespace

void* ombrel::allocate_block(size_t size, const char* tag, unsigned long line) {
    return allocate(size, tag, line);
}

void ombrel::free_block(void* block, const char* tag, unsigned long line) {
    release_block(block, tag, line);
}

void ombrel::hold_heap() {
    take(heap.lock);
}

void ombrel::release_heap() {
    release(heap.lock);
}

void* ombrel_heap_tag(void* ptr, size_t size, const char* tag, unsigned long line) {
    if (ptr == nullptr)
        return allocate(size, tag, line);
    if (size != 0)
        return resize(ptr, size, tag, line);
    release_block(ptr, tag, line);
    return nullptr;
}

void* ombrel_heap_notag(void* ptr, size_t size) {
    return ombrel_heap_tag(ptr, size, "<NOTAG>", 0);
}

void* ombrel_alloc_tag(size_t size, const char* tag, unsigned long line) {
    return allocate(size, tag, line);
}

int ombrel_free_tag(void* ptr, const char* tag, unsigned long line) {
    if (ptr != nullptr)
        release_block(ptr, tag, line);
    else
        report_null_free(tag, line);
    return 0;
}

int ombrel_check_free_tag(void* ptr, const char* tag, unsigned long line) {
    if (ptr != nullptr)
        release_block(ptr, tag, line);
    return 0;
}

void* ombrel_realloc_tag(void* ptr, size_t size, const char* tag, unsigned long line) {
    return ombrel_heap_tag(ptr, size, tag, line);
}

void* ombrel_calloc_tag(size_t count, size_t size, const char* tag, unsigned long line) {
    // The product may wrap: the interface leaves that check to the caller.
    const size_t bytes = count * size;
    void* ptr = allocate(bytes, tag, line);
    if (ptr != nullptr)
        memset(ptr, 0, bytes);
    return ptr;
}

int ombrel_get_alloc_info(size_t* count, size_t* size, size_t* peak) {
    const short_lock_guard guard(heap.lock);
    if (count != nullptr)
        *count = heap.count;
    if (size != nullptr)
        *size = heap.size;
    if (peak != nullptr)
        *peak = heap.peak;
    return 0;
}

size_t ombrel_get_alloc_count(void) {
    size_t count;
    ombrel_get_alloc_info(&count, nullptr, nullptr);
    return count;
}

size_t ombrel_get_alloc_size(void) {
    size_t size;
    ombrel_get_alloc_info(nullptr, &size, nullptr);
    return size;
}

size_t ombrel_get_alloc_peak_size(void) {
    size_t peak;
    ombrel_get_alloc_info(nullptr, nullptr, &peak);
    return peak;
}

size_t ombrel_get_alloc_list(int max, ombrel_alloc_list_callback_t callback, void* context) {
    if (callback == nullptr)
        return 0;
    const short_lock_guard guard(heap.lock);
    size_t count = 0;
    for (const ombrel_heap_block_t* block = heap.newest; block != nullptr; block = block->m_older) {
        if (max > 0 && count >= static_cast<size_t>(max))
            break;
        if (callback(block, context) != 0)
            break;
        count++;
    }
    return count;
}

void* ombrel_check_ptr(void* ptr, void* fallback) {
    return ptr != nullptr ? ptr : fallback;
}
