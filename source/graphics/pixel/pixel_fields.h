// What the fields of a colour interface mean, and pixels of any number of bytes.
#pragma once

#include <bit>
#include <cstdint>

#include <ombrel/color.h>

#include "graphics/pixel/byte_channels.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

struct bit_range {
    uint32_t shift, bits;
};

// Three channels of a byte each in the low bytes, with or without something above them.
constexpr bool has_byte_channels(uint32_t color_interface) {
    const uint32_t colors = color_interface & colors_of_bytes, top = color_interface >> 24;
    return (colors == def_ombrel_color_interface_rgb888 || colors == def_ombrel_color_interface_bgr888) &&
           (top == 0x00 || top == 0x08 || top == 0x18);
}

// Of several alpha channels the topmost counts, as in a conversion.
constexpr bit_range alpha_range(uint32_t color_interface) {
    bit_range found = {0, 0};
    for (uint32_t i = 0, shift = 0; i < 4; i++) {
        const uint32_t field = color_interface >> (8 * i) & 0xFF, bits = field & 0xF;
        if (field >> 4 == def_ombrel_color_channel_alpha && bits != 0)
            found = {shift, bits};
        shift += bits;
    }
    return found;
}

constexpr bool has_alpha(uint32_t color_interface) {
    return alpha_range(color_interface).bits != 0;
}

// Eight bits of any number of them: the upper ones of more, fewer repeated, so that all ones are opaque.
constexpr uint32_t to_byte(uint32_t value, uint32_t bits) {
    if (bits >= 8)
        return value >> (bits - 8);
    uint32_t byte = value << (8 - bits);
    for (uint32_t known = bits; known < 8; known *= 2)
        byte |= byte >> known;
    return byte;
}

// The bits of a pixel that mean something.
inline uint32_t meaningful_bits(uint32_t color_interface) {
    uint64_t mask = 0;
    unsigned shift = 0;
    for (int i = 0; i < 4; i++) {
        const uint32_t field = color_interface >> (8 * i) & 0xFF, bits = field & 0xF;
        if (field >> 4 != def_ombrel_color_channel_none)
            mask |= ((uint64_t{1} << bits) - 1) << shift;
        shift += bits;
    }
    return static_cast<uint32_t>(mask);
}

constexpr bool has_kind(uint32_t color_interface, uint32_t lowest, uint32_t highest) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const uint32_t kind = color_interface >> (shift + 4) & 0xF;
        if (kind >= lowest && kind <= highest && (color_interface >> shift & 0xF) != 0)
            return true;
    }
    return false;
}

constexpr bool has_luma(uint32_t color_interface) {
    return has_kind(color_interface, def_ombrel_color_channel_luma, def_ombrel_color_channel_chroma_v);
}

/// Whether a pixel is one of a few colours: an index into the palette, or black or white.
constexpr bool has_palette(uint32_t color_interface) {
    return color_interface == def_ombrel_color_interface_grey1 ||
           color_interface == def_ombrel_color_interface_palette2 ||
           color_interface == def_ombrel_color_interface_palette4 ||
           color_interface == def_ombrel_color_interface_palette8;
}

/// Bytes of a pixel that shares none with another.
inline unsigned loose_bytes(uint32_t color_interface) {
    return (ombrel_color_interface_to_bits_per_pixel(color_interface) + 7) / 8;
}

inline uint32_t load(const unsigned char* from, unsigned bytes) {
    switch (bytes) {
    case 1:
        return load_pixel<1>(from);
    case 2:
        return load_pixel<2>(from);
    case 3:
        return load_pixel<3>(from);
    default:
        return load_pixel<4>(from);
    }
}

inline void store(unsigned char* to, uint32_t pixel, unsigned bytes) {
    switch (bytes) {
    case 1:
        return store_pixel<1>(to, pixel);
    case 2:
        return store_pixel<2>(to, pixel);
    case 3:
        return store_pixel<3>(to, pixel);
    default:
        return store_pixel<4>(to, pixel);
    }
}

} // namespace ombrel::graphics
