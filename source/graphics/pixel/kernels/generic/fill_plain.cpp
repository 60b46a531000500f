#include <array>
#include <cstring>

#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

namespace {

constexpr size_t pattern_pixels = 16;

// Writes whole patterns of pixels, so that a store carries many of them.
template<unsigned bytes>
void put_patterns(unsigned char* to, const unsigned char* pattern, size_t count) {
    for (; count >= pattern_pixels; count -= pattern_pixels, to += pattern_pixels * bytes)
        memcpy(to, pattern, pattern_pixels * bytes);
    memcpy(to, pattern, count * bytes);
}

template<unsigned bytes>
void fill(const fill_area& area, uint32_t color) {
    std::array<unsigned char, pattern_pixels * bytes> pattern;
    for (size_t i = 0; i < pattern_pixels; i++)
        store_pixel<bytes>(pattern.data() + i * bytes, color);
    for (size_t row = 0; row < area.height; row++)
        put_patterns<bytes>(area.to + row * area.line_length, pattern.data(), area.width);
}

} // namespace

void fill16_plain(const fill_area& area, uint32_t color) {
    fill<2>(area, color);
}

void fill24_plain(const fill_area& area, uint32_t color) {
    fill<3>(area, color);
}

void fill32_plain(const fill_area& area, uint32_t color) {
    fill<4>(area, color);
}

} // namespace ombrel::graphics
