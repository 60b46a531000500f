// Texts in UTF-8 that come in pieces.
#pragma once

#include <cstddef>

namespace ombrel {

/// The size without the part of a character at the end, of which the rest is still to come.
inline size_t whole_characters(const char* text, size_t size) {
    constexpr size_t longest = 4;
    for (size_t back = 1; back < longest && back <= size; back++) {
        const auto byte = static_cast<unsigned char>(text[size - back]);
        if (byte < 0x80)
            return size;
        const size_t length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : byte >= 0xc0 ? 2 : 0;
        if (length != 0)
            return length > back ? size - back : size;
    }
    return size;
}

} // namespace ombrel
