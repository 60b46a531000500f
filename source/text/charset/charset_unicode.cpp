// UTF-8, UTF-16 and UTF-32.
#include <algorithm>

#include "text/charset/charset_form.h"
#include "text/charset/charset_loops.h"
#include "text/charset/utf8_run.h"

namespace ombrel {

namespace {

enum class byte_order : uint8_t { little, big };

template<byte_order order>
uint32_t load_16(const uint8_t* from) {
    return order == byte_order::little ? from[0] | uint32_t{from[1]} << 8 : from[1] | uint32_t{from[0]} << 8;
}

template<byte_order order>
void store_16(uint8_t* to, uint32_t unit) {
    to[order == byte_order::little ? 0 : 1] = static_cast<uint8_t>(unit);
    to[order == byte_order::little ? 1 : 0] = static_cast<uint8_t>(unit >> 8);
}

template<byte_order order>
uint32_t load_32(const uint8_t* from) {
    constexpr int low = order == byte_order::little ? 0 : 2;
    return load_16<order>(from + low) | load_16<order>(from + 2 - low) << 16;
}

template<byte_order order>
void store_32(uint8_t* to, uint32_t code) {
    constexpr int low = order == byte_order::little ? 0 : 2;
    store_16<order>(to + low, code);
    store_16<order>(to + 2 - low, code >> 16);
}

constexpr bool is_half(uint32_t unit) {
    return (unit & 0xF800) == 0xD800;
}

/// What begins with half a character.
template<byte_order order>
decoded_character get_halves(const uint8_t* from, size_t size) {
    const uint32_t first = load_16<order>(from);
    if (first >= 0xDC00)
        return {0, 2, decode_stop::wrong};
    if (size < 4)
        return {0, 0, decode_stop::cut};
    const uint32_t second = load_16<order>(from + 2);
    if ((second & 0xFC00) != 0xDC00)
        return {0, 2, decode_stop::wrong};
    return {0x10000 + ((first & 0x3FF) << 10 | (second & 0x3FF)), 4};
}

template<byte_order order>
decode_result decode_utf_16(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    while (end - from >= 2 && to < to_end) {
        const uint32_t unit = load_16<order>(from);
        if (!is_half(unit)) {
            *to++ = unit;
            from += 2;
            continue;
        }
        const decoded_character next = get_halves<order>(from, static_cast<size_t>(end - from));
        if (next.stop != decode_stop::none)
            return {from, to, next.stop, next.size};
        *to++ = next.code;
        from += next.size;
    }
    return {from, to, end - from == 1 && to < to_end ? decode_stop::cut : decode_stop::none};
}

template<byte_order order>
encode_result encode_utf_16(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    for (; from < end; from++) {
        const int size = *from < 0x10000 ? 2 : 4;
        if (to_end - to < size)
            return {from, to, encode_stop::full};
        if (size == 2) {
            store_16<order>(to, *from);
        } else {
            store_16<order>(to, 0xD800 + ((*from - 0x10000) >> 10));
            store_16<order>(to + 2, 0xDC00 + (*from & 0x3FF));
        }
        to += size;
    }
    return {from, to};
}

template<byte_order order>
decode_result decode_utf_32(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    for (; end - from >= 4 && to < to_end; from += 4) {
        const uint32_t code = load_32<order>(from);
        if (!is_scalar_value(code))
            return {from, to, decode_stop::wrong, 4};
        *to++ = code;
    }
    return {from, to, from != end && to < to_end ? decode_stop::cut : decode_stop::none};
}

template<byte_order order>
encode_result encode_utf_32(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    const auto count = std::min(end - from, (to_end - to) / 4);
    for (const uint32_t* const last = from + count; from < last; from++, to += 4)
        store_32<order>(to, *from);
    return {from, to, from < end ? encode_stop::full : encode_stop::none};
}

size_t put_beyond_ascii(uint32_t code, uint8_t* to) {
    if (code < 0x800) {
        to[0] = static_cast<uint8_t>(0xC0 | code >> 6);
        to[1] = static_cast<uint8_t>(0x80 | (code & 0x3F));
        return 2;
    }
    if (code < 0x10000) {
        to[0] = static_cast<uint8_t>(0xE0 | code >> 12);
        to[1] = static_cast<uint8_t>(0x80 | (code >> 6 & 0x3F));
        to[2] = static_cast<uint8_t>(0x80 | (code & 0x3F));
        return 3;
    }
    return put_utf8(code, reinterpret_cast<char*>(to));
}

} // namespace

decode_result decode_utf_8(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    // Beyond what fits no byte needs to be looked at.
    const auto size = static_cast<size_t>(std::min(end - from, 4 * (to_end - to)));
    const uint8_t* const valid_end = from + utf8_run(reinterpret_cast<const char*>(from), size);
    const decode_result found =
        decode_ascii_based(from, valid_end, to, to_end, [](const uint8_t* at, size_t) -> decoded_character {
            const auto* text = reinterpret_cast<const char*>(at);
            const uint32_t code = take_valid_utf8(text);
            return {code, static_cast<uint8_t>(text - reinterpret_cast<const char*>(at))};
        });
    if (found.from == end || found.to == to_end || found.from < valid_end)
        return found;
    const utf8_flaw flaw =
        utf8_flaw_at(reinterpret_cast<const char*>(found.from), static_cast<size_t>(end - found.from));
    return {found.from, found.to, flaw.is_cut ? decode_stop::cut : decode_stop::wrong,
            static_cast<uint8_t>(flaw.size)};
}

encode_result encode_utf_8(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_beyond_ascii);
}

decode_result decode_utf_16le(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_utf_16<byte_order::little>(from, end, to, to_end);
}
decode_result decode_utf_16be(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_utf_16<byte_order::big>(from, end, to, to_end);
}
encode_result encode_utf_16le(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_utf_16<byte_order::little>(from, end, to, to_end);
}
encode_result encode_utf_16be(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_utf_16<byte_order::big>(from, end, to, to_end);
}
decode_result decode_utf_32le(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_utf_32<byte_order::little>(from, end, to, to_end);
}
decode_result decode_utf_32be(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_utf_32<byte_order::big>(from, end, to, to_end);
}
encode_result encode_utf_32le(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_utf_32<byte_order::little>(from, end, to, to_end);
}
encode_result encode_utf_32be(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_utf_32<byte_order::big>(from, end, to, to_end);
}

} // namespace ombrel
