// Pixels in memory: their least significant byte comes first, whatever the processor's own order is.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace ombrel::graphics {

template<unsigned bytes>
inline uint32_t load_pixel(const unsigned char* from) {
    static_assert(bytes >= 1 && bytes <= 4);
    if constexpr (std::endian::native == std::endian::little && bytes != 3) {
        uint32_t pixel = 0;
        memcpy(&pixel, from, bytes);
        return pixel;
    }
    uint32_t pixel = 0;
    for (unsigned i = 0; i < bytes; i++)
        pixel |= uint32_t{from[i]} << (8 * i);
    return pixel;
}

template<unsigned bytes>
inline void store_pixel(unsigned char* to, uint32_t pixel) {
    static_assert(bytes >= 1 && bytes <= 4);
    if constexpr (std::endian::native == std::endian::little && bytes != 3) {
        memcpy(to, &pixel, bytes);
        return;
    }
    for (unsigned i = 0; i < bytes; i++)
        to[i] = static_cast<unsigned char>(pixel >> (8 * i));
}

} // namespace ombrel::graphics
