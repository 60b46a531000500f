#if defined(__x86_64__) || defined(__i386__)

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("ssse3")]]

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = __m128i;

    OMBREL_TARGET static vector load(const void* from) {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    }
    OMBREL_TARGET static vector repeat(const std::array<uint8_t, 16>& table) { return load(table.data()); }
    OMBREL_TARGET static vector all(uint8_t byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
    OMBREL_TARGET static vector either(vector a, vector b) { return _mm_or_si128(a, b); }
    OMBREL_TARGET static vector both(vector a, vector b) { return _mm_and_si128(a, b); }
    OMBREL_TARGET static vector differing(vector a, vector b) { return _mm_xor_si128(a, b); }
    OMBREL_TARGET static vector low_halves(vector bytes) { return both(bytes, all(15)); }
    OMBREL_TARGET static vector high_halves(vector bytes) { return both(_mm_srli_epi16(bytes, 4), all(15)); }
    OMBREL_TARGET static vector look_up(vector table, vector halves) {
        return _mm_shuffle_epi8(table, halves);
    }
    // Less than 0 is 0.
    OMBREL_TARGET static vector subtract(vector a, vector b) { return _mm_subs_epu8(a, b); }
    // The bytes that stand so many places before these.
    template<int places>
    OMBREL_TARGET static vector before(vector bytes, vector previous) {
        return _mm_alignr_epi8(bytes, previous, 16 - places);
    }
    OMBREL_TARGET static bool has_any_bit(vector bytes) {
        return _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) != 0xFFFF;
    }
    OMBREL_TARGET static bool has_high_bit(vector bytes) { return _mm_movemask_epi8(bytes) != 0; }
    OMBREL_TARGET static size_t first_high_bit(vector bytes) {
        return static_cast<size_t>(std::countr_zero(static_cast<uint32_t>(_mm_movemask_epi8(bytes))));
    }
    // One more for each byte that is no continuation byte; those are the lowest of the numbers with a sign.
    OMBREL_TARGET static vector add_beginnings(vector counts, vector bytes) {
        return _mm_sub_epi8(counts, _mm_cmpgt_epi8(bytes, all(0xBF)));
    }
    OMBREL_TARGET static size_t sum(vector counts) {
        const __m128i sums = _mm_sad_epu8(counts, _mm_setzero_si128());
        return static_cast<size_t>(_mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4));
    }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_lanes.h"
// behind the former
#include "text/charset/kernels/count_lanes.h"

namespace ombrel::charset {

OMBREL_TARGET size_t ascii_run_ssse3(const char* text, size_t size) {
    return ascii_run(text, size);
}

OMBREL_TARGET size_t utf8_run_ssse3(const char* text, size_t size) {
    return utf8_run(text, size);
}

OMBREL_TARGET size_t utf8_count_ssse3(const char* text, size_t size) {
    return utf8_count(text, size);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
