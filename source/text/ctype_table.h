// The class table itself, for text code that tests characters in inner loops.
#pragma once

#include <array>
#include <cstdint>

#include <ombrel/ctype.h>

namespace ombrel {

struct class_range {
    unsigned first;
    unsigned last;
    unsigned classes;
};

inline constexpr class_range class_ranges[] = {
    {0, 31, def_ombrel_ctype_control},       {127, 127, def_ombrel_ctype_control},
    {9, 13, def_ombrel_ctype_space},         {32, 32, def_ombrel_ctype_space},
    {33, 47, def_ombrel_ctype_punctuation},  {58, 64, def_ombrel_ctype_punctuation},
    {91, 96, def_ombrel_ctype_punctuation},  {123, 126, def_ombrel_ctype_punctuation},
    {'0', '9', def_ombrel_ctype_digit},      {'A', 'Z', def_ombrel_ctype_upper},
    {'A', 'F', def_ombrel_ctype_hex_letter}, {'a', 'f', def_ombrel_ctype_hex_letter},
    {'a', 'z', def_ombrel_ctype_lower},      {'+', '+', def_ombrel_ctype_base64},
    {'/', '9', def_ombrel_ctype_base64},     {'=', '=', def_ombrel_ctype_base64},
    {'A', 'Z', def_ombrel_ctype_base64},     {'a', 'z', def_ombrel_ctype_base64},
    {10, 10, def_ombrel_ctype_line_feed},    {13, 13, def_ombrel_ctype_carriage_return},
    {9, 9, def_ombrel_ctype_separator},      {' ', ' ', def_ombrel_ctype_separator},
    {'"', '"', def_ombrel_ctype_separator},  {'(', ')', def_ombrel_ctype_separator},
    {',', ',', def_ombrel_ctype_separator},  {'/', '/', def_ombrel_ctype_separator},
    {':', '@', def_ombrel_ctype_separator},  {'[', ']', def_ombrel_ctype_separator},
    {'{', '{', def_ombrel_ctype_separator},  {'}', '}', def_ombrel_ctype_separator},
};

inline constexpr std::array<uint16_t, 128> class_table = [] {
    std::array<uint16_t, 128> table{};
    for (const class_range& range : class_ranges) {
        for (unsigned c = range.first; c <= range.last; c++)
            table[c] = static_cast<uint16_t>(table[c] | range.classes);
    }
    return table;
}();

constexpr bool is_class(int c, unsigned mask) {
    if (c < 0)
        return false;
    return ((c < 128 ? class_table[static_cast<unsigned>(c)] : def_ombrel_ctype_non_ascii) & mask) != 0;
}

constexpr bool is_space(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool is_digit(int c) {
    return c >= '0' && c <= '9';
}

} // namespace ombrel
