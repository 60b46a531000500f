#include <ombrel/heap.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <ombrel/assert.h>

#include "core/block.h"
#include "core/block_cache.h"
#include "core/block_view.h"
#include "core/live_list.h"
#include "core/readable.h"
#include "core/report_reserve.h"
#include "core/short_lock_guard.h"
#include "platform/allocator.h"
#include "platform/single_thread.h"
#include "platform/system.h"
#include "platform/thread.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/heap";
constexpr size_t overhead = def_ombrel_heap_overhead;
constexpr uint32_t magic = def_ombrel_heap_magic;
constexpr size_t large_size = size_t{4}
                              << 20; // a failed request of this size is reported as an assertion too

// What is known of the allocator below: whether its words tell of damage, and whether they did.
enum class knowledge : uint8_t { none, of_its_words, of_damage };

using block_list = live_list<ombrel_heap_block_t, block_kind::heap>;

// The accounts stand in cache lines of their own. What every call reads without the lock does not share one
// with what changes under it.
struct alignas(64) {
    ombrel_short_lock_t lock;
    size_t size OMBREL_GUARDED_BY(lock), peak OMBREL_GUARDED_BY(lock);
    block_list blocks OMBREL_GUARDED_BY(lock);
    block_cache freed OMBREL_GUARDED_BY(lock);
    report_reserve reserve;
    alignas(64) std::atomic<knowledge> known;
} heap;

// A brief_lock_guard without a wait, for the usual path: it makes no call for which registers would have to
// be saved.
class OMBREL_GUARD_CLASS heap_attempt {
public:
    heap_attempt() OMBREL_ACQUIRES(heap.lock) OMBREL_UNCHECKED : has_others_(!platform::has_one_thread()),
                                                                 holds_(!has_others_ || try_take(heap.lock)) {
    }
    ~heap_attempt() OMBREL_RELEASES() OMBREL_UNCHECKED {
        if (has_others_ && holds_)
            release(heap.lock);
    }
    heap_attempt(const heap_attempt&) = delete;
    heap_attempt& operator=(const heap_attempt&) = delete;

    bool holds() const { return holds_; }

private:
    const bool has_others_, holds_;
};

bool is_magic(const void* trailer) {
    return memcmp(trailer, &magic, sizeof magic) == 0;
}

inline bool is_known(knowledge what) {
    return heap.known.load(std::memory_order_relaxed) == what;
}

// Once there was damage in a process, more is looked for.
inline platform::look range_of_looks() {
    if (!is_known(knowledge::of_damage))
        return platform::look::near;
    return platform::has_one_thread() ? platform::look::far : platform::look::far_and_checked;
}

// The platform's own words vouch for the size word, so that the trailer can be read. Nothing is read before
// the header is known to be a live one.
inline bool is_usual(const ombrel_heap_block_t* block, const block_index::entry& entry) {
    return is_known(knowledge::of_its_words) && entry.is_held() && block->m_self == block &&
           platform::is_usual(block, block->m_size + overhead) && is_magic(trailer_of(block, block->m_size));
}

// The same for blocks of any size, and after damage.
bool is_plainly_sound(const ombrel_heap_block_t* block) {
    return block_list::holds(block) && block->m_self == block &&
           platform::check_size(block, block->m_size + overhead) == platform::verdict::good &&
           is_magic(trailer_of(block, block->m_size)) &&
           platform::has_whole_neighbours(block, range_of_looks());
}

// For a size word of which nothing is known: what lies on the header's last page can be read in any case,
// whatever memory checkers think of a false one, and for the rest there is the checked copy, which is slow.
__attribute__((no_sanitize("address"))) bool has_trailer(const ombrel_heap_block_t* block) {
    constexpr uintptr_t page_size = 4096; // the smallest there is
    const void* trailer = trailer_of(block, block->m_size);
    const auto readable = (reinterpret_cast<uintptr_t>(block + 1) - 1) / page_size;
    const auto first = reinterpret_cast<uintptr_t>(trailer), last = first + sizeof magic - 1;
    uint32_t found = 0;
    if (first / page_size == readable && last / page_size == readable)
        __builtin_memcpy(&found, trailer, sizeof found);
    else
        platform::copy_if_readable(&found, trailer, sizeof found);
    return found == magic;
}

[[gnu::noinline]] bool is_sound(const ombrel_heap_block_t* block) {
    return block_list::holds(block) && block->m_self == block && has_trailer(block);
}

void prepare(ombrel_heap_block_t* block, size_t size, const char* tag, unsigned long line) {
    block->m_tag = tag;
    block->m_line = line;
    block->m_self = block;
    block->m_size = size;
    memcpy(trailer_of(block, size), &magic, sizeof magic);
}

// For a block that has come on the list.
inline void count_in(const ombrel_heap_block_t* block) OMBREL_REQUIRES(heap.lock) {
    OMBREL_INVARIANT(is_held(heap.lock));
    heap.size += block->m_size + overhead;
    if (heap.size > heap.peak)
        heap.peak = heap.size;
}

