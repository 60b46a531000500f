// Frame buffers in memory: "application/tuk_fb".
#include "builtin/fb_options.h"
#include "builtin/fb_root.h"

namespace ombrel::builtin {

namespace {

int open_fb(builtin_ctx& ctx) {
    fb_geometry geometry;
    return read_geometry(ctx, geometry) ? open_fb_root(ctx, state_of<fb_root>(ctx), geometry) : -1;
}

} // namespace

constinit const builtin_kind builtin_fb = fb_kind<fb_root>(open_fb);

} // namespace ombrel::builtin
