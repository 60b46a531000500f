#include "platform/file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/posix/file_status.h"
#include "platform/posix/pipe_signal_block.h"
#include "platform/socket.h"

namespace ombrel::platform {

static_assert(sizeof(off_t) == sizeof(int64_t), "files may be larger than the address space");

namespace {

int flags_of(const file_access& access) {
    int flags = access.read ? (access.write ? O_RDWR : O_RDONLY) : O_WRONLY;
    if (access.append)
        flags |= O_APPEND;
    if (access.create)
        flags |= O_CREAT | (access.exclusive ? O_EXCL : 0);
    if (access.truncate)
        flags |= O_TRUNC;
    if (access.at_once)
        flags |= O_NONBLOCK;
    if (access.refuse_link)
        flags |= O_NOFOLLOW;
    return flags | O_NOCTTY | (access.inherit ? 0 : O_CLOEXEC);
}

/// Results are ints, so one call moves no more than an int can count.
size_t countable(size_t size) {
    return std::min<size_t>(size, INT_MAX);
}

bool is_ready(int descriptor, short events) {
    pollfd probe{descriptor, events, 0};
    return poll(&probe, 1, 0) > 0;
}

/// Gives -1.
int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// Of an attempt that does not wait. An interruption is no more than another reason to come back.
int attempt_result(ssize_t result) {
    return result < 0 && errno == EINTR ? refuse(fault_code::would_block) : static_cast<int>(result);
}

/// A directory opens for reading but gives no bytes. Linux counts those of anything else that is read like a
/// file, and tells them in a fraction of the time that a full status takes.
bool is_directory(int descriptor) {
#if defined(__linux__)
    int bytes;
    if (ioctl(descriptor, FIONREAD, &bytes) == 0)
        return false;
#endif
    struct stat status;
    return fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode);
}

bool never_waits(const struct stat& status) {
    return S_ISREG(status.st_mode) || S_ISBLK(status.st_mode);
}

} // namespace

int open_file_at(int directory, const char* path, const file_access& access) {
    int descriptor;
    do
        descriptor = openat(directory, path, flags_of(access), static_cast<mode_t>(access.mode));
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return -1;
    if (access.write || !is_directory(descriptor)) // the host itself opens none for writing
        return descriptor;
    close(descriptor);
    return refuse(fault_code::is_directory);
}

int open_file(const char* path, const file_access& access) {
    return open_file_at(AT_FDCWD, path, access);
}

int open_file_for_reading(const char* path) {
    file_access access;
    access.read = true;
    return open_file(path, access);
}

bool open_pipe(int ends[2], pipe_side) {
#if defined(__linux__)
    return pipe2(ends, O_CLOEXEC) == 0;
#else
    if (pipe(ends) != 0)
        return false;
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return true;
#endif
}

int duplicate_descriptor(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

void close_descriptor(int descriptor) {
    close(descriptor);
}

bool close_file(int descriptor) {
    return close(descriptor) == 0 || errno == EINTR;
}

void set_descriptor_blocking(int descriptor, bool on) {
    set_non_blocking(descriptor, !on);
}

int read_descriptor(int descriptor, void* buffer, size_t size) {
    ssize_t bytes;
    do
        bytes = read(descriptor, buffer, countable(size));
    while (bytes < 0 && errno == EINTR);
    return static_cast<int>(bytes);
}

int write_file(int descriptor, const void* data, size_t size) {
    ssize_t bytes;
    do
        bytes = write(descriptor, data, countable(size));
    while (bytes < 0 && errno == EINTR);
    return static_cast<int>(bytes);
}

int read_file_at(int descriptor, void* buffer, size_t size, int64_t offset) {
    ssize_t bytes;
    do
        bytes = pread(descriptor, buffer, countable(size), offset);
    while (bytes < 0 && errno == EINTR);
    return static_cast<int>(bytes);
}

int write_file_at(int descriptor, const void* data, size_t size, int64_t offset) {
    ssize_t bytes;
    do
        bytes = pwrite(descriptor, data, countable(size), offset);
    while (bytes < 0 && errno == EINTR);
    return static_cast<int>(bytes);
}

int write_descriptor(int descriptor, const void* data, size_t size) {
    const pipe_signal_block guard;
    errno = 0;
    return static_cast<int>(write(descriptor, data, countable(size)));
}

int read_at_once(int descriptor, void* buffer, size_t size) {
    const int result = receive(descriptor, buffer, size, MSG_DONTWAIT, nullptr, nullptr);
    if (result >= 0 || errno != ENOTSOCK)
        return attempt_result(result);
    if (!is_ready(descriptor, POLLIN))
        return refuse(fault_code::would_block);
    return attempt_result(read(descriptor, buffer, countable(size)));
}

int write_at_once(int descriptor, const void* data, size_t size) {
    const int result = send(descriptor, data, size, MSG_DONTWAIT, nullptr, 0);
    if (result >= 0 || errno != ENOTSOCK)
        return attempt_result(result);
    if (!is_ready(descriptor, POLLOUT))
        return refuse(fault_code::would_block);
    // A pipe that is ready takes this much without waiting, whether it is blocking or not.
    return attempt_result(write_descriptor(descriptor, data, std::min<size_t>(size, _POSIX_PIPE_BUF)));
}

bool get_file_access(int descriptor, file_access& access) {
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0)
        return false;
    const int direction = flags & O_ACCMODE;
    access = {};
    access.read = direction != O_WRONLY;
    access.write = direction != O_RDONLY;
    access.append = (flags & O_APPEND) != 0;
    return true;
}

bool set_file_append(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_APPEND) == 0;
}

bool is_regular_file(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 && never_waits(status);
}

bool file_exists(const char* path) {
    return access(path, F_OK) == 0;
}

int64_t move_file(int descriptor, int64_t offset, file_origin origin) {
    const int from = origin == file_origin::start     ? SEEK_SET
                     : origin == file_origin::current ? SEEK_CUR
                                                      : SEEK_END;
    return lseek(descriptor, offset, from);
}

int64_t file_size(int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) != 0)
        return -1;
    if (S_ISREG(status.st_mode))
        return status.st_size;
    return refuse(fault_code::not_seekable);
}

bool set_file_size(int descriptor, int64_t size) {
    int result;
    do
        result = ftruncate(descriptor, size);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

bool sync_file(int descriptor) {
    int result;
    do
        result = fsync(descriptor);
    while (result != 0 && errno == EINTR);
    return result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

} // namespace ombrel::platform
