// Messages of HTTP as they are read, written and kept.
#include <string>

#include <ombrel/fault.h>
#include <ombrel/http_parser.h>
#include <ombrel/http_writer.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Http, parser) {
    auto* const parser =
        fail.during([] { return ombrel_open_http_parser(def_ombrel_http_requests, nullptr); });
    EXPECT_EQ(fail.hit(), parser == nullptr);
    if (parser == nullptr)
        return;
    // Cut in each line, so that each is put together.
    const std::string text = "GET / HTTP/1.0\r\nA: " + std::string(size_t{600}, 'x') + "\r\n\r\n";
    ombrel_http_event_t event;
    int step = 0, events = 0;
    for (size_t cut = 0, at = 0; step >= 0 && cut < text.size(); cut += 100, at = 0) {
        const std::string piece = text.substr(cut, 100);
        while ((step = fail.during([&] {
                   return ombrel_http_parser_next(parser, piece.data(), piece.size(), &at, &event);
               })) == 1)
            events++;
        EXPECT_EQ(fail.hit(), step < 0);
    }
    EXPECT_EQ(step < 0 ? def_ombrel_http_fault_no_memory : 0, ombrel_http_parser_get_fault(parser)->m_reason);
    EXPECT_TRUE(step < 0 || events == 4) << events;
    ombrel_close_http_parser(parser);
}

OMBREL_FAILURES(Http, writer) {
    for (const bool is_own : {true, false}) {
        char text[100];
        ombrel_http_writer_t writer;
        if (is_own)
            ombrel_init_http_writer_block(&writer, 5000);
        else
            ombrel_init_http_writer(&writer, text, sizeof text);
        ombrel_buffer_t* const buffer = ombrel_open_buffer();
        const bool is_written =
            refused_when_hit(fail, [&] { return ombrel_http_writer_response(&writer, 200, nullptr); });
        const bool is_pushed =
            is_written && refused_when_hit(fail, [&] { return ombrel_http_writer_push(&writer, buffer); });
        EXPECT_EQ(is_pushed ? 17u : 0u, ombrel_get_buffer_size(buffer));
        EXPECT_EQ(is_pushed ? 0 : -1, ombrel_http_writer_get_size(&writer));
        if (is_own)
            ombrel_uninit_http_writer(&writer);
        ombrel_close_buffer(buffer);
    }
}

OMBREL_FAILURES(Http, fields) {
    auto* const fields = fail.during([] { return ombrel_open_http_fields(0); });
    EXPECT_EQ(fail.hit(), fields == nullptr);
    int64_t count = 0;
    for (int i = 0; fields != nullptr && i < 20; i++)
        if (refused_when_hit(fail, [=] {
                return ombrel_http_fields_add(fields, {"a", 1}, {"0123456789012345", 16});
            }))
            count++;
    EXPECT_EQ(fields != nullptr ? count : -1, ombrel_http_fields_get_count(fields));
    if (count > 0)
        null_when_hit(fail, free_block, [=] { return ombrel_http_fields_alloc_joined(fields, "a"); });
    ombrel_close_http_fields(fields);
}

} // namespace
} // namespace ombrel_test
