// Characters of two bytes, by the tables.
#pragma once

#include "text/charset/charset_form.h"
#include "text/charset/charset_tables.h"

namespace ombrel {

/// Where a set's pairs stand.
struct double_byte_set {
    const uint16_t* cells;
    const charset_row* rows;
    const uint8_t* columns;
};

/// What is wrong about two bytes that are no character: the second one stays where it is ASCII, so that it is
/// not swallowed, or where it can be no second byte.
inline decoded_character wrong_pair(uint8_t second, bool is_second) {
    return {0, static_cast<uint8_t>(is_second && second >= 0x80 ? 2 : 1), decode_stop::wrong};
}

/// The character of two bytes, of which the first is at least 0x80.
inline decoded_character get_pair(const double_byte_set& set, const uint8_t* from, size_t size) {
    const charset_row row = set.rows[from[0] & 0x7F];
    if (size < 2)
        return {0, 1, row.first != no_charset_lead ? decode_stop::cut : decode_stop::wrong};
    const unsigned column = set.columns[from[1]];
    if (column - row.first < row.count)
        if (const uint16_t code = set.cells[row.start + column - row.first]; code != 0)
            return {code, 2};
    return wrong_pair(from[1], row.first != no_charset_lead && column != no_charset_column);
}

/// What a set has for a code point; 0 for nothing.
inline unsigned find_in_blocks(const uint16_t* index, const uint16_t* blocks, uint32_t code) {
    constexpr uint32_t mask = (1u << charset_block_bits) - 1;
    return code < 0x10000 ? blocks[index[code >> charset_block_bits] + (code & mask)] : 0;
}

inline void store_pair(uint8_t* to, unsigned bytes) {
    to[0] = static_cast<uint8_t>(bytes >> 8);
    to[1] = static_cast<uint8_t>(bytes);
}

} // namespace ombrel
