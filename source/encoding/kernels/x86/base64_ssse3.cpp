#include "encoding/kernels/base64.h"

#if defined(__x86_64__) || defined(__i386__)

#include <tmmintrin.h>

#define OMBREL_TARGET [[gnu::target("ssse3")]]

namespace ombrel::encoding {

namespace {

// Four groups a step; the loads and stores of a step reach four bytes beyond its twelve.
constexpr size_t step_groups = 4, groups_in_reach = 6;

OMBREL_TARGET inline __m128i load(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

OMBREL_TARGET inline void store(void* to, __m128i vector) {
    _mm_storeu_si128(static_cast<__m128i*>(to), vector);
}

// The 6-bit values of twelve bytes, one a byte.
OMBREL_TARGET inline __m128i split(__m128i bytes) {
    // Each word of 32 bits gets its group as bytes 1 0 2 1, so that every value lies within a half of it.
    const __m128i spread =
        _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m128i even =
        _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
    const __m128i odd =
        _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
    return _mm_or_si128(even, odd);
}

OMBREL_TARGET inline __m128i characters_of(__m128i values, __m128i offsets) {
    const __m128i above = _mm_subs_epu8(values, _mm_set1_epi8(51));
    const __m128i capital = _mm_and_si128(_mm_cmpgt_epi8(_mm_set1_epi8(26), values), _mm_set1_epi8(13));
    return _mm_add_epi8(values, _mm_shuffle_epi8(offsets, _mm_or_si128(above, capital)));
}

} // namespace

OMBREL_TARGET void encode_base64_ssse3(char* text, const unsigned char* bytes, size_t groups,
                                       const base64_alphabet& alphabet) {
    const __m128i offsets = load(alphabet.offsets.data());
    for (; groups >= groups_in_reach; groups -= step_groups, bytes += 12, text += 16)
        store(text, characters_of(split(load(bytes)), offsets));
    encode_base64_plain(text, bytes, groups, alphabet);
}

OMBREL_TARGET size_t decode_base64_ssse3(unsigned char* bytes, const unsigned char* text, size_t groups) {
    const __m128i by_low = load(base64_halves.by_low.data()), by_high = load(base64_halves.by_high.data()),
                  offsets = load(base64_halves.offsets.data());
    size_t left = groups;
    for (; left >= groups_in_reach; left -= step_groups, bytes += 12, text += 16) {
        const __m128i characters = load(text);
        const __m128i high = _mm_and_si128(_mm_srli_epi32(characters, 4), _mm_set1_epi8(15));
        // A look-up goes by the low half of its index, and gives 0 for characters above 127.
        const __m128i shared =
            _mm_and_si128(_mm_shuffle_epi8(by_low, characters), _mm_shuffle_epi8(by_high, high));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(shared, _mm_setzero_si128())) != 0)
            break;
        const __m128i slash = _mm_cmpeq_epi8(characters, _mm_set1_epi8('/'));
        const __m128i values = _mm_add_epi8(characters, _mm_shuffle_epi8(offsets, _mm_add_epi8(high, slash)));
        const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi16(0x0140));
        const __m128i joined = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
        store(bytes, _mm_shuffle_epi8(joined,
                                      _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    }
    return groups - left + decode_base64_plain(bytes, text, left);
}

} // namespace ombrel::encoding

#undef OMBREL_TARGET

#endif
