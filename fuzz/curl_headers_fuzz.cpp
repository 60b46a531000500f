// Collects header lines as libcurl hands them over, and looks fields up, beside a model.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "../plugins/curl_headers.h"
#include "support/byte_source.h"

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return c < 0x80 ? static_cast<char>(std::tolower(c)) : static_cast<char>(c);
    });
    return text;
}

/// The field's value; "(none)" where there is none.
std::string model_field(const std::string& lines, const std::string& name) {
    for (size_t at = 0; at < lines.size();) {
        const size_t end = std::min(lines.find('\n', at), lines.size() - 1) + 1;
        const std::string line = lines.substr(at, end - at);
        at = end;
        const size_t colon = line.find(':');
        if (colon == line.npos || lower(line.substr(0, colon)) != lower(name))
            continue;
        const size_t first = line.find_first_not_of(" \t\r\n", colon + 1);
        return first == line.npos ? "" : line.substr(first, line.find_last_not_of(" \t\r\n") + 1 - first);
    }
    return "(none)";
}

} // namespace

/// The first line is the name that is looked for; each other one is handed over by itself.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    const size_t name_size = std::min(text.find('\n'), text.size());
    const std::string name = text.substr(0, name_size);
    text.erase(0, name_size + 1);
    // Names hold no NUL and no colon: a caller gives them as C strings.
    if (name.find('\0') != name.npos || name.find(':') != name.npos)
        return 0;
    header_lines lines;
    std::string expected;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        require(lines.add(std::string_view(text).substr(at, end - at)));
        if (expected.size() + (end - at) <= 256 * 1024)
            expected += text.substr(at, end - at);
        at = end;
    }
    require(lines.all() == expected);
    const std::string_view found = lines.field(name);
    // The comparison of names ends at a NUL, as that of C strings does.
    if (expected.find('\0') == expected.npos)
        require((found.data() == nullptr ? "(none)" : std::string(found)) == model_field(expected, name));
    lines.clear();
    require(lines.all().empty());
    return 0;
}
