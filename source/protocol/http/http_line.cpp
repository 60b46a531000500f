#include "protocol/http/http_line.h"

#include <cstring>

#include <ombrel/http_parser.h>

#include "protocol/http/http_character.h"
#include "protocol/http/http_list.h"
#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// Takes what stands before the first space, and the space, away from the line. False without a space.
bool take_word(std::string_view& line, std::string_view& word) {
    const size_t end = line.find(' ');
    if (end == line.npos)
        return false;
    word = slice(line, 0, end);
    line.remove_prefix(end + 1);
    return true;
}

/// Why a byte may not stand where it does: a CR is told apart.
http_line_fault refuse_byte(std::string_view line, size_t at, int reason) {
    return {at < line.size() && line[at] == '\r' ? def_ombrel_http_fault_bare_cr : reason, at};
}

/// Where the first byte is that the text may not have; its size when there is none.
size_t find_value_fault(std::string_view text, uint32_t flags) {
    const char* const end = text.data() + text.size();
    const char* at = skip_http_value(text.data(), end);
    if (flags & def_ombrel_http_lenient_value)
        while (at != end && *at != '\0' && *at != '\r' && *at != '\n')
            at++;
    return static_cast<size_t>(at - text.data());
}

size_t find_target_fault(std::string_view text, uint32_t flags) {
    const bool is_lenient = (flags & def_ombrel_http_lenient_target) != 0;
    size_t at = 0;
    while (at < text.size() &&
           (is_http(text[at], http_target) ||
            (is_lenient && (text[at] == '#' || static_cast<unsigned char>(text[at]) >= 0x80))))
        at++;
    return at;
}

http_line_fault check_target(std::string_view target, uint32_t flags, http_request_line& parts) {
    const size_t bad = find_target_fault(target, flags);
    if (bad < target.size())
        return refuse_byte(target, bad, def_ombrel_http_fault_target);
    parts.target = target;
    if (target.empty() || !find_http_target_form(parts, parts.form))
        return {def_ombrel_http_fault_target, 0};
    return {};
}

/// Whether all that is left of a chunk's line are extensions: `;name`, `;name=value`, white space around
/// signs.
bool are_extensions(std::string_view text) {
    size_t at = 0;
    ombrel_http_parameter_t extension;
    while (at < text.size())
        if (!take_chunk_extension(text, at, extension))
            return false;
    return true;
}

bool are_lenient_extensions(std::string_view text) {
    text = trim_http(text);
    return text.empty() ||
           (text.front() == ';' && skip_http_value(text.data(), text.data() + text.size()) == text.end());
}

} // namespace

int read_http_version(std::string_view text) {
    constexpr std::string_view start = "HTTP/";
    if (text.size() != start.size() + 3 || memcmp(text.data(), start.data(), start.size()) != 0 ||
        !is_http(text[5], http_decimal) || text[6] != '.' || !is_http(text[7], http_decimal))
        return -def_ombrel_http_fault_version;
    if (text[5] != '1')
        return -def_ombrel_http_fault_other_version;
    return text[7] == '0' ? 10 : 11;
}

bool find_http_target_form(const http_request_line& parts, int& form) {
    if (parts.target.front() == '/' && parts.method != "CONNECT") {
        form = def_ombrel_http_target_origin;
        return true;
    }
    ombrel_http_target_t split;
    if (ombrel_split_http_target(http_text(parts.method), http_text(parts.target), &split) != 0)
        return false;
    form = split.m_form;
    return true;
}

http_line_fault strip_http_line_end(std::string_view& line, uint32_t flags) {
    line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    else if (!(flags & def_ombrel_http_lenient_bare_lf))
        return {def_ombrel_http_fault_bare_lf, line.size()};
    return {};
}

http_line_fault parse_http_request_line(std::string_view line, uint32_t flags, http_request_line& parts) {
    const std::string_view whole = line;
    const size_t method = count_http(line, http_token);
    if (method == 0 || (method < line.size() && line[method] != ' '))
        return refuse_byte(line, method, def_ombrel_http_fault_method);
    std::string_view target;
    if (!take_word(line, parts.method) || !take_word(line, target))
        return {def_ombrel_http_fault_start_line, whole.size()};
    if (line.find(' ') != line.npos)
        return {def_ombrel_http_fault_start_line, whole.size() - line.size() + line.find(' ')};
    parts.version = read_http_version(line);
    if (parts.version < 0)
        return {-parts.version, whole.size() - line.size()};
    const http_line_fault fault = check_target(target, flags, parts);
    return {fault.reason, fault.at + method + 1};
}

http_line_fault parse_http_status_line(std::string_view line, uint32_t flags, http_status_line& parts) {
    const std::string_view whole = line;
    std::string_view version;
    if (!take_word(line, version))
        return {def_ombrel_http_fault_start_line, line.size()};
    parts.version = read_http_version(version);
    if (parts.version < 0)
        return {-parts.version, 0};
    const size_t start = version.size() + 1;
    const std::string_view digits = slice(line, 0, 3);
    const bool ends = line.size() == 3 || (line.size() > 3 && line[3] == ' ');
    if (!ends || count_http(digits, http_decimal) != 3 || !parse_number(digits, 100, 999, parts.status))
        return {def_ombrel_http_fault_status, start};
    parts.reason = slice(line, 4);
    const size_t bad = find_value_fault(parts.reason, flags);
    return bad == parts.reason.size() ? http_line_fault{}
                                      : refuse_byte(whole, start + 4 + bad, def_ombrel_http_fault_value);
}

http_line_fault parse_http_field_line(std::string_view line, uint32_t flags, http_field_line& parts) {
    if (is_http_space(line.front()))
        return {def_ombrel_http_fault_fold, 0};
    size_t at = count_http(line, http_token);
    parts.name = slice(line, 0, at);
    while (at < line.size() && is_http_space(line[at]))
        at++;
    if (at == line.size())
        return {def_ombrel_http_fault_colon, at};
    if (line[at] != ':' || parts.name.empty())
        return refuse_byte(line, at, def_ombrel_http_fault_name);
    if (at > parts.name.size() && !(flags & def_ombrel_http_lenient_name_space))
        return {def_ombrel_http_fault_name_space, parts.name.size()};
    const std::string_view value = slice(line, at + 1);
    const size_t bad = find_value_fault(value, flags);
    if (bad != value.size())
        return refuse_byte(line, at + 1 + bad, def_ombrel_http_fault_value);
    parts.value = trim_http(value);
    return {};
}

http_line_fault parse_http_chunk_line(std::string_view line, uint32_t flags, http_chunk_line& parts) {
    constexpr size_t most_digits = 16;
    size_t digits = 0;
    while (digits < line.size() && digit_value(line[digits]) != no_digit)
        digits++;
    if (digits > most_digits || !parse_number(slice(line, 0, digits), int64_t{0}, INT64_MAX, parts.size, 16))
        return refuse_byte(line, digits == 0 ? 0 : digits - 1, def_ombrel_http_fault_chunk_size);
    const std::string_view rest = slice(line, digits);
    parts.extension = rest.size();
    const bool is_lenient = (flags & def_ombrel_http_lenient_chunk_line) != 0;
    if (!are_extensions(rest) && !(is_lenient && are_lenient_extensions(rest)))
        return refuse_byte(line, digits, def_ombrel_http_fault_chunk_line);
    return {};
}

} // namespace ombrel::protocol
