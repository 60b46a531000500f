#include "graphics/pixel/kernels/arm/neon.h"

#if defined(OMBREL_NEON_GRAPHICS)

#include <cstring>

#include <arm_neon.h>

#include "graphics/pixel/kernels/generic/plain.h"

namespace ombrel::graphics {

namespace {

// The weights of two pairs of pixels, each four times.
inline uint8x16_t load_weights(const uint16_t* weights) {
    constexpr uint8_t order[16] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};
    uint32_t two;
    memcpy(&two, weights, sizeof two);
    return vqtbl1q_u8(vreinterpretq_u8_u32(vdupq_n_u32(two)), vld1q_u8(order));
}

inline uint8x8_t load_pair(const unsigned char* row, uint32_t column) {
    return vld1_u8(row + 4 * size_t{column});
}

// The sums of two pairs whose pixels stand in the halves of a vector each.
inline uint16x8_t sum_up(uint16x8_t first, uint16x8_t second) {
    return vaddq_u16(vcombine_u16(vget_low_u16(first), vget_low_u16(second)),
                     vcombine_u16(vget_high_u16(first), vget_high_u16(second)));
}

} // namespace

void mix_columns_neon(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                      const uint32_t* columns, const uint16_t* weights, size_t count) {
    size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        __builtin_prefetch(next_row + 4 * size_t{columns[i]});
        const uint8x16_t both = load_weights(weights + i);
        const uint16x8_t first = vmull_u8(load_pair(row, columns[i]), vget_low_u8(both));
        const uint16x8_t second = vmull_u8(load_pair(row, columns[i + 1]), vget_high_u8(both));
        vst1q_s16(to + 4 * i, vreinterpretq_s16_u16(vsubq_u16(sum_up(first, second), vdupq_n_u16(16384))));
    }
    mix_columns_plain(to + 4 * i, row, next_row, columns + i, weights + i, count - i);
}

void mix_rows_neon(unsigned char* to, const int16_t* upper, const int16_t* lower, unsigned weight,
                   size_t count) {
    const auto share = static_cast<int16_t>(weight << 8);
    size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const int16x8_t above = vld1q_s16(upper + 4 * i);
        const int16x8_t more = vqrdmulhq_n_s16(vsubq_s16(vld1q_s16(lower + 4 * i), above), share);
        const int16x8_t sum = vaddq_s16(vaddq_s16(above, more), vdupq_n_s16(16384 + 64));
        vst1_u8(to + 4 * i, vshrn_n_u16(vreinterpretq_u16_s16(sum), 7));
    }
    mix_rows_plain(to + 4 * i, upper + 4 * i, lower + 4 * i, weight, count - i);
}

namespace {

inline void add(uint32_t* sums, uint16x4_t first, uint16_t first_weight, uint16x4_t second,
                uint16_t second_weight) {
    const uint32x4_t more = vmlal_n_u16(vld1q_u32(sums), first, first_weight);
    vst1q_u32(sums, vmlal_n_u16(more, second, second_weight));
}

} // namespace

void weigh_rows_neon(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                     const unsigned char* second, unsigned second_weight, size_t count) {
    const auto first_share = static_cast<uint16_t>(first_weight);
    const auto second_share = static_cast<uint16_t>(second_weight);
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const uint16x8_t a = vmovl_u8(vld1_u8(first + i)), b = vmovl_u8(vld1_u8(second + i));
        add(sums + i, vget_low_u16(a), first_share, vget_low_u16(b), second_share);
        add(sums + i + 4, vget_high_u16(a), first_share, vget_high_u16(b), second_share);
    }
    weigh_rows_plain(sums + i, first + i, first_weight, second + i, second_weight, count - i);
}

} // namespace ombrel::graphics

#endif
