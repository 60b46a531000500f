// Frame buffers in windows of the desktop by SDL, as a plug-in. The pixels are those of a context of
// "application/tuk_fb" inside, so that both understand the same options and operations.
#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <memory>

#include <ombrel/ctx_interface.h>
#include <ombrel/framebuffer.h>
#include <ombrel/output.h>
#include <ombrel/plugin_window.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "ctx_options.h"
#include "desktop.h"

namespace {

struct window_ctx {
    desktop_window window;
    int pixels = -1; ///< the context inside
};

int fail(int ctx, int error) {
    ombrel_ctx_set_last_error(ctx, error);
    return -1;
}

window_ctx& state_of(int ctx) {
    return *static_cast<window_ctx*>(ombrel_ctx_get_plugin_data(ctx));
}

// The result of an operation of the context inside, with its error.
template<typename Result>
Result pass_on(int ctx, Result result) {
    if (result < 0)
        fail(ctx, ombrel_ctx_get_last_error(state_of(ctx).pixels));
    return result;
}

void free_state(window_ctx* state) {
    std::destroy_at(state);
    ombrel_free(state);
}

void release_window(desktop_window* window) {
    free_state(reinterpret_cast<window_ctx*>(window));
}
static_assert(offsetof(window_ctx, window) == 0);

// Called with the lock of the maps held, for a root whose window may be closed already.
int transfer(ombrel_fbmap_t* map) {
    auto* const state = static_cast<window_ctx*>(ombrel_ctx_get_plugin_data(static_cast<int>(map->m_ctx)));
    if (state != nullptr && state->window.picture.take(*map))
        desktop::wake();
    return 0;
}

int open_pixels(int ctx, window_ctx& opening) {
    opening.pixels = ombrel_new_ctx();
    if (opening.pixels < 0)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    for (const char* const name : {"xywh", "resx", "resy", "bpp", "color_interface", "debug"}) {
        const char* const text = ombrel_ctx_get_option(ctx, name);
        if (text != nullptr && ombrel_ctx_set_option(opening.pixels, name, text) != 0)
            return fail(ctx, def_ombrel_ctx_error_no_memory);
    }
    ombrel_ctx_fbinfo_t info;
    if (ombrel_open_ctx(opening.pixels, "application/tuk_fb") != 0 ||
        ombrel_ctx_get_fbinfo(opening.pixels, &info) != 0)
        return fail(ctx, ombrel_ctx_get_last_error(opening.pixels));
    opening.window.root = info.m_root;
    return 0;
}

// The first two numbers of a text that the context inside has found in order.
void read_place(int ctx, desktop_window& window) {
    const char* const text = ombrel_ctx_get_option(ctx, "xywh");
    window.is_placed = text != nullptr;
    if (text == nullptr)
        return;
    const char* const end = text + strlen(text);
    const char* next = std::from_chars(text, end, window.x).ptr;
    while (next != end && strchr(" \t,", *next) != nullptr)
        next++;
    std::from_chars(next, end, window.y);
}

int read_options(int ctx, desktop_window& window) {
    bool tells_events = false;
    const char* const scale = ombrel_ctx_get_option_string_ex(ctx, "scale", "1");
    if (!read_switch(ctx, "debug", tells_events) || !read_scale(scale, window.scale))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    window.tells_events = tells_events;
    window.class_name = ombrel_ctx_get_option_string_ex(ctx, "class_name", "ombrel_tuk_window");
    window.title = ombrel_ctx_get_option_string_ex(ctx, "title_name", "");
    read_place(ctx, window);
    return 0;
}

int prepare_picture(int ctx, desktop_window& window) {
    constexpr int64_t most = def_ombrel_plugin_window_most;
    const int64_t w = window.scale.to_window(window.root->m_resx);
    const int64_t h = window.scale.to_window(window.root->m_resy);
    if (std::min(w, h) < 1 || std::max(w, h) > most)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    window.events = ombrel_new_window_events();
    if (window.events == nullptr ||
        !window.picture.create(static_cast<int>(w), static_cast<int>(h), window.scale))
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    return 0;
}

int show(int ctx, desktop_window& window, bool is_verbose) {
    char reason[256];
    const desktop::opening result = desktop::open(window, reason, sizeof reason);
    if (result == desktop::opening::done)
        return 0;
    if (is_verbose)
        ombrel_error_printf("window: %s\n", reason);
    ombrel_ctx_set_last_error_text(ctx,
                                   result == desktop::opening::no_desktop ? def_ombrel_ctx_error_not_found
                                                                          : def_ombrel_ctx_error_failed,
                                   reason);
    return -1;
}

int set_up(int ctx, window_ctx& opening) {
    bool is_verbose = false;
    if (!read_switch(ctx, "verbose", is_verbose))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    desktop_window& window = opening.window;
    window.ctx = ctx;
    if (open_pixels(ctx, opening) != 0 || read_options(ctx, window) != 0 ||
        prepare_picture(ctx, window) != 0 || show(ctx, window, is_verbose) != 0)
        return -1;
    window.root->m_ctx = static_cast<uint32_t>(ctx);
    window.root->m_transfer = transfer;
    return 0;
}

int open_ctx(int ctx, const char*) {
    auto* const block = static_cast<window_ctx*>(ombrel_alloc(sizeof(window_ctx)));
    if (block == nullptr)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    window_ctx* const opening = std::construct_at(block);
    if (set_up(ctx, *opening) == 0)
        return ombrel_ctx_set_plugin_data(ctx, opening);
    ombrel_destroy_ctx(opening->pixels);
    free_state(opening);
    return -1;
}

// No transfer runs any more when this has had the lock.
void end_transfers(int ctx, ombrel_fbmap_t* root) {
    const bool is_held = ombrel_fbmap_lock() == 0;
    root->m_transfer = nullptr;
    ombrel_ctx_set_plugin_data(ctx, nullptr);
    if (is_held)
        ombrel_fbmap_unlock();
}

// First the window, whose thread may look at the root until it is gone.
int close_ctx(int ctx) {
    window_ctx& closing = state_of(ctx);
    const int pixels = closing.pixels;
    end_transfers(ctx, closing.window.root);
    desktop::close(closing.window, release_window);
    return ombrel_destroy_ctx(pixels);
}

int is_ready(int, int) {
    return 1;
}

int read_pixels(int ctx, void* buffer, size_t size) {
    return pass_on(ctx, ombrel_ctx_read(state_of(ctx).pixels, buffer, size));
}

int write_pixels(int ctx, const void* data, size_t size) {
    return pass_on(ctx, ombrel_ctx_write(state_of(ctx).pixels, data, size));
}

int64_t seek(int ctx, int64_t offset, int whence) {
    return pass_on(ctx, ombrel_ctx_seek(state_of(ctx).pixels, offset, whence));
}

int sync(int ctx) {
    return pass_on(ctx, ombrel_ctx_sync(state_of(ctx).pixels));
}

bool is_of_window(uint32_t code) {
    return code == def_ombrel_fb_control_set_window_handler || code == def_ombrel_fb_control_get_window_event;
}

int control_by_record(int ctx, uint32_t code, void* record, size_t size) {
    window_ctx& state = state_of(ctx);
    if (is_of_window(code))
        return ombrel_control_window_events(state.window.events, ctx, code, record, size);
    return pass_on(ctx, ombrel_ctx_control(state.pixels, code, record, size));
}

int control(int ctx, uint32_t code, va_list args) {
    void* const record = va_arg(args, void*);
    const size_t size = va_arg(args, size_t);
    return control_by_record(ctx, code, record, size);
}

int control_by_name(int ctx, const char* name, va_list args) {
    void* const record = va_arg(args, void*);
    const size_t size = va_arg(args, size_t);
    if (ombrel_strcasecmp(name, "set_window_handler") == 0)
        return control_by_record(ctx, def_ombrel_fb_control_set_window_handler, record, size);
    if (ombrel_strcasecmp(name, "get_window_event") == 0)
        return control_by_record(ctx, def_ombrel_fb_control_get_window_event, record, size);
    return pass_on(ctx, ombrel_ctx_xcontrol(state_of(ctx).pixels, name, record, size));
}

// The block that is given and the one that is answered are the same record, before and after.
int control_by_blocks(int ctx, uint32_t code, va_list args) {
    const void* const given = va_arg(args, const void*);
    const size_t given_size = va_arg(args, size_t);
    void* const answer = va_arg(args, void*);
    const size_t answer_size = va_arg(args, size_t);
    if (!is_of_window(code))
        return pass_on(
            ctx, ombrel_ctx_bcontrol(state_of(ctx).pixels, code, given, given_size, answer, answer_size));
    union {
        ombrel_window_listener_t listener;
        ombrel_window_wait_t wait;
    } record = {};
    const size_t size = std::max(given_size, answer_size);
    if (size > sizeof record || (given == nullptr && given_size != 0) ||
        (answer == nullptr && answer_size != 0))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    if (given_size != 0)
        memcpy(&record, given, given_size);
    if (control_by_record(ctx, code, size != 0 ? &record : nullptr, size) != 0)
        return -1;
    if (answer_size != 0)
        memcpy(answer, &record, answer_size);
    return static_cast<int>(size);
}

int get_env(int ctx, const char* name, char* text, size_t room) {
    char value[64];
    SDL_version version;
    SDL_GetVersion(&version);
    const window_scale& scale = state_of(ctx).window.scale;
    if (ombrel_strcasecmp(name, "driver") == 0)
        ombrel_snprintf(value, sizeof value, "%s", SDL_GetCurrentVideoDriver());
    else if (ombrel_strcasecmp(name, "scale") == 0)
        ombrel_snprintf(value, sizeof value, scale.down > 1 ? "1/%d" : "%d", std::max(scale.up, scale.down));
    else if (ombrel_strcasecmp(name, "version") == 0)
        ombrel_snprintf(value, sizeof value, "%d.%d.%d", version.major, version.minor, version.patch);
    else
        return fail(ctx, def_ombrel_ctx_error_not_found);
    return store_env(value, text, room);
}

int get_fbinfo(int ctx, ombrel_ctx_fbinfo_t* info) {
    return pass_on(ctx, ombrel_ctx_get_fbinfo(state_of(ctx).pixels, info));
}

constexpr ombrel_ctx0_v1_interface_t table = {
    {
        def_ombrel_interface_kind_ctx,
        sizeof(ombrel_ctx0_v1_interface_t),
        1,
        0,
        open_ctx,
        close_ctx,
        control_by_blocks,
        control_by_name,
        control,
        is_ready,
        read_pixels,
        is_ready,
        write_pixels,
        seek,
        sync,
        get_env,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
    },
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    get_fbinfo,
};

} // namespace

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size);
OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void);

int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size) {
    if (hint == nullptr || interface_table == nullptr || size == nullptr || !desktop::initialize())
        return -1;
    *hint = def_ombrel_plugin_window_mime_type;
    *interface_table = &table;
    *size = sizeof table;
    return 0;
}

int ombrel_plugin_uninitialize(void) {
    desktop::uninitialize();
    return 0;
}
