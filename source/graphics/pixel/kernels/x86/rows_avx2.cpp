#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/x86/x86.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2,prfchw")]]

namespace ombrel::graphics {

namespace {

OMBREL_TARGET inline void store(unsigned char* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

OMBREL_TARGET inline __m256i load(const unsigned char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

constexpr size_t vector_size = sizeof(__m256i);
constexpr size_t long_run = 65536; // bytes from which on the processor's own loop is the faster one

void repeat_word(unsigned char* to, int word, size_t count) {
    __asm__ volatile("rep stosl" : "+D"(to), "+c"(count) : "a"(word) : "memory");
}

// Writes `size` bytes, a vector at least, of a pattern in which pixels follow each other. Stores that cross
// cache lines cost twice, so all but the first and the last are aligned, where whole pixels can be.
OMBREL_TARGET inline void store_patterns(unsigned char* to, __m256i pattern, size_t size, size_t pixel,
                                         size_t next_row) {
    const size_t ahead = vector_size - reinterpret_cast<uintptr_t>(to) % vector_size;
    const size_t last = size - vector_size;
    store(to, pattern);
    size_t done = ahead % pixel == 0 ? ahead : vector_size;
    if (size >= long_run) {
        repeat_word(to + done, _mm256_cvtsi256_si32(pattern), (size - done) / 4);
        done = last;
    }
    for (; done + 3 * vector_size < last; done += 4 * vector_size) {
        __builtin_prefetch(to + next_row + done, 1);
        __builtin_prefetch(to + next_row + done + 2 * vector_size, 1);
        store(to + done, pattern);
        store(to + done + vector_size, pattern);
        store(to + done + 2 * vector_size, pattern);
        store(to + done + 3 * vector_size, pattern);
    }
    for (; done < last; done += vector_size)
        store(to + done, pattern);
    store(to + last, pattern);
}

template<size_t pixel>
OMBREL_TARGET inline void fill(const fill_area& area, __m256i pattern) {
    for (size_t row = 0; row < area.height; row++)
        store_patterns(area.to + row * area.line_length, pattern, area.width * pixel, pixel,
                       row + 1 < area.height ? area.line_length : 0);
}

} // namespace

OMBREL_TARGET void fill16_avx2(const fill_area& area, uint32_t color) {
    if (area.width < vector_size / 2)
        return fill16_plain(area, color);
    fill<2>(area, _mm256_set1_epi16(static_cast<short>(color)));
}

OMBREL_TARGET void fill32_avx2(const fill_area& area, uint32_t color) {
    if (area.width < vector_size / 4)
        return fill32_plain(area, color);
    fill<4>(area, _mm256_set1_epi32(static_cast<int>(color)));
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

// 32-bit pixels as 16 bits of each 32. One multiplication moves red and blue next to green.
OMBREL_TARGET inline __m256i narrowed(__m256i pixels) {
    const __m256i red_blue = _mm256_madd_epi16(_mm256_and_si256(pixels, _mm256_set1_epi32(0xF800F8)),
                                               _mm256_set1_epi32(0x20000004));
    const __m256i green = _mm256_and_si256(pixels, _mm256_set1_epi32(0xFC00));
    return _mm256_srli_epi32(_mm256_or_si256(red_blue, green), 5);
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
