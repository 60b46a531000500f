#include "graphics/kernels/generic/plain.h"
#include "graphics/kernels/x86/x86.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::graphics {

namespace {

OMBREL_TARGET inline void store(unsigned char* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

OMBREL_TARGET inline __m256i load(const unsigned char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

// Writes `size` bytes, 32 at least, of a pattern that starts anew with every pixel; `pixel` bytes divide 32.
OMBREL_TARGET void fill(unsigned char* to, __m256i pattern, size_t size) {
    unsigned char* const last = to + size - 32;
    for (; size >= 128; size -= 128, to += 128) {
        store(to, pattern);
        store(to + 32, pattern);
        store(to + 64, pattern);
        store(to + 96, pattern);
    }
    for (; size >= 32; size -= 32, to += 32)
        store(to, pattern);
    // Over what is written already, in step with it.
    store(last, pattern);
}

} // namespace

OMBREL_TARGET void fill16_avx2(unsigned char* to, uint32_t color, size_t count) {
    if (count < 16)
        return fill16_plain(to, color, count);
    fill(to, _mm256_set1_epi16(static_cast<short>(color)), 2 * count);
}

OMBREL_TARGET void fill32_avx2(unsigned char* to, uint32_t color, size_t count) {
    if (count < 8)
        return fill32_plain(to, color, count);
    fill(to, _mm256_set1_epi32(static_cast<int>(color)), 4 * count);
}

// Blue and green lie side by side, red a byte further; alpha or nothing above.
OMBREL_TARGET void widen_avx2(unsigned char* to, const unsigned char* from, size_t count, uint32_t top) {
    const __m256i above = _mm256_set1_epi32(static_cast<int>(top));
    for (; count >= 8; count -= 8, to += 32, from += 16) {
        const __m256i pixels = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
        const __m256i red = _mm256_and_si256(_mm256_slli_epi32(pixels, 8), _mm256_set1_epi32(0xF80000));
        const __m256i green = _mm256_and_si256(_mm256_slli_epi32(pixels, 5), _mm256_set1_epi32(0xFC00));
        const __m256i blue = _mm256_and_si256(_mm256_slli_epi32(pixels, 3), _mm256_set1_epi32(0xF8));
        store(to, _mm256_or_si256(_mm256_or_si256(above, red), _mm256_or_si256(green, blue)));
    }
    widen_plain(to, from, count, top);
}

namespace {

// 32-bit pixels as 16 bits of each 32.
OMBREL_TARGET inline __m256i narrowed(__m256i pixels) {
    const __m256i red = _mm256_and_si256(_mm256_srli_epi32(pixels, 8), _mm256_set1_epi32(0xF800));
    const __m256i green = _mm256_and_si256(_mm256_srli_epi32(pixels, 5), _mm256_set1_epi32(0x7E0));
    const __m256i blue = _mm256_and_si256(_mm256_srli_epi32(pixels, 3), _mm256_set1_epi32(0x1F));
    return _mm256_or_si256(red, _mm256_or_si256(green, blue));
}

} // namespace

OMBREL_TARGET void narrow_avx2(unsigned char* to, const unsigned char* from, size_t count) {
    for (; count >= 16; count -= 16, to += 32, from += 64) {
        const __m256i packed = _mm256_packus_epi32(narrowed(load(from)), narrowed(load(from + 32)));
        store(to, _mm256_permute4x64_epi64(packed, 0xD8));
    }
    narrow_plain(to, from, count);
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
