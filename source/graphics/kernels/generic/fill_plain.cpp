#include <algorithm>
#include <array>
#include <cstring>

#include "graphics/kernels/generic/plain.h"
#include "graphics/pixel.h"

namespace ombrel::graphics {

namespace {

// Writes whole patterns of pixels, so that a store carries many of them.
template<unsigned bytes>
void fill(unsigned char* to, uint32_t color, size_t count) {
    constexpr size_t pattern_pixels = 16;
    std::array<unsigned char, pattern_pixels * bytes> pattern;
    const size_t used = std::min(count, pattern_pixels);
    for (size_t i = 0; i < used; i++)
        store_pixel<bytes>(pattern.data() + i * bytes, color);
    for (; count >= pattern_pixels; count -= pattern_pixels, to += pattern.size())
        memcpy(to, pattern.data(), pattern.size());
    memcpy(to, pattern.data(), count * bytes);
}

} // namespace

void fill16_plain(unsigned char* to, uint32_t color, size_t count) {
    fill<2>(to, color, count);
}

void fill24_plain(unsigned char* to, uint32_t color, size_t count) {
    fill<3>(to, color, count);
}

void fill32_plain(unsigned char* to, uint32_t color, size_t count) {
    fill<4>(to, color, count);
}

} // namespace ombrel::graphics
