// The process and the machine it runs on.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

int process_id();

/// Copies `size` bytes from an address that may not be readable: false, and nothing copied, when it is not.
bool copy_if_readable(void* destination, const void* source, size_t size);

/// Zeroed memory that takes room only where it is written; it stays for good. Null when there is none.
void* sparse_zeros(size_t size);

/// A hint that all of a block will be used, so that the host may give it a few huge pages.
void expect_full_use(void* block, size_t size);

} // namespace ombrel::platform
