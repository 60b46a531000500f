// UTF-8, UTF-16 and UTF-32.
#include <algorithm>

#include "text/charset/charset_form.h"
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

template<byte_order order>
decoded_character get_unit(const uint8_t* from, size_t size) {
    const uint32_t first = load_16<order>(from);
    if (!is_half(first))
        return {first, 2};
    if (first >= 0xDC00)
        return {0, 2, decode_stop::wrong};
    if (size < 4)
        return {0, 0, decode_stop::cut};
    const uint32_t second = load_16<order>(from + 2);
    if ((second & 0xFC00) != 0xDC00)
        return {0, 2, decode_stop::wrong};
    return {0x10000 + ((first & 0x3FF) << 10 | (second & 0x3FF)), 4};
}

/// Units in a block whose loops have a fixed length, which compilers make vectors of.
constexpr int unit_block = 16;

/// A block of units, when there is one without halves.
template<byte_order order>
bool widen_units(const uint8_t*& from, const uint8_t* end, uint32_t*& to, const uint32_t* to_end) {
    if (end - from < 2 * unit_block || to_end - to < unit_block)
        return false;
    uint32_t halves = 0;
    for (int i = 0; i < unit_block; i++) {
        to[i] = load_16<order>(from + 2 * i);
        halves |= is_half(to[i]) ? 1 : 0;
    }
    if (halves != 0)
        return false;
    from += 2 * unit_block;
    to += unit_block;
    return true;
}

/// The same the other way.
template<byte_order order>
bool narrow_units(const uint32_t*& from, const uint32_t* end, uint8_t*& to, const uint8_t* to_end) {
    if (end - from < unit_block || to_end - to < 2 * unit_block)
        return false;
    uint32_t all = 0;
    for (int i = 0; i < unit_block; i++)
        all |= from[i];
    if (all >= 0x10000)
        return false;
    for (int i = 0; i < unit_block; i++)
        store_16<order>(to + 2 * i, from[i]);
    from += unit_block;
    to += 2 * unit_block;
    return true;
}

template<byte_order order>
decode_result decode_utf_16(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    while (end - from >= 2 && to < to_end) {
        if (widen_units<order>(from, end, to, to_end))
            continue;
        for (int i = 0; i < unit_block && end - from >= 2 && to < to_end; i++) {
            const decoded_character next = get_unit<order>(from, static_cast<size_t>(end - from));
            if (next.stop != decode_stop::none)
                return {from, to, next.stop, next.size};
            *to++ = next.code;
            from += next.size;
        }
    }
    return {from, to, end - from == 1 && to < to_end ? decode_stop::cut : decode_stop::none};
}

constexpr int unit_size(uint32_t code) {
    return code < 0x10000 ? 2 : 4;
}

template<byte_order order>
int put_units(uint32_t code, uint8_t* to) {
    if (unit_size(code) == 2) {
        store_16<order>(to, code);
    } else {
        store_16<order>(to, 0xD800 + ((code - 0x10000) >> 10));
        store_16<order>(to + 2, 0xDC00 + (code & 0x3FF));
    }
    return unit_size(code);
}

template<byte_order order>
encode_result encode_utf_16(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    while (from < end) {
        if (narrow_units<order>(from, end, to, to_end))
            continue;
        for (int i = 0; i < unit_block && from < end; i++, from++) {
            if (to_end - to < unit_size(*from))
                return {from, to, encode_stop::full};
            to += put_units<order>(*from, to);
        }
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

} // namespace

decode_result decode_utf_8(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    const auto* const text = reinterpret_cast<const char*>(from);
    // Beyond what fits no byte needs to be looked at.
    const auto size = static_cast<size_t>(std::min(end - from, 4 * (to_end - to)));
    const size_t valid = utf8_run(text, size);
    const auto done = charset::kernels().unpack(to, static_cast<size_t>(to_end - to), text, valid);
    from += done.bytes;
    to += done.codes;
    if (from == end || to == to_end)
        return {from, to};
    const utf8_flaw flaw = utf8_flaw_at(text + done.bytes, static_cast<size_t>(end - from));
    return {from, to, flaw.is_cut ? decode_stop::cut : decode_stop::wrong, static_cast<uint8_t>(flaw.size)};
}

encode_result encode_utf_8(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    const auto done = charset::kernels().pack(reinterpret_cast<char*>(to), static_cast<size_t>(to_end - to),
                                              from, static_cast<size_t>(end - from));
    from += done.codes;
    return {from, to + done.bytes, from < end ? encode_stop::full : encode_stop::none};
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
