#include "builtin/fb_options.h"

#include <ombrel/color.h>

#include "text/number.h"

namespace ombrel::builtin {

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// Blanks with at most one comma among them; there is something.
bool take_separator(std::string_view& text) {
    const size_t size = text.size();
    bool comma = false;
    while (!text.empty() && (is_blank(text[0]) || (text[0] == ',' && !comma))) {
        comma = text[0] == ',' || comma;
        text.remove_prefix(1);
    }
    return text.size() != size;
}

} // namespace

bool parse_rectangle(std::string_view text, fb_rectangle& rectangle) {
    int32_t numbers[4];
    for (int i = 0; i < 4; i++) {
        const int32_t least = i < 2 ? INT32_MIN : 1;
        if ((i > 0 && !take_separator(text)) || !take_number(text, least, INT32_MAX, numbers[i]))
            return false;
    }
    rectangle = {numbers[0], numbers[1], static_cast<uint32_t>(numbers[2]),
                 static_cast<uint32_t>(numbers[3])};
    return text.empty();
}

bool read_rectangle(const builtin_ctx& ctx, fb_rectangle& rectangle) {
    const char* const text = option_text(ctx, "xywh");
    if (text == nullptr || parse_rectangle(text, rectangle))
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

bool read_unsigned(const builtin_ctx& ctx, const char* name, uint32_t& value) {
    const char* const text = option_text(ctx, name);
    if (text == nullptr)
        return true;
    const bool is_hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (parse_number(is_hex ? text + 2 : text, uint32_t{0}, UINT32_MAX, value, is_hex ? 16 : 10))
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

bool read_geometry(const builtin_ctx& ctx, fb_geometry& geometry) {
    fb_rectangle rectangle = {0, 0, 640, 480};
    uint32_t depth = 32;
    if (!read_rectangle(ctx, rectangle) || !read_unsigned(ctx, "bpp", depth))
        return false;
    geometry = {ombrel_bits_per_pixel_to_color_interface(depth), rectangle.w, rectangle.h};
    return read_unsigned(ctx, "resx", geometry.resx) && read_unsigned(ctx, "resy", geometry.resy) &&
           read_unsigned(ctx, "color_interface", geometry.color_interface);
}

} // namespace ombrel::builtin
