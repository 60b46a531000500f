// Shift_JIS, CP932 and EUC-JP.
#include <algorithm>
#include <iterator>

#include "text/charset/charset_pairs.h"

namespace ombrel {

namespace {

constexpr double_byte_set shift_jis = {
    japanese_cells, shift_jis_starts, shift_jis_columns, {{0x81, 0x9F}, {0xE0, 0xEF}}};
constexpr double_byte_set cp932 = {
    japanese_cells, cp932_starts, shift_jis_columns, {{0x81, 0x9F}, {0xE0, 0xFC}}};
constexpr double_byte_set euc_jp = {japanese_cells, euc_jp_starts, euc_columns, {{0xA1, 0xFE}, {1, 0}}};
constexpr double_byte_set jis_x_0212 = {
    japanese_cells, jis_x_0212_starts, euc_columns, {{0xA1, 0xFE}, {1, 0}}};

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

/// Below it are cells of JIS X 0212.
constexpr unsigned least_shifted = 0x8000;

/// The bytes of EUC-JP for those of Shift_JIS.
constexpr unsigned unshifted(unsigned bytes) {
    const unsigned lead = bytes >> 8, trail = bytes & 0xFF;
    const unsigned pair = lead - (lead < 0xA0 ? 0x81 : 0xC1);
    if (trail >= 0x9F)
        return (2 * pair + 0xA2) << 8 | (trail + 2);
    return (2 * pair + 0xA1) << 8 | (trail + (trail < 0x7F ? 0x61 : 0x60));
}

constexpr block_table japanese = {japanese_block_index, japanese_blocks};

constexpr auto shift_jis_pair = [](unsigned cell) { return cell >= least_shifted ? cell : 0; };
constexpr auto euc_jp_pair = [](unsigned cell) { return cell >= least_shifted ? unshifted(cell) : 0; };

// Rows of CP932 for private use, of 188 columns.
constexpr uint8_t first_private_lead = 0xF0, last_private_lead = 0xF9;
constexpr uint32_t first_private = 0xE000, private_columns = 188,
                   private_count = (last_private_lead - first_private_lead + 1) * private_columns;

// Single bytes that CP932 has beside those of Shift_JIS: 0x80 for itself, the others for private use.
constexpr uint8_t cp932_single_bytes[] = {0xA0, 0xFD, 0xFE, 0xFF};
constexpr uint32_t first_cp932_single = 0xF8F0;

/// The code point of such a byte; 0 for none.
constexpr uint32_t cp932_single_of(uint8_t byte) {
    if (byte == 0x80 || byte == 0xA0)
        return byte == 0x80 ? 0x80 : first_cp932_single;
    return byte >= 0xFD ? first_cp932_single + 1 + byte - 0xFD : 0;
}

decoded_character get_shift_jis(const double_byte_set& set, const uint8_t* from, size_t size) {
    if (is_katakana_byte(*from))
        return {katakana_of(*from), 1};
    return get_pair(set, from, size);
}

decoded_character get_cp932(const uint8_t* from, size_t size) {
    const uint8_t lead = *from;
    if (const uint32_t code = cp932_single_of(lead); code != 0)
        return {code, 1};
    if (lead < first_private_lead || lead > last_private_lead || size < 2)
        return get_shift_jis(cp932, from, size);
    const uint8_t column = shift_jis_columns[from[1]];
    if (column == 0)
        return wrong_pair(from[1], false);
    // Before each half of a row is an empty cell.
    const uint32_t place = column - (column <= private_columns / 2 ? 1 : 2);
    return {first_private + (lead - first_private_lead) * private_columns + place, 2};
}

decoded_character get_supplement(const uint8_t* from, size_t size) {
    if (size > 1 && !jis_x_0212.is_lead(from[1]))
        return {0, 1, decode_stop::wrong};
    if (size < 3)
        return {0, 1, decode_stop::cut};
    decoded_character next = get_pair(jis_x_0212, from + 1, 2);
    next.size++;
    return next;
}

decoded_character get_euc_jp(const uint8_t* from, size_t size) {
    if (*from == 0x8F)
        return get_supplement(from, size);
    if (*from != 0x8E)
        return get_pair(euc_jp, from, size);
    if (size < 2)
        return {0, 1, decode_stop::cut};
    if (!is_katakana_byte(from[1]))
        return wrong_pair(from[1], euc_jp.is_lead(from[1]));
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

size_t put_shift_jis_other(uint32_t code, uint8_t* to) {
    return is_katakana(code) ? put_katakana(code, to) : put_roman(code, to);
}

/// What CP932 has beside Shift_JIS.
size_t put_windows_extra(uint32_t code, uint8_t* to) {
    const auto* const place =
        std::lower_bound(std::begin(cp932_extra_codes), std::end(cp932_extra_codes), code);
    if (place == std::end(cp932_extra_codes) || *place != code)
        return 0;
    return store_pair(to, cp932_extra_bytes[place - cp932_extra_codes]);
}

size_t put_cp932_other(uint32_t code, uint8_t* to) {
    if (is_katakana(code))
        return put_katakana(code, to);
    if (code == 0x80 || code - first_cp932_single < std::size(cp932_single_bytes)) {
        *to = code == 0x80 ? 0x80 : cp932_single_bytes[code - first_cp932_single];
        return 1;
    }
    if (code - first_private >= private_count)
        return put_windows_extra(code, to);
    const uint32_t column = (code - first_private) % private_columns;
    to[0] = static_cast<uint8_t>(first_private_lead + (code - first_private) / private_columns);
    to[1] = static_cast<uint8_t>(column + (column < 63 ? 0x40 : 0x41));
    return 2;
}

size_t put_euc_jp_other(uint32_t code, uint8_t* to) {
    if (is_katakana(code)) {
        *to = 0x8E;
        return 1 + put_katakana(code, to + 1);
    }
    const unsigned bytes = japanese.find(code);
    if (bytes == 0)
        return put_roman(code, to);
    *to = 0x8F;
    return 1 + store_pair(to + 1, bytes | 0x8080);
}

} // namespace

decode_result decode_shift_jis(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_pairs(shift_jis, from, end, to, to_end,
                        [](const uint8_t* at, size_t size) { return get_shift_jis(shift_jis, at, size); });
}

encode_result encode_shift_jis(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_pairs(japanese, from, end, to, to_end, shift_jis_pair, put_shift_jis_other);
}

decode_result decode_cp932(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_pairs(cp932, from, end, to, to_end, get_cp932);
}

encode_result encode_cp932(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_pairs(japanese, from, end, to, to_end, shift_jis_pair, put_cp932_other);
}

decode_result decode_euc_jp(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_pairs(euc_jp, from, end, to, to_end, get_euc_jp);
}

encode_result encode_euc_jp(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_pairs(japanese, from, end, to, to_end, euc_jp_pair, put_euc_jp_other);
}

direct_result utf_8_to_shift_jis(const uint8_t* from, const uint8_t* end, uint8_t* to, uint8_t* to_end) {
    return pairs_of_utf_8(japanese, from, end, to, to_end, shift_jis_pair);
}

direct_result utf_8_to_euc_jp(const uint8_t* from, const uint8_t* end, uint8_t* to, uint8_t* to_end) {
    return pairs_of_utf_8(japanese, from, end, to, to_end, euc_jp_pair);
}

} // namespace ombrel