// For one that has left it: gives what is to go back to the platform in its place, or null.
inline ombrel_heap_block_t* count_out(ombrel_heap_block_t* block) OMBREL_REQUIRES(heap.lock) {
    OMBREL_INVARIANT(is_held(heap.lock));
    // For whoever follows a stale pointer. Atomic, as compilers leave out plain stores just before a free().
    __atomic_store_n(&block->m_self, nullptr, __ATOMIC_RELAXED);
    heap.size -= block->m_size + overhead;
    return block_cache::wants(block->m_size) ? heap.freed.exchange(block) : block;
}

// A live block from the cache, or null.
inline ombrel_heap_block_t* reuse(size_t size, const char* tag, unsigned long line) {
    const brief_lock_guard guard(heap.lock);
    ombrel_heap_block_t* block = heap.freed.take(size);
    if (block == nullptr)
        return nullptr;
    prepare(block, size, tag, line);
    heap.blocks.add(block); // there is memory for it, as it was there before
    count_in(block);
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

inline bool enlist(ombrel_heap_block_t* block) {
    const brief_lock_guard guard(heap.lock);
    if (!heap.blocks.add(block))
        return false;
    count_in(block);
    return true;
}

// Waits for the heap; gives the user data, or null when there is no memory for the accounts.
[[gnu::noinline]] void* enlist_patiently(ombrel_heap_block_t* block) {
    if (enlist(block))
        return data_of(block);
    const ombrel_heap_block_t lost = *block;
    if (!heap.reserve.give_back(block))
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): no block of the reserve
        free(block);
    return refuse_for_want_of_memory(lost.m_size, lost.m_tag, lost.m_line);
}

// The header is written under the lock: a locked exchange waits for every store before it.
inline bool enlist_at_once(ombrel_heap_block_t* block, size_t size, const char* tag, unsigned long line) {
    const heap_attempt attempt;
    prepare(block, size, tag, line);
    if (!attempt.holds() || !heap.blocks.add(block, block_list::find(block))) [[unlikely]]
        return false;
    count_in(block);
    return true;
}

[[gnu::noinline]] void* obtain_beside_damage(size_t size, const char* tag, unsigned long line) {
    void* spare = heap.reserve.take(size + overhead);
    auto* block = static_cast<ombrel_heap_block_t*>(spare != nullptr ? spare : malloc(size + overhead));
    if (block == nullptr)
        return refuse_for_want_of_memory(size, tag, line);
    prepare(block, size, tag, line);
    return enlist_patiently(block);
}

inline void* obtain(size_t size, const char* tag, unsigned long line) {
    if (is_known(knowledge::of_damage)) [[unlikely]]
        return obtain_beside_damage(size, tag, line);
    auto* block = static_cast<ombrel_heap_block_t*>(malloc(size + overhead));
    if (block == nullptr) [[unlikely]]
        return refuse_for_want_of_memory(size, tag, line);
    if (!enlist_at_once(block, size, tag, line)) [[unlikely]]
        return enlist_patiently(block);
    return data_of(block);
}

[[gnu::noinline]] void* reuse_or_obtain(size_t size, const char* tag, unsigned long line) {
    ombrel_heap_block_t* block = reuse(size, tag, line);
    return block != nullptr ? data_of(block) : obtain(size, tag, line);
}

// A hint, for which nobody waits.
inline bool may_be_in_cache(size_t size) OMBREL_UNCHECKED {
    return heap.freed.may_hold(size);
}

inline void* allocate_silently(size_t size, const char* tag, unsigned long line) {
    const size_t rounded = (size + 3) & ~size_t{3};
    if (rounded + overhead < size) [[unlikely]]
        return refuse("overflow size, ", tag, line);
    return may_be_in_cache(rounded) ? reuse_or_obtain(rounded, tag, line) : obtain(rounded, tag, line);
}

[[gnu::noinline]] void* allocate_nothing(const char* tag, unsigned long line) {
    fprintf(stderr, "zero size allocation ? (at \"%s\":%lu)\n", tag, line);
    return allocate_silently(0, tag, line);
}

void* allocate(size_t size, const char* tag, unsigned long line) {
    return size != 0 ? allocate_silently(size, tag, line) : allocate_nothing(tag, line);
}

[[gnu::noinline]] void note_damage() {
    heap.known.store(knowledge::of_damage, std::memory_order_relaxed);
}

void note_sound_words() {
    knowledge none = knowledge::none;
    heap.known.compare_exchange_strong(none, knowledge::of_its_words, std::memory_order_relaxed);
}

