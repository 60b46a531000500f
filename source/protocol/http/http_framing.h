// What the fields of a head say about the message's body and its connection.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

/// Gathers the fields of one head, then tells what follows it.
struct http_framing {
    int64_t length = -1; ///< the Content-Length
    bool has_host = false;
    bool is_chunked = false;
    bool wants_close = false;
    bool wants_keep_alive = false;
    bool has_upgrade = false;   ///< the field
    bool names_upgrade = false; ///< Connection does
    bool wants_continue = false;
    bool expects_other = false;

    /// Takes a field in. Gives the reason to refuse it, or 0. `is_request` and the flags are the parser's.
    int take_field(std::string_view name, std::string_view value, bool is_request, uint32_t flags);
    /// Whether both versions' rules let another message follow one that has no body or tells its end.
    bool keeps_alive(int version) const { return !wants_close && (version > 10 || wants_keep_alive); }

private:
    int take_host(std::string_view value, uint32_t flags);
    int take_length(std::string_view value, uint32_t flags);
    int take_coding(std::string_view value);
    void take_connection(std::string_view value);
    void take_expect(std::string_view value);
};

/// Whether a field decides how a message is read, which trailers may not.
bool is_http_framing_field(std::string_view name);

/// What is known of a message at the end of its head.
struct http_start {
    int version;
    int status;      ///< 0 in a request
    int answer;      ///< def_ombrel_http_answer_*
    bool is_connect; ///< the request's method is CONNECT
};

/// What follows a head.
struct http_body_plan {
    int body; ///< def_ombrel_http_body_*
    uint32_t head_flags;
    int64_t length;
};

/// Decides it. Gives the reason to refuse the message, or 0.
int plan_http_body(const http_framing& framing, const http_start& start, uint32_t flags,
                   http_body_plan& plan);

} // namespace ombrel::protocol
