// The numbers are those of the C library's errno, into which each host's calls translate their own.
#include "platform/fault.h"

#include <cstring>

namespace ombrel::platform {

namespace {

struct meaning {
    int number;
    fault_code code;
};

/// Of several numbers with one code the first is the one that stands for it.
constexpr meaning meanings[] = {
    {EAGAIN, fault_code::would_block},
    {EWOULDBLOCK, fault_code::would_block},
    {EINTR, fault_code::interrupted},
    {EINPROGRESS, fault_code::in_progress},
    {ETIMEDOUT, fault_code::timed_out},
    {EBUSY, fault_code::busy},
    {ETXTBSY, fault_code::busy},

    {ECONNREFUSED, fault_code::refused},
    {EHOSTUNREACH, fault_code::unreachable},
    {ENETUNREACH, fault_code::unreachable},
    {ENETDOWN, fault_code::unreachable},
    {ENOTCONN, fault_code::not_connected},
    {ECONNABORTED, fault_code::aborted},
    {ECONNRESET, fault_code::reset},
    {EPIPE, fault_code::closed},
    {EADDRINUSE, fault_code::address_in_use},
    {EADDRNOTAVAIL, fault_code::address_not_available},

    {ENOENT, fault_code::not_found},
    {ENODEV, fault_code::not_found},
    {ENXIO, fault_code::not_found},
    {ENOTDIR, fault_code::not_directory},
    {EEXIST, fault_code::exists},
    {EACCES, fault_code::access_denied},
    {EPERM, fault_code::access_denied},
    {EROFS, fault_code::access_denied},
    {EISDIR, fault_code::is_directory},
    {ENOTEMPTY, fault_code::not_empty},
    {ELOOP, fault_code::link_loop},
    {EXDEV, fault_code::other_device},
    {ESPIPE, fault_code::not_seekable},
    {ENOSPC, fault_code::no_space},
#if defined(EDQUOT)
    {EDQUOT, fault_code::no_space},
#endif
    {EFBIG, fault_code::too_large},
    {EIO, fault_code::input_output},

    {ENOMEM, fault_code::no_memory},
    {ENOBUFS, fault_code::no_memory},
    {EMFILE, fault_code::no_descriptor},
    {ENFILE, fault_code::no_descriptor},

    {ESRCH, fault_code::no_process},
    {EBADF, fault_code::bad_descriptor},
    {ENOTSOCK, fault_code::bad_descriptor},
    {EINVAL, fault_code::invalid},
    {ENOTTY, fault_code::invalid},
    {EMSGSIZE, fault_code::invalid},
    {ENAMETOOLONG, fault_code::invalid},
    {EOVERFLOW, fault_code::invalid},
    {ENOSYS, fault_code::not_supported},
    {ENOTSUP, fault_code::not_supported},
    {EOPNOTSUPP, fault_code::not_supported},
    {EAFNOSUPPORT, fault_code::not_supported},
};

/// No host has such numbers, nor strerror() words for them.
constexpr int own_numbers = 20000;

constexpr bool is_own(fault_code code) {
    return code >= fault_code::unknown_host;
}

} // namespace

fault fault_of(int number) {
    if (number == 0)
        return {};
    if (number >= own_numbers && number < own_numbers + static_cast<int>(fault_code_count) &&
        is_own(static_cast<fault_code>(number - own_numbers)))
        return static_cast<fault_code>(number - own_numbers);
    for (const meaning& one : meanings)
        if (one.number == number)
            return {one.code, number};
    return {fault_code::other, number};
}

int number_of(fault_code code) {
    if (is_own(code))
        return own_numbers + static_cast<int>(code);
    for (const meaning& one : meanings)
        if (one.code == code)
            return one.number;
    return 0;
}

const char* host_fault_text(int number) {
    const char* const text = strerror(number);
    return strcmp(text, "Unknown error") != 0 ? text : nullptr; // with no number behind it that is Windows
}

} // namespace ombrel::platform
