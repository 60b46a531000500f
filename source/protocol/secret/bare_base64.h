// Base64 of short texts that are kept or sent whole: nothing is allocated, and nothing is overlooked.
#pragma once

#include <cstddef>
#include <string_view>

#include "encoding/kernels/base64_tables.h"

namespace ombrel::protocol {

/// Characters of so many bytes, without padding.
constexpr size_t base64_size(size_t bytes) {
    return (bytes * 8 + 5) / 6;
}

/// Writes base64_size(size) characters and gives the place behind them.
inline char* put_base64(char* to, const unsigned char* bytes, size_t size) {
    unsigned bits = 0, count = 0;
    for (size_t i = 0; i < size; i++) {
        bits = bits << 8 | bytes[i];
        for (count += 8; count >= 6; count -= 6)
            *to++ = encoding::base64_standard.characters[bits >> (count - 6) & 63];
    }
    if (count > 0)
        *to++ = encoding::base64_standard.characters[bits << (6 - count) & 63];
    return to;
}

/// Reads a text without padding that is the base64 of something: no foreign character, no bits left over but
/// zeros. False for any other, and when there is no room.
inline bool read_base64(std::string_view text, unsigned char* bytes, size_t room, size_t& size) {
    unsigned bits = 0, count = 0;
    size_t made = 0;
    for (const char c : text) {
        const uint8_t value = encoding::base64_values[static_cast<unsigned char>(c)];
        if (value == encoding::base64_no_value)
            return false;
        bits = bits << 6 | value;
        count += 6;
        if (count < 8)
            continue;
        if (made == room)
            return false;
        count -= 8;
        bytes[made++] = static_cast<unsigned char>(bits >> count);
        bits &= (1u << count) - 1;
    }
    size = made;
    return count < 6 && bits == 0;
}

} // namespace ombrel::protocol
