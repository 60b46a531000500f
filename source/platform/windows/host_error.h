// The error numbers of Windows and of its sockets, told in those of the C library.
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// The C library's number for one of GetLastError() or WSAGetLastError(); EIO for what has none there, 0 for
/// 0.
int error_number_of(uint32_t host_error);

/// Leaves the last error of the calling thread as the fault of the seam; gives -1.
int fail_by_last_error();

/// The same for an error that a call gave as its result.
int fail_by(uint32_t host_error);

/// fail_by_last_error() of a read, a write or the like: a handle that was not opened for it is a bad
/// descriptor.
int fail_transfer();

} // namespace ombrel::platform
