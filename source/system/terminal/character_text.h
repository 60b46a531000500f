// Characters as UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::system {

/// Writes at most 4 bytes, without a terminator; gives how many.
inline size_t put_character(uint32_t code, char* to) {
    const size_t count = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    constexpr uint32_t leads[] = {0, 0, 0xc0, 0xe0, 0xf0};
    for (size_t i = 1; i < count; i++) {
        to[count - i] = static_cast<char>(0x80u | (code & 0x3fu));
        code >>= 6;
    }
    to[0] = static_cast<char>(leads[count] | code);
    return count;
}

} // namespace ombrel::system
