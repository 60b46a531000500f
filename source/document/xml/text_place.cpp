#include <ombrel/charset.h>

#include "document/xml/encoding.h"
#include "document/xml/frame.h"
#include "document/xml/kernels/scan.h"
#include "text/charset/utf8_run.h"

namespace ombrel::document {

namespace {

const char* last_line(const char* from, const char* to) {
    while (to > from && to[-1] != '\n' && to[-1] != '\r')
        to--;
    return to;
}

} // namespace

void text_place::move(const char* to) {
    if (to <= at)
        return;
    const auto size = static_cast<size_t>(to - at);
    size_t lines = scans().line_count(at, size);
    offset += static_cast<int64_t>(encoded_size({at, size}, charset));
    if (after_cr && *at == '\n')
        lines--;
    const char* const start = last_line(at, to);
    if (start > at)
        column = 1;
    column += static_cast<int64_t>(utf8_count(start, static_cast<size_t>(to - start)));
    line += static_cast<int64_t>(lines);
    after_cr = to[-1] == '\r';
    at = to;
}

} // namespace ombrel::document
