// Removal of terminal escape sequences, against a state machine that reads a character at a time.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <ombrel/string.h>

namespace {

std::string stripped(const std::string& text) {
    enum { plain, sequence } state = plain;
    std::string result;
    for (const char c : text) {
        if (state == plain && c == '\x1b')
            state = sequence;
        else if (state == plain)
            result += c;
        else if (c == '\0' || strchr("0123456789;[", c) == nullptr)
            state = plain;
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.substr(0, input.find('\0'));
    std::string in_place = text;
    if (ombrel_strip_ansi_code(in_place.data()) != in_place.data() || in_place.c_str() != stripped(text))
        abort();
    return 0;
}
