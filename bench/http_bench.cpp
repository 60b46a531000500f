// Messages of HTTP, taken apart by our parser and by http-parser, which calls back for each part.

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>
#include <http_parser.h>

#include <ombrel/http_parser.h>

namespace {

const std::string small_request =
    "GET /status HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nUser-Agent: curl/7.88.1\r\n"
    "Accept: */*\r\n\r\n";

const std::string browser_request =
    "GET /wiki/Talk:Main_Page?action=history&limit=500 HTTP/1.1\r\n"
    "Host: www.example.org\r\n"
    "Connection: keep-alive\r\n"
    "Cache-Control: max-age=0\r\n"
    "Upgrade-Insecure-Requests: 1\r\n"
    "User-Agent: Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/120.0.0.0 "
    "Safari/537.36\r\n"
    "Accept: "
    "text/html,application/xhtml+xml,application/xml;q=0.9,image/avif,image/webp,image/apng,*/*;q=0.8\r\n"
    "Accept-Encoding: gzip, deflate, br\r\n"
    "Accept-Language: en-GB,en;q=0.9,de;q=0.8\r\n"
    "Referer: https://www.example.org/wiki/Main_Page\r\n"
    "Cookie: session=0123456789abcdef0123456789abcdef; theme=dark; consent=a%3D1%2Cb%3D0; visits=42\r\n"
    "If-None-Match: \"5f2b-60a1c3d5e8f40\"\r\n\r\n";

const std::string response = "HTTP/1.1 200 OK\r\n"
                             "Date: Sun, 22 Nov 2026 10:00:00 GMT\r\n"
                             "Server: nginx/1.22.1\r\n"
                             "Content-Type: text/html; charset=utf-8\r\n"
                             "Content-Length: 1024\r\n"
                             "Last-Modified: Sat, 21 Nov 2026 10:00:00 GMT\r\n"
                             "ETag: \"5f2b-60a1c3d5e8f40\"\r\n"
                             "Accept-Ranges: bytes\r\n\r\n" +
                             std::string(1024, 'x');

std::string chunked_response() {
    std::string text = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (int chunk = 0; chunk < 64; chunk++)
        text += "40\r\n" + std::string(64, 'y') + "\r\n";
    return text + "0\r\n\r\n";
}
const std::string chunks = chunked_response();

void parse_ours(benchmark::State& state, int role, const std::string& message, size_t piece) {
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(role, nullptr);
    size_t seen = 0;
    for (auto _ : state)
        for (size_t start = 0; start < message.size(); start += piece) {
            const size_t size = std::min(piece, message.size() - start);
            ombrel_http_event_t event;
            size_t at = 0;
            int step;
            while ((step = ombrel_http_parser_next(parser, message.data() + start, size, &at, &event)) == 1)
                seen += event.m_kind == def_ombrel_http_event_field ? event.m_value.m_size : 1;
            if (step < 0)
                abort();
        }
    benchmark::DoNotOptimize(seen);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * message.size()));
    ombrel_close_http_parser(parser);
}

void parse_theirs(benchmark::State& state, int role, const std::string& message, size_t piece) {
    size_t seen = 0;
    http_parser parser;
    http_parser_init(&parser, role == def_ombrel_http_requests ? HTTP_REQUEST : HTTP_RESPONSE);
    parser.data = &seen;
    http_parser_settings settings;
    http_parser_settings_init(&settings);
    const auto count = [](http_parser* from, const char*, size_t size) {
        *static_cast<size_t*>(from->data) += size;
        return 0;
    };
    const auto note = [](http_parser* from) {
        ++*static_cast<size_t*>(from->data);
        return 0;
    };
    settings.on_url = settings.on_header_field = settings.on_header_value = settings.on_body = count;
    settings.on_message_begin = settings.on_headers_complete = settings.on_message_complete = note;
    for (auto _ : state)
        for (size_t start = 0; start < message.size(); start += piece) {
            const size_t size = std::min(piece, message.size() - start);
            if (http_parser_execute(&parser, &settings, message.data() + start, size) != size)
                abort();
        }
    benchmark::DoNotOptimize(seen);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * message.size()));
}

struct work {
    const char* name;
    int role;
    const std::string& message;
    size_t piece;
};

const int registered = [] {
    constexpr size_t whole = SIZE_MAX;
    for (const work& each :
         {work{"small request", def_ombrel_http_requests, small_request, whole},
          work{"browser's request", def_ombrel_http_requests, browser_request, whole},
          work{"browser's request in pieces of 100", def_ombrel_http_requests, browser_request, 100},
          work{"response of 1 KiB", def_ombrel_http_responses, response, whole},
          work{"response in chunks of 64", def_ombrel_http_responses, chunks, whole}}) {
        const std::string name = std::string("HTTP, ") + each.name;
        benchmark::RegisterBenchmark((name + "|ombrel").c_str(), [each](benchmark::State& state) {
            parse_ours(state, each.role, each.message, each.piece);
        });
        benchmark::RegisterBenchmark((name + "|http-parser").c_str(), [each](benchmark::State& state) {
            parse_theirs(state, each.role, each.message, each.piece);
        });
    }
    return 0;
}();

} // namespace
