#include "text/charset/kernels/utf8_codes.h"

#if defined(OMBREL_NEON_UTF8_CODES)

#include <arm_neon.h>

#define OMBREL_TARGET

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = uint32x4_t;

    static vector load(const void* from) {
        return vreinterpretq_u32_u8(vld1q_u8(static_cast<const uint8_t*>(from)));
    }
    static void store(void* to, vector bytes) {
        vst1q_u8(static_cast<uint8_t*>(to), vreinterpretq_u8_u32(bytes));
    }
    static vector repeat(uint32_t code) { return vdupq_n_u32(code); }
    static vector either(vector a, vector b) { return vorrq_u32(a, b); }
    static vector both(vector a, vector b) { return vandq_u32(a, b); }
    static vector choose(vector mask, vector a, vector b) { return vbslq_u32(mask, a, b); }
    template<int places>
    static vector left(vector codes) {
        return vshlq_n_u32(codes, places);
    }
    template<int places>
    static vector right(vector codes) {
        return vshrq_n_u32(codes, places);
    }
    static vector above(vector codes, uint32_t limit) { return vcgtq_u32(codes, repeat(limit)); }
    static unsigned bits_of(vector mask) {
        constexpr uint32_t places[4] = {1, 2, 4, 8};
        return vaddvq_u32(both(mask, vld1q_u32(places)));
    }
    static vector shuffle(vector bytes, const byte_shuffle& places) {
        return vreinterpretq_u32_u8(vqtbl1q_u8(vreinterpretq_u8_u32(bytes), vld1q_u8(places.data())));
    }
    static block_bits look_at(const char* text) {
        uint8x16_t high[4], continuing[4];
        for (size_t i = 0; i < 4; i++) {
            const uint8x16_t bytes = vld1q_u8(reinterpret_cast<const uint8_t*>(text) + 16 * i);
            high[i] = vcgeq_u8(bytes, vdupq_n_u8(0x80));
            continuing[i] = vcltq_s8(vreinterpretq_s8_u8(bytes), vdupq_n_s8(-0x40));
        }
        return {word_of(high), word_of(continuing)};
    }
    static void widen_sixteen(uint32_t* codes, const char* text) {
        const uint8x16_t bytes = vld1q_u8(reinterpret_cast<const uint8_t*>(text));
        const uint16x8_t low = vmovl_u8(vget_low_u8(bytes)), high = vmovl_u8(vget_high_u8(bytes));
        vst1q_u32(codes, vmovl_u16(vget_low_u16(low)));
        vst1q_u32(codes + 4, vmovl_u16(vget_high_u16(low)));
        vst1q_u32(codes + 8, vmovl_u16(vget_low_u16(high)));
        vst1q_u32(codes + 12, vmovl_u16(vget_high_u16(high)));
    }

private:
    // A bit for each byte of 64: neighbours are added until a byte holds eight of them.
    static uint64_t word_of(const uint8x16_t (&masks)[4]) {
        constexpr uint8_t bits[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        const uint8x16_t places = vld1q_u8(bits);
        const uint8x16_t low = vpaddq_u8(vandq_u8(masks[0], places), vandq_u8(masks[1], places));
        const uint8x16_t high = vpaddq_u8(vandq_u8(masks[2], places), vandq_u8(masks[3], places));
        const uint8x16_t fours = vpaddq_u8(low, high);
        return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(fours, fours)), 0);
    }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_code_lanes.h"

namespace ombrel::charset {

utf8_progress unpack_utf8_neon(uint32_t* codes, size_t room, const char* text, size_t size) {
    return unpack_utf8(codes, room, text, size);
}

utf8_progress pack_utf8_neon(char* text, size_t room, const uint32_t* codes, size_t count) {
    return pack_utf8(text, room, codes, count);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
