// The tagged heap for the rest of the core: without the detour of an exported function.
#pragma once

#include <cstddef>

namespace ombrel {

/// ombrel_alloc_tag()
void* allocate_block(size_t size, const char* tag, unsigned long line);

/// ombrel_free_tag() of a block that is not null.
void free_block(void* block, const char* tag, unsigned long line);

/// Keeps every other thread out of the heap's lists until release_heap().
void hold_heap();
void release_heap();

} // namespace ombrel
