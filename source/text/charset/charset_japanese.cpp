// Shift_JIS, CP932 and EUC-JP.
#include <algorithm>
#include <iterator>

#include "text/charset/charset_form.h"
#include "text/charset/charset_loops.h"
#include "text/charset/charset_pairs.h"

namespace ombrel {

namespace {

// The narrow Katakana of JIS X 0201, of one byte.
constexpr uint32_t first_katakana = 0xFF61, last_katakana = 0xFF9F;
constexpr uint8_t first_katakana_byte = 0xA1, last_katakana_byte = 0xDF;

constexpr bool is_katakana_byte(uint8_t byte) {
    return byte >= first_katakana_byte && byte <= last_katakana_byte;
}

constexpr uint32_t katakana_of(uint8_t byte) {
    return first_katakana + byte - first_katakana_byte;
}

constexpr bool is_katakana(uint32_t code) {
    return code >= first_katakana && code <= last_katakana;
}

constexpr uint8_t katakana_byte(uint32_t code) {
    return static_cast<uint8_t>(code - first_katakana + first_katakana_byte);
}

/// The byte of JIS X 0201 where ASCII has another character, which is not read back so by design: 0 for none.
constexpr uint8_t roman_byte(uint32_t code) {
    return code == 0xA5 ? '\\' : code == 0x203E ? '~' : 0;
}

// Codes of japanese_blocks.
constexpr unsigned supplement_bit = 0x8000;

/// The bytes of Shift_JIS for those of JIS X 0208.
constexpr unsigned shifted(unsigned bytes) {
    const unsigned row = (bytes >> 8) - 0x21, column = (bytes & 0xFF) - 0x21 + row % 2 * 94;
    return (row / 2 + (row < 62 ? 0x81 : 0xC1)) << 8 | (column + (column < 63 ? 0x40 : 0x41));
}

// Rows of CP932 for private use, of 188 columns.
constexpr uint8_t first_private_lead = 0xF0, last_private_lead = 0xF9;
constexpr uint32_t first_private = 0xE000, private_columns = 188,
                   private_count = (last_private_lead - first_private_lead + 1) * private_columns;

decoded_character get_shift_jis(const double_byte_set& set, const uint8_t* from, size_t size) {
    if (is_katakana_byte(*from))
        return {katakana_of(*from), 1};
    return get_pair(set, from, size);
}

decoded_character get_cp932(const uint8_t* from, size_t size) {
    if (*from >= first_private_lead && *from <= last_private_lead && size > 1) {
        const uint8_t column = shift_jis_columns[from[1]];
        if (column == no_charset_column)
            return wrong_pair(from[1], false);
        return {first_private + (*from - first_private_lead) * private_columns + column, 2};
    }
    return get_shift_jis({japanese_cells, cp932_rows, shift_jis_columns}, from, size);
}

decoded_character get_supplement(const uint8_t* from, size_t size) {
    if (size > 1 && euc_columns[from[1]] == no_charset_column)
        return {0, 1, decode_stop::wrong};
    if (size < 3)
        return {0, 1, decode_stop::cut};
    decoded_character next = get_pair({japanese_cells, jis_x_0212_rows, euc_columns}, from + 1, 2);
    next.size++;
    return next;
}

decoded_character get_euc_jp(const uint8_t* from, size_t size) {
    if (*from == 0x8F)
        return get_supplement(from, size);
    if (*from != 0x8E)
        return get_pair({japanese_cells, euc_jp_rows, euc_columns}, from, size);
    if (size < 2)
        return {0, 1, decode_stop::cut};
    if (!is_katakana_byte(from[1]))
        return wrong_pair(from[1], euc_columns[from[1]] != no_charset_column);
    return {katakana_of(from[1]), 2};
}

size_t put_katakana(uint32_t code, uint8_t* to) {
    *to = katakana_byte(code);
    return 1;
}

size_t put_roman(uint32_t code, uint8_t* to) {
    *to = roman_byte(code);
    return *to != 0 ? 1 : 0;
}

size_t put_shift_jis(uint32_t code, uint8_t* to) {
    const unsigned bytes = find_in_blocks(japanese_block_index, japanese_blocks, code);
    if (bytes != 0 && bytes < supplement_bit)
        return store_pair(to, shifted(bytes)), 2;
    return is_katakana(code) ? put_katakana(code, to) : put_roman(code, to);
}

/// What CP932 has beside Shift_JIS.
size_t put_windows_extra(uint32_t code, uint8_t* to) {
    if (code - first_private < private_count) {
        const uint32_t column = (code - first_private) % private_columns;
        to[0] = static_cast<uint8_t>(first_private_lead + (code - first_private) / private_columns);
        to[1] = static_cast<uint8_t>(column + (column < 63 ? 0x40 : 0x41));
        return 2;
    }
    const auto* const place =
        std::lower_bound(std::begin(cp932_extra_codes), std::end(cp932_extra_codes), code);
    if (place == std::end(cp932_extra_codes) || *place != code)
        return 0;
    store_pair(to, cp932_extra_bytes[place - cp932_extra_codes]);
    return 2;
}

size_t put_cp932(uint32_t code, uint8_t* to) {
    const unsigned bytes = find_in_blocks(japanese_block_index, japanese_blocks, code);
    if (bytes != 0 && bytes < supplement_bit)
        return store_pair(to, shifted(bytes)), 2;
    return is_katakana(code) ? put_katakana(code, to) : put_windows_extra(code, to);
}

size_t put_euc_jp(uint32_t code, uint8_t* to) {
    const unsigned bytes = find_in_blocks(japanese_block_index, japanese_blocks, code);
    if (bytes >= supplement_bit) {
        *to = 0x8F;
        return store_pair(to + 1, bytes | 0x8080), 3;
    }
    if (bytes != 0)
        return store_pair(to, bytes | 0x8080), 2;
    if (!is_katakana(code))
        return put_roman(code, to);
    *to = 0x8E;
    return 1 + put_katakana(code, to + 1);
}

} // namespace

decode_result decode_shift_jis(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, [](const uint8_t* at, size_t size) {
        return get_shift_jis({japanese_cells, shift_jis_rows, shift_jis_columns}, at, size);
    });
}

encode_result encode_shift_jis(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_shift_jis);
}

decode_result decode_cp932(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, get_cp932);
}

encode_result encode_cp932(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_cp932);
}

decode_result decode_euc_jp(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, get_euc_jp);
}

encode_result encode_euc_jp(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_euc_jp);
}

} // namespace ombrel
