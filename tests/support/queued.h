// What a buffer holds, for a test.
#pragma once

#include <string>

#include <ombrel/buffer.h>

namespace ombrel_test {

/// Takes all bytes out.
inline std::string take_queued(ombrel_buffer_t* buffer) {
    std::string bytes(ombrel_get_buffer_size(buffer), '\0');
    bytes.resize(ombrel_pop_buffer(buffer, bytes.data(), bytes.size()));
    return bytes;
}

} // namespace ombrel_test
