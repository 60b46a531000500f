#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include "text/charset/kernels/utf8_codes.h"

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::charset {

namespace {

constexpr size_t width = 8;

OMBREL_TARGET inline __m256i repeat(uint32_t lane) {
    return _mm256_set1_epi32(static_cast<int>(lane));
}

OMBREL_TARGET inline __m256i bits(__m256i lanes, uint32_t mask) {
    return _mm256_and_si256(lanes, repeat(mask));
}

OMBREL_TARGET inline __m256i all_of(__m256i a, __m256i b, __m256i c) {
    return _mm256_or_si256(_mm256_or_si256(a, b), c);
}

OMBREL_TARGET inline __m256i above(__m256i lanes, uint32_t limit) {
    return _mm256_cmpgt_epi32(lanes, repeat(limit));
}

OMBREL_TARGET inline unsigned lane_bits(__m256i lanes) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

/// The bytes of code points below 0x10000 in their lanes, the last first.
OMBREL_TARGET inline __m256i spread(__m256i codes, __m256i above_7f, __m256i above_7ff) {
    const __m256i last =
        _mm256_blendv_epi8(codes, _mm256_or_si256(bits(codes, 0x3F), repeat(0x80)), above_7f);
    // 0xC0, or 0x80 where another byte comes before.
    const __m256i mark = _mm256_sub_epi32(repeat(0xC000), bits(above_7ff, 0x4000));
    const __m256i middle = _mm256_or_si256(bits(_mm256_slli_epi32(codes, 2), 0x3F00), mark);
    const __m256i first = _mm256_or_si256(bits(_mm256_slli_epi32(codes, 4), 0x0F0000), repeat(0xE00000));
    return all_of(last, middle, first);
}

OMBREL_TARGET inline size_t put_four(char* text, __m128i lanes, unsigned lengths) {
    const auto* const shuffle = reinterpret_cast<const __m128i*>(pack_shuffles[lengths].data());
    _mm_storeu_si128(reinterpret_cast<__m128i*>(text), _mm_shuffle_epi8(lanes, _mm_loadu_si128(shuffle)));
    return 4u + pack_extra_bytes[lengths];
}

} // namespace

OMBREL_TARGET utf8_progress pack_utf8_avx2(char* text, size_t room, const uint32_t* codes, size_t count) {
    size_t used = 0, made = 0;
    while (count - used >= width && room - made >= 4 * width) {
        const __m256i eight = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(codes + used));
        if (lane_bits(above(eight, 0xFFFF)) != 0) {
            const utf8_progress slow = pack_utf8_plain(text + made, room - made, codes + used, width);
            used += slow.codes;
            made += slow.bytes;
            continue;
        }
        const __m256i above_7f = above(eight, 0x7F), above_7ff = above(eight, 0x7FF);
        const unsigned long_ones = lane_bits(above_7f), longer_ones = lane_bits(above_7ff);
        used += width;
        if (long_ones == 0) {
            const __m128i units =
                _mm_packs_epi32(_mm256_castsi256_si128(eight), _mm256_extracti128_si256(eight, 1));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(text + made), _mm_packus_epi16(units, units));
            made += width;
            continue;
        }
        const __m256i lanes = spread(eight, above_7f, above_7ff);
        made +=
            put_four(text + made, _mm256_castsi256_si128(lanes), (long_ones & 15) | (longer_ones & 15) << 4);
        made +=
            put_four(text + made, _mm256_extracti128_si256(lanes, 1), long_ones >> 4 | (longer_ones & 0xF0));
    }
    const utf8_progress rest = pack_utf8_plain(text + made, room - made, codes + used, count - used);
    return {made + rest.bytes, used + rest.codes};
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
