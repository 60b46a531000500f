// The arithmetic of blending.
#pragma once

#include <cstdint>

namespace ombrel::graphics {

/// value / 255, rounded; exact for 0 to 65025.
constexpr uint32_t divide_by_255(uint32_t value) {
    const uint32_t biased = value + 128;
    return (biased + (biased >> 8)) >> 8;
}

/// A channel of up to 16 bits, rounded: the upper one as far as `alpha` of 255 says, the lower one for the
/// rest.
constexpr uint32_t mix(uint32_t upper, uint32_t lower, uint32_t alpha) {
    return (upper * alpha + lower * (255 - alpha) + 127) / 255;
}

} // namespace ombrel::graphics
