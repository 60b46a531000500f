// Words of a message in an area of fixed size.
#pragma once

#include <cstddef>
#include <string_view>

#include "text/slice.h"
#include "text/text_sink.h"

namespace ombrel::system {

/// The beginning of a text, which ends where a character of UTF-8 does.
constexpr std::string_view whole_characters(std::string_view text, size_t most) {
    if (text.size() <= most)
        return text;
    constexpr size_t longest = 4;
    size_t end = most;
    while (end > 0 && end + longest > most && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        end--;
    return slice(text, 0, end);
}

/// Puts texts behind one another; what does not fit is left out.
class message_text {
public:
    /// The area has room for at least the end of the text.
    message_text(char* to, size_t size) : sink_(to, size - 1) { *to = '\0'; }

    message_text& put(std::string_view text) {
        const std::string_view fitting = whole_characters(text, sink_.room());
        if (!fitting.empty())
            sink_.copy(fitting.data(), fitting.size());
        *sink_.cursor() = '\0';
        return *this;
    }

    /// In quotes, and no longer than leaves the rest readable.
    message_text& quote(std::string_view text) {
        constexpr size_t most = 64;
        const std::string_view shown = whole_characters(text, most);
        put("\"");
        for (const char& c : shown) // a message is a line
            put(is_control(c) ? "?" : std::string_view(&c, 1));
        return put(shown.size() < text.size() ? "...\"" : "\"");
    }

private:
    static bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }

    text_sink sink_;
};

} // namespace ombrel::system
