#include "document/xml/kernels/scan.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2,popcnt")]]

namespace ombrel::document {

namespace {

constexpr size_t width = 32;

OMBREL_TARGET inline __m256i load(const char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

OMBREL_TARGET inline __m256i equal(__m256i bytes, char wanted) {
    return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(wanted));
}

OMBREL_TARGET inline unsigned mask_of(__m256i found) {
    return static_cast<unsigned>(_mm256_movemask_epi8(found));
}

OMBREL_TARGET inline __m256i control(__m256i bytes) {
    return _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, _mm256_set1_epi8(0x1F)), bytes);
}

OMBREL_TARGET inline __m256i both(__m256i one, __m256i other) {
    return _mm256_or_si256(one, other);
}

OMBREL_TARGET inline __m256i text_stops(__m256i bytes) {
    const __m256i spaces = both(equal(bytes, '\t'), equal(bytes, '\n'));
    const __m256i marks = both(both(equal(bytes, '<'), equal(bytes, '&')),
                               both(equal(bytes, ']'), equal(bytes, static_cast<char>(0xEF))));
    return both(marks, _mm256_andnot_si256(spaces, control(bytes)));
}

OMBREL_TARGET inline __m256i value_stops(__m256i bytes, char quote) {
    const __m256i marks = both(both(equal(bytes, '<'), equal(bytes, '&')),
                               both(equal(bytes, quote), equal(bytes, static_cast<char>(0xEF))));
    return both(marks, control(bytes));
}

} // namespace

OMBREL_TARGET size_t text_run_avx2(const char* text, size_t size) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const unsigned found = mask_of(text_stops(load(text + at))))
            return at + static_cast<size_t>(__builtin_ctz(found));
    return at + text_run_plain(text + at, size - at);
}

OMBREL_TARGET size_t value_run_avx2(const char* text, size_t size, char quote) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const unsigned found = mask_of(value_stops(load(text + at), quote)))
            return at + static_cast<size_t>(__builtin_ctz(found));
    return at + value_run_plain(text + at, size - at, quote);
}

// The byte behind the vector tells whether a CR at its end is alone.
OMBREL_TARGET size_t line_count_avx2(const char* text, size_t size) {
    size_t at = 0, count = 0;
    for (; size - at > width; at += width) {
        const __m256i bytes = load(text + at), next = load(text + at + 1);
        const __m256i alone = _mm256_andnot_si256(equal(next, '\n'), equal(bytes, '\r'));
        count += static_cast<size_t>(__builtin_popcount(mask_of(both(equal(bytes, '\n'), alone))));
    }
    return count + line_count_plain(text + at, size - at);
}

} // namespace ombrel::document

#endif
