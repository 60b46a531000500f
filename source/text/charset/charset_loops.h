// Loops over blocks of characters, made of what a set does with one.
#pragma once

#include <cstring>

#include "text/charset/charset_form.h"

namespace ombrel {

/// Eight characters of ASCII at once, when there are so many and room for them.
inline bool widen_eight(const uint8_t*& from, const uint8_t* end, uint32_t*& to, const uint32_t* to_end) {
    constexpr int count = 8;
    if (end - from < count || to_end - to < count)
        return false;
    uint64_t word;
    memcpy(&word, from, sizeof word);
    if ((word & 0x8080808080808080u) != 0)
        return false;
    for (int i = 0; i < count; i++)
        to[i] = from[i];
    from += count;
    to += count;
    return true;
}

/// The same the other way.
inline bool narrow_eight(const uint32_t*& from, const uint32_t* end, uint8_t*& to, const uint8_t* to_end) {
    constexpr int count = 8;
    if (end - from < count || to_end - to < count)
        return false;
    uint32_t all = 0;
    for (int i = 0; i < count; i++)
        all |= from[i];
    if (all >= 0x80)
        return false;
    for (int i = 0; i < count; i++)
        to[i] = static_cast<uint8_t>(from[i]);
    from += count;
    to += count;
    return true;
}

/// Decodes text that is based on ASCII.
/// @param get reads what begins with a byte above 0x7F
template<typename Get>
inline decode_result decode_ascii_based(const uint8_t* from, const uint8_t* end, uint32_t* to,
                                        uint32_t* to_end, Get get) {
    while (from < end && to < to_end) {
        if (*from < 0x80) {
            if (!widen_eight(from, end, to, to_end))
                *to++ = *from++;
            continue;
        }
        const decoded_character next = get(from, static_cast<size_t>(end - from));
        if (next.stop != decode_stop::none)
            return {from, to, next.stop, next.size};
        *to++ = next.code;
        from += next.size;
    }
    return {from, to};
}

/// Encodes what is based on ASCII.
/// @param put writes one of at least 0x80 and gives its bytes, at most 4; 0 when the set lacks it
template<typename Put>
inline encode_result encode_ascii_based(const uint32_t* from, const uint32_t* end, uint8_t* to,
                                        uint8_t* to_end, Put put) {
    while (from < end) {
        if (*from < 0x80 && to < to_end) {
            if (!narrow_eight(from, end, to, to_end))
                *to++ = static_cast<uint8_t>(*from++);
            continue;
        }
        uint8_t bytes[def_ombrel_charset_character_limit] = {};
        const bool has_room = to_end - to >= def_ombrel_charset_character_limit;
        const size_t size = *from < 0x80 ? 1 : put(*from, has_room ? to : bytes);
        if (size == 0)
            return {from, to, encode_stop::lacking};
        if (!has_room) {
            if (size > static_cast<size_t>(to_end - to))
                return {from, to, encode_stop::full};
            memcpy(to, bytes, size);
        }
        to += size;
        from++;
    }
    return {from, to};
}

} // namespace ombrel
