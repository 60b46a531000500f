// The tagged heap for the rest of the core: without the detour of an exported function.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ombrel/heap.h>

namespace ombrel {

/// ombrel_alloc_tag()
void* allocate_block(size_t size, const char* tag, unsigned long line);

/// ombrel_free_tag() of a block that is not null.
void free_block(void* block, const char* tag, unsigned long line);

/// Whether this is the user data of a live block.
bool is_live_block(const void* data);

/// Writes the report of a block that was found damaged, or of what is no block at all. The heap is not
/// locked.
void report_damaged_block(const void* header, const char* tag, unsigned long line);

/// Keeps every other thread out of the heap's lists until release_heap().
void hold_heap();
void release_heap();

inline unsigned char* data_of(ombrel_heap_block_t* block) {
    return reinterpret_cast<unsigned char*>(block + 1);
}

/// In numbers, as the pointer may lead anywhere.
inline ombrel_heap_block_t* header_of(const void* data) {
    return reinterpret_cast<ombrel_heap_block_t*>(reinterpret_cast<uintptr_t>(data) -
                                                  sizeof(ombrel_heap_block_t));
}

/// Where the guard word stands by the block's size word, which may be false.
inline void* trailer_of(const void* header, size_t size) {
    return reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(header) + sizeof(ombrel_heap_block_t) + size);
}

} // namespace ombrel
