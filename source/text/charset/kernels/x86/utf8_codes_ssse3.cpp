#if defined(__x86_64__) || defined(__i386__)

#include "text/charset/kernels/utf8_codes.h"

#include <bit>

#include <immintrin.h>

#include "text/charset/utf8_sequence.h"

#define OMBREL_TARGET [[gnu::target("ssse3")]]

namespace ombrel::charset {

namespace {

OMBREL_TARGET inline __m128i load(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

OMBREL_TARGET inline void store(void* to, __m128i bytes) {
    _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}

OMBREL_TARGET inline __m128i repeat(uint32_t lane) {
    return _mm_set1_epi32(static_cast<int>(lane));
}

OMBREL_TARGET inline __m128i bits(__m128i lanes, uint32_t mask) {
    return _mm_and_si128(lanes, repeat(mask));
}

OMBREL_TARGET inline __m128i all_of(__m128i a, __m128i b, __m128i c) {
    return _mm_or_si128(_mm_or_si128(a, b), c);
}

/// Which of the bytes are above 0x7F, and which begin no character.
struct block_bits {
    uint64_t high, continuing;
};

constexpr size_t block = 64;

OMBREL_TARGET inline block_bits look_at(const char* text) {
    const __m128i least_first = _mm_set1_epi8(static_cast<char>(0xC0));
    block_bits found{0, 0};
    for (size_t i = 0; i < block; i += 16) {
        const __m128i bytes = load(text + i);
        found.high |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(bytes))} << i;
        const int continuing = _mm_movemask_epi8(_mm_cmplt_epi8(bytes, least_first));
        found.continuing |= uint64_t{static_cast<uint16_t>(continuing)} << i;
    }
    return found;
}

OMBREL_TARGET inline void widen_sixteen(uint32_t* codes, const char* text) {
    const __m128i bytes = load(text), zero = _mm_setzero_si128();
    const __m128i low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
    store(codes, _mm_unpacklo_epi16(low, zero));
    store(codes + 4, _mm_unpackhi_epi16(low, zero));
    store(codes + 8, _mm_unpacklo_epi16(high, zero));
    store(codes + 12, _mm_unpackhi_epi16(high, zero));
}

OMBREL_TARGET inline void unpack_four(uint32_t* codes, const char* text, const byte_shuffle& shuffle) {
    const __m128i bytes = _mm_shuffle_epi8(load(text), load(shuffle.data()));
    store(codes, all_of(bits(bytes, 0x7F), _mm_srli_epi32(bits(bytes, 0x3F00), 2),
                        _mm_srli_epi32(bits(bytes, 0x0F0000), 4)));
}

/// The bytes of code points below 0x10000 in their lanes, the last first.
OMBREL_TARGET inline __m128i spread(__m128i codes, __m128i above_7f, __m128i above_7ff) {
    const __m128i tail = _mm_or_si128(bits(codes, 0x3F), repeat(0x80));
    const __m128i last = _mm_or_si128(_mm_and_si128(above_7f, tail), _mm_andnot_si128(above_7f, codes));
    // 0xC0, or 0x80 where another byte comes before.
    const __m128i mark = _mm_sub_epi32(repeat(0xC000), bits(above_7ff, 0x4000));
    const __m128i middle = _mm_or_si128(bits(_mm_slli_epi32(codes, 2), 0x3F00), mark);
    const __m128i first = _mm_or_si128(bits(_mm_slli_epi32(codes, 4), 0x0F0000), repeat(0xE00000));
    return all_of(last, middle, first);
}

} // namespace

OMBREL_TARGET utf8_progress unpack_utf8_ssse3(uint32_t* codes, size_t room, const char* text, size_t size) {
    size_t at = 0, count = 0;
    while (size - at >= block && room - count >= block) {
        const block_bits found = look_at(text + at);
        const uint64_t ends = ~found.continuing >> 1;
        size_t place = 0;
        // Of the last byte it is not known whether it ends a character.
        while (place <= block - 16 && room - count >= 16) {
            if ((found.high >> place & 0xFFFF) == 0) {
                widen_sixteen(codes + count, text + at + place);
                count += 16;
                place += 16;
                continue;
            }
            const unpack_step step = unpack_steps[ends >> place & 0xFFF];
            if (step.bytes == 0)
                break;
            unpack_four(codes + count, text + at + place, unpack_shuffles[step.shuffle]);
            count += 4;
            place += step.bytes;
        }
        at += place;
        if (place == 0) {
            const utf8_progress slow = unpack_utf8_plain(codes + count, 4, text + at, size - at);
            at += slow.bytes;
            count += slow.codes;
        }
    }
    const utf8_progress rest = unpack_utf8_plain(codes + count, room - count, text + at, size - at);
    return {at + rest.bytes, count + rest.codes};
}

OMBREL_TARGET utf8_progress pack_utf8_ssse3(char* text, size_t room, const uint32_t* codes, size_t count) {
    size_t used = 0, made = 0;
    while (count - used >= 4 && room - made >= 16) {
        const __m128i four = load(codes + used);
        const __m128i above_7f = _mm_cmpgt_epi32(four, repeat(0x7F));
        const __m128i above_7ff = _mm_cmpgt_epi32(four, repeat(0x7FF));
        if (_mm_movemask_epi8(_mm_cmpgt_epi32(four, repeat(0xFFFF))) != 0) {
            const utf8_progress slow = pack_utf8_plain(text + made, room - made, codes + used, 4);
            used += slow.codes;
            made += slow.bytes;
            continue;
        }
        const auto long_ones = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(above_7f)));
        const auto longer_ones = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(above_7ff)));
        const unsigned lengths = long_ones | longer_ones << 4;
        const __m128i lanes = spread(four, above_7f, above_7ff);
        store(text + made, _mm_shuffle_epi8(lanes, load(pack_shuffles[lengths].data())));
        used += 4;
        made += 4 + pack_extra_bytes[lengths];
    }
    const utf8_progress rest = pack_utf8_plain(text + made, room - made, codes + used, count - used);
    return {made + rest.bytes, used + rest.codes};
}

} // namespace ombrel::charset

#undef OMBREL_TARGET

#endif
