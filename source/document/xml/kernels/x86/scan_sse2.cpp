#include "document/xml/kernels/scan.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("sse2")]]

namespace ombrel::document {

namespace {

constexpr size_t width = 16;

OMBREL_TARGET inline __m128i load(const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

OMBREL_TARGET inline __m128i equal(__m128i bytes, char wanted) {
    return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted));
}

OMBREL_TARGET inline unsigned mask_of(__m128i found) {
    return static_cast<unsigned>(_mm_movemask_epi8(found));
}

OMBREL_TARGET inline __m128i control(__m128i bytes) {
    return _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
}

OMBREL_TARGET inline __m128i both(__m128i one, __m128i other) {
    return _mm_or_si128(one, other);
}

OMBREL_TARGET inline __m128i text_stops(__m128i bytes) {
    const __m128i spaces = both(equal(bytes, '\t'), equal(bytes, '\n'));
    const __m128i marks = both(both(equal(bytes, '<'), equal(bytes, '&')),
                               both(equal(bytes, ']'), equal(bytes, static_cast<char>(0xEF))));
    return both(marks, _mm_andnot_si128(spaces, control(bytes)));
}

OMBREL_TARGET inline __m128i value_stops(__m128i bytes, char quote) {
    const __m128i marks = both(both(equal(bytes, '<'), equal(bytes, '&')),
                               both(equal(bytes, quote), equal(bytes, static_cast<char>(0xEF))));
    return both(marks, control(bytes));
}

} // namespace

OMBREL_TARGET size_t text_run_sse2(const char* text, size_t size) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const unsigned found = mask_of(text_stops(load(text + at))))
            return at + static_cast<size_t>(__builtin_ctz(found));
    return at + text_run_plain(text + at, size - at);
}

OMBREL_TARGET size_t value_run_sse2(const char* text, size_t size, char quote) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const unsigned found = mask_of(value_stops(load(text + at), quote)))
            return at + static_cast<size_t>(__builtin_ctz(found));
    return at + value_run_plain(text + at, size - at, quote);
}

// The byte behind the vector tells whether a CR at its end is alone.
OMBREL_TARGET size_t line_count_sse2(const char* text, size_t size) {
    size_t at = 0, count = 0;
    for (; size - at > width; at += width) {
        const __m128i bytes = load(text + at), next = load(text + at + 1);
        const __m128i alone = _mm_andnot_si128(equal(next, '\n'), equal(bytes, '\r'));
        count += static_cast<size_t>(__builtin_popcount(mask_of(both(equal(bytes, '\n'), alone))));
    }
    return count + line_count_plain(text + at, size - at);
}

} // namespace ombrel::document

#endif
