#include "text/charset/detection_model.h"

#include "text/charset/code_point.h"
#include "text/charset/detection_data.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::detection {

namespace {

constexpr bool is_small_letter(uint32_t code) {
    return code >= 'a' && code <= 'z';
}

constexpr bool is_capital(uint32_t code) {
    return code >= 'A' && code <= 'Z';
}

constexpr bool is_digit(uint32_t code) {
    return code >= '0' && code <= '9';
}

constexpr bool is_printing(uint32_t code) {
    return code >= ' ' && code < 0x7F;
}

constexpr neighbour neighbour_of_ascii(uint8_t byte) {
    return is_small_letter(byte) ? neighbour::small_letter
           : is_capital(byte)    ? neighbour::capital
           : is_digit(byte)      ? neighbour::digit
                                 : neighbour::none;
}

/// Control characters that texts have: from backspace to carriage return, the end of a DOS file, escape.
constexpr bool is_text_control(uint32_t code) {
    return (code >= '\b' && code <= '\r') || code == 0x1A || code == 0x1B;
}

constexpr cost ascii_cost(uint32_t code) {
    if (is_small_letter(code) || code == ' ')
        return bits(4) + 2;
    if (is_printing(code))
        return bits(7) - 2;
    if (code == '\n' || code == '\r' || code == '\t')
        return bits(5);
    return is_text_control(code) ? bits(12) : bits(32);
}

/// Letters of Latin that touch a character of another script.
constexpr cost touching(neighbour latin) {
    return latin == neighbour::small_letter ? bits(6) : latin == neighbour::capital ? bits(3) : 0;
}

/// The class of a cell, which is within the rows.
uint8_t class_of_cell(const uint8_t* cells, size_t row, size_t cell) {
    const size_t index = row * cells_of_row + cell;
    return static_cast<uint8_t>(cells[index / 2] >> (index % 2 * 4) & 15);
}

/// 0 where no character is.
using class_costs = std::array<uint8_t, 16>;
constexpr class_costs korean_costs = {0, bits(6), bits(8), bits(10), bits(13), bits(13), 0,        0,
                                      0, 0,       0,       0,        bits(9),  bits(13), bits(13), bits(17)};
constexpr class_costs japanese_costs = {0,        bits(5) + 2, bits(7),  bits(11), bits(8), bits(9),
                                        bits(11), bits(9),     bits(11), bits(13), 0,       0,
                                        bits(7),  bits(13),    bits(12), bits(17)};
constexpr cost hanja = bits(14), kanji_of_level_2 = bits(17), kanji_of_windows = bits(20),
               kanji_of_supplement = bits(21), own_character = bits(26);
/// Syllables that KS X 1001 lacks are seldom alone.
constexpr cost syllable_beyond = bits(18), lonely_syllable_beyond = bits(24);
/// "kkkk" is laughter.
constexpr cost repeated_letter = bits(4);
/// Katakana of half the width come in runs.
constexpr cost half_katakana = bits(7), lonely_half_katakana = bits(11);

/// @param row,cell from 0; 0 for no character
cost korean_cost(size_t row, size_t cell) {
    if (row >= korean_rows)
        return row < 93 ? hanja : 0;
    return korean_costs[class_of_cell(korean_cells, row, cell)];
}

cost japanese_cost(size_t row, size_t cell) {
    if (row < japanese_rows)
        return japanese_costs[class_of_cell(japanese_cells, row, cell)];
    constexpr size_t last_row = 83, cells_of_last_row = 6;
    return row < last_row || (row == last_row && cell < cells_of_last_row) ? kanji_of_level_2 : 0;
}

/// Characters of one kind behind one another, as texts have them and random units have not.
struct unicode_range {
    uint32_t last;
    neighbour kind;
    cost price;
};
constexpr unicode_range unicode_ranges[] = {
    {0x9F, neighbour::none, bits(30)},
    {0x24F, neighbour::none, bits(8)},
    {0x1FFF, neighbour::other_script, bits(12)},
    {0x206F, neighbour::none, bits(10)},
    {0x2FFF, neighbour::none, bits(16)},
    {0x303F, neighbour::none, bits(10)},
    {0x30FF, neighbour::japanese, bits(8)},
    {0x33FF, neighbour::none, bits(17)},
    {0x4DFF, neighbour::japanese, bits(18)},
    {0x9FFF, neighbour::japanese, bits(13)},
    {0xABFF, neighbour::other_script, bits(19)},
    {0xD7A3, neighbour::korean, bits(13)},
    {0xDFFF, neighbour::none, 0},
    {0xF8FF, neighbour::none, bits(28)},
    {0xFEFF, neighbour::other_script, bits(20)},
    {0xFFEF, neighbour::none, bits(14)},
    {last_code_point, neighbour::none, bits(18)},
};
constexpr cost other_script_than_before = bits(7);

const unicode_range& range_of(uint32_t code) {
    size_t i = 0;
    while (code > unicode_ranges[i].last)
        i++;
    return unicode_ranges[i];
}

/// What a character costs in a set that has all; 0 where there is none.
/// @param script of the characters before; becomes that of this one
cost unicode_cost(uint32_t code, neighbour& script) {
    constexpr uint8_t unassigned = 29;
    if (code < 0x80)
        return ascii_cost(code);
    if (!is_scalar_value(code) || (code & 0xFFFE) == 0xFFFE)
        return 0;
    if ((code_point_kind(code) & 31) == unassigned)
        return bits(32);
    const unicode_range& range = range_of(code);
    if (range.kind == neighbour::none)
        return range.price;
    const bool goes_on = script == neighbour::none || script == range.kind;
    script = range.kind;
    return range.price + (goes_on ? 0 : other_script_than_before);
}

} // namespace

