// Words of a message in an area of fixed size.
#pragma once

#include <cstddef>
#include <string_view>

#include "text/charset/whole_characters.h"
#include "text/text_sink.h"

namespace ombrel::system {

/// Puts texts behind one another; what does not fit is left out.
class message_text {
public:
    /// The area has room for at least the end of the text.
    message_text(char* to, size_t size) : sink_(to, size - 1) { *to = '\0'; }

    message_text& put(std::string_view text) {
        const std::string_view fitting = fitting_characters(text, sink_.room());
        if (!fitting.empty())
            sink_.copy(fitting.data(), fitting.size());
        *sink_.cursor() = '\0';
        return *this;
    }

    /// In quotes, and no longer than leaves the rest readable.
    message_text& quote(std::string_view text) {
        constexpr size_t most = 64;
        const std::string_view shown = fitting_characters(text, most);
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
