// Files and other descriptors that are read and written. Failures leave the platform's error number in errno.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

/// A descriptor that child processes do not inherit, or -1; directories are refused.
int open_file_for_reading(const char* path);

/// Bytes read, 0 at the end, -1 on an error; an interrupted read is taken up again.
ptrdiff_t read_file(int descriptor, void* buffer, size_t size);

/// Whether there is a file of any kind.
bool file_exists(const char* path);

/// Moves to a byte counted from the start, or from the end when `offset` is negative; false when it cannot.
bool seek_file(int descriptor, int64_t offset);

void close_file(int descriptor);

struct file_access {
    bool read, write;
    bool append; ///< every write goes to the end
    bool create; ///< makes a file that is not there, readable and writable for all whom the user's mask lets
    bool exclusive; ///< with `create`: refuses a file that is there
    bool truncate;
};

/// As open_file_for_reading(), for any access, and tells what is_regular_file() would. A named pipe waits for
/// its other side.
int open_file(const char* path, const file_access& access, bool& is_regular);

/// A second descriptor for what a descriptor stands for, which child processes do not inherit; or -1.
int duplicate_file(int descriptor);

/// What a descriptor was opened for (only `read`, `write` and `append` are set); false when it is not open.
bool get_file_access(int descriptor, file_access& access);

/// Makes every write go to the end from now on.
bool set_file_append(int descriptor);

/// Whether it is a file whose calls never wait for another side: no pipe, socket, terminal or the like.
bool is_regular_file(int descriptor);

/// Bytes written, which may be fewer, or -1; an interrupted write is taken up again. Pipes without a reader
/// raise their signal: use write_descriptor() of pipe.h for what is no regular file.
ptrdiff_t write_file(int descriptor, const void* data, size_t size);

enum class file_origin { start, current, end };

/// The new position from the start, or -1.
int64_t move_file(int descriptor, int64_t offset, file_origin origin);

/// Bytes in a regular file, or -1 for what has no size.
int64_t file_size(int descriptor);

/// Cuts a file, or lengthens it with zeros.
bool set_file_size(int descriptor, int64_t size);

/// Hands everything that was written to the device; what has no device succeeds.
bool sync_file(int descriptor);

} // namespace ombrel::platform
