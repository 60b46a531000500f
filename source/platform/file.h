// Files, for reading.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

/// A descriptor that child processes do not inherit, or -1; directories are refused.
int open_file_for_reading(const char* path);

/// Bytes read, 0 at the end, -1 on an error; an interrupted read is taken up again.
ptrdiff_t read_file(int descriptor, void* buffer, size_t size);

/// Moves to a byte counted from the start, or from the end when `offset` is negative; false when it cannot.
bool seek_file(int descriptor, int64_t offset);

void close_file(int descriptor);

} // namespace ombrel::platform
