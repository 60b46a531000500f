#include "text/charset/kernels/utf8_kernels.h"

#if defined(OMBREL_NEON_UTF8)

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <arm_neon.h>

#define OMBREL_TARGET

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = uint8x16_t;

    static vector load(const void* from) { return vld1q_u8(static_cast<const uint8_t*>(from)); }
    static vector repeat(const std::array<uint8_t, 16>& table) { return load(table.data()); }
    static vector all(uint8_t byte) { return vdupq_n_u8(byte); }
    static vector either(vector a, vector b) { return vorrq_u8(a, b); }
    static vector both(vector a, vector b) { return vandq_u8(a, b); }
    static vector differing(vector a, vector b) { return veorq_u8(a, b); }
    static vector low_halves(vector bytes) { return vandq_u8(bytes, vdupq_n_u8(15)); }
    static vector high_halves(vector bytes) { return vshrq_n_u8(bytes, 4); }
    static vector look_up(vector table, vector halves) { return vqtbl1q_u8(table, halves); }
    // Less than 0 is 0.
    static vector subtract(vector a, vector b) { return vqsubq_u8(a, b); }
    // The bytes that stand so many places before these.
    template<int places>
    static vector before(vector bytes, vector previous) {
        return vextq_u8(previous, bytes, 16 - places);
    }
    static bool has_any_bit(vector bytes) { return vmaxvq_u8(bytes) != 0; }
    static bool has_high_bit(vector bytes) { return vmaxvq_u8(bytes) >= 0x80; }
    // Each byte's answer becomes four bits of one word.
    static size_t first_high_bit(vector bytes) {
        const uint16x8_t high = vreinterpretq_u16_u8(vcgeq_u8(bytes, vdupq_n_u8(0x80)));
        const uint64_t word = vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(high, 4)), 0);
        return static_cast<size_t>(std::countr_zero(word)) / 4;
    }
    // One more for each byte that is no continuation byte; those are the lowest of the numbers with a sign.
    static vector add_beginnings(vector counts, vector bytes) {
        return vsubq_u8(counts, vcgtq_s8(vreinterpretq_s8_u8(bytes), vdupq_n_s8(-0x41)));
    }
    static size_t sum(vector counts) { return vaddlvq_u8(counts); }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_lanes.h"
// behind the former
#include "text/charset/kernels/count_lanes.h"

namespace ombrel::charset {

size_t ascii_run_neon(const char* text, size_t size) {
    return ascii_run(text, size);
}

size_t utf8_run_neon(const char* text, size_t size) {
    return utf8_run(text, size);
}

size_t utf8_count_neon(const char* text, size_t size) {
    return utf8_count(text, size);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
