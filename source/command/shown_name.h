// Names of files as they are shown to people.
#pragma once

#include <cstdio>
#include <cstring>

#include <ombrel/printf.h>

#include "text/charset/utf8_sequence.h"

namespace ombrel::command {

/// A control character, or no character at all, is not to reach a terminal.
constexpr bool is_shown_as_it_is(const utf8_reading& reading) {
    const bool is_control = reading.code < ' ' || (reading.code >= 0x7F && reading.code < 0xA0);
    return reading.kind == utf8_reading::valid && !is_control;
}

/// Whether a text can be shown as it is.
inline bool is_plain_text(const char* text) {
    size_t size = strlen(text);
    for (utf8_reading reading; size > 0; text += reading.size, size -= reading.size)
        if (reading = read_utf8(text, size); !is_shown_as_it_is(reading))
            return false;
    return true;
}

/// Calls `put(bytes, size)` for the pieces of a name in which what a terminal would obey, and the backslash,
/// stand as "\n", "\r", "\\" and "\xHH".
template<typename Put>
void show_name(const char* name, Put put) {
    const auto put_byte = [&](char byte) {
        char written[8];
        const char letter = byte == '\n' ? 'n' : byte == '\r' ? 'r' : byte == '\\' ? '\\' : '\0';
        const int size = letter != '\0' ? ombrel_snprintf(written, sizeof written, "\\%c", letter)
                                        : ombrel_snprintf(written, sizeof written, "\\x%02X",
                                                          unsigned{static_cast<uint8_t>(byte)});
        put(written, static_cast<size_t>(size));
    };
    size_t size = strlen(name);
    for (utf8_reading reading; size > 0; name += reading.size, size -= reading.size) {
        reading = read_utf8(name, size);
        if (is_shown_as_it_is(reading) && *name != '\\')
            put(name, size_t{reading.size});
        else
            for (size_t i = 0; i < reading.size; i++)
                put_byte(name[i]);
    }
}

} // namespace ombrel::command
