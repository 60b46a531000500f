// Blocks of the heap, looked at from within.
#pragma once

#include <ombrel/heap.h>

namespace ombrel_test {

inline ombrel_heap_block_t* header_of(void* ptr) {
    return static_cast<ombrel_heap_block_t*>(ptr) - 1;
}

/// The tag of the block that was allocated last of those that live.
inline const char* newest_tag() {
    const char* tag = nullptr;
    const auto note = [](const ombrel_heap_block_t* block, void* context) {
        *static_cast<const char**>(context) = block->m_tag;
        return 0;
    };
    ombrel_get_alloc_list(1, note, &tag);
    return tag;
}

} // namespace ombrel_test
