// Frame buffers in memory: "application/tuk_fb".
#include <ombrel/color.h>

#include "builtin/fb_options.h"
#include "builtin/fb_root.h"

namespace ombrel::builtin {

namespace {

constexpr uint32_t default_resx = 640, default_resy = 480, default_depth = 32;

bool read_geometry(const builtin_ctx& ctx, fb_geometry& geometry) {
    fb_rectangle rectangle = {0, 0, default_resx, default_resy};
    uint32_t depth = default_depth;
    if (!read_rectangle(ctx, rectangle) || !read_unsigned(ctx, "bpp", depth))
        return false;
    geometry = {ombrel_bits_per_pixel_to_color_interface(depth), rectangle.w, rectangle.h};
    return read_unsigned(ctx, "resx", geometry.resx) && read_unsigned(ctx, "resy", geometry.resy) &&
           read_unsigned(ctx, "color_interface", geometry.color_interface);
}

int open_fb(builtin_ctx& ctx) {
    fb_geometry geometry;
    return read_geometry(ctx, geometry) ? open_fb_root(ctx, state_of<fb_root>(ctx), geometry) : -1;
}

} // namespace

constinit const builtin_kind builtin_fb = fb_kind<fb_root>(open_fb);

} // namespace ombrel::builtin
