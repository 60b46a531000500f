#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/mix.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

namespace {

// Two channels at a time, each with 16 bits for its products.
constexpr uint32_t even_channels = 0x00FF00FF;

uint32_t mix_pair(uint32_t upper, uint32_t lower, uint32_t alpha) {
    const uint32_t sums = upper * alpha + lower * (255 - alpha) + 0x00800080;
    return (sums + (sums >> 8 & even_channels)) >> 8 & even_channels;
}

uint32_t mix_pixel(uint32_t upper, uint32_t lower, uint32_t alpha) {
    return mix_pair(upper & even_channels, lower & even_channels, alpha) |
           mix_pair(upper >> 8 & even_channels, lower >> 8 & even_channels, alpha) << 8;
}

} // namespace

void blend_plain(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings) {
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load_pixel<4>(from + 4 * i);
        if (settings.keyed && (pixel & settings.key_mask) == settings.key)
            continue;
        const uint32_t alpha = settings.pixel_alpha ? divide_by_255((pixel >> 24) * settings.window_alpha)
                                                    : settings.window_alpha;
        const uint32_t upper = (pixel & settings.keep) | settings.set;
        store_pixel<4>(to + 4 * i, mix_pixel(upper, load_pixel<4>(to + 4 * i), alpha));
    }
}

} // namespace ombrel::graphics
