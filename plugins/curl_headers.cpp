#include "curl_headers.h"

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/string.h>

namespace {

constexpr size_t first_room = 1024;

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_space(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace

bool header_lines::add(std::string_view line) {
    if (line.size() > limit_ - size_)
        return true;
    if (line.size() > room_ - size_) {
        const size_t room = std::max({first_room, 2 * room_, size_ + line.size()});
        auto* const text = static_cast<char*>(ombrel_realloc(text_, room));
        if (text == nullptr)
            return false;
        text_ = text;
        room_ = room;
    }
    memcpy(text_ + size_, line.data(), line.size());
    size_ += line.size();
    return true;
}

void header_lines::clear() {
    ombrel_check_free(text_);
    text_ = nullptr;
    size_ = room_ = 0;
}

std::string_view header_lines::field(std::string_view name) const {
    for (std::string_view rest = all(); !rest.empty();) {
        const size_t end = std::min(rest.find('\n'), rest.size() - 1);
        std::string_view line = rest.substr(0, end + 1);
        rest.remove_prefix(end + 1);
        const size_t colon = line.find(':');
        if (colon == name.size() && ombrel_strncasecmp(line.data(), name.data(), colon) == 0) {
            line.remove_prefix(colon + 1); // substr() could throw, which takes the C++ run-time library
            return trimmed(line);
        }
    }
    return {};
}
