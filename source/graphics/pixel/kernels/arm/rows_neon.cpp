#include "graphics/pixel/kernels/arm/neon.h"

#if defined(OMBREL_NEON_GRAPHICS)

#include <arm_neon.h>

#include "graphics/pixel/kernels/generic/plain.h"

namespace ombrel::graphics {

namespace {

// Eight pixels are taken apart into a vector for each channel; the lowest channel comes first.
constexpr size_t step = 8;

inline uint8x8_t divide_by_255(uint16x8_t value) {
    return vraddhn_u16(value, vrshrq_n_u16(value, 8));
}

inline uint8x8_t mix(uint8x8_t upper, uint8x8_t lower, uint8x8_t alpha) {
    return divide_by_255(vmlal_u8(vmull_u8(upper, alpha), lower, vmvn_u8(alpha)));
}

inline uint8x8x4_t channels_of(uint32_t pixel) {
    const auto channel = [&](unsigned shift) { return vdup_n_u8(static_cast<uint8_t>(pixel >> shift)); };
    return {{channel(0), channel(8), channel(16), channel(24)}};
}

inline uint8x8_t where_equal(const uint8x8x4_t& pixels, const uint8x8x4_t& mask, const uint8x8x4_t& key) {
    uint8x8_t equal = vdup_n_u8(0xFF);
    for (int i = 0; i < 4; i++)
        equal = vand_u8(equal, vceq_u8(vand_u8(pixels.val[i], mask.val[i]), key.val[i]));
    return equal;
}

} // namespace

void widen_neon(unsigned char* to, const unsigned char* from, size_t count, uint32_t top) {
    const uint8x8_t above = vdup_n_u8(static_cast<uint8_t>(top >> 24));
    for (; count >= step; count -= step, to += 4 * step, from += 2 * step) {
        const uint16x8_t pixels = vreinterpretq_u16_u8(vld1q_u8(from));
        const uint8x8_t red = vand_u8(vshrn_n_u16(pixels, 8), vdup_n_u8(0xF8));
        const uint8x8_t green = vand_u8(vshrn_n_u16(pixels, 3), vdup_n_u8(0xFC));
        const uint8x8_t blue = vmovn_u16(vshlq_n_u16(pixels, 3));
        const uint8x8x4_t wide = {{blue, green, red, above}};
        vst4_u8(to, wide);
    }
    widen_plain(to, from, count, top);
}

void narrow_neon(unsigned char* to, const unsigned char* from, size_t count) {
    for (; count >= step; count -= step, to += 2 * step, from += 4 * step) {
        const uint8x8x4_t pixels = vld4_u8(from);
        const uint16x8_t red = vshll_n_u8(pixels.val[2], 8);
        const uint16x8_t with_green = vsriq_n_u16(red, vshll_n_u8(pixels.val[1], 8), 5);
        const uint16x8_t all = vsriq_n_u16(with_green, vshll_n_u8(pixels.val[0], 8), 11);
        vst1q_u8(to, vreinterpretq_u8_u16(all));
    }
    narrow_plain(to, from, count);
}

void blend_neon(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings) {
    const uint8x8_t window = vdup_n_u8(static_cast<uint8_t>(settings.window_alpha));
    const uint8x8x4_t key = channels_of(settings.key), key_mask = channels_of(settings.key_mask),
                      keep = channels_of(settings.keep), set = channels_of(settings.set);
    for (; count >= step; count -= step, to += 4 * step, from += 4 * step) {
        const uint8x8x4_t pixels = vld4_u8(from);
        uint8x8_t alpha = settings.pixel_alpha ? divide_by_255(vmull_u8(pixels.val[3], window)) : window;
        const uint8x8_t skipped = settings.keyed ? where_equal(pixels, key_mask, key) : vdup_n_u8(0);
        alpha = vbic_u8(alpha, skipped); // an invisible pixel leaves the lower one exactly as it is
        uint8x8x4_t lower = vld4_u8(to);
        for (int i = 0; i < 4; i++)
            lower.val[i] = mix(vorr_u8(vand_u8(pixels.val[i], keep.val[i]), set.val[i]), lower.val[i], alpha);
        vst4_u8(to, lower);
    }
    blend_plain(to, from, count, settings);
}

} // namespace ombrel::graphics

#endif