void model::put_ascii(uint8_t byte) {
    const neighbour now = neighbour_of_ascii(byte);
    spent += ascii_cost(byte) + (before == neighbour::wide ? touching(now) : 0);
    before = now;
    is_out = is_out || byte == 0;
}

void model::put_wide(cost price) {
    if (price == 0)
        return note_fault();
    spent += price + touching(before);
    before = neighbour::wide;
}

void utf8_model::take(uint8_t byte) {
    if (held_size == 0 && byte < 0x80)
        return put_ascii(byte);
    held[held_size++] = byte;
    const utf8_reading reading = read_utf8(reinterpret_cast<const char*>(held.data()), held_size);
    if (reading.kind == utf8_reading::cut)
        return;
    const bool is_other = reading.size < held_size; // which broke the character off
    held_size = 0;
    // That bytes are valid by chance is so unlikely that their cost is no matter of the language.
    if (reading.kind == utf8_reading::valid)
        spent += bits(4) + bits(2) * reading.size;
    else
        note_fault();
    if (is_other)
        take(byte);
}

void utf16_model::take(uint8_t byte) {
    held[held_size++] = byte;
    if (held_size < 2)
        return;
    held_size = 0;
    const auto unit = static_cast<uint16_t>(is_big ? held[0] << 8 | held[1] : held[1] << 8 | held[0]);
    const bool is_high = unit >= 0xD800 && unit <= 0xDBFF, is_low = unit >= 0xDC00 && unit <= 0xDFFF;
    if ((high_half != 0) != is_low)
        note_fault();
    const uint32_t code =
        high_half != 0 && is_low ? 0x10000u + ((high_half & 0x3FFu) << 10) + (unit & 0x3FFu) : unit;
    high_half = is_high ? unit : 0;
    is_out = is_out || unit == 0;
    if (const cost price = unicode_cost(code, before); price > 0)
        spent += price;
    else if (!is_high && !is_low)
        note_fault();
}

