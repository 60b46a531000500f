#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/x86/x86.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2,prfchw")]]

namespace ombrel::graphics {

namespace {

constexpr size_t cache_line = 64;
constexpr int for_reading = 0, for_writing = 1, first_cache = 3; // as the compiler numbers them

// Longer rows would be driven out of the cache before their turn comes.
constexpr size_t longest_row = 16384;

// Bytes that are copied while memory answers.
constexpr size_t bytes_ahead = 4096;

OMBREL_TARGET inline void copy_line(unsigned char* to, const unsigned char* from) {
    const auto* source = reinterpret_cast<const __m256i*>(from);
    auto* target = reinterpret_cast<__m256i*>(to);
    const __m256i first = _mm256_loadu_si256(source), second = _mm256_loadu_si256(source + 1);
    _mm256_storeu_si256(target, first);
    _mm256_storeu_si256(target + 1, second);
}

} // namespace

namespace {

OMBREL_TARGET inline void fetch(unsigned char* to, const unsigned char* from) {
    __builtin_prefetch(from, for_reading, first_cache);
    __builtin_prefetch(to, for_writing);
}

} // namespace

// The processor foresees a row once it is in it. As it starts anew with each, rows further on are fetched by
// hand, on both sides. Stores that cross cache lines cost twice, so all but the first and the last are
// aligned.
OMBREL_TARGET void copy_avx2(const copy_area& area) {
    if (area.width < cache_line || area.width > longest_row)
        return copy_plain(area);
    const size_t rows_ahead = 1 + bytes_ahead / area.width, last_line = area.width - cache_line;
    for (size_t row = 0; row < area.height; row++) {
        unsigned char* const to = area.to + row * area.to_line_length;
        const unsigned char* const from = area.from + row * area.from_line_length;
        const size_t fetched = row + rows_ahead < area.height ? rows_ahead : 0;
        const unsigned char* const next_from = from + fetched * area.from_line_length;
        unsigned char* const next_to = to + fetched * area.to_line_length;
        fetch(next_to, next_from);
        copy_line(to, from);
        for (size_t i = cache_line - reinterpret_cast<uintptr_t>(to) % cache_line; i < last_line;
             i += cache_line) {
            fetch(next_to + i, next_from + i);
            copy_line(to + i, from + i);
        }
        fetch(next_to + area.width - 1, next_from + area.width - 1);
        copy_line(to + last_line, from + last_line);
    }
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
