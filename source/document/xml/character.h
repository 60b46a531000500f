// The characters of XML: which ones there are, and which ones make up names.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ombrel::document {

enum character_class : uint8_t {
    class_name_start = 1,
    class_name = 2,
    class_space = 4,
    class_public_id = 8,
    class_beyond_ascii = 16, ///< a byte of a longer character, whose code tells the rest
};

inline constexpr std::array<uint8_t, 256> character_classes = [] {
    std::array<uint8_t, 256> classes{};
    const auto mark = [&](std::string_view which, int bits) {
        for (const char c : which)
            classes[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(bits);
    };
    mark("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ",
         class_name_start | class_name | class_public_id);
    mark("_:", class_name_start | class_name);
    mark("0123456789-.", class_name);
    mark("0123456789-'()+,./:=?;!*#@$_% \r\n", class_public_id);
    mark(" \t\r\n", class_space);
    for (unsigned byte = 0x80; byte < 0x100; byte++)
        classes[byte] = class_beyond_ascii;
    return classes;
}();

constexpr bool has_class(char c, int bits) {
    return (character_classes[static_cast<unsigned char>(c)] & bits) != 0;
}

constexpr bool is_space(char c) {
    return has_class(c, class_space);
}

/// Whether XML allows a character at all.
constexpr bool is_character(uint32_t code) {
    return code >= 0x20
               ? code <= 0xD7FF || (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF)
               : code == 0x9 || code == 0xA || code == 0xD;
}

/// Whether the three bytes, the first of which is 0xEF, are one of the two characters beyond ASCII that are
/// valid UTF-8 and none of XML: U+FFFE and U+FFFF.
constexpr bool is_no_character(const char* at) {
    return static_cast<unsigned char>(at[1]) == 0xBF && static_cast<unsigned char>(at[2]) >= 0xBE;
}

/// The place behind the name that begins at `at`; `at` itself when none does. The text is valid UTF-8.
const char* behind_name(const char* at, const char* end);
/// The same for name characters in any order.
const char* behind_token(const char* at, const char* end);

/// Whether a name has a colon at most, and something on both its sides.
bool is_qualified_name(std::string_view name);

} // namespace ombrel::document
