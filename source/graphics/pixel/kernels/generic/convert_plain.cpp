#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

void widen_plain(unsigned char* to, const unsigned char* from, size_t count, uint32_t top) {
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load_pixel<2>(from + 2 * i);
        const uint32_t wide = (pixel & 0xF800) << 8 | (pixel & 0x7E0) << 5 | (pixel & 0x1F) << 3;
        store_pixel<4>(to + 4 * i, wide | top);
    }
}

void narrow_plain(unsigned char* to, const unsigned char* from, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load_pixel<4>(from + 4 * i);
        store_pixel<2>(to + 2 * i, (pixel >> 8 & 0xF800) | (pixel >> 5 & 0x7E0) | (pixel >> 3 & 0x1F));
    }
}

} // namespace ombrel::graphics
