#include <ombrel/http_form.h>

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "protocol/http/http_character.h"
#include "text/charset/whole_characters.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

/// Names of Windows's devices, also with anything behind a dot; "#" stands for a digit from 1 to 9.
constexpr std::string_view devices[] = {"con", "prn", "aux", "nul", "com#", "lpt#"};

bool is_device(std::string_view name) {
    const std::string_view stem = slice(name, 0, name.find('.'));
    return std::any_of(std::begin(devices), std::end(devices), [=](std::string_view device) {
        if (device.back() != '#')
            return is_http_word_like(stem, device);
        return stem.size() == device.size() && stem.back() >= '1' && stem.back() <= '9' &&
               is_http_word_like(slice(stem, 0, stem.size() - 1), slice(device, 0, device.size() - 1));
    });
}

std::string_view last_name(std::string_view path) {
    const size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : slice(path, slash + 1);
}

bool is_dot_or_blank(char c) {
    return c == '.' || c == ' ';
}

} // namespace

int ombrel_format_http_form_file_name(char* buf, size_t size, const char* file_name) {
    constexpr size_t least = 16, longest = 255;
    if (buf == nullptr || size < least || file_name == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    std::string_view name = last_name(file_name);
    while (!name.empty() && is_dot_or_blank(name.front()))
        name.remove_prefix(1);
    // A name of a device gets one character more.
    name = fitting_characters(name, std::min(size, longest + 1) - 2);
    while (!name.empty() && is_dot_or_blank(name.back()))
        name.remove_suffix(1);
    char* to = buf;
    if (name.empty() || is_device(name))
        *to++ = '_';
    for (const char c : name)
        *to++ = static_cast<unsigned char>(c) < ' ' || c == '\x7F' || is_one_of("<>:\"|?*", c) ? '_' : c;
    *to = '\0';
    return static_cast<int>(to - buf);
}
