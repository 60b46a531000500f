#if defined(__x86_64__) || defined(__i386__)

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::charset {

namespace {

struct lanes {
    using vector = __m256i;

    OMBREL_TARGET static vector load(const void* from) {
        return _mm256_loadu_si256(static_cast<const __m256i*>(from));
    }
    OMBREL_TARGET static vector repeat(const std::array<uint8_t, 16>& table) {
        return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data())));
    }
    OMBREL_TARGET static vector all(uint8_t byte) { return _mm256_set1_epi8(static_cast<char>(byte)); }
    OMBREL_TARGET static vector either(vector a, vector b) { return _mm256_or_si256(a, b); }
    OMBREL_TARGET static vector both(vector a, vector b) { return _mm256_and_si256(a, b); }
    OMBREL_TARGET static vector differing(vector a, vector b) { return _mm256_xor_si256(a, b); }
    OMBREL_TARGET static vector low_halves(vector bytes) { return both(bytes, all(15)); }
    OMBREL_TARGET static vector high_halves(vector bytes) {
        return both(_mm256_srli_epi16(bytes, 4), all(15));
    }
    OMBREL_TARGET static vector look_up(vector table, vector halves) {
        return _mm256_shuffle_epi8(table, halves);
    }
    // Less than 0 is 0.
    OMBREL_TARGET static vector subtract(vector a, vector b) { return _mm256_subs_epu8(a, b); }
    // The bytes that stand so many places before these.
    template<int places>
    OMBREL_TARGET static vector before(vector bytes, vector previous) {
        return _mm256_alignr_epi8(bytes, _mm256_permute2x128_si256(previous, bytes, 0x21), 16 - places);
    }
    OMBREL_TARGET static bool has_any_bit(vector bytes) { return _mm256_testz_si256(bytes, bytes) == 0; }
    OMBREL_TARGET static bool has_high_bit(vector bytes) { return _mm256_movemask_epi8(bytes) != 0; }
    OMBREL_TARGET static size_t first_high_bit(vector bytes) {
        return static_cast<size_t>(std::countr_zero(static_cast<uint32_t>(_mm256_movemask_epi8(bytes))));
    }
    // One more for each byte that is no continuation byte; those are the lowest of the numbers with a sign.
    OMBREL_TARGET static vector add_beginnings(vector counts, vector bytes) {
        return _mm256_sub_epi8(counts, _mm256_cmpgt_epi8(bytes, all(0xBF)));
    }
    OMBREL_TARGET static size_t sum(vector counts) {
        const __m256i sums = _mm256_sad_epu8(counts, _mm256_setzero_si256());
        const __m128i pair = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
        return static_cast<size_t>(_mm_cvtsi128_si32(pair) + _mm_extract_epi32(pair, 2));
    }
};

} // namespace

} // namespace ombrel::charset

#include "text/charset/kernels/utf8_lanes.h"
// behind the former
#include "text/charset/kernels/count_lanes.h"

namespace ombrel::charset {

OMBREL_TARGET size_t ascii_run_avx2(const char* text, size_t size) {
    return ascii_run(text, size);
}

OMBREL_TARGET size_t utf8_run_avx2(const char* text, size_t size) {
    return utf8_run(text, size);
}

OMBREL_TARGET size_t utf8_count_avx2(const char* text, size_t size) {
    return utf8_count(text, size);
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
