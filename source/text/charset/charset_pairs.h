// Characters of two bytes, by the tables.
#pragma once

#include <algorithm>

#include "text/charset/charset_form.h"
#include "text/charset/charset_loops.h"
#include "text/charset/charset_tables.h"

namespace ombrel {

struct byte_range {
    uint8_t first, last;

    constexpr bool has(uint8_t byte) const { return byte >= first && byte <= last; }
};

/// Where a set's pairs stand.
struct double_byte_set {
    const uint16_t* cells;
    const uint16_t* starts;
    const uint8_t* columns;
    byte_range leads[2];

    bool is_lead(uint8_t byte) const { return leads[0].has(byte) || leads[1].has(byte); }

    /// The character of two bytes, of which the first is at least 0x80; 0 for none.
    uint32_t find(uint8_t first, uint8_t second) const {
        return cells[size_t{starts[first - 0x80]} + columns[second]];
    }
};

/// What is wrong about two bytes that are no character: the second one stays where it is ASCII, so that it is
/// not swallowed, or where it can be no second byte.
inline decoded_character wrong_pair(uint8_t second, bool is_second) {
    return {0, static_cast<uint8_t>(is_second && second >= 0x80 ? 2 : 1), decode_stop::wrong};
}

/// What begins with a byte of at least 0x80.
inline decoded_character get_pair(const double_byte_set& set, const uint8_t* from, size_t size) {
    if (size < 2)
        return {0, 1, set.is_lead(*from) ? decode_stop::cut : decode_stop::wrong};
    if (const uint32_t code = set.find(from[0], from[1]); code != 0)
        return {code, 2};
    return wrong_pair(from[1], set.is_lead(*from) && set.columns[from[1]] != 0);
}

/// Decodes pairs and ASCII as far as they can be read without a look at the ends: each character has two
/// bytes at most, and room. Two are taken at a time where the first one is a pair.
inline void decode_safe_pairs(const double_byte_set& set, const uint8_t*& from, const uint8_t* end,
                              uint32_t*& to, uint32_t* to_end) {
    constexpr ptrdiff_t step = 2;
    uint32_t* const stop = to + std::min((end - from) / 2, to_end - to);
    if (stop - to < step)
        return;
    for (const uint32_t* const last = stop - step; to <= last;) {
        if (*from < 0x80) {
            *to++ = *from++;
            if (*from < 0x80)
                widen_eight(from, end, to, stop);
            continue;
        }
        const uint32_t code = set.find(from[0], from[1]);
        if (code == 0)
            return;
        to[0] = code;
        if (from[2] < 0x80) {
            to[1] = from[2];
            from += 3;
        } else {
            const uint32_t next = set.find(from[2], from[3]);
            if (next == 0)
                return;
            to[1] = next;
            from += 4;
        }
        to += step;
    }
}

/// Decodes text of pairs and ASCII.
/// @param get_other reads what begins with a byte above 0x7F, also where it is a pair
template<typename Get>
inline decode_result decode_pairs(const double_byte_set& set, const uint8_t* from, const uint8_t* end,
                                  uint32_t* to, uint32_t* to_end, Get get_other) {
    while (from < end && to < to_end) {
        decode_safe_pairs(set, from, end, to, to_end);
        if (from == end || to == to_end)
            break;
        if (*from < 0x80) {
            *to++ = *from++;
            continue;
        }
        const decoded_character next = get_other(from, static_cast<size_t>(end - from));
        if (next.stop != decode_stop::none)
            return {from, to, next.stop, next.size};
        *to++ = next.code;
        from += next.size;
    }
    return {from, to};
}

/// How the cells of a set are found that belong to code points.
struct block_table {
    const uint16_t* index;
    const uint16_t* blocks;

    /// @param block the code point without its last six bits
    /// @param place these
    unsigned cell(uint32_t block, uint32_t place) const { return blocks[index[block] + place]; }
    unsigned find(uint32_t code) const {
        return code < 0x10000 ? cell(code >> charset_block_bits, code & charset_block_mask) : 0;
    }
};

inline size_t store_pair(uint8_t* to, unsigned bytes) {
    to[0] = static_cast<uint8_t>(bytes >> 8);
    to[1] = static_cast<uint8_t>(bytes);
    return 2;
}

/// Encodes to pairs and ASCII.
/// @param pair_of   the bytes that a cell stands for; 0 for none
/// @param put_other writes what has no pair, and gives its bytes, at most 3; 0 for none
template<typename Pair, typename Put>
inline encode_result encode_pairs(const block_table& table, const uint32_t* from, const uint32_t* end,
                                  uint8_t* to, uint8_t* to_end, Pair pair_of, Put put_other) {
    const auto put = [&](uint32_t code, uint8_t* at) -> size_t {
        const unsigned bytes = pair_of(table.find(code));
        return bytes != 0 ? store_pair(at, bytes) : put_other(code, at);
    };
    while (from < end) {
        for (auto count = std::min(end - from, (to_end - to) / 2); count > 0; count--, from++) {
            if (*from < 0x80) {
                *to++ = static_cast<uint8_t>(*from);
            } else {
                const unsigned bytes = pair_of(table.find(*from));
                if (bytes == 0)
                    break;
                to += store_pair(to, bytes);
            }
        }
        if (from == end)
            break;
        const encode_result one = encode_ascii_based(from, from + 1, to, to_end, put);
        if (one.stop != encode_stop::none)
            return one;
        from++;
        to = one.to;
    }
    return {from, to};
}

/// Makes pairs and ASCII of valid UTF-8, without code points between, as far as that goes.
template<typename Pair>
inline direct_result pairs_of_utf_8(const block_table& table, const uint8_t* from, const uint8_t* end,
                                    uint8_t* to, uint8_t* to_end, Pair pair_of) {
    constexpr uint32_t high = 0x80;
    for (ptrdiff_t count; (count = std::min((end - from) / 3, (to_end - to) / 2)) > 0;) {
        for (; count > 0; count--) {
            const uint32_t first = *from;
            if (first < high) {
                *to++ = *from++;
                continue;
            }
            if (first - 0xE0 > 0xF)
                return {from, to};
            const uint32_t block = (first << 6) + from[1] - ((0xE0 << 6) + high);
            const unsigned bytes = pair_of(table.cell(block, from[2] - high));
            if (bytes == 0)
                return {from, to};
            to += store_pair(to, bytes);
            from += 3;
        }
    }
    return {from, to};
}

} // namespace ombrel