void utf32_model::take(uint8_t byte) {
    held[held_size++] = byte;
    if (held_size < 4)
        return;
    held_size = 0;
    const auto at = [this](unsigned place) {
        return uint32_t{held[is_big ? 3 - place : place]} << 8 * place;
    };
    const uint32_t code = at(0) | at(1) | at(2) | at(3);
    const cost price = code > last_code_point ? 0 : unicode_cost(code, before);
    spent += price;
    is_out = is_out || code == 0 || price == 0;
}

namespace {

/// The upper half of windows-1252, from common to such that are none.
enum class western : uint8_t { common, letter, rare_letter, apostrophe, quote, symbol, rare_symbol, none };

constexpr western western_class(uint8_t byte) {
    const auto is_in = [byte](const char* list) {
        while (*list != '\0' && static_cast<uint8_t>(*list) != byte)
            list++;
        return *list != '\0';
    };
    if (is_in("\xE9\xE8\xE0\xE4\xF6\xFC\xE7\xE3\xE1\xED\xF3\xFA\xF1\xEA\xF4\xE5\xF8\xE6\xDF"))
        return western::common;
    if (is_in("\xC3\xC1\xCD\xD3\xDA\xCA\xE2\xEE\xFB\xEB\xEF\xF2\xF9\xEC\xF5\x9C\xC9\xC0\xD6\xC4\xDC\xC5\xD8"
              "\xC7\xF0\xFE\xFD"))
        return western::letter;
    if (is_in("\x8A\x8C\x8E\x9A\x9E\x9F") || (byte >= 0xC0 && byte != 0xD7 && byte != 0xF7))
        return western::rare_letter;
    if (byte == 0x92)
        return western::apostrophe;
    if (is_in("\x80\x84\x85\x91\x93\x94\x96\x97"))
        return western::quote;
    if (is_in("\xAB\xBB\xBF\xA1\xB0\xA7\xA0\xB7\xAA\xBA\xA3\xA9\xAE"))
        return western::symbol;
    return is_in("\x81\x8D\x8F\x90\x9D") ? western::none : western::rare_symbol;
}

constexpr bool is_western_capital(uint8_t byte) {
    return (byte >= 0xC0 && byte <= 0xDE && byte != 0xD7) || byte == 0x8A || byte == 0x8C || byte == 0x8E ||
           byte == 0x9F;
}

/// What is added for the place of an accented letter within its word.
cost western_place(neighbour before, bool is_capital_now) {
    switch (before) {
    case neighbour::small_letter:
        return is_capital_now ? bits(10) : 0;
    case neighbour::capital:
        return is_capital_now ? bits(1) : 0;
    case neighbour::digit:
        return bits(6);
    case neighbour::small_accent:
        return is_capital_now ? bits(12) : bits(4);
    case neighbour::capital_accent:
        return bits(5);
    default:
        return is_capital_now ? 0 : bits(1);
    }
}

} // namespace

void western_model::take(uint8_t byte) {
    static constexpr cost prices[] = {bits(6), bits(8), bits(10), bits(7),
                                      bits(9), bits(9), bits(13), bits(40)};
    if (byte < 0x80) {
        if (before == neighbour::small_accent && is_capital(byte))
            spent += bits(8);
        return put_ascii(byte);
    }
    const western kind = western_class(byte);
    spent += prices[static_cast<size_t>(kind)];
    is_windows = is_windows || byte < 0xA0;
    if (kind == western::none)
        note_fault();
    if (kind > western::rare_letter) {
        // Signs of that kind do not gather.
        spent += before >= neighbour::wide ? bits(4) : bits(1);
        before = neighbour::wide;
        return;
    }
    const bool is_capital_now = is_western_capital(byte);
    spent += before == neighbour::wide ? bits(2) : western_place(before, is_capital_now);
    before = is_capital_now ? neighbour::capital_accent : neighbour::small_accent;
}

void korean_model::put_pair(size_t row, size_t cell) {
    constexpr size_t row_of_letters = 3;
    const auto pair = static_cast<uint16_t>(row * cells_of_row + cell);
    const bool is_repeated = row == row_of_letters && before == neighbour::wide && pair == last_pair;
    last_pair = pair;
    put_wide(is_repeated ? repeated_letter : korean_cost(row, cell));
}

