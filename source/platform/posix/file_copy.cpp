#include "platform/file_copy.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#if defined(__linux__)
#include <linux/fs.h>
#include <sys/ioctl.h>
#endif

#include "platform/fault.h"

namespace ombrel::platform {

bool share_file_bytes(int from, int to) {
#if defined(FICLONE)
    return ioctl(to, FICLONE, from) == 0;
#else
    static_cast<void>(from), static_cast<void>(to);
    leave_fault(fault_code::not_supported);
    return false;
#endif
}

int64_t copy_file_bytes(int from, int to, int64_t size) {
#if defined(__linux__)
    constexpr int64_t most = 0x40000000; // the host itself takes no more than 2 GiB less a page
    ssize_t copied;
    do
        copied = copy_file_range(from, nullptr, to, nullptr, static_cast<size_t>(std::min(size, most)), 0);
    while (copied < 0 && errno == EINTR);
    // Kernels and file systems differ in what they say of files that they cannot do it for.
    if (copied < 0 && (errno == EXDEV || errno == EINVAL || errno == EBADF || errno == EPERM))
        leave_fault(fault_code::not_supported);
    return copied;
#else
    static_cast<void>(from), static_cast<void>(to), static_cast<void>(size);
    leave_fault(fault_code::not_supported);
    return -1;
#endif
}

bool find_file_run(int descriptor, int64_t offset, file_run& run) {
#if defined(SEEK_DATA)
    run.start = lseek(descriptor, static_cast<off_t>(offset), SEEK_DATA);
    if (run.start < 0) {
        leave_fault(errno == ENXIO ? fault_code::not_found : fault_code::not_supported);
        return false;
    }
    run.end = lseek(descriptor, static_cast<off_t>(run.start), SEEK_HOLE);
    return run.end >= 0;
#else
    static_cast<void>(descriptor), static_cast<void>(offset), static_cast<void>(run);
    leave_fault(fault_code::not_supported);
    return false;
#endif
}

void allow_file_holes(int) {}

} // namespace ombrel::platform
