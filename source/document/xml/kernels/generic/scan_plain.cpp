#include <array>
#include <cstdint>

#include "document/xml/kernels/scan.h"

namespace ombrel::document {

namespace {

enum stop : uint8_t { in_text = 1, in_value = 2 };

constexpr std::array<uint8_t, 256> stops = [] {
    std::array<uint8_t, 256> marks{};
    for (unsigned byte = 0; byte < 0x20; byte++)
        marks[byte] = byte == '\t' || byte == '\n' ? in_value : in_text | in_value;
    marks['<'] = marks['&'] = marks[0xEF] = in_text | in_value;
    marks[']'] = in_text;
    return marks;
}();

} // namespace

size_t text_run_plain(const char* text, size_t size) {
    size_t at = 0;
    while (at < size && (stops[static_cast<unsigned char>(text[at])] & in_text) == 0)
        at++;
    return at;
}

size_t value_run_plain(const char* text, size_t size, char quote) {
    size_t at = 0;
    while (at < size && text[at] != quote && (stops[static_cast<unsigned char>(text[at])] & in_value) == 0)
        at++;
    return at;
}

size_t line_count_plain(const char* text, size_t size) {
    size_t count = 0;
    for (size_t at = 0; at < size; at++)
        count += text[at] == '\n' || (text[at] == '\r' && (at + 1 == size || text[at + 1] != '\n'));
    return count;
}

} // namespace ombrel::document
