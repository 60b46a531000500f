// Characters of HTTP by what they may be part of.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/http_field.h>

#include "text/fold.h"

namespace ombrel::protocol {

enum http_class : uint8_t {
    http_token = 1,      ///< names, methods
    http_value = 2,      ///< values and reasons: all but control characters, the tab included
    http_target = 4,     ///< targets: visible ones of ASCII but "#"
    http_host = 8,       ///< names of hosts
    http_tag = 16,       ///< entity tags: all but quotes, spaces, control characters
    http_cookie = 32,    ///< values of cookies
    http_attribute = 64, ///< attributes of cookies: visible ones of ASCII and spaces but ";"
    http_decimal = 128,
};

constexpr bool is_one_of(std::string_view set, char c) {
    return set.find(c) != set.npos;
}

inline constexpr std::array<uint8_t, 256> http_classes = [] {
    std::array<uint8_t, 256> classes{};
    for (unsigned code = 0; code < 256; code++) {
        const char c = static_cast<char>(code);
        const char lower = static_cast<char>(to_lower(static_cast<unsigned char>(code)));
        const bool is_digit = code >= '0' && code <= '9';
        const bool is_alphanumeric = is_digit || (lower >= 'a' && lower <= 'z');
        const bool is_visible = code > ' ' && code < 0x7F;
        const auto add = [&](bool is_in, http_class what) {
            classes[code] = static_cast<uint8_t>(classes[code] | (is_in ? what : 0));
        };
        add(is_alphanumeric || is_one_of("!#$%&'*+-.^_`|~", c), http_token);
        add(is_visible || code == ' ' || code == '\t' || code >= 0x80, http_value);
        add(is_visible && code != '#', http_target);
        add(is_alphanumeric || is_one_of("-._", c), http_host);
        add((is_visible || code >= 0x80) && code != '"', http_tag);
        add(is_visible && !is_one_of("\",;\\", c), http_cookie);
        add((is_visible || code == ' ') && code != ';', http_attribute);
        add(is_digit, http_decimal);
    }
    return classes;
}();

constexpr bool is_http(char c, http_class what) {
    return (http_classes[static_cast<unsigned char>(c)] & what) != 0;
}

/// Bytes at the text's beginning that are all of the class.
constexpr size_t count_http(std::string_view text, http_class what) {
    size_t count = 0;
    while (count < text.size() && is_http(text[count], what))
        count++;
    return count;
}

/// Whether the text is one or more characters of the class.
constexpr bool is_http_word(std::string_view text, http_class what) {
    return !text.empty() && count_http(text, what) == text.size();
}

constexpr bool is_http_space(char c) {
    return c == ' ' || c == '\t';
}

/// Without spaces and tabs at both ends.
constexpr std::string_view trim_http(std::string_view text) {
    while (!text.empty() && is_http_space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_http_space(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Whether the text is the word, which stands in lower case.
constexpr bool is_http_word_like(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size())
        return false;
    for (size_t i = 0; i < text.size(); i++)
        if (to_lower(static_cast<unsigned char>(text[i])) != static_cast<unsigned char>(lower[i]))
            return false;
    return true;
}

/// Where the first character is that may not stand in a value; the end when there is none.
inline const char* skip_http_value(const char* text, const char* end) {
    constexpr uint64_t ones = 0x0101010101010101u, highs = 0x80 * ones;
    for (; end - text >= 8; text += 8) {
        uint64_t word;
        memcpy(&word, text, sizeof word);
        const uint64_t deletes = word ^ 0x7F * ones;
        if ((((word - 0x20 * ones) & ~word) | ((deletes - ones) & ~deletes)) & highs)
            for (int i = 0; i < 8; i++)
                if (!is_http(text[i], http_value))
                    return text + i;
    }
    while (text != end && is_http(*text, http_value))
        text++;
    return text;
}

inline std::string_view view_of(const ombrel_http_text_t& text) {
    return {text.m_data, text.m_size};
}

inline ombrel_http_text_t http_text(std::string_view text) {
    return {text.data(), text.size()};
}

} // namespace ombrel::protocol
