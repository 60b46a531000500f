#include "encoding/kernels/base64.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::encoding {

namespace {

// Eight groups a step, four in each half; the loads and stores reach four bytes beyond its twenty-four.
constexpr size_t step_groups = 8, groups_in_reach = 10;

OMBREL_TARGET inline __m256i load_halves(const void* low, const void* high) {
    return _mm256_loadu2_m128i(static_cast<const __m128i*>(high), static_cast<const __m128i*>(low));
}

OMBREL_TARGET inline __m256i load_twice(const void* from) {
    return load_halves(from, from);
}

OMBREL_TARGET inline __m256i twice(__m128i half) {
    return _mm256_broadcastsi128_si256(half);
}

// The 6-bit values of twice twelve bytes, one a byte.
OMBREL_TARGET inline __m256i split(__m256i bytes) {
    // Each word of 32 bits gets its group as bytes 1 0 2 1, so that every value lies within a half of it.
    const __m256i spread =
        _mm256_shuffle_epi8(bytes, twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    const __m256i even = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0FC0FC00)),
                                            _mm256_set1_epi32(0x04000040));
    const __m256i odd = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003F03F0)),
                                           _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(even, odd);
}

OMBREL_TARGET inline __m256i characters_of(__m256i values, __m256i offsets) {
    const __m256i above = _mm256_subs_epu8(values, _mm256_set1_epi8(51));
    const __m256i capital =
        _mm256_and_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(26), values), _mm256_set1_epi8(13));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, _mm256_or_si256(above, capital)));
}

} // namespace

OMBREL_TARGET void encode_base64_avx2(char* text, const unsigned char* bytes, size_t groups,
                                      const base64_alphabet& alphabet) {
    const __m256i offsets = load_twice(alphabet.offsets.data());
    for (; groups >= groups_in_reach; groups -= step_groups, bytes += 24, text += 32) {
        const __m256i characters = characters_of(split(load_halves(bytes, bytes + 12)), offsets);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), characters);
    }
    encode_base64_plain(text, bytes, groups, alphabet);
}

OMBREL_TARGET size_t decode_base64_avx2(unsigned char* bytes, const unsigned char* text, size_t groups) {
    const __m256i by_low = load_twice(base64_halves.by_low.data()),
                  by_high = load_twice(base64_halves.by_high.data()),
                  offsets = load_twice(base64_halves.offsets.data()),
                  order = twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    size_t left = groups;
    for (; left >= groups_in_reach; left -= step_groups, bytes += 24, text += 32) {
        const __m256i characters = load_halves(text, text + 16);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), _mm256_set1_epi8(15));
        // A look-up goes by the low half of its index, and gives 0 for characters above 127.
        const __m256i shared =
            _mm256_and_si256(_mm256_shuffle_epi8(by_low, characters), _mm256_shuffle_epi8(by_high, high));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(shared, _mm256_setzero_si256())) != 0)
            break;
        const __m256i slash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
        const __m256i values =
            _mm256_add_epi8(characters, _mm256_shuffle_epi8(offsets, _mm256_add_epi8(high, slash)));
        const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0140));
        const __m256i joined =
            _mm256_shuffle_epi8(_mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000)), order);
        _mm256_storeu2_m128i(reinterpret_cast<__m128i*>(bytes + 12), reinterpret_cast<__m128i*>(bytes),
                             joined);
    }
    return groups - left + decode_base64_plain(bytes, text, left);
}

} // namespace ombrel::encoding

#undef OMBREL_TARGET

#endif
