// What the flags of a dialect say about characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/ini.h>

#include "text/slice.h"

namespace ombrel::document {

inline constexpr std::string_view ini_byte_order_mark = "\xEF\xBB\xBF";

struct ini_dialect {
    uint32_t flags;

    bool has(uint32_t flag) const { return (flags & flag) != 0; }
    bool starts_comment(char c) const {
        return (c == '#' && has(def_ombrel_ini_hash_comments)) ||
               (c == ';' && has(def_ombrel_ini_semicolon_comments));
    }
    bool is_separator(char c) const { return c == '=' || (c == ':' && has(def_ombrel_ini_colon)); }
    /// Whether values are read from left to right, a character at a time; else a line at a time.
    bool reads_characters() const { return !has(def_ombrel_ini_quotes | def_ombrel_ini_indented_lines); }
    bool has_comments_behind() const {
        return has(def_ombrel_ini_inline_comments | def_ombrel_ini_comments_anywhere);
    }
    /// Whether a comment begins at a place behind a separator, or behind the front of a key or value.
    bool starts_comment_at(std::string_view text, size_t at) const;
};

/// White space of a line, a carriage return included.
constexpr bool is_ini_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r' && c != '\n');
}

inline bool ini_dialect::starts_comment_at(std::string_view text, size_t at) const {
    if (!starts_comment(text[at]) || has(def_ombrel_ini_comments_anywhere))
        return starts_comment(text[at]);
    if (!has(def_ombrel_ini_inline_comments))
        return false;
    return at > 0 ? is_ini_blank(text[at - 1]) : text.size() == 1 || is_ini_blank(text[1]) || text[1] == '\n';
}

/// The first place from `at` on that has no white space; a line's end counts as such a place.
inline size_t skip_ini_blanks(std::string_view text, size_t at) {
    while (at < text.size() && is_ini_blank(text[at]))
        at++;
    return at;
}

/// Where the line that has the place ends: at its line feed, or behind the text.
inline size_t find_ini_line_end(std::string_view text, size_t at) {
    const size_t end = text.find('\n', at);
    return end != text.npos ? end : text.size();
}

inline std::string_view trim_ini_end(std::string_view text) {
    while (!text.empty() && (is_ini_blank(text.back()) || text.back() == '\n'))
        text.remove_suffix(1);
    return text;
}

inline std::string_view trim_ini(std::string_view text) {
    return trim_ini_end(slice(text, skip_ini_blanks(text, 0)));
}

/// Bytes of the line end at the place: 2, 1, or 0 where there is none.
inline size_t ini_line_end_size(std::string_view text, size_t at) {
    if (at < text.size() && text[at] == '\n')
        return 1;
    return slice(text, at, 2) == "\r\n" ? 2 : 0;
}

/// The line end that a line has; empty for one without.
inline std::string_view ini_line_end_of(std::string_view line) {
    if (line.empty() || line.back() != '\n')
        return {};
    return slice(line, line.size() - (line.size() > 1 && line[line.size() - 2] == '\r' ? 2 : 1));
}

} // namespace ombrel::document
