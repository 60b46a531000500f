// UTF-8 to code points and back with four code points in a vector. It is compiled once for each kind of
// vector: the including source defines OMBREL_TARGET and, in ombrel::charset, `lanes`.

#include <cstddef>
#include <cstdint>

#include "text/charset/kernels/utf8_codes.h"

namespace ombrel::charset {

namespace {

using vector = lanes::vector;

constexpr size_t code_width = 4, text_block = 64;

OMBREL_TARGET inline vector bits(vector codes, uint32_t mask) {
    return lanes::both(codes, lanes::repeat(mask));
}

OMBREL_TARGET inline vector all_of(vector a, vector b, vector c) {
    return lanes::either(lanes::either(a, b), c);
}

OMBREL_TARGET inline void unpack_four(uint32_t* codes, const char* text, const byte_shuffle& shuffle) {
    const vector bytes = lanes::shuffle(lanes::load(text), shuffle);
    lanes::store(codes, all_of(bits(bytes, 0x7F), lanes::template right<2>(bits(bytes, 0x3F00)),
                               lanes::template right<4>(bits(bytes, 0x0F0000))));
}

/// The bytes of code points below 0x10000 in their lanes, the last first.
OMBREL_TARGET inline vector spread(vector codes, vector above_7f, vector above_7ff) {
    const vector tail = lanes::either(bits(codes, 0x3F), lanes::repeat(0x80));
    const vector last = lanes::choose(above_7f, tail, codes);
    // 0xC0, or 0x80 where another byte comes before.
    const vector mark = lanes::choose(above_7ff, lanes::repeat(0x8000), lanes::repeat(0xC000));
    const vector middle = lanes::either(bits(lanes::template left<2>(codes), 0x3F00), mark);
    const vector first =
        lanes::either(bits(lanes::template left<4>(codes), 0x0F0000), lanes::repeat(0xE00000));
    return all_of(last, middle, first);
}

OMBREL_TARGET inline utf8_progress unpack_utf8(uint32_t* codes, size_t room, const char* text, size_t size) {
    size_t at = 0, count = 0;
    while (size - at >= text_block && room - count >= text_block) {
        const block_bits found = lanes::look_at(text + at);
        const uint64_t ends = ~found.continuing >> 1;
        size_t place = 0;
        // Of the last byte it is not known whether it ends a character.
        while (place <= text_block - 16 && room - count >= 16) {
            if ((found.high >> place & 0xFFFF) == 0) {
                lanes::widen_sixteen(codes + count, text + at + place);
                count += 16;
                place += 16;
                continue;
            }
            const unpack_step step = unpack_steps[ends >> place & 0xFFF];
            if (step.bytes == 0)
                break;
            unpack_four(codes + count, text + at + place, unpack_shuffles[step.shuffle]);
            count += code_width;
            place += step.bytes;
        }
        at += place;
        if (place == 0) {
            const utf8_progress slow = unpack_utf8_plain(codes + count, code_width, text + at, size - at);
            at += slow.bytes;
            count += slow.codes;
        }
    }
    const utf8_progress rest = unpack_utf8_plain(codes + count, room - count, text + at, size - at);
    return {at + rest.bytes, count + rest.codes};
}

OMBREL_TARGET inline utf8_progress pack_utf8(char* text, size_t room, const uint32_t* codes, size_t count) {
    size_t used = 0, made = 0;
    while (count - used >= code_width && room - made >= 4 * code_width) {
        const vector four = lanes::load(codes + used);
        if (lanes::bits_of(lanes::above(four, 0xFFFF)) != 0) {
            const utf8_progress slow = pack_utf8_plain(text + made, room - made, codes + used, code_width);
            used += slow.codes;
            made += slow.bytes;
            continue;
        }
        const vector above_7f = lanes::above(four, 0x7F), above_7ff = lanes::above(four, 0x7FF);
        const unsigned lengths = lanes::bits_of(above_7f) | lanes::bits_of(above_7ff) << 4;
        lanes::store(text + made, lanes::shuffle(spread(four, above_7f, above_7ff), pack_shuffles[lengths]));
        used += code_width;
        made += code_width + pack_extra_bytes[lengths];
    }
    const utf8_progress rest = pack_utf8_plain(text + made, room - made, codes + used, count - used);
    return {made + rest.bytes, used + rest.codes};
}

} // namespace

} // namespace ombrel::charset
