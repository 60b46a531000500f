#if defined(__x86_64__) || defined(__i386__)

#include <cstdint>
#include <tmmintrin.h>

#define OMBREL_TARGET [[gnu::target("ssse3")]]

namespace ombrel::graphics {

namespace {

struct lanes {
    using vector = __m128i;

    OMBREL_TARGET static vector load(const unsigned char* from) {
        return _mm_loadu_si128(reinterpret_cast<const vector*>(from));
    }
    OMBREL_TARGET static void store(unsigned char* to, vector value) {
        _mm_storeu_si128(reinterpret_cast<vector*>(to), value);
    }
    OMBREL_TARGET static vector all16(uint32_t value) { return _mm_set1_epi16(static_cast<short>(value)); }
    OMBREL_TARGET static vector all32(uint32_t value) { return _mm_set1_epi32(static_cast<int>(value)); }
    OMBREL_TARGET static vector add(vector a, vector b) { return _mm_add_epi16(a, b); }
    OMBREL_TARGET static vector subtract(vector a, vector b) { return _mm_sub_epi16(a, b); }
    OMBREL_TARGET static vector multiply(vector a, vector b) { return _mm_mullo_epi16(a, b); }
    OMBREL_TARGET static vector multiply_high(vector a, vector b) { return _mm_mulhi_epu16(a, b); }
    template<int bits>
    OMBREL_TARGET static vector shift_left(vector value) {
        return _mm_slli_epi16(value, bits);
    }
    OMBREL_TARGET static vector both(vector a, vector b) { return _mm_and_si128(a, b); }
    OMBREL_TARGET static vector either(vector a, vector b) { return _mm_or_si128(a, b); }
    OMBREL_TARGET static vector equal(vector a, vector b) { return _mm_cmpeq_epi32(a, b); }
    OMBREL_TARGET static vector select(vector mask, vector yes, vector no) {
        return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
    }
    OMBREL_TARGET static vector low_bytes(vector bytes) {
        return _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
    }
    OMBREL_TARGET static vector high_bytes(vector bytes) {
        return _mm_unpackhi_epi8(bytes, _mm_setzero_si128());
    }
    OMBREL_TARGET static vector pack(vector low, vector high) { return _mm_packus_epi16(low, high); }
    OMBREL_TARGET static vector last_of_four(vector words) {
        return _mm_shufflehi_epi16(_mm_shufflelo_epi16(words, 0xFF), 0xFF);
    }
};

} // namespace

} // namespace ombrel::graphics

#include "graphics/pixel/kernels/x86/blend_lanes.h"

namespace ombrel::graphics {

void blend_ssse3(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings) {
    blend_as_asked(to, from, count, settings);
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
