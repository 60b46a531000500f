// The heap's memory of blocks that were freed a moment ago.
#pragma once

#include <cstddef>

#include <ombrel/heap.h>

#include "platform/allocator.h"

namespace ombrel {

/// Holds the last freed blocks of middling sizes for the next requests of the same sizes.
///
/// The C library has fast lists for small blocks only, while the nodes of byte queues, a few kilobytes each,
/// are freed and allocated all the time. What stands here is out of the heap's accounts. An allocator of the
/// program's own, sanitizers included, sees every request and every free instead. The caller locks.
class block_cache {
public:
    /// A block of exactly `size` bytes of user data, or null.
    ombrel_heap_block_t* take(size_t size) {
        for (size_t age = 1; age <= looks; age++) {
            const size_t found = (next_ - age) % places;
            if (sizes_[found] == 0)
                break; // there are no gaps: nothing older is held
            if (sizes_[found] != size)
                continue;
            ombrel_heap_block_t* block = blocks_[found];
            // The newest fills the gap and its place is the next to be taken.
            next_ = (next_ - 1) % places;
            sizes_[found] = sizes_[next_];
            blocks_[found] = blocks_[next_];
            sizes_[next_] = 0;
            blocks_[next_] = nullptr;
            count(held_ - 1);
            return block;
        }
        return nullptr;
    }

    /// Keeps the block; gives the oldest one, or null, to be freed in its place.
    ombrel_heap_block_t* exchange(ombrel_heap_block_t* block) {
        ombrel_heap_block_t* displaced = blocks_[next_];
        sizes_[next_] = block->m_size;
        blocks_[next_] = block;
        next_ = (next_ + 1) % places;
        if (displaced == nullptr)
            count(held_ + 1);
        return displaced;
    }

    /// Whether take() is worth the lock: a hint without it.
    bool may_hold(size_t size) const { return wants(size) && __atomic_load_n(&held_, __ATOMIC_RELAXED) != 0; }

    static bool wants(size_t size) {
        return size >= smallest && size <= largest && platform::has_slow_middle_blocks();
    }

private:
    static constexpr size_t smallest = 960, largest = 8192;
    static constexpr size_t places = 64; // a queue of 256 KiB in nodes of 4
    static constexpr size_t looks = 16;  // at the newest, so that sizes which differ cost no long search

    void count(size_t held) { __atomic_store_n(&held_, held, __ATOMIC_RELAXED); }

    size_t sizes_[places]; // 0 where there is no block
    ombrel_heap_block_t* blocks_[places];
    size_t next_, held_;
};

} // namespace ombrel
