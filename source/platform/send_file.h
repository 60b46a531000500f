// Files handed to sockets. What fails leaves its fault (fault.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel::platform {

/// Hands bytes of a regular file, from a place on, to a connected socket that does not block, without a copy
/// on the way. Neither the file's position moves nor does a peer that is gone raise a signal.
/// @param head what stands before them, and goes out together with them
/// @return bytes sent, those of the head among them, 0 at the file's end, -1: "not supported" where the host
/// or the file cannot be served so, and is to be read and sent
int send_file(int s, std::string_view head, int descriptor, int64_t offset, size_t size);

} // namespace ombrel::platform
