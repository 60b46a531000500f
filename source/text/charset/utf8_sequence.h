// How one character of UTF-8 lies in bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

inline constexpr uint32_t replacement_character = 0xFFFD;
inline constexpr uint32_t last_code_point = 0x10FFFF;
inline constexpr size_t longest_utf8 = 4;

/// Whether a code point is one that texts may have: none of the halves of UTF-16.
constexpr bool is_scalar_value(uint32_t code) {
    return code <= last_code_point && (code < 0xD800 || code > 0xDFFF);
}

constexpr bool is_utf8_continuation(char c) {
    return (static_cast<uint8_t>(c) & 0xC0) == 0x80;
}

/// What a first byte above 0x7F demands: how many bytes, and in which range the second one lies. That range
/// leaves out forms that are longer than needed, halves of UTF-16 and what is above the last code point.
struct utf8_form {
    uint8_t length; ///< 0 for a byte that begins nothing
    uint8_t second_from, second_to;
};

constexpr utf8_form utf8_form_of(uint8_t first) {
    const uint8_t from = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const uint8_t to = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    const uint8_t length = first < 0xC2 || first > 0xF4 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    return {length, from, to};
}

/// What stands at the front of a text.
struct utf8_reading {
    enum kind_t : uint8_t {
        valid,
        invalid, ///< `size` bytes for which one replacement character stands
        cut,     ///< the same, and it may become valid by what follows the text
    };
    uint32_t code; ///< the replacement character for what is not valid
    uint8_t size;
    kind_t kind;
};

/// The character at the front of a text, which is not empty.
constexpr utf8_reading read_utf8(const char* text, size_t size) {
    const auto first = static_cast<uint8_t>(text[0]);
    if (first < 0x80)
        return {first, 1, utf8_reading::valid};
    const utf8_form form = utf8_form_of(first);
    if (form.length == 0)
        return {replacement_character, 1, utf8_reading::invalid};
    uint32_t code = first & (0x7Fu >> form.length);
    for (uint8_t i = 1; i < form.length; i++) {
        if (i == size)
            return {replacement_character, i, utf8_reading::cut};
        const auto byte = static_cast<uint8_t>(text[i]);
        if (byte < (i == 1 ? form.second_from : 0x80) || byte > (i == 1 ? form.second_to : 0xBF))
            return {replacement_character, i, utf8_reading::invalid};
        code = code << 6 | (byte & 0x3Fu);
    }
    return {code, form.length, utf8_reading::valid};
}

/// The character at the front of a text that is known to be valid.
constexpr uint32_t take_valid_utf8(const char*& text) {
    const auto first = static_cast<uint8_t>(*text++);
    if (first < 0x80)
        return first;
    const int more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    uint32_t code = first & (0x3Fu >> more);
    for (int i = 0; i < more; i++)
        code = code << 6 | (static_cast<uint8_t>(*text++) & 0x3Fu);
    return code;
}

constexpr size_t utf8_size(uint32_t code) {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

/// Writes the bytes of a character, without a look at whether it is one; gives how many.
constexpr size_t put_utf8(uint32_t code, char* to) {
    constexpr uint8_t marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const size_t size = utf8_size(code);
    for (size_t i = size - 1; i > 0; i--) {
        to[i] = static_cast<char>(0x80 | (code & 0x3F));
        code >>= 6;
    }
    to[0] = static_cast<char>(marks[size] | code);
    return size;
}

} // namespace ombrel
