// Blocks of the heap, looked at from within.
#pragma once

#include <string_view>

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

/// Whether a text stands in a block that lives.
inline bool is_in_live_blocks(std::string_view text) {
    const auto has_it = [](const ombrel_heap_block_t* block, void* context) {
        const std::string_view bytes(reinterpret_cast<const char*>(block + 1), block->m_size);
        return bytes.find(*static_cast<std::string_view*>(context)) != bytes.npos ? 1 : 0;
    };
    return ombrel_get_alloc_list(0, has_it, &text) != ombrel_get_alloc_count();
}

} // namespace ombrel_test