// A damaged block is leaked, meant so: the platform ends the process when it finds its own words overwritten.
[[gnu::noinline]] void give_back_if_whole(ombrel_heap_block_t* block) {
    if (heap.reserve.give_back(block))
        return;
    // Another thread may be at work on the words of a free neighbour, so that one look is no proof.
    for (int looks = platform::has_one_thread() ? 1 : 10; looks > 0; looks--) {
        if (platform::can_be_freed(block, block->m_size + overhead, range_of_looks()))
            return free(block);
        if (looks > 1)
            platform::sleep_milliseconds(1);
    }
    note_damage();
    fprintf(stderr, "fatal error: damage around a freed block (size=%zu, pid=%d), which is not given back\n",
            block->m_size, platform::process_id());
}

// `leaving` is what is to go back to the platform in the block's place, or null. False for a block with
// damaged links, and for one that another thread has just freed.
bool retire(ombrel_heap_block_t* block, ombrel_heap_block_t*& leaving) {
    const brief_lock_guard guard(heap.lock);
    if (!heap.blocks.remove(block))
        return false;
    leaving = count_out(block);
    return true;
}

// A damaged block stays in the accounts and is leaked, meant so.
[[gnu::noinline]] void release_carefully(ombrel_heap_block_t* block, const char* tag, unsigned long line) {
    ombrel_heap_block_t* leaving;
    const bool is_plain = is_plainly_sound(block);
    if ((is_plain || is_sound(block)) && retire(block, leaving)) {
        if (is_plain)
            note_sound_words();
        if (leaving != nullptr)
            give_back_if_whole(leaving);
        return;
    }
    note_damage();
    const report_reserve::user opens_reserve;
    report_damaged_block(block, tag, line);
}

// False, too, when another thread holds the heap.
inline bool retire_at_once(ombrel_heap_block_t* block, const block_index::entry& entry,
                           ombrel_heap_block_t*& leaving) {
    const heap_attempt attempt;
    if (!attempt.holds() || !heap.blocks.remove_agreed(block, entry)) [[unlikely]]
        return false;
    leaving = count_out(block);
    return true;
}

[[gnu::always_inline]] inline void release_at_once(void* ptr, const char* tag, unsigned long line) {
    ombrel_heap_block_t *block = header_of(ptr), *leaving;
    const block_index::entry entry = block_list::find(block);
    if (!is_usual(block, entry) || !retire_at_once(block, entry, leaving)) [[unlikely]]
        return release_carefully(block, tag, line);
    if (leaving == block) [[likely]]
        free(block);
    else if (leaving != nullptr) // it was out of sight in the cache
        give_back_if_whole(leaving);
}

[[gnu::noinline]] void release_block(void* ptr, const char* tag, unsigned long line) {
    release_at_once(ptr, tag, line);
}

// Of a block whose header may be false or gone: as many bytes as both sizes and the memory there allow.
void copy_damaged(void* to, const ombrel_heap_block_t* block, size_t size) {
    ombrel_heap_block_t seen{};
    platform::copy_if_readable(&seen, block, sizeof seen);
    memset(to, 0, size);
    copy_readable(to, trailer_of(block, 0), size < seen.m_size ? size : seen.m_size);
}

void* resize(void* ptr, size_t size, const char* tag, unsigned long line) {
    const ombrel_heap_block_t* block = header_of(ptr);
    // The stored size is compared with the request as it came, not rounded: meant so.
    if (block_list::holds(block) && block->m_size == size)
        return ptr;
    void* moved = allocate(size, tag, line);
    if (moved == nullptr)
        return nullptr;
    if (is_plainly_sound(block) || is_sound(block))
        memcpy(moved, ptr, size < block->m_size ? size : block->m_size);
    else
        copy_damaged(moved, block, size);
    release_block(ptr, tag, line);
    return moved;
}

void report_broken_list(size_t seen) OMBREL_REQUIRES(heap.lock) {
    fprintf(stderr, "fatal error: broken block list (%zu of %zu blocks can be reached)\n", seen,
            heap.blocks.count());
}

} // namespace

void* ombrel::allocate_block(size_t size, const char* tag, unsigned long line) {
    return allocate(size, tag, line);
}

void ombrel::free_block(void* block, const char* tag, unsigned long line) {
    release_block(block, tag, line);
}

bool ombrel::is_live_block(const void* data) {
    return block_list::holds(header_of(data));
}

void ombrel::hold_heap() OMBREL_UNCHECKED {
    take(heap.lock);
}

void ombrel::release_heap() OMBREL_UNCHECKED {
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
    if (ptr != nullptr) [[likely]]
        release_at_once(ptr, tag, line);
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
    const brief_lock_guard guard(heap.lock);
    if (count != nullptr)
        *count = heap.blocks.count();
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
    block_view view;
    size_t count = 0;
    for (auto* block = heap.blocks.newest(); count < heap.blocks.count();
         block = heap.blocks.older_than(block)) {
        if (max > 0 && count >= static_cast<size_t>(max))
            return count;
        if (block == nullptr) {
            report_broken_list(count);
            return count;
        }
        if (callback(view.of(block), context) != 0)
            return count;
        count++;
    }
    return count;
}

void* ombrel_check_ptr(void* ptr, void* fallback) {
    return ptr != nullptr ? ptr : fallback;
}
