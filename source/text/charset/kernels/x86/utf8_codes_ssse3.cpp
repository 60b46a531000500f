#if defined(__x86_64__) || defined(__i386__)

#include "text/charset/kernels/utf8_codes.h"

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("ssse3")]]

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = __m128i;

    OMBREL_TARGET static vector load(const void* from) {
        return _mm_loadu_si128(static_cast<const vector*>(from));
    }
    OMBREL_TARGET static void store(void* to, vector bytes) {
        _mm_storeu_si128(static_cast<vector*>(to), bytes);
    }
    OMBREL_TARGET static vector repeat(uint32_t code) { return _mm_set1_epi32(static_cast<int>(code)); }
    OMBREL_TARGET static vector either(vector a, vector b) { return _mm_or_si128(a, b); }
    OMBREL_TARGET static vector both(vector a, vector b) { return _mm_and_si128(a, b); }
    OMBREL_TARGET static vector choose(vector mask, vector a, vector b) {
        return either(both(mask, a), _mm_andnot_si128(mask, b));
    }
    template<int places>
    OMBREL_TARGET static vector left(vector codes) {
        return _mm_slli_epi32(codes, places);
    }
    template<int places>
    OMBREL_TARGET static vector right(vector codes) {
        return _mm_srli_epi32(codes, places);
    }
    OMBREL_TARGET static vector above(vector codes, uint32_t limit) {
        return _mm_cmpgt_epi32(codes, repeat(limit));
    }
    OMBREL_TARGET static unsigned bits_of(vector mask) {
        return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(mask)));
    }
    OMBREL_TARGET static vector shuffle(vector bytes, const byte_shuffle& places) {
        return _mm_shuffle_epi8(bytes, load(places.data()));
    }
    OMBREL_TARGET static block_bits look_at(const char* text) {
        const vector least_first = _mm_set1_epi8(static_cast<char>(0xC0));
        block_bits found{0, 0};
        for (size_t i = 0; i < 64; i += 16) {
            const vector bytes = load(text + i);
            found.high |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(bytes))} << i;
            const int continuing = _mm_movemask_epi8(_mm_cmplt_epi8(bytes, least_first));
            found.continuing |= uint64_t{static_cast<uint16_t>(continuing)} << i;
        }
        return found;
    }
    OMBREL_TARGET static void widen_sixteen(uint32_t* codes, const char* text) {
        const vector bytes = load(text), zero = _mm_setzero_si128();
        const vector low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
        store(codes, _mm_unpacklo_epi16(low, zero));
        store(codes + 4, _mm_unpackhi_epi16(low, zero));
        store(codes + 8, _mm_unpacklo_epi16(high, zero));
        store(codes + 12, _mm_unpackhi_epi16(high, zero));
    }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_code_lanes.h"

namespace ombrel::charset {

OMBREL_TARGET utf8_progress unpack_utf8_ssse3(uint32_t* codes, size_t room, const char* text, size_t size) {
    return unpack_utf8(codes, room, text, size);
}

OMBREL_TARGET utf8_progress pack_utf8_ssse3(char* text, size_t room, const uint32_t* codes, size_t count) {
    return pack_utf8(text, room, codes, count);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
