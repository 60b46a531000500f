#include "graphics/pixel/palette.h"

#include <algorithm>

#include <ombrel/color.h>

#include "graphics/pixel/palette_data.h"

namespace ombrel::graphics {

namespace {

constexpr size_t white_entry = 15;

constexpr uint32_t distance(uint32_t a, uint32_t b) {
    uint32_t sum = 0;
    for (unsigned shift = 0; shift < 24; shift += 8) {
        const auto difference = static_cast<int32_t>((a >> shift & 0xFF) - (b >> shift & 0xFF));
        sum += static_cast<uint32_t>(difference * difference);
    }
    return sum;
}

// With the index below the distance, so that the first of equals is the least.
uint32_t nearest_of(uint32_t entries, uint32_t color) {
    uint32_t best = UINT32_MAX;
    for (uint32_t i = 0; i < entries; i++)
        best = std::min(best, distance(default_palette[i], color) << 8 | i);
    return best & 0xFF;
}

} // namespace

uint32_t nearest_palette_color(uint32_t to_interface, uint32_t from_interface, uint32_t color) {
    if (to_interface == from_interface)
        return color;
    const uint32_t rgb = ombrel_convert_color(def_ombrel_color_interface_rgb888, from_interface, color);
    if (to_interface == def_ombrel_color_interface_grey1)
        return distance(default_palette[white_entry], rgb) < distance(default_palette[0], rgb);
    return nearest_of(1u << ombrel_color_interface_to_bits_per_pixel(to_interface), rgb);
}

} // namespace ombrel::graphics
