#include "platform/file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    return flags | O_CLOEXEC | O_NOCTTY;
}

bool never_waits(const struct stat& status) {
    return S_ISREG(status.st_mode) || S_ISBLK(status.st_mode);
}

} // namespace

int open_file(const char* path, const file_access& access, bool& is_regular) {
    constexpr mode_t for_all = 0666;
    int descriptor;
    do
        descriptor = open(path, flags_of(access), for_all);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return -1;
    // A directory opens for reading but gives no bytes.
    struct stat status;
    if (fstat(descriptor, &status) == 0 && !S_ISDIR(status.st_mode)) {
        is_regular = never_waits(status);
        return descriptor;
    }
    close(descriptor);
    errno = EISDIR;
    return -1;
}

int open_file_for_reading(const char* path) {
    file_access access{};
    access.read = true;
    bool is_regular;
    return open_file(path, access, is_regular);
}

bool file_exists(const char* path) {
    return access(path, F_OK) == 0;
}

ptrdiff_t read_file(int descriptor, void* buffer, size_t size) {
    ssize_t bytes;
    do
        bytes = read(descriptor, buffer, size);
    while (bytes < 0 && errno == EINTR);
    return bytes;
}

bool seek_file(int descriptor, int64_t offset) {
    return lseek(descriptor, offset, offset < 0 ? SEEK_END : SEEK_SET) >= 0;
}

void close_file(int descriptor) {
    close(descriptor);
}

int duplicate_file(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
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

ptrdiff_t write_file(int descriptor, const void* data, size_t size) {
    ssize_t bytes;
    do
        bytes = write(descriptor, data, size);
    while (bytes < 0 && errno == EINTR);
    return bytes;
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
    errno = ESPIPE;
    return -1;
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
