// A connection's bytes behind five that choose: what is read, what is let through, what a response answers,
// and two cuts. However the bytes are cut the events are the same; and what a strict parser takes for the
// heads of requests the writer writes, and a parser reads again.

#include <algorithm>
#include <cstdint>
#include <string>

#include <ombrel/http_parser.h>
#include <ombrel/http_writer.h>

#include "support/byte_source.h"
#include "support/http_trace.h"
#include "support/require.h"

namespace {

struct choice {
    int role, answer;
    ombrel_http_parser_options_t options;
};

std::string read_in(const choice& chosen, const std::string& text, size_t piece) {
    http_trace::reader reader(chosen.role, &chosen.options, chosen.answer);
    for (size_t at = 0; at < text.size() && reader.push(std::string_view(text).substr(at, piece));
         at += piece) {
    }
    require(reader.used() <= text.size());
    return reader.finish();
}

void check_cuts(const choice& chosen, const std::string& text, size_t piece, size_t cut) {
    const std::string whole = read_in(chosen, text, text.size() + 1);
    require(whole == read_in(chosen, text, 1));
    require(whole == read_in(chosen, text, piece));
    http_trace::reader reader(chosen.role, &chosen.options, chosen.answer);
    cut = std::min(cut, text.size());
    if (reader.push(std::string_view(text).substr(0, cut)))
        reader.push(std::string_view(text).substr(cut));
    require(whole == reader.finish());
}

/// Writes the first head of HTTP/1.1 in the text again; empty where there is none.
std::string write_again(const std::string& text) {
    ombrel_http_writer_t writer;
    ombrel_init_http_writer_block(&writer, size_t{1} << 20);
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(def_ombrel_http_requests, nullptr);
    ombrel_http_event_t event;
    size_t at = 0;
    std::string written;
    while (ombrel_http_parser_next(parser, text.data(), text.size(), &at, &event) == 1) {
        if (event.m_kind == def_ombrel_http_event_request) {
            if (event.m_version != 11)
                break;
            ombrel_http_writer_request(&writer, http_trace::text_of(event.m_method).c_str(),
                                       http_trace::text_of(event.m_target).c_str());
        } else if (event.m_kind == def_ombrel_http_event_field) {
            ombrel_http_writer_sized_field(&writer, event.m_name.m_data, event.m_name.m_size,
                                           event.m_value.m_data, event.m_value.m_size);
        } else {
            // What the writer refuses the parser refuses too, at the latest here.
            require(ombrel_http_writer_end_head(&writer) == 0);
            written.assign(ombrel_http_writer_get_data(&writer),
                           static_cast<size_t>(ombrel_http_writer_get_size(&writer)));
            break;
        }
    }
    ombrel_close_http_parser(parser);
    ombrel_uninit_http_writer(&writer);
    return written;
}

/// A trace up to the end of the first head.
std::string first_head(const std::string& trace) {
    return trace.substr(0, trace.find("|head "));
}

void check_writer(const std::string& text) {
    const choice strict = {def_ombrel_http_requests, 0, {}};
    choice usual = strict;
    ombrel_init_http_parser_options(&usual.options);
    const std::string written = write_again(text);
    if (!written.empty())
        require(first_head(read_in(usual, text, text.size())) ==
                first_head(read_in(usual, written, written.size())));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source source(data, size);
    choice chosen{};
    const unsigned what = source.byte();
    ombrel_init_http_parser_options(&chosen.options);
    chosen.role = what & 1 ? def_ombrel_http_responses : def_ombrel_http_requests;
    chosen.answer = static_cast<int>(what >> 1 & 3) % 3;
    chosen.options.m_flags = source.byte() | (what & 8 ? def_ombrel_http_lenient_chunk_line : 0u);
    if (what & 16) {
        chosen.options.m_start_line_limit = chosen.options.m_field_line_limit = 40;
        chosen.options.m_head_limit = 120;
        chosen.options.m_trailer_limit = chosen.options.m_chunk_line_limit = 16;
        chosen.options.m_body_limit = 10;
    }
    const size_t piece = source.byte() % 64 + size_t{2}, cut = source.byte();
    const std::string text = source.rest();
    check_cuts(chosen, text, piece, cut);
    check_writer(text);
    return 0;
}
