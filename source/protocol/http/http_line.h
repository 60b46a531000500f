// Lines of HTTP messages, each a text without its line end, taken apart.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

/// What was refused, and where in the line; the reason none when nothing was.
struct http_line_fault {
    int reason = 0;
    size_t at = 0;

    explicit operator bool() const { return reason != 0; }
};

struct http_request_line {
    std::string_view method, target;
    int version;
    int form;
};

struct http_status_line {
    std::string_view reason;
    int version;
    int status;
};

struct http_field_line {
    std::string_view name, value;
};

struct http_chunk_line {
    int64_t size;
    size_t extension; ///< bytes behind the size
};

// The flags are those of the parser, `def_ombrel_http_lenient_*`.

/// Takes the line end away: CR LF, or by flag LF alone.
http_line_fault strip_http_line_end(std::string_view& line, uint32_t flags);

http_line_fault parse_http_request_line(std::string_view line, uint32_t flags, http_request_line& parts);
http_line_fault parse_http_status_line(std::string_view line, uint32_t flags, http_status_line& parts);
http_line_fault parse_http_field_line(std::string_view line, uint32_t flags, http_field_line& parts);
http_line_fault parse_http_chunk_line(std::string_view line, uint32_t flags, http_chunk_line& parts);

/// 10 or 11 for what may follow the start "HTTP/"; the reason to refuse it, below 0, for anything else.
int read_http_version(std::string_view text);

/// The form of a target whose characters are sound; false for one that is none for the method.
bool find_http_target_form(const http_request_line& parts, int& form);

} // namespace ombrel::protocol
