// Most lines lie whole at the beginning of what there is and have no fault: they are read here in one go,
// each with its line end. Each function gives the line's bytes, or 0 for what is not so; then http_line.h
// tells why.
#pragma once

#include <algorithm>

#include "protocol/http/http_character.h"
#include "protocol/http/http_line.h"
#include "text/digits.h"
#include "text/slice.h"

namespace ombrel::protocol {

inline constexpr std::string_view http_line_end = "\r\n";

inline bool ends_http_line(const char* at, const char* end) {
    return end - at >= 2 && at[0] == '\r' && at[1] == '\n';
}

inline const char* skip_http(const char* at, const char* end, http_class what) {
    while (at != end && is_http(*at, what))
        at++;
    return at;
}

inline std::string_view http_text_between(const char* start, const char* end) {
    return {start, static_cast<size_t>(end - start)};
}

inline size_t scan_http_request_line(std::string_view text, http_request_line& parts) {
    constexpr ptrdiff_t version_size = 8;
    const char *const start = text.data(), *const end = start + text.size();
    const char* const method_end = skip_http(start, end, http_token);
    if (method_end == end || *method_end != ' ')
        return 0;
    const char* const target_end = skip_http(method_end + 1, end, http_target);
    const char* const version = target_end + 1;
    if (end - target_end < version_size + 3 || *target_end != ' ' ||
        !ends_http_line(version + version_size, end))
        return 0;
    parts.method = http_text_between(start, method_end);
    parts.target = http_text_between(method_end + 1, target_end);
    parts.version = read_http_version({version, version_size});
    const bool is_sound = !parts.method.empty() && !parts.target.empty() && parts.version > 0 &&
                          find_http_target_form(parts, parts.form);
    return is_sound ? static_cast<size_t>(version - start) + version_size + http_line_end.size() : 0;
}

inline size_t scan_http_field_line(std::string_view text, http_field_line& parts) {
    const char *const start = text.data(), *const end = start + text.size();
    const char* const colon = skip_http(start, end, http_token);
    if (colon == end || *colon != ':' || colon == start)
        return 0;
    const char* const value_end = skip_http_value(colon + 1, end);
    if (!ends_http_line(value_end, end))
        return 0;
    parts = {http_text_between(start, colon), trim_http(http_text_between(colon + 1, value_end))};
    return static_cast<size_t>(value_end - start) + http_line_end.size();
}

inline size_t scan_http_chunk_line(std::string_view text, http_chunk_line& parts) {
    constexpr size_t most_digits = 15; // which cannot overflow
    const char *const start = text.data(), *const end = start + std::min(text.size(), most_digits);
    const char* at = start;
    uint64_t size = 0;
    for (; at != end && digit_value(*at) != no_digit; at++)
        size = size << 4 | digit_value(*at);
    parts = {static_cast<int64_t>(size), 0};
    return at != start && ends_http_line(at, start + text.size()) ? static_cast<size_t>(at - start) + 2 : 0;
}

} // namespace ombrel::protocol
