#if defined(__x86_64__) || defined(__i386__)

#include <bit>

#include <immintrin.h>

#include "text/charset/kernels/utf8_codes.h"

#define OMBREL_TARGET [[gnu::target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi2,popcnt")]]

namespace ombrel::charset {

namespace {

constexpr size_t width = 16;
// Some compilers take the forms without a mask for readers of what was never written.
constexpr __mmask16 every_lane = 0xFFFF;

OMBREL_TARGET inline __m512i repeat(uint32_t lane) {
    return _mm512_set1_epi32(static_cast<int>(lane));
}

OMBREL_TARGET inline __m512i bits(__m512i lanes, uint32_t mask) {
    return _mm512_and_si512(lanes, repeat(mask));
}

OMBREL_TARGET inline __m512i all_of(__m512i a, __m512i b, __m512i c) {
    return _mm512_or_si512(_mm512_or_si512(a, b), c);
}

OMBREL_TARGET inline __mmask16 above(__m512i lanes, uint32_t limit) {
    return _mm512_cmpgt_epu32_mask(lanes, repeat(limit));
}

/// The bytes of code points below 0x10000 in their lanes, the first first, and the last in the third place.
OMBREL_TARGET inline __m512i spread(__m512i codes, __mmask16 above_7f, __mmask16 above_7ff) {
    const __m512i shifted = _mm512_maskz_slli_epi32(every_lane, codes, 16);
    const __m512i tail = _mm512_or_si512(bits(shifted, 0x3F0000), repeat(0x800000));
    const __m512i last = _mm512_mask_mov_epi32(shifted, above_7f, tail);
    const __m512i mark = _mm512_mask_mov_epi32(repeat(0xC000), above_7ff, repeat(0x8000));
    const __m512i middle = _mm512_or_si512(bits(_mm512_maskz_slli_epi32(every_lane, codes, 2), 0x3F00), mark);
    const __m512i first = _mm512_or_si512(_mm512_maskz_srli_epi32(every_lane, codes, 12), repeat(0xE0));
    return all_of(last, middle, first);
}

/// Which of these bytes belong to the text.
OMBREL_TARGET inline __mmask64 present(__mmask16 above_7f, __mmask16 above_7ff) {
    return _mm512_movepi8_mask(all_of(repeat(0x800000), _mm512_maskz_mov_epi32(above_7f, repeat(0x8000)),
                                      _mm512_maskz_mov_epi32(above_7ff, repeat(0x80))));
}

} // namespace

OMBREL_TARGET utf8_progress pack_utf8_avx512(char* text, size_t room, const uint32_t* codes, size_t count) {
    size_t used = 0, made = 0;
    while (count - used >= width && room - made >= 4 * width) {
        const __m512i all = _mm512_loadu_si512(codes + used);
        const __mmask16 above_7f = above(all, 0x7F), above_7ff = above(all, 0x7FF);
        if (above(all, 0xFFFF) != 0) {
            const utf8_progress slow = pack_utf8_plain(text + made, room - made, codes + used, width);
            used += slow.codes;
            made += slow.bytes;
            continue;
        }
        const __mmask64 wanted = present(above_7f, above_7ff);
        const __m512i bytes = _mm512_maskz_compress_epi8(wanted, spread(all, above_7f, above_7ff));
        _mm512_storeu_si512(text + made, bytes);
        used += width;
        made += static_cast<size_t>(std::popcount(uint64_t{wanted}));
    }
    const utf8_progress rest = pack_utf8_plain(text + made, room - made, codes + used, count - used);
    return {made + rest.bytes, used + rest.codes};
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
