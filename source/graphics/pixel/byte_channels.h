// Pixels of three channels of a byte each, in three bytes or, with something above them, in four.
#pragma once

#include <cstddef>
#include <cstdint>

#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

constexpr uint32_t colors_of_bytes = 0x00FFFFFF;

constexpr uint32_t swap_outer_channels(uint32_t pixel) {
    return (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
}

/// Moves pixels and, where asked to, changes the order of their channels. What is not in `keep` is lost, and
/// `set` is added.
using channel_mover = void (*)(unsigned char* to, const unsigned char* from, size_t count, uint32_t keep,
                               uint32_t set);

template<unsigned to_bytes, unsigned from_bytes, bool swapped>
void move_channels(unsigned char* to, const unsigned char* from, size_t count, uint32_t keep, uint32_t set) {
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load_pixel<from_bytes>(from + from_bytes * i);
        store_pixel<to_bytes>(to + to_bytes * i,
                              ((swapped ? swap_outer_channels(pixel) : pixel) & keep) | set);
    }
}

inline channel_mover mover_for(unsigned to_bytes, unsigned from_bytes, bool swapped) {
    constexpr channel_mover movers[2][2][2] = {
        {{move_channels<3, 3, false>, move_channels<3, 3, true>},
         {move_channels<3, 4, false>, move_channels<3, 4, true>}},
        {{move_channels<4, 3, false>, move_channels<4, 3, true>},
         {move_channels<4, 4, false>, move_channels<4, 4, true>}},
    };
    return movers[to_bytes - 3][from_bytes - 3][swapped];
}

} // namespace ombrel::graphics
