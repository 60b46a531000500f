// Case folding of ombrel_to_upper() and ombrel_to_lower() for inner loops, where a call a character would
// cost.
#pragma once

namespace ombrel {

constexpr unsigned char to_upper(unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 32) : c;
}

constexpr unsigned char keep_case(unsigned char c) {
    return c;
}

constexpr unsigned char to_lower(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

} // namespace ombrel
