#include "platform/send_file.h"

#include "platform/fault.h"
#if defined(__linux__)
#include <algorithm>
#include <cerrno>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include "platform/posix/pipe_signal_block.h"
#include "platform/socket.h"
#endif

namespace ombrel::platform {

#if defined(__linux__)

namespace {

int send_bytes_of(int descriptor, int64_t offset, size_t size, int s) {
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
}

} // namespace

int send_file(int s, std::string_view head, int descriptor, int64_t offset, size_t size) {
    const int of_head =
        head.empty() ? 0 : send(s, head.data(), head.size(), MSG_DONTWAIT | MSG_MORE, nullptr, 0);
    if (of_head < 0 || static_cast<size_t>(of_head) < head.size())
        return of_head;
    const int of_file = send_bytes_of(descriptor, offset, size, s);
    return of_file < 0 && of_head > 0 ? of_head : of_head + of_file;
}

#else

int send_file(int s, std::string_view head, int descriptor, int64_t offset, size_t size) {
    static_cast<void>(s), static_cast<void>(head), static_cast<void>(descriptor), static_cast<void>(offset),
        static_cast<void>(size);
    leave_fault(fault_code::not_supported);
    return -1;
}

#endif

} // namespace ombrel::platform
