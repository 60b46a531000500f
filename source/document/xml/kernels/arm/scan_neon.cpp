#include "document/xml/kernels/scan.h"

#if defined(OMBREL_NEON_XML)

#include <arm_neon.h>
#include <cstdint>

namespace ombrel::document {

namespace {

constexpr size_t width = 16;

inline uint8x16_t load(const char* from) {
    return vld1q_u8(reinterpret_cast<const uint8_t*>(from));
}

inline uint8x16_t equal(uint8x16_t bytes, char wanted) {
    return vceqq_u8(bytes, vdupq_n_u8(static_cast<uint8_t>(wanted)));
}

inline uint8x16_t control(uint8x16_t bytes) {
    return vcltq_u8(bytes, vdupq_n_u8(0x20));
}

/// Four bits a byte of what was found.
inline uint64_t mask_of(uint8x16_t found) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(found), 4)), 0);
}

inline size_t first_of(uint64_t mask) {
    return static_cast<size_t>(__builtin_ctzll(mask)) / 4;
}

inline uint8x16_t text_stops(uint8x16_t bytes) {
    const uint8x16_t spaces = vorrq_u8(equal(bytes, '\t'), equal(bytes, '\n'));
    const uint8x16_t marks = vorrq_u8(vorrq_u8(equal(bytes, '<'), equal(bytes, '&')),
                                      vorrq_u8(equal(bytes, ']'), equal(bytes, static_cast<char>(0xEF))));
    return vorrq_u8(marks, vbicq_u8(control(bytes), spaces));
}

inline uint8x16_t value_stops(uint8x16_t bytes, char quote) {
    const uint8x16_t marks = vorrq_u8(vorrq_u8(equal(bytes, '<'), equal(bytes, '&')),
                                      vorrq_u8(equal(bytes, quote), equal(bytes, static_cast<char>(0xEF))));
    return vorrq_u8(marks, control(bytes));
}

} // namespace

size_t text_run_neon(const char* text, size_t size) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const uint64_t found = mask_of(text_stops(load(text + at))))
            return at + first_of(found);
    return at + text_run_plain(text + at, size - at);
}

size_t value_run_neon(const char* text, size_t size, char quote) {
    size_t at = 0;
    for (; size - at >= width; at += width)
        if (const uint64_t found = mask_of(value_stops(load(text + at), quote)))
            return at + first_of(found);
    return at + value_run_plain(text + at, size - at, quote);
}

// The byte behind the vector tells whether a CR at its end is alone.
size_t line_count_neon(const char* text, size_t size) {
    size_t at = 0, count = 0;
    for (; size - at > width; at += width) {
        const uint8x16_t bytes = load(text + at), next = load(text + at + 1);
        const uint8x16_t alone = vbicq_u8(equal(bytes, '\r'), equal(next, '\n'));
        count += vaddvq_u8(vshrq_n_u8(vorrq_u8(equal(bytes, '\n'), alone), 7));
    }
    return count + line_count_plain(text + at, size - at);
}

} // namespace ombrel::document

#endif
