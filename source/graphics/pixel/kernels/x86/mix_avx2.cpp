#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/x86/x86.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <algorithm>
#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::graphics {

namespace {

OMBREL_TARGET inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

OMBREL_TARGET inline void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

// Two pairs of pixels.
OMBREL_TARGET inline __m128i load_pairs(const unsigned char* row, const uint32_t* columns) {
    const __m128i first = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + 4 * size_t{columns[0]}));
    return _mm_castpd_si128(
        _mm_loadh_pd(_mm_castsi128_pd(first), reinterpret_cast<const double*>(row + 4 * size_t{columns[1]})));
}

// Each of two pairs as four pairs of a channel.
OMBREL_TARGET inline __m256i channels_side_by_side(__m256i pairs) {
    return _mm256_shuffle_epi8(pairs, _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12,
                                                                                9, 13, 10, 14, 11, 15)));
}

// The weights of four pixels, each four times.
OMBREL_TARGET inline __m256i load_weights(const uint16_t* weights) {
    const __m256i four =
        _mm256_broadcastsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights)));
    return _mm256_shuffle_epi8(four, _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3, 4, 5, 4,
                                                      5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7));
}

} // namespace

namespace {

constexpr uint32_t vector_pixels = 8;

// Four pairs, each from where it lies.
OMBREL_TARGET inline __m256i load_four_pairs(const unsigned char* row, const uint32_t* columns) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load_pairs(row, columns)),
                                   load_pairs(row, columns + 2), 1);
}

// Four pairs that lie within eight pixels, chosen from these.
OMBREL_TARGET inline __m256i choose_four_pairs(const unsigned char* row, const uint32_t* columns) {
    const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(columns));
    const __m256i twice =
        _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(four), _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3));
    const __m256i before = _mm256_set1_epi32(static_cast<int>(columns[0]));
    const __m256i pairs =
        _mm256_add_epi32(_mm256_sub_epi32(twice, before), _mm256_setr_epi32(0, 1, 0, 1, 0, 1, 0, 1));
    return _mm256_permutevar8x32_epi32(load(row + 4 * size_t{columns[0]}), pairs);
}

// Weights are unsigned bytes, channels signed ones, from which 128 is taken for that: 128 times 128 in all.
OMBREL_TARGET inline void mix_four(int16_t* to, __m256i pairs, const uint16_t* weights) {
    const __m256i middle = _mm256_set1_epi8(static_cast<char>(0x80));
    const __m256i channels = channels_side_by_side(_mm256_xor_si256(pairs, middle));
    store(to, _mm256_maddubs_epi16(load_weights(weights), channels));
}

} // namespace

OMBREL_TARGET void mix_columns_avx2(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                                    const uint32_t* columns, const uint16_t* weights, size_t count) {
    if (count < 4)
        return mix_columns_plain(to, row, next_row, columns, weights, count);
    const uint32_t last = columns[count - 1];
    size_t i = 0;
    for (; i + 4 <= count && size_t{columns[i]} + vector_pixels - 2 <= last; i += 4) {
        __builtin_prefetch(next_row + 4 * size_t{columns[i]});
        mix_four(to + 4 * i,
                 columns[i + 3] - columns[i] <= vector_pixels - 2 ? choose_four_pairs(row, columns + i)
                                                                  : load_four_pairs(row, columns + i),
                 weights + i);
    }
    for (; i < count; i += 4) {
        i = std::min(i, count - 4); // the last ones, some of them once more
        mix_four(to + 4 * i, load_four_pairs(row, columns + i), weights + i);
    }
}

namespace {

OMBREL_TARGET inline __m256i mix(const int16_t* upper, const int16_t* lower, __m256i share) {
    const __m256i above = load(upper), more = _mm256_sub_epi16(load(lower), above);
    const __m256i sum = _mm256_add_epi16(above, _mm256_mulhrs_epi16(more, share));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(16384 + 64)), 7);
}

} // namespace

OMBREL_TARGET void mix_rows_avx2(unsigned char* to, const int16_t* upper, const int16_t* lower,
                                 unsigned weight, size_t count) {
    const __m256i share = _mm256_set1_epi16(static_cast<short>(weight << 8));
    if (count < 8)
        return mix_rows_plain(to, upper, lower, weight, count);
    for (size_t next = 0; next < count; next += 8) {
        const size_t i = std::min(next, count - 8); // as above
        const __m256i low = mix(upper + 4 * i, lower + 4 * i, share);
        const __m256i high = mix(upper + 4 * i + 16, lower + 4 * i + 16, share);
        store(to + 4 * i, _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8));
    }
}

namespace {

OMBREL_TARGET inline __m256i words(const unsigned char* from) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

OMBREL_TARGET inline void add(uint32_t* sums, __m256i more) {
    store(sums, _mm256_add_epi32(load(sums), more));
}

} // namespace

// Bytes of both rows side by side, so that one instruction multiplies and adds both.
OMBREL_TARGET void weigh_rows_avx2(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                                   const unsigned char* second, unsigned second_weight, size_t count) {
    const __m256i weights = _mm256_set1_epi32(static_cast<int>(second_weight << 16 | first_weight));
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i a = words(first + i), b = words(second + i);
        const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weights);
        const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weights);
        add(sums + i, _mm256_permute2x128_si256(low, high, 0x20));
        add(sums + i + 8, _mm256_permute2x128_si256(low, high, 0x31));
    }
    weigh_rows_plain(sums + i, first + i, first_weight, second + i, second_weight, count - i);
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
