#include "graphics/pixel/kernels/arm/neon.h"

#if defined(OMBREL_NEON_GRAPHICS)

#include <arm_neon.h>

#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/turned_tiles.h"

namespace ombrel::graphics {

namespace {

constexpr size_t step = 4; // pixels in a vector

inline uint32x4_t load(const unsigned char* from) {
    return vreinterpretq_u32_u8(vld1q_u8(from));
}

inline void store(unsigned char* to, uint32x4_t pixels) {
    vst1q_u8(to, vreinterpretq_u8_u32(pixels));
}

// Where the four bytes of pixels lie that are so many places behind the first one.
inline uint8x16_t bytes_of(uint32x4_t places) {
    return vreinterpretq_u8_u32(vmlaq_n_u32(vdupq_n_u32(0x03020100), places, 0x04040404));
}

} // namespace

// Four pixels that come from within eight are chosen from two vectors; others are fetched one by one.
void gather32_neon(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count) {
    const uint32_t end = count > 0 ? columns[count - 1] : 0;
    size_t i = 0;
    for (; i + step <= count && size_t{columns[i]} + 2 * step - 1 <= end; i += step) {
        const uint32_t base = columns[i];
        if (columns[i + step - 1] - base >= 2 * step) {
            gather32_plain(to + 4 * i, row, columns + i, step);
            continue;
        }
        const uint8x16x2_t near = vld1q_u8_x2(row + 4 * size_t{base});
        const uint32x4_t places = vsubq_u32(vld1q_u32(columns + i), vdupq_n_u32(base));
        vst1q_u8(to + 4 * i, vqtbl2q_u8(near, bytes_of(places)));
    }
    gather32_plain(to + 4 * i, row, columns + i, count - i);
}

void reverse32_neon(unsigned char* to, const unsigned char* from, size_t count) {
    for (; count >= step; count -= step, to += 4 * step) {
        const uint32x4_t in_pairs = vrev64q_u32(load(from + 4 * (count - step)));
        store(to, vextq_u32(in_pairs, in_pairs, 2));
    }
    reverse32_plain(to, from, count);
}

namespace {

inline uint32x4_t first_halves(uint32x4_t a, uint32x4_t b) {
    return vreinterpretq_u32_u64(vtrn1q_u64(vreinterpretq_u64_u32(a), vreinterpretq_u64_u32(b)));
}

inline uint32x4_t second_halves(uint32x4_t a, uint32x4_t b) {
    return vreinterpretq_u32_u64(vtrn2q_u64(vreinterpretq_u64_u32(a), vreinterpretq_u64_u32(b)));
}

// Four columns of four pixels become rows: neighbours change places, then halves.
inline void turn_block(unsigned char* to, ptrdiff_t to_line, const unsigned char* from, ptrdiff_t from_line) {
    const uint32x4_t first = load(from), second = load(from + from_line);
    const uint32x4_t third = load(from + 2 * from_line), fourth = load(from + 3 * from_line);
    const uint32x4_t upper_even = vtrn1q_u32(first, second), upper_odd = vtrn2q_u32(first, second);
    const uint32x4_t lower_even = vtrn1q_u32(third, fourth), lower_odd = vtrn2q_u32(third, fourth);
    store(to, first_halves(upper_even, lower_even));
    store(to + to_line, first_halves(upper_odd, lower_odd));
    store(to + 2 * to_line, second_halves(upper_even, lower_even));
    store(to + 3 * to_line, second_halves(upper_odd, lower_odd));
}

} // namespace

// Four blocks one below the other take what a line of the cache holds of each row that is read.
void turn32_neon(const turn_area& area) {
    const size_t width = area.width - area.width % step, height = area.height - area.height % (4 * step);
    for (size_t y = 0; y < height; y += 4 * step)
        for (size_t x = 0; x < width; x += step)
            for (size_t below = 0; below < 4 * step; below += step) {
                const turn_area block = part_of(area, 4, x, y + below, step, step);
                turn_block(block.to, block.to_line_length, block.from, block.from_line_length);
            }
    turn32_plain(part_of(area, 4, width, 0, area.width - width, height));
    turn32_plain(part_of(area, 4, 0, height, area.width, area.height - height));
}

} // namespace ombrel::graphics

#endif
