// Reads any bytes as the head of a program's answer, whole and in pieces, which must come to the same; what
// is handed on can be written into an answer as it is.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/http_field.h>

#include "protocol/cgi/cgi_head.h"
#include "support/byte_source.h"

using ombrel::protocol::cgi_head;

namespace {

std::string read(std::string_view bytes, size_t piece) {
    cgi_head head(500, {"fuzz", 0});
    cgi_head::step step = cgi_head::step::more;
    size_t at = 0;
    while (at < bytes.size() && step == cgi_head::step::more) {
        size_t used = 0;
        step = head.push({bytes.data() + at, std::min(piece, bytes.size() - at)}, used);
        at += used;
    }
    std::string found = std::to_string(static_cast<int>(step));
    if (step != cgi_head::step::complete)
        return found;
    require(head.status() >= 200 && head.status() <= 599 && head.size() >= -1);
    require(head.type() == nullptr || ombrel_is_http_value(head.type(), strlen(head.type())) == 1);
    found += " " + std::to_string(at) + " " + std::to_string(head.status());
    require(head.for_each_field([&](const char* name, const char* value) {
        require(ombrel_is_http_token(name, strlen(name)) == 1 &&
                ombrel_is_http_value(value, strlen(value)) == 1);
        found += std::string(name) + value;
        return true;
    }));
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string whole = read(bytes, size + 1);
    for (const size_t piece : {1u, 5u})
        require(whole == read(bytes, piece));
    return 0;
}
