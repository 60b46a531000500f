#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/x86/x86.h"
#include "graphics/pixel/turned_tiles.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::graphics {

namespace {

constexpr size_t step = 8; // pixels in a vector

OMBREL_TARGET inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

OMBREL_TARGET inline void store(unsigned char* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

} // namespace

// Eight pixels that come from within sixteen are chosen in two vectors; others are fetched one by one.
OMBREL_TARGET void gather32_avx2(unsigned char* to, const unsigned char* row, const uint32_t* columns,
                                 size_t count) {
    const uint32_t end = count > 0 ? columns[count - 1] : 0;
    if (count == 0 || end - columns[0] >= 2 * count)
        return gather32_plain(to, row, columns, count);
    size_t i = 0;
    for (; i + step <= count && size_t{columns[i]} + 2 * step - 1 <= end; i += step) {
        const uint32_t base = columns[i];
        if (columns[i + step - 1] - base >= 2 * step) {
            gather32_plain(to + 4 * i, row, columns + i, step);
            continue;
        }
        const __m256i places = _mm256_sub_epi32(load(columns + i), _mm256_set1_epi32(static_cast<int>(base)));
        const unsigned char* const from = row + 4 * size_t{base};
        const __m256i low = _mm256_permutevar8x32_epi32(load(from), places);
        const __m256i high = _mm256_permutevar8x32_epi32(load(from + 4 * step), places);
        const __m256i beyond = _mm256_cmpgt_epi32(places, _mm256_set1_epi32(step - 1));
        store(to + 4 * i, _mm256_blendv_epi8(low, high, beyond));
    }
    gather32_plain(to + 4 * i, row, columns + i, count - i);
}

OMBREL_TARGET void reverse32_avx2(unsigned char* to, const unsigned char* from, size_t count) {
    const __m256i order = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    for (; count >= step; count -= step, to += 4 * step)
        store(to, _mm256_permutevar8x32_epi32(load(from + 4 * (count - step)), order));
    reverse32_plain(to, from, count);
}

namespace {

OMBREL_TARGET inline __m256i halves(const unsigned char* low, const unsigned char* high) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}

// Eight columns of eight pixels become rows: neighbours change places, then pairs, then halves.
OMBREL_TARGET inline void turn_block(unsigned char* to, ptrdiff_t to_line, const unsigned char* from,
                                     ptrdiff_t from_line) {
    __m256i rows[step], pairs[step];
    for (int i = 0; i < 4; i++) {
        rows[i] = halves(from + i * from_line, from + (i + 4) * from_line);
        rows[i + 4] = halves(from + i * from_line + 16, from + (i + 4) * from_line + 16);
    }
    for (int i = 0; i < 8; i += 4) {
        pairs[i] = _mm256_unpacklo_epi32(rows[i], rows[i + 1]);
        pairs[i + 1] = _mm256_unpackhi_epi32(rows[i], rows[i + 1]);
        pairs[i + 2] = _mm256_unpacklo_epi32(rows[i + 2], rows[i + 3]);
        pairs[i + 3] = _mm256_unpackhi_epi32(rows[i + 2], rows[i + 3]);
    }
    for (int i = 0; i < 8; i += 4) {
        store(to + i * to_line, _mm256_unpacklo_epi64(pairs[i], pairs[i + 2]));
        store(to + (i + 1) * to_line, _mm256_unpackhi_epi64(pairs[i], pairs[i + 2]));
        store(to + (i + 2) * to_line, _mm256_unpacklo_epi64(pairs[i + 1], pairs[i + 3]));
        store(to + (i + 3) * to_line, _mm256_unpackhi_epi64(pairs[i + 1], pairs[i + 3]));
    }
}

} // namespace

// Two blocks one below the other take what a line of the cache holds of each row that is read.
OMBREL_TARGET void turn32_avx2(const turn_area& area) {
    const size_t width = area.width - area.width % step, height = area.height - area.height % (2 * step);
    for (size_t y = 0; y < height; y += 2 * step)
        for (size_t x = 0; x < width; x += step) {
            const turn_area block = part_of(area, 4, x, y, step, 2 * step);
            turn_block(block.to, block.to_line_length, block.from, block.from_line_length);
            turn_block(block.to + ptrdiff_t{step} * block.to_line_length, block.to_line_length,
                       block.from + 4 * step, block.from_line_length);
        }
    turn32_plain(part_of(area, 4, width, 0, area.width - width, height));
    turn32_plain(part_of(area, 4, 0, height, area.width, area.height - height));
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
