#include "platform/send_file.h"

#include "platform/fault.h"
#if defined(__linux__)
#include <algorithm>
#include <cerrno>
#include <sys/sendfile.h>

#include "platform/posix/pipe_signal_block.h"
#endif

namespace ombrel::platform {

int send_file(int s, int descriptor, int64_t offset, size_t size) {
#if defined(__linux__)
    constexpr size_t most = 0x40000000;
    const pipe_signal_block guard; // no flag keeps this call from raising it
    off_t from = static_cast<off_t>(offset);
    ssize_t sent;
    do
        sent = sendfile(s, descriptor, &from, std::min(size, most));
    while (sent < 0 && errno == EINTR);
    if (sent < 0 && (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP))
        leave_fault(fault_code::not_supported);
    return static_cast<int>(sent);
#else
    static_cast<void>(s), static_cast<void>(descriptor), static_cast<void>(offset), static_cast<void>(size);
    leave_fault(fault_code::not_supported);
    return -1;
#endif
}

} // namespace ombrel::platform
