// Reads any bytes as a list of digests, line by line; what is understood is written and must be read the
// same.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <ombrel_tuk.h>

#include "support/byte_source.h"

extern "C" {
#include "../examples/digest_list.h"
}

namespace {

/// What a function writes to a stream.
template<typename Write>
std::string written(Write write) {
    char* text = nullptr;
    size_t size = 0;
    FILE* const stream = open_memstream(&text, &size);
    require(stream != nullptr);
    write(stream);
    std::fclose(stream);
    const std::string result(text, size);
    std::free(text);
    return result;
}

void check_shown(const char* name) {
    const std::string shown = written([&](FILE* stream) { show_name(stream, name); });
    require(is_plain_text(shown.c_str()));
    require((shown == name) == (is_plain_text(name) && std::strchr(name, '\\') == nullptr));
}

/// Without the line's end, which a list cannot keep: a carriage return that stood before it is dropped.
void check_written_again(const list_entry_t& entry) {
    const std::string name = entry.name;
    const std::string digits(entry.digits, entry.digit_count);
    std::string line = (needs_escapes(name.c_str()) ? "\\" : "") + digits + "  " +
                       written([&](FILE* stream) { print_name(stream, name.c_str()); });
    list_entry_t again;
    require(parse_entry(line.data(), &again) == 0);
    require(name == again.name && digits == std::string(again.digits, again.digit_count));
    check_shown(name.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static char line[list_line_limit];
    FILE* const list = size > 0 ? fmemopen(const_cast<uint8_t*>(data), size, "r") : nullptr;
    if (list == nullptr)
        return 0;
    for (line_result_t result; (result = read_line(list, line)) != line_end;) {
        require(std::memchr(line, '\0', sizeof line) != nullptr && std::strchr(line, '\n') == nullptr);
        list_entry_t entry;
        if (result == line_read && parse_entry(line, &entry) == 0 && entry.name[0] != '\0')
            check_written_again(entry);
    }
    std::fclose(list);
    return 0;
}
