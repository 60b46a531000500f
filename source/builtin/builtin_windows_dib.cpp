// Windows of the host system: "application/tuk_windows_dib".
#include <algorithm>
#include <atomic>
#include <new>

#include <ombrel/color.h>
#include <ombrel/framebuffer.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/service.h>

#include "builtin/fb_options.h"
#include "builtin/fb_root.h"
#include "context/ctx_fault.h"
#include "core/fault.h"
#include "platform/host_window.h"
#include "platform/thread.h"

namespace ombrel::builtin {

namespace {

/// What the context shares with the window's thread. It ends with the context, save when the window's own
/// handler closes that: then with the thread.
struct dib_window {
    platform::host_window* window; ///< null until it is open
    ombrel_window_events_t* events;
    ombrel_service_t* service;
    uint64_t thread;
    int ctx;
    bool tells_messages;
    bool is_abandoned;            ///< the thread's own: nobody waits for it
    std::atomic<bool> is_closing; ///< by the context: nobody is told any more, and the root is not touched
};

struct windows_dib {
    fb_root root; // the first, see there
    dib_window* shared;
};

/// What the window's thread is to open, while the context waits for that.
struct opening {
    builtin_ctx& ctx;
    windows_dib& dib;
    fb_geometry geometry;
    platform::host_window_format format;
    platform::host_window_wish wish;
    bool is_refused; ///< and the error is set
};

void free_shared(dib_window* shared) {
    platform::free_host_window(shared->window);
    ombrel_free_window_events(shared->events);
    ombrel_free_tag(shared, "ombrel_close_ctx", __LINE__);
}

dib_window* new_shared(const builtin_ctx& ctx) {
    void* const block = ombrel_calloc_tag(1, sizeof(dib_window), "ombrel_open_ctx", __LINE__);
    if (block == nullptr)
        return nullptr;
    auto* const made = new (block) dib_window();
    made->ctx = ctx.handle;
    made->tells_messages = ctx.debug;
    made->events = ombrel_new_window_events();
    if (made->events != nullptr)
        return made;
    free_shared(made);
    return nullptr;
}

// Parameters count as 32 bits, as wide as the format has them, by design.
void tell(const platform::host_window_message& message) {
    ombrel_printf("%s : wParam=%lu, lParam=%lu\n", message.name,
                  static_cast<unsigned long>(static_cast<uint32_t>(message.first)),
                  static_cast<unsigned long>(static_cast<uint32_t>(message.second)));
}

bool hear(void* context, const platform::host_window_message& message) {
    auto& shared = *static_cast<dib_window*>(context);
    if (message.name != nullptr && shared.tells_messages)
        tell(message);
    if (message.event.m_kind == def_ombrel_window_event_none || shared.is_closing)
        return true;
    ombrel_window_event_t event = message.event;
    event.m_ctx = shared.ctx;
    return ombrel_put_window_event(shared.events, &event) == 0;
}

struct span {
    int32_t from;
    uint32_t size;
};

span clip(int32_t start, uint32_t size, uint32_t limit) {
    const int64_t from = std::clamp<int64_t>(start, 0, limit);
    const int64_t to = std::clamp<int64_t>(int64_t{start} + size, from, limit);
    return {static_cast<int32_t>(from), static_cast<uint32_t>(to - from)};
}

// Called with the lock of the maps held.
int show_region(ombrel_fbmap_t* map) {
    const ombrel_fbmap_rectangle_t& region = map->m_update_region;
    const span columns = clip(region.m_x, region.m_w, map->m_resx);
    const span rows = clip(region.m_y, region.m_h, map->m_resy);
    if (columns.size != 0 && rows.size != 0)
        platform::blit_host_window(*reinterpret_cast<windows_dib*>(map)->shared->window, columns.from,
                                   rows.from, columns.size, rows.size);
    return 0;
}

bool open_on_thread(opening& asked) {
    dib_window& shared = *asked.dib.shared;
    shared.thread = platform::thread_id();
    shared.window = platform::open_host_window(asked.wish, {hear, &shared});
    if (shared.window == nullptr)
        return fail_by_system(asked.ctx) == 0;
    uint32_t line_length;
    void* const pixels = platform::host_window_pixels(*shared.window, line_length);
    if (open_fb_root_over(asked.ctx, asked.dib.root, asked.geometry, pixels, line_length) != 0)
        return false;
    asked.dib.root.map.m_transfer = show_region;
    return true;
}

// The root outlives its device.
void mark_closed(ombrel_fbmap_t& root) {
    if (ombrel_fbmap_lock() != 0)
        return;
    root.m_flags |= def_ombrel_fbmap_closed;
    ombrel_fbmap_unlock();
}

void serve_until_closed(dib_window& shared, ombrel_fbmap_t& root) {
    while (platform::next_host_window_message(*shared.window))
        continue;
    if (!shared.is_closing)
        mark_closed(root);
    ombrel_end_window_events(shared.events);
}

void close_unseen(dib_window& shared) {
    if (shared.window == nullptr)
        return;
    platform::close_host_window(*shared.window);
    while (platform::next_host_window_message(*shared.window))
        continue;
}

int serve_messages(ombrel_service_t* service, void* context) {
    auto& asked = *static_cast<opening*>(context);
    dib_window& shared = *asked.dib.shared;
    ombrel_fbmap_t& root = asked.dib.root.map;
    asked.is_refused = !open_on_thread(asked);
    if (asked.is_refused) {
        close_unseen(shared);
        return ombrel_error_service(service);
    }
    ombrel_ack_service(service); // nothing that was asked is there from now on
    serve_until_closed(shared, root);
    if (shared.is_abandoned)
        free_shared(&shared);
    return 0;
}

// A window of a thread's own goes when its handler has returned.
void end_service(dib_window& shared) {
    constexpr uint32_t no_limit = 0xFFFFFFFF;
    shared.is_closing = true;
    shared.is_abandoned = shared.thread == platform::thread_id();
    platform::close_host_window(*shared.window);
    ombrel_close_service_ex(shared.service, shared.is_abandoned ? 0 : no_limit);
}

// Which bits of a pixel are of a kind; 0 where there are none, or not in one field.
uint32_t mask_of(uint32_t interface, uint32_t kind) {
    uint32_t mask = 0;
    unsigned shift = 0;
    for (unsigned field = 0; field < 4; field++, interface >>= 8) {
        const unsigned bits = interface & 15;
        if ((interface >> 4 & 15) == kind && bits != 0)
            mask = mask == 0 ? ((1u << bits) - 1) << shift : 0;
        shift += bits;
    }
    return mask;
}

bool describe(uint32_t interface, platform::host_window_format& format) {
    format.bits_per_pixel = ombrel_color_interface_to_bits_per_pixel(interface);
    if (format.bits_per_pixel == 24)
        return interface == def_ombrel_color_interface_rgb888;
    if (format.bits_per_pixel == 8) {
        for (uint32_t i = 0; i < 256; i++)
            format.colors[i] = ombrel_convert_color(def_ombrel_color_interface_rgb888, interface, i);
        return true;
    }
    format.red = mask_of(interface, def_ombrel_color_channel_red);
    format.green = mask_of(interface, def_ombrel_color_channel_green);
    format.blue = mask_of(interface, def_ombrel_color_channel_blue);
    return format.red != 0 && format.green != 0 && format.blue != 0;
}

int read_wish(const builtin_ctx& ctx, opening& asked) {
    fb_rectangle place = {};
    if (!read_geometry(ctx, asked.geometry) || !is_drawable(ctx, asked.geometry) ||
        !read_rectangle(ctx, place))
        return -1;
    const fb_geometry& geometry = asked.geometry;
    if (!describe(geometry.color_interface, asked.format) ||
        std::max(geometry.resx, geometry.resy) > platform::host_window_most)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    asked.wish = {
        ombrel_ctx_get_option_string_ex(ctx.handle, "class_name", "ombrel_tuk_windows_dib"),
        ombrel_ctx_get_option_string_ex(ctx.handle, "title_name", ""),
        option_text(ctx, "xywh") != nullptr,
        place.x,
        place.y,
        geometry.resx,
        geometry.resy,
        &asked.format,
    };
    return 0;
}

int open_windows_dib(builtin_ctx& ctx) {
    auto& dib = state_of<windows_dib>(ctx);
    opening asked = {.ctx = ctx, .dib = dib, .geometry = {}, .format = {}, .wish = {}, .is_refused = false};
    if (read_wish(ctx, asked) != 0)
        return -1;
    if (!platform::has_host_windows())
        return fail(ctx, def_ombrel_ctx_error_not_supported);
    dib.shared = new_shared(ctx);
    if (dib.shared == nullptr)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    dib.shared->service =
        ombrel_open_service_ex("__ombrel_windows_dib_message_service", serve_messages, &asked, 0);
    if (dib.shared->service != nullptr)
        return 0;
    free_shared(dib.shared);
    return asked.is_refused ? -1 : fail(ctx, def_ombrel_ctx_error_no_memory);
}

int close_windows_dib(builtin_ctx& ctx) {
    dib_window* const shared = state_of<windows_dib>(ctx).shared;
    end_service(*shared);
    const int result = close_fb_root(ctx);
    if (!shared->is_abandoned)
        free_shared(shared);
    return result;
}

int control_windows_dib(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    if (code != def_ombrel_fb_control_set_window_handler && code != def_ombrel_fb_control_get_window_event)
        return control_fb(ctx, code, record, size);
    return ombrel_control_window_events(state_of<windows_dib>(ctx).shared->events, ctx.handle, code, record,
                                        size);
}

} // namespace

constinit const builtin_kind builtin_windows_dib =
    fb_kind<windows_dib>(open_windows_dib, close_windows_dib, control_windows_dib);

} // namespace ombrel::builtin
