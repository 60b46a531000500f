// Options of the frame-buffer kinds.
#pragma once

#include <cstdint>
#include <string_view>

#include "builtin/builtin_kind.h"
#include "builtin/fb_root.h"

namespace ombrel::builtin {

struct fb_rectangle {
    int32_t x, y;
    uint32_t w, h;
};

/// "x,y,width,height", separated by commas, blanks or both: false when the text is not that.
bool parse_rectangle(std::string_view text, fb_rectangle& rectangle);

/// The option "xywh"; the value stays when it is not set. False, with the error set, when it makes no sense.
bool read_rectangle(const builtin_ctx& ctx, fb_rectangle& rectangle);

/// A number in decimal or with "0x" that fits 32 bits; the value stays when the option is not set. False,
/// with the error set, when it makes no sense.
bool read_unsigned(const builtin_ctx& ctx, const char* name, uint32_t& value);

/// Size and colours by the options "xywh", "resx", "resy", "bpp" and "color_interface", and their defaults:
/// false, with the error set, when one makes no sense.
bool read_geometry(const builtin_ctx& ctx, fb_geometry& geometry);

} // namespace ombrel::builtin
