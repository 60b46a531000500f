// Reads any bytes as a request of the status service: its head, then its body in chunks, at once and in
// pieces.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel_tuk.h>

#include "support/byte_source.h"

extern "C" {
#include "../examples/http_request.h"
}

namespace {

struct decoded {
    std::string body;
    long result;
    int state;
};

/// Decodes in pieces of the given size, with the bytes that a piece did not use before the next.
decoded decode(const char* data, size_t size, size_t piece) {
    http_chunks_t chunks = {};
    std::vector<char> body(4096);
    size_t room = body.size(), at = 0;
    long used = 0;
    while (at < size && chunks.state != http_chunks_t::chunk_done) {
        const size_t now = std::min(piece, size - at);
        const std::vector<char> exact(data + at, data + at + now);
        used = http_decode_chunks(&chunks, exact.data(), now, body.data() + body.size() - room, &room);
        if (used < 0)
            break;
        require(static_cast<size_t>(used) <= now);
        require(static_cast<size_t>(used) == now || chunks.state == http_chunks_t::chunk_done);
        at += static_cast<size_t>(used);
    }
    return {std::string(body.data(), body.size() - room), used < 0 ? used : static_cast<long>(at),
            static_cast<int>(chunks.state)};
}

void check_body(const char* data, size_t size) {
    const decoded whole = decode(data, size, size + 1);
    for (const size_t piece : {size_t{1}, size_t{2}, size_t{7}}) {
        const decoded parts = decode(data, size, piece);
        require(parts.result == whole.result || (parts.result < 0 && whole.result < 0));
        require(whole.result == -2 || (parts.body == whole.body && parts.state == whole.state));
    }
}

void check_query(const char* query) {
    for (const char* name : {"ms", "name", ""}) {
        char* value = nullptr;
        require(http_query_value(query, name, &value) == 0 || value == nullptr);
        require(value == nullptr || strstr(query, name) != nullptr);
        ombrel_check_free(value);
    }
}

/// What a head says must lie within it, and a head that is understood announces its body in one way alone.
void check_request(const std::vector<char>& head, size_t size, const http_request_t& request) {
    const auto lies_inside = [&](const char* text) {
        return text >= head.data() && text + strlen(text) <= head.data() + size;
    };
    require(lies_inside(request.path) && lies_inside(request.query));
    require(*request.path == '/' || strcmp(request.path, "*") == 0);
    require(!request.chunked || request.content_length == 0);
    require(request.content_length <= http_body_limit);
    check_query(request.query);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const char* const data = reinterpret_cast<const char*>(bytes);
    const size_t head_size = http_find_head_end(data, size);
    require(head_size <= size);
    if (head_size == 0 || head_size > http_head_limit)
        return 0;
    std::vector<char> head(data, data + head_size);
    head.push_back('x'); // the byte that parsing may overwrite
    http_request_t request;
    const int status = http_parse_head(head.data(), head_size, &request);
    require(status == 0 || status == 400 || status == 413 || status == 501 || status == 505);
    if (status == 0)
        check_request(head, head_size, request);
    check_body(data + head_size, size - head_size);
    return 0;
}
