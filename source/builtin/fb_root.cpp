#include "builtin/fb_root.h"

#include <algorithm>
#include <cstring>

#include <ombrel/color.h>
#include <ombrel/framebuffer.h>

namespace ombrel::builtin {

namespace {

// The lock of all maps for a scope; it may fail for want of memory.
class map_lock {
public:
    map_lock() : is_held_(ombrel_fbmap_lock() == 0) {}
    ~map_lock() {
        if (is_held_)
            ombrel_fbmap_unlock();
    }
    map_lock(const map_lock&) = delete;
    map_lock& operator=(const map_lock&) = delete;

    explicit operator bool() const { return is_held_; }

private:
    bool is_held_;
};

fb_root& root_of(builtin_ctx& ctx) {
    return *static_cast<fb_root*>(ctx.state);
}

// What is left behind the position, cut to `size`.
size_t available(const fb_root& root, size_t size) {
    const uint64_t all = root.map.m_map_size;
    const uint64_t left = root.position < all ? all - root.position : 0;
    return countable(static_cast<size_t>(std::min<uint64_t>(left, size)));
}

// Whole rows: a run of bytes may begin and end within them.
void add_changed_rows(ombrel_fbmap_t& map, uint64_t from, size_t size) {
    ombrel_fbmap_rectangle_t& region = map.m_update_region;
    auto top = static_cast<uint32_t>(from / map.m_line_length);
    auto bottom = static_cast<uint32_t>((from + size - 1) / map.m_line_length) + 1;
    if (region.m_w != 0 && region.m_h != 0) {
        const auto old_top = static_cast<uint32_t>(std::max(region.m_y, 0));
        top = std::min(top, old_top);
        bottom = std::max(bottom, old_top + region.m_h);
    }
    region = {0, static_cast<int32_t>(top), map.m_resx, std::min(bottom, map.m_resy) - top};
}

int64_t seek_base(const fb_root& root, int whence) {
    switch (whence) {
    case def_ombrel_ctx_seek_set:
        return 0;
    case def_ombrel_ctx_seek_current:
        return static_cast<int64_t>(root.position);
    case def_ombrel_ctx_seek_end:
        return root.map.m_map_size;
    default:
        return -1;
    }
}

int init_root(builtin_ctx& ctx, fb_root& root, const fb_geometry& geometry, uint32_t flags) {
    if (ctx.debug)
        flags |= def_ombrel_fbmap_debug;
    if (ombrel_init_fbmap(&root.map, nullptr, flags, geometry.color_interface, 0, 0, geometry.resx,
                          geometry.resy) == nullptr)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    root.map.m_ctx = static_cast<uint32_t>(ctx.handle);
    return 0;
}

int hand_out_root(builtin_ctx& ctx, void* record, size_t size) {
    auto* const handed = control_record<ombrel_fb_root_t>(ctx, record, size);
    if (handed == nullptr)
        return -1;
    handed->m_root = &root_of(ctx).map;
    return 0;
}

} // namespace

bool is_drawable(const builtin_ctx& ctx, const fb_geometry& geometry) {
    const unsigned depth = ombrel_color_interface_to_bits_per_pixel(geometry.color_interface);
    const bool is_whole = depth == 8 || depth == 16 || depth == 24 || depth == 32;
    if (is_whole && geometry.resx != 0 && geometry.resy != 0)
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

int open_fb_root(builtin_ctx& ctx, fb_root& root, const fb_geometry& geometry) {
    return is_drawable(ctx, geometry) ? init_root(ctx, root, geometry, def_ombrel_fbmap_own_map) : -1;
}

int open_fb_root_over(builtin_ctx& ctx, fb_root& root, const fb_geometry& geometry, void* pixels,
                      uint32_t line_length) {
    if (init_root(ctx, root, geometry, 0) != 0)
        return -1;
    root.map.m_map = pixels;
    root.map.m_line_length = line_length;
    root.map.m_map_size = line_length * geometry.resy;
    return 0;
}

int close_fb_root(builtin_ctx& ctx) {
    return ombrel_destroy_fbmap(&root_of(ctx).map) == 0 ? 0 : fail(ctx, def_ombrel_ctx_error_no_memory);
}

int fb_is_ready(builtin_ctx&, int) {
    return 1;
}

int read_fb(builtin_ctx& ctx, void* buffer, size_t size) {
    fb_root& root = root_of(ctx);
    const size_t count = available(root, size);
    const map_lock lock;
    if (!lock)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    if (count > 0)
        memcpy(buffer, static_cast<const char*>(root.map.m_map) + root.position, count);
    root.position += count;
    return static_cast<int>(count);
}

int write_fb(builtin_ctx& ctx, const void* data, size_t size) {
    fb_root& root = root_of(ctx);
    const size_t count = available(root, size);
    if (count == 0)
        return size == 0 ? 0 : fail(ctx, def_ombrel_ctx_error_io);
    const map_lock lock;
    if (!lock)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    memcpy(static_cast<char*>(root.map.m_map) + root.position, data, count);
    add_changed_rows(root.map, root.position, count);
    root.position += count;
    return static_cast<int>(count);
}

int64_t seek_fb(builtin_ctx& ctx, int64_t offset, int whence) {
    fb_root& root = root_of(ctx);
    const int64_t base = seek_base(root, whence);
    int64_t position;
    if (base < 0 || __builtin_add_overflow(base, offset, &position) || position < 0)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    root.position = static_cast<uint64_t>(position);
    return position;
}

int sync_fb(builtin_ctx& ctx) {
    return ombrel_fbmap_update(&root_of(ctx).map) == 0 ? 0 : fail(ctx, def_ombrel_ctx_error_io);
}

int get_fb_info(builtin_ctx& ctx, ombrel_ctx_fbinfo_t* info) {
    ombrel_fbmap_t& map = root_of(ctx).map;
    *info = {&map,
             static_cast<int>(map.m_resx),
             static_cast<int>(map.m_resy),
             static_cast<int>(map.m_bits_per_pixel),
             map.m_line_length,
             map.m_map,
             map.m_map_size};
    return 0;
}

int control_fb(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    if (code == def_ombrel_fb_control_get_root)
        return hand_out_root(ctx, record, size);
    if (code != def_ombrel_fb_control_get_info)
        return refuse_control(ctx);
    auto* const info = control_record<ombrel_ctx_fbinfo_t>(ctx, record, size);
    return info != nullptr ? get_fb_info(ctx, info) : -1;
}

} // namespace ombrel::builtin
