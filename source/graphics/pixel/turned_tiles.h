// Columns that become rows, in tiles that a cache can hold.
#pragma once

#include <algorithm>

#include "graphics/pixel/kernels/kernels.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

template<unsigned bytes>
void turn_tile(const turn_area& area) {
    for (size_t y = 0; y < area.height; y++) {
        unsigned char* to = area.to + static_cast<ptrdiff_t>(y) * area.to_line_length;
        const unsigned char* from = area.from + y * bytes;
        for (size_t x = 0; x < area.width; x++, to += bytes, from += area.from_line_length)
            store_pixel<bytes>(to, load_pixel<bytes>(from));
    }
}

/// A part of the area, from a target's pixel on.
inline turn_area part_of(const turn_area& area, unsigned bytes, size_t x, size_t y, size_t width,
                         size_t height) {
    return {area.to + static_cast<ptrdiff_t>(y) * area.to_line_length + x * bytes,
            area.to_line_length,
            area.from + static_cast<ptrdiff_t>(x) * area.from_line_length + y * bytes,
            area.from_line_length,
            width,
            height};
}

template<unsigned bytes>
void turn_in_tiles(const turn_area& area) {
    constexpr size_t across = 16, down = 64 / bytes;
    for (size_t y = 0; y < area.height; y += down)
        for (size_t x = 0; x < area.width; x += across)
            turn_tile<bytes>(part_of(area, bytes, x, y, std::min(across, area.width - x),
                                     std::min(down, area.height - y)));
}

} // namespace ombrel::graphics
