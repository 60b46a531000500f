// What a parser of HTTP makes of bytes, as one text: "GET /x 11|Host: h|head 1 keep|end" and the like.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <ombrel/http_parser.h>

namespace http_trace {

inline std::string text_of(const ombrel_http_text_t& text) {
    return {text.m_data, text.m_size};
}

inline const char* flags_text(uint32_t flags, std::string& text) {
    constexpr const char* names[] = {" keep", " upgrade", " continue", " expect", " interim"};
    for (unsigned bit = 0; bit < 5; bit++)
        if (flags & 1u << bit)
            text += names[bit];
    return text.c_str();
}

/// Adds an event; pieces of a body become one.
inline void add_event(const ombrel_http_event_t& event, bool& in_body, std::string& trace) {
    constexpr const char* bodies[] = {"none", "length", "chunked", "close", "tunnel"};
    const bool is_body = event.m_kind == def_ombrel_http_event_body;
    if (is_body)
        trace += (in_body ? "" : "body ") + text_of(event.m_data);
    else if (in_body)
        trace += "|";
    in_body = is_body;
    std::string flags;
    switch (event.m_kind) {
    case def_ombrel_http_event_request:
        trace += text_of(event.m_method) + " " + text_of(event.m_target) + " " +
                 std::to_string(event.m_version) + "|";
        break;
    case def_ombrel_http_event_response:
        trace += std::to_string(event.m_status) + " " + text_of(event.m_reason) + " " +
                 std::to_string(event.m_version) + "|";
        break;
    case def_ombrel_http_event_field:
    case def_ombrel_http_event_trailer:
        trace += (event.m_kind == def_ombrel_http_event_trailer ? "+" : "") + text_of(event.m_name) + ": " +
                 text_of(event.m_value) + "|";
        break;
    case def_ombrel_http_event_head:
        trace += std::string("head ") + bodies[event.m_body] + " " + std::to_string(event.m_length) +
                 flags_text(event.m_flags, flags) + "|";
        break;
    case def_ombrel_http_event_end:
        trace += "end|";
        break;
    default:
        break;
    }
}

/// Pieces of equal size, or with a cut; each piece is a block of its own, so that a sanitizer sees what reads
/// beyond it. After the last one the connection is closed.
class reader {
public:
    reader(int role, const ombrel_http_parser_options_t* options, int answer = def_ombrel_http_answer_any)
        : parser_(ombrel_open_http_parser(role, options)) {
        if (role == def_ombrel_http_responses)
            ombrel_http_parser_expect(parser_, answer);
    }
    reader(const reader&) = delete;
    reader& operator=(const reader&) = delete;
    ~reader() { ombrel_close_http_parser(parser_); }

    /// False when nothing more is wanted.
    bool push(std::string_view text) {
        const std::vector<char> piece(text.begin(), text.end());
        size_t at = 0;
        ombrel_http_event_t event;
        while ((step_ = ombrel_http_parser_next(parser_, piece.data(), piece.size(), &at, &event)) == 1)
            add_event(event, in_body_, trace_);
        used_ += at;
        return step_ == 0 && at == piece.size();
    }
    std::string finish() {
        ombrel_http_event_t event;
        if (step_ == 0 && (step_ = ombrel_http_parser_end(parser_, &event)) == 1)
            add_event(event, in_body_, trace_);
        const ombrel_http_fault_t& fault = *ombrel_http_parser_get_fault(parser_);
        if (step_ < 0)
            trace_ += (in_body_ ? "|!" : "!") + std::to_string(fault.m_reason) + " at " +
                      std::to_string(fault.m_offset);
        return trace_;
    }
    size_t used() const { return used_; }

private:
    ombrel_http_parser_t* parser_;
    std::string trace_;
    bool in_body_ = false;
    int step_ = 0;
    size_t used_ = 0;
};

} // namespace http_trace
