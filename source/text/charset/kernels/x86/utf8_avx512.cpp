#if defined(__x86_64__) || defined(__i386__)

#include <array>
#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx512f,avx512bw,avx512dq,avx512vl")]]

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = __m512i;

    OMBREL_TARGET static vector load(const void* from) { return _mm512_loadu_si512(from); }
    OMBREL_TARGET static vector repeat(const std::array<uint8_t, 16>& table) {
        return _mm512_maskz_broadcast_i32x4(0xFFFF,
                                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data())));
    }
    OMBREL_TARGET static vector all(uint8_t byte) { return _mm512_set1_epi8(static_cast<char>(byte)); }
    OMBREL_TARGET static vector either(vector a, vector b) { return _mm512_or_si512(a, b); }
    OMBREL_TARGET static vector both(vector a, vector b) { return _mm512_and_si512(a, b); }
    OMBREL_TARGET static vector differing(vector a, vector b) { return _mm512_xor_si512(a, b); }
    OMBREL_TARGET static vector low_halves(vector bytes) { return both(bytes, all(15)); }
    OMBREL_TARGET static vector high_halves(vector bytes) {
        return both(_mm512_srli_epi16(bytes, 4), all(15));
    }
    OMBREL_TARGET static vector look_up(vector table, vector halves) {
        return _mm512_shuffle_epi8(table, halves);
    }
    // Less than 0 is 0.
    OMBREL_TARGET static vector subtract(vector a, vector b) { return _mm512_subs_epu8(a, b); }
    // The bytes that stand so many places before these.
    template<int places>
    OMBREL_TARGET static vector before(vector bytes, vector previous) {
        return _mm512_alignr_epi8(bytes, _mm512_maskz_alignr_epi64(0xFF, bytes, previous, 6), 16 - places);
    }
    OMBREL_TARGET static bool has_any_bit(vector bytes) { return _mm512_test_epi8_mask(bytes, bytes) != 0; }
    OMBREL_TARGET static bool has_high_bit(vector bytes) { return _mm512_movepi8_mask(bytes) != 0; }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_lanes.h"

namespace ombrel::charset {

OMBREL_TARGET size_t utf8_run_avx512(const char* text, size_t size) {
    return utf8_run(text, size);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