void korean_model::take(uint8_t byte) {
    if (held_size == 0) {
        if (byte < 0x80)
            return put_ascii(byte);
        if (byte == 0x80 || byte == 0xFF)
            return note_fault();
        held[held_size++] = byte;
        return;
    }
    const uint8_t lead = held[0];
    held_size = 0;
    if (lead >= 0xA1 && byte >= 0xA1 && byte != 0xFF)
        return put_pair(lead - 0xA1u, byte - 0xA1u);
    const bool is_trail = is_capital(byte) || is_small_letter(byte) || (byte >= 0x81 && byte <= 0xFE);
    if (is_trail && lead <= 0xC6) {
        is_extended = true;
        return put_wide(before == neighbour::wide ? syllable_beyond : lonely_syllable_beyond);
    }
    note_fault();
    if (byte < 0x80)
        put_ascii(byte);
}

void euc_jp_model::take(uint8_t byte) {
    constexpr uint8_t half_width = 0x8E, supplement = 0x8F;
    if (held_size == 0) {
        if (byte < 0x80)
            return put_ascii(byte);
        if ((byte < 0xA1 && byte != half_width && byte != supplement) || byte == 0xFF)
            return note_fault();
        held[held_size++] = byte;
        return;
    }
    if (byte < 0xA1 || byte == 0xFF) {
        held_size = 0;
        note_fault();
        if (byte < 0x80)
            put_ascii(byte);
        return;
    }
    held[held_size++] = byte;
    if (held[0] == supplement && held_size < 3)
        return;
    held_size = 0;
    if (held[0] == half_width)
        return put_wide(byte <= 0xDF ? half_katakana + bits(2) : 0);
    put_wide(held[0] == supplement ? kanji_of_supplement : japanese_cost(held[0] - 0xA1u, byte - 0xA1u));
}

namespace {

bool is_shift_jis_lead(uint8_t byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

bool is_shift_jis_trail(uint8_t byte) {
    return (byte >= 0x40 && byte <= 0x7E) || (byte >= 0x80 && byte <= 0xFC);
}

} // namespace

void shift_jis_model::put_half_katakana(uint8_t byte) {
    const bool is_lonely = before != neighbour::wide, is_voiced_mark = byte >= 0xDE;
    put_wide(is_lonely ? lonely_half_katakana + (is_voiced_mark ? bits(10) : 0) : half_katakana);
}

void shift_jis_model::take(uint8_t byte) {
    if (held_size == 0) {
        if (byte < 0x80)
            return put_ascii(byte);
        if (byte >= 0xA1 && byte <= 0xDF)
            return put_half_katakana(byte);
        if (!is_shift_jis_lead(byte))
            return note_fault();
        held[held_size++] = byte;
        return;
    }
    held_size = 0;
    if (!is_shift_jis_trail(byte)) {
        note_fault();
        if (byte < 0x80)
            put_ascii(byte);
        return;
    }
    // Two rows for each first byte, half of the second bytes for each.
    const size_t pair = held[0] - (held[0] < 0xA0 ? 0x81u : 0xC1u);
    const size_t column = byte - (byte < 0x7F ? 0x40u : 0x41u);
    const size_t row = 2 * pair + column / cells_of_row, cell = column % cells_of_row;
    if (const cost price = japanese_cost(row, cell); price > 0)
        return put_wide(price);
    // Row 13 and those behind JIS X 0208 are extensions, with an area for characters of one's own.
    const bool is_own = held[0] >= 0xF0 && held[0] <= 0xF9;
    const bool is_extension = row == 12 || (row >= 88 && row <= 91) || held[0] >= 0xFA;
    is_windows = is_windows || is_own || is_extension;
    put_wide(is_own ? own_character : is_extension ? kanji_of_windows : 0);
}

} // namespace ombrel::detection
