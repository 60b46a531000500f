#include "builtin/fb_options.h"

#include <cerrno>
#include <cstdlib>

namespace ombrel::builtin {

namespace {

// A number at the front of the text, which moves behind it.
bool take_number(const char*& text, int base, int64_t least, int64_t most, int64_t& number) {
    char* end;
    errno = 0;
    number = strtoll(text, &end, base);
    if (end == text || errno != 0 || number < least || number > most)
        return false;
    text = end;
    return true;
}

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// Blanks with at most one comma among them; there is something.
bool take_separator(const char*& text) {
    const char* const start = text;
    bool comma = false;
    while (is_blank(*text) || (*text == ',' && !comma))
        comma = *text++ == ',' || comma;
    return text != start;
}

} // namespace

bool parse_rectangle(const char* text, fb_rectangle& rectangle) {
    int64_t numbers[4];
    for (int i = 0; i < 4; i++) {
        const int64_t least = i < 2 ? INT32_MIN : 1;
        if ((i > 0 && !take_separator(text)) || !take_number(text, 10, least, INT32_MAX, numbers[i]))
            return false;
    }
    rectangle = {static_cast<int32_t>(numbers[0]), static_cast<int32_t>(numbers[1]),
                 static_cast<uint32_t>(numbers[2]), static_cast<uint32_t>(numbers[3])};
    return *text == '\0';
}

bool read_rectangle(const builtin_ctx& ctx, fb_rectangle& rectangle) {
    const char* const text = option_text(ctx, "xywh");
    if (text == nullptr || parse_rectangle(text, rectangle))
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

bool read_unsigned(const builtin_ctx& ctx, const char* name, uint32_t& value) {
    const char* text = option_text(ctx, name);
    if (text == nullptr)
        return true;
    const bool is_hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    int64_t number;
    if (!take_number(text, is_hex ? 16 : 10, 0, UINT32_MAX, number) || *text != '\0') {
        fail(ctx, def_ombrel_ctx_error_invalid_argument);
        return false;
    }
    value = static_cast<uint32_t>(number);
    return true;
}

} // namespace ombrel::builtin
