// Windows of the host system: "application/tuk_windows_dib".
#include "builtin/fb_options.h"
#include "platform/host_window.h"

namespace ombrel::builtin {

namespace {

constexpr fb_rectangle default_rectangle = {0, 0, 640, 480};

// A wrong option is told apart from a host without windows.
int open_windows_dib(builtin_ctx& ctx) {
    fb_rectangle rectangle = default_rectangle;
    if (!read_rectangle(ctx, rectangle))
        return -1;
    const platform::host_window_wish wish = {
        ombrel_ctx_get_option_string_ex(ctx.handle, "class_name", "ombrel_tuk_windows_dib"),
        ombrel_ctx_get_option_string_ex(ctx.handle, "title_name", ""),
        rectangle.x,
        rectangle.y,
        rectangle.w,
        rectangle.h,
    };
    return platform::open_host_window(wish) == 0 ? 0 : fail(ctx, def_ombrel_ctx_error_not_supported);
}

} // namespace

constinit const builtin_kind builtin_windows_dib = {.open = open_windows_dib};

} // namespace ombrel::builtin
