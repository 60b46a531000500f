#include "platform/file_lock.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

// Locks of what was opened; where the host has none, those of a process, which end with any descriptor of the
// file.
#if defined(F_OFD_SETLK)
constexpr int set = F_OFD_SETLK, set_and_wait = F_OFD_SETLKW;
#else
constexpr int set = F_SETLK, set_and_wait = F_SETLKW;
#endif

bool apply(int descriptor, int command, short kind, const file_region& region) {
    struct flock request {};
    request.l_type = kind;
    request.l_whence = SEEK_SET;
    request.l_start = static_cast<off_t>(region.offset);
    request.l_len = static_cast<off_t>(region.size);
    int result;
    do
        result = fcntl(descriptor, command, &request);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

short kind_of(const file_region& region) {
    return region.is_shared ? F_RDLCK : F_WRLCK;
}

} // namespace

bool try_lock_region(int descriptor, const file_region& region) {
    if (apply(descriptor, set, kind_of(region), region))
        return true;
    if (errno == EACCES)
        leave_fault(fault_code::would_block);
    return false;
}

bool lock_region(int descriptor, const file_region& region) {
    return apply(descriptor, set_and_wait, kind_of(region), region);
}

bool unlock_region(int descriptor, const file_region& region) {
    return apply(descriptor, set, F_UNLCK, region);
}

} // namespace ombrel::platform
