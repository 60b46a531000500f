#include <ombrel/alloca.h>

#include <cstdint>

#include <ombrel/heap.h>

#include "core/block.h"
#include "core/short_lock_guard.h"

using namespace ombrel;

namespace {

struct chain_block {
    chain_block* next;
    uintptr_t marker; // a place in the frame that took the block
};

chain_block* chain;
int stack_direction; // 0 until it is known

struct {
    ombrel_short_lock_t lock;
    size_t count OMBREL_GUARDED_BY(lock);
} live;

void count_block(bool added) {
    const short_lock_guard guard(live.lock);
    live.count += added ? size_t{1} : ~size_t{0};
}

[[gnu::always_inline]] inline uintptr_t frame_address() {
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
}

// 0 when this call has no frame of its own, so that nothing was measured.
[[gnu::noinline]] int compare_with_outer_frame(uintptr_t outer) {
    const uintptr_t inner = frame_address();
    return (outer < inner ? 1 : 0) - (outer > inner ? 1 : 0);
}

// The chain ends where an overwritten link leads to no block of the heap; what hung there is lost to it.
chain_block* newest_block() {
    if (chain != nullptr && !is_live_block(chain))
        chain = nullptr;
    return chain;
}

bool is_dead(const chain_block* block, uintptr_t marker) {
    return stack_direction < 0 ? block->marker < marker : block->marker > marker;
}

} // namespace

[[gnu::noinline]] int ombrel_detect_stack_direction(void) {
    // Kept in this frame after the call, which could be a jump otherwise, out of a frame that is gone.
    const volatile int direction = compare_with_outer_frame(frame_address());
    return direction;
}

void* ombrel_alloca(size_t size) {
    const uintptr_t marker = frame_address();
    if (stack_direction == 0)
        stack_direction = ombrel_detect_stack_direction();
    for (chain_block* dead; (dead = newest_block()) != nullptr && is_dead(dead, marker);) {
        chain = dead->next;
        ombrel_free_tag(dead, "ombrel_alloca", __LINE__);
        count_block(false);
    }
    if (size == 0 || size + sizeof(chain_block) < size)
        return nullptr;
    auto* block =
        static_cast<chain_block*>(ombrel_alloc_tag(size + sizeof(chain_block), "ombrel_alloca", __LINE__));
    if (block == nullptr)
        return nullptr;
    *block = {newest_block(), marker};
    chain = block;
    count_block(true);
    return block + 1;
}

size_t ombrel_alloca_count(void) {
    const short_lock_guard guard(live.lock);
    return live.count;
}
