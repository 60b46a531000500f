// Pixels of 1, 2 or 4 bits, several in a byte, the leftmost in the most significant bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::graphics {

/// Whether pixels of so many bits share bytes.
constexpr bool is_packed(unsigned bits) {
    return bits < 8;
}

constexpr unsigned char load_packed(const unsigned char* row, unsigned bits, size_t x) {
    const size_t place = x * bits;
    return static_cast<unsigned char>(row[place / 8] >> (8 - bits - place % 8) & ((1u << bits) - 1));
}

constexpr void store_packed(unsigned char* row, unsigned bits, size_t x, unsigned pixel) {
    const size_t place = x * bits;
    const auto shift = static_cast<unsigned>(8 - bits - place % 8);
    const unsigned mask = ((1u << bits) - 1) << shift;
    row[place / 8] = static_cast<unsigned char>((row[place / 8] & ~mask) | (pixel << shift & mask));
}

/// Pixels of a row, from `x` on, a byte each.
inline void unpack(unsigned char* to, const unsigned char* row, unsigned bits, size_t x, size_t count) {
    for (size_t i = 0; i < count; i++)
        to[i] = load_packed(row, bits, x + i);
}

/// The other way; the bits around them stay.
inline void pack(unsigned char* row, unsigned bits, size_t x, const unsigned char* pixels, size_t count) {
    for (size_t i = 0; i < count; i++)
        store_packed(row, bits, x + i, pixels[i]);
}

} // namespace ombrel::graphics
