#include "document/ini/ini_line.h"

#include "document/ini/ini_name.h"
#include "document/ini/ini_value_text.h"

namespace ombrel::document {

namespace {

constexpr std::string_view include_word = "!include";

ini_line malformed(int fault, size_t at) {
    ini_line line;
    line.kind = ini_kind::malformed;
    line.fault = fault;
    line.fault_at = at;
    return line;
}

ini_line plain_line(ini_kind kind) {
    ini_line line;
    line.kind = kind;
    return line;
}

bool is_include(ini_dialect dialect, std::string_view line) {
    return dialect.has(def_ombrel_ini_include_lines) && starts_with(line, include_word) &&
           line.size() > include_word.size() && is_ini_blank(line[include_word.size()]);
}

/// The separator behind a key, or where its line ends or its comment begins.
size_t find_key_end(ini_dialect dialect, std::string_view text, size_t at) {
    const size_t end = find_ini_line_end(text, at);
    while (at < end && !dialect.is_separator(text[at]) && !dialect.starts_comment_at(text, at))
        at++;
    return at;
}

/// Where the value behind a separator begins. That of an empty one is before its line end, of which the
/// carriage return is a blank, too.
size_t find_value(std::string_view text, size_t behind_separator) {
    const size_t at = skip_ini_blanks(text, behind_separator);
    const bool has_return = at > behind_separator && ini_line_end_size(text, at - 1) == 2;
    return has_return ? at - 1 : at;
}

/// The place behind the text's first line; npos when there is nothing.
size_t find_second_line(std::string_view text) {
    const size_t at = find_ini_line_end(text, 0) + 1;
    return at < text.size() ? at : text.npos;
}

ini_line read_include(std::string_view text, size_t at) {
    ini_line line = plain_line(ini_kind::include);
    line.value_at = skip_ini_blanks(text, at + include_word.size());
    line.value_size = trim_ini(slice(text, line.value_at)).size();
    return line.value_size > 0 ? line : malformed(def_ombrel_ini_fault_include_file, line.value_at);
}

ini_line read_head(ini_dialect dialect, std::string_view text, size_t at, growing_text& value,
                   call_site caller) {
    const size_t end = find_ini_head_end(dialect, text, at + 1);
    if (end == text.npos)
        return malformed(def_ombrel_ini_fault_open_head, at);
    ini_name name;
    if (const int fault = name.read(dialect, slice(text, at + 1, end - at - 1), caller); fault != 0)
        return malformed(fault, at + 1);
    ini_line line = plain_line(ini_kind::section);
    line.name_at = at + 1;
    line.name_size = end - at - 1;
    const size_t rest = skip_ini_blanks(text, end + 1);
    if (rest == text.size() || text[rest] == '\n' || dialect.starts_comment(text[rest]))
        return line;
    if (!dialect.has(def_ombrel_ini_key_behind_head))
        return malformed(def_ombrel_ini_fault_behind_head, rest);
    ini_line key = read_ini_key_line(dialect, slice(text, rest), value, caller);
    if (key.fault != 0)
        return malformed(key.fault, rest + key.fault_at);
    line.head_size = rest;
    return line;
}

} // namespace

ini_line read_ini_key_line(ini_dialect dialect, std::string_view text, growing_text& value,
                           call_site caller) {
    ini_line line = plain_line(ini_kind::key);
    line.key_at = skip_ini_blanks(text, 0);
    const size_t end = find_key_end(dialect, text, line.key_at);
    const bool has_separator = end < text.size() && dialect.is_separator(text[end]);
    const std::string_view key = trim_ini_end(slice(text, line.key_at, end - line.key_at));
    line.key_size = key.size();
    line.is_bare = !has_separator;
    if (key.empty())
        return malformed(has_separator ? def_ombrel_ini_fault_no_key : def_ombrel_ini_fault_no_separator,
                         line.key_at);
    // It would be no part of the key if it came to be the first line.
    if (starts_with(key, ini_byte_order_mark))
        return malformed(def_ombrel_ini_fault_key, line.key_at);
    if (dialect.has(def_ombrel_ini_plain_names) && find_odd_ini_character(key, false) < key.size())
        return malformed(def_ombrel_ini_fault_key, line.key_at + find_odd_ini_character(key, false));
    if (!has_separator) {
        if (!dialect.has(def_ombrel_ini_bare_keys))
            return malformed(def_ombrel_ini_fault_no_separator, line.key_at);
        const size_t second = find_second_line(text);
        return second == text.npos ? line : malformed(def_ombrel_ini_fault_indented, second);
    }
    line.value_at = find_value(text, end + 1);
    const ini_value_shape shape = read_ini_value(dialect, slice(text, line.value_at), value, caller);
    line.value_size = shape.size;
    line.is_quoted = shape.is_quoted;
    return shape.fault == 0 ? line : malformed(shape.fault, line.value_at + shape.fault_at);
}

ini_line read_ini_line(ini_dialect dialect, std::string_view text, growing_text& value, call_site caller) {
    value.clear();
    if (const size_t zero = text.find('\0'); zero != text.npos)
        return malformed(def_ombrel_ini_fault_zero_byte, zero);
    const size_t at = skip_ini_blanks(text, 0);
    if (at == text.size() || text[at] == '\n')
        return plain_line(ini_kind::blank);
    if (dialect.starts_comment(text[at]))
        return plain_line(ini_kind::comment);
    if (is_include(dialect, slice(text, at)))
        return read_include(text, at);
    return text[at] == '[' ? read_head(dialect, text, at, value, caller)
                           : read_ini_key_line(dialect, text, value, caller);
}

ini_joiner::role ini_joiner::take(std::string_view line) {
    if (is_joined_) {
        is_joined_ = joins_next_ini_line(dialect_, line, is_quoted_);
        return goes_on;
    }
    const size_t indent = skip_ini_blanks(line, 0);
    const bool is_blank = indent == line.size() || line[indent] == '\n';
    const bool may_go_on = dialect_.has(def_ombrel_ini_indented_lines) && indent_ != none;
    if (is_blank || dialect_.starts_comment(line[indent]))
        return may_go_on ? open : begins;
    if (may_go_on && indent > indent_)
        return goes_on;
    begin(line, indent);
    return begins;
}

void ini_joiner::begin(std::string_view line, size_t indent) {
    indent_ = none;
    is_quoted_ = false;
    size_t at = indent;
    if (line[indent] == '[') {
        const size_t end = find_ini_head_end(dialect_, line, indent + 1);
        if (end == line.npos || !dialect_.has(def_ombrel_ini_key_behind_head))
            return;
        at = skip_ini_blanks(line, end + 1);
        if (at == line.size() || line[at] == '\n' || dialect_.starts_comment(line[at]))
            return;
    } else if (is_include(dialect_, slice(line, indent))) {
        return;
    }
    const size_t separator = find_key_end(dialect_, line, at);
    const bool has_value = separator < line.size() && dialect_.is_separator(line[separator]);
    if (has_value || dialect_.has(def_ombrel_ini_bare_keys))
        indent_ = indent;
    is_joined_ = has_value &&
                 joins_next_ini_line(dialect_, slice(line, skip_ini_blanks(line, separator + 1)), is_quoted_);
}

} // namespace ombrel::document
