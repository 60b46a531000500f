// Moving bytes from file to file by the host's own means. What fails leaves its fault (fault.h).
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// Makes an empty file share all bytes of another, where the file system can.
bool share_file_bytes(int from, int to);

/// Copies up to `size` bytes at the positions of both, which go on.
/// @return bytes copied, 0 at the end of `from`; -1, as "not supported" where the host cannot copy from one
/// to the other and nothing has been copied
int64_t copy_file_bytes(int from, int to, int64_t size);

/// The next run of bytes in a file at or behind `offset` that is no hole.
struct file_run {
    int64_t start, end;
};
/// The search may move the descriptor's position. False, with "not found", when nothing but holes is left;
/// "not supported" where the host does not tell.
bool find_file_run(int descriptor, int64_t offset, file_run& run);

/// Lets a file have holes, where it must be asked for.
void allow_file_holes(int descriptor);

} // namespace ombrel::platform
