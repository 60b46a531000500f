// The process and the machine it runs on.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

int process_id();

/// Copies `size` bytes from an address that may not be readable: false, and nothing copied, when it is not.
bool copy_if_readable(void* destination, const void* source, size_t size);

/// Bytes that malloc() set aside for a block, at least those asked for; 0 where the host does not tell.
size_t allocated_size(void* block);

} // namespace ombrel::platform
