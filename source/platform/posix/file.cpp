#include "platform/file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombrel::platform {

static_assert(sizeof(off_t) == sizeof(int64_t), "files may be larger than the address space");

int open_file_for_reading(const char* path) {
    int descriptor;
    do
        descriptor = open(path, O_RDONLY | O_CLOEXEC);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return -1;
    // A directory opens but gives no bytes.
    struct stat status;
    if (fstat(descriptor, &status) == 0 && !S_ISDIR(status.st_mode))
        return descriptor;
    close(descriptor);
    errno = EISDIR;
    return -1;
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

} // namespace ombrel::platform
