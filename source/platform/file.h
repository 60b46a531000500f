// Files, pipes and other descriptors that are read and written. What fails leaves its fault (fault.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

struct file_access {
    bool read = false, write = false;
    bool append = false; ///< every write goes to the end
    bool create = false; ///< makes a file that is not there, open to all whom `mode` and the user's mask let
    bool exclusive = false; ///< with `create`: refuses a file that is there
    bool truncate = false;
    bool inherit = false;     ///< child processes get it too
    bool at_once = false;     ///< a named pipe's other side is not waited for
    bool refuse_link = false; ///< fails as "link loop" where the path ends at a symbolic link
    uint32_t mode = 0666;     ///< permissions of a file that is made
};

/// A descriptor, or -1; directories are refused.
int open_file(const char* path, const file_access& access);
int open_file_for_reading(const char* path);

/// Which end of a pipe becomes the standard stream of a child process: hosts differ in what programs expect
/// there.
enum class pipe_side { none, read, write };

/// Makes a pipe that child processes do not inherit unless they are given an end: read end first.
bool open_pipe(int ends[2], pipe_side of_child = pipe_side::none);

/// A second descriptor for what a descriptor stands for, which child processes do not inherit; or -1.
int duplicate_descriptor(int descriptor);

/// Of files and pipes; sockets have a call of their own.
void close_descriptor(int descriptor);

/// The same; false, with its fault, when the host says that it was not open or that writes were lost.
bool close_file(int descriptor);

/// Whether reads and writes of a pipe's end wait.
void set_descriptor_blocking(int descriptor, bool on);

// One call moves no more than an int can count.

/// Bytes read, 0 at the end, -1 on an error; an interrupted read is taken up again.
int read_descriptor(int descriptor, void* buffer, size_t size);

/// Bytes written, which may be fewer, or -1; an interrupted write is taken up again. Pipes without a reader
/// raise their signal: use write_descriptor() for what is no regular file.
int write_file(int descriptor, const void* data, size_t size);

/// The same at a place of a file. Where the host has no such calls the position moves meanwhile.
int read_file_at(int descriptor, void* buffer, size_t size, int64_t offset);
int write_file_at(int descriptor, const void* data, size_t size, int64_t offset);

/// Bytes written or -1, after an interruption too; a closed reader raises no signal.
int write_descriptor(int descriptor, const void* data, size_t size);

/// Bytes read from a descriptor of any kind, sockets among them, without a wait; 0 at the end, -1 on an
/// error. An interruption, too, is told as would_block.
int read_at_once(int descriptor, void* buffer, size_t size);

/// Bytes written to a descriptor of any kind without a wait, likewise; a peer that is gone raises no signal.
int write_at_once(int descriptor, const void* data, size_t size);

/// What a descriptor was opened for (only `read`, `write` and `append` are set); false when it is not open.
bool get_file_access(int descriptor, file_access& access);

/// Makes every write go to the end from now on.
bool set_file_append(int descriptor);

/// Whether it is a file whose calls never wait for another side: no pipe, socket, terminal or the like.
bool is_regular_file(int descriptor);

/// Whether there is a file of any kind.
bool file_exists(const char* path);

enum class file_origin { start, current, end };

/// The new position from the start, or -1.
int64_t move_file(int descriptor, int64_t offset, file_origin origin);

/// Bytes in a regular file, or -1 for what has no size.
int64_t file_size(int descriptor);

/// Cuts a file, or lengthens it with zeros.
bool set_file_size(int descriptor, int64_t size);

/// Hands everything that was written to the device; what has no device succeeds.
bool sync_file(int descriptor);

/// Opens a file for reading, which may fail, and closes it at the end of the scope.
class file_reader {
public:
    explicit file_reader(const char* path)
        : descriptor_(path != nullptr ? open_file_for_reading(path) : -1) {}
    ~file_reader() {
        if (is_open())
            close_descriptor(descriptor_);
    }
    file_reader(const file_reader&) = delete;
    file_reader& operator=(const file_reader&) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    /// Moves to a byte counted from the start, or from the end when `offset` is negative. The start itself is
    /// not sought, so that pipes can be read.
    bool seek(int64_t offset) const {
        const file_origin origin = offset < 0 ? file_origin::end : file_origin::start;
        return offset == 0 || move_file(descriptor_, offset, origin) >= 0;
    }
    /// Bytes read, 0 at the end, -1 on an error.
    int read(void* bytes, size_t size) const { return read_descriptor(descriptor_, bytes, size); }

private:
    int descriptor_;
};

} // namespace ombrel::platform
