// Frame-buffer devices of Linux: "application/tuk_linuxfb".
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include <ombrel/color.h>
#include <ombrel/framebuffer.h>

#include "builtin/fb_root.h"
#include "core/fault.h"
#include "platform/framebuffer.h"

namespace ombrel::builtin {

namespace {

struct linuxfb {
    fb_root root; // the first, see there
    platform::framebuffer device;
};

struct field {
    uint32_t kind;
    platform::framebuffer_channel channel;
};

// Fields are described from the lowest bits up, 4 bits for the number of bits and 4 for their kind.
bool add_field(uint32_t& interface, unsigned& count, uint32_t kind, uint32_t bits) {
    constexpr unsigned most_fields = 4, most_bits = 15;
    if (bits == 0)
        return true;
    if (count == most_fields || bits > most_bits)
        return false;
    interface |= (kind << 4 | bits) << 8 * count++;
    return true;
}

// 0 where it cannot be described.
uint32_t color_interface_of(const platform::framebuffer& device) {
    if (device.has_palette)
        return device.bits_per_pixel == 8 ? def_ombrel_color_interface_palette8 : 0;
    field fields[] = {{def_ombrel_color_channel_red, device.red},
                      {def_ombrel_color_channel_green, device.green},
                      {def_ombrel_color_channel_blue, device.blue},
                      {def_ombrel_color_channel_alpha, device.alpha}};
    std::sort(std::begin(fields), std::end(fields),
              [](const field& a, const field& b) { return a.channel.offset < b.channel.offset; });
    uint32_t interface = 0, end = 0;
    unsigned count = 0;
    for (const field& next : fields) {
        if (next.channel.bits == 0)
            continue;
        if (next.channel.offset < end || next.channel.offset > device.bits_per_pixel ||
            !add_field(interface, count, def_ombrel_color_channel_none, next.channel.offset - end) ||
            !add_field(interface, count, next.kind, next.channel.bits))
            return 0;
        end = next.channel.offset + next.channel.bits;
    }
    const bool is_whole =
        end <= device.bits_per_pixel &&
        add_field(interface, count, def_ombrel_color_channel_none, device.bits_per_pixel - end);
    return is_whole ? interface : 0;
}

// The library's fixed colours; a device whose own cannot be changed shows others.
void set_palette(platform::framebuffer& device) {
    uint32_t colors[256];
    for (uint32_t i = 0; i < 256; i++)
        colors[i] =
            ombrel_convert_color(def_ombrel_color_interface_rgb888, def_ombrel_color_interface_palette8, i);
    platform::set_framebuffer_palette(device, colors);
}

// The part of a span from `start` on that lies within `limit`.
struct span {
    uint32_t from, size;
};

span clip(int32_t start, uint32_t size, uint32_t limit) {
    const int64_t from = std::clamp<int64_t>(start, 0, limit);
    const int64_t to = std::clamp<int64_t>(int64_t{start} + size, from, limit);
    return {static_cast<uint32_t>(from), static_cast<uint32_t>(to - from)};
}

// Called with the lock of the maps held. Both depths are whole bytes.
int copy_region(ombrel_fbmap_t* map) {
    linuxfb& to = *reinterpret_cast<linuxfb*>(map);
    const platform::framebuffer& device = to.device;
    const ombrel_fbmap_rectangle_t& region = map->m_update_region;
    const span columns = clip(region.m_x, region.m_w, map->m_resx);
    const span rows = clip(region.m_y, region.m_h, map->m_resy);
    const size_t pixel_size = map->m_bits_per_pixel / 8;
    const size_t size = columns.size * pixel_size;
    if (size == 0)
        return 0;
    for (uint32_t row = rows.from; row < rows.from + rows.size; row++) {
        const unsigned char* const source = static_cast<const unsigned char*>(map->m_map) +
                                            size_t{row} * map->m_line_length + columns.from * pixel_size;
        unsigned char* const target = device.memory + (size_t{row} + device.y_offset) * device.line_length +
                                      (size_t{columns.from} + device.x_offset) * pixel_size;
        memcpy(target, source, size);
    }
    return 0;
}

// The root begins with what the device shows, so that nothing changes before something is drawn.
void copy_from_device(linuxfb& fb) {
    const platform::framebuffer& device = fb.device;
    ombrel_fbmap_t& map = fb.root.map;
    const size_t pixel_size = map.m_bits_per_pixel / 8;
    for (uint32_t row = 0; row < map.m_resy; row++)
        memcpy(static_cast<unsigned char*>(map.m_map) + size_t{row} * map.m_line_length,
               device.memory + (size_t{row} + device.y_offset) * device.line_length +
                   device.x_offset * pixel_size,
               map.m_resx * pixel_size);
}

// A host without such devices leaves the type to other plug-ins.
int refuse_device(const builtin_ctx& ctx) {
    return failed_by(-1, fault_code::not_supported) ? fail(ctx, def_ombrel_ctx_error_not_supported)
                                                    : fail_by_system(ctx);
}

int open_linuxfb(builtin_ctx& ctx) {
    auto& fb = state_of<linuxfb>(ctx);
    if (platform::open_framebuffer(*ctx.source != '\0' ? ctx.source : "/dev/fb0", fb.device) != 0)
        return refuse_device(ctx);
    const fb_geometry geometry = {color_interface_of(fb.device), fb.device.resx, fb.device.resy};
    if (open_fb_root(ctx, fb.root, geometry) != 0) {
        platform::close_framebuffer(fb.device);
        return -1;
    }
    if (fb.device.has_palette)
        set_palette(fb.device);
    copy_from_device(fb);
    fb.root.map.m_transfer = copy_region;
    return 0;
}

int close_linuxfb(builtin_ctx& ctx) {
    const int result = close_fb_root(ctx);
    platform::close_framebuffer(state_of<linuxfb>(ctx).device);
    return result;
}

int tell_display(const platform::framebuffer& device, ombrel_fb_display_t& display) {
    display = {device.x_offset,
               device.y_offset,
               device.virtual_resx,
               device.virtual_resy,
               device.line_length,
               {},
               {}};
    static_assert(sizeof display.m_name == sizeof device.name);
    memcpy(display.m_name, device.name, sizeof device.name);
    return 0;
}

// The root is copied before it is shown, so that nobody sees what was there.
int pan(builtin_ctx& ctx, const ombrel_fb_display_t& display) {
    auto& fb = state_of<linuxfb>(ctx);
    if (!platform::framebuffer_has(fb.device, display.m_x_offset, display.m_y_offset))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    if (ombrel_fbmap_lock() != 0)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    const uint32_t x_before = std::exchange(fb.device.x_offset, display.m_x_offset);
    const uint32_t y_before = std::exchange(fb.device.y_offset, display.m_y_offset);
    fb.root.map.m_update_region = {0, 0, fb.root.map.m_resx, fb.root.map.m_resy};
    __ombrel_fbmap_transfer_internal(&fb.root.map);
    const int result = platform::pan_framebuffer(fb.device);
    if (result != 0) {
        fb.device.x_offset = x_before;
        fb.device.y_offset = y_before;
    }
    ombrel_fbmap_unlock();
    return result == 0 ? 0 : fail_by_system(ctx);
}

int control_linuxfb(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    if (code != def_ombrel_fb_control_get_display && code != def_ombrel_fb_control_pan)
        return control_fb(ctx, code, record, size);
    auto* const display = control_record<ombrel_fb_display_t>(ctx, record, size);
    if (display == nullptr)
        return -1;
    return code == def_ombrel_fb_control_pan ? pan(ctx, *display)
                                             : tell_display(state_of<linuxfb>(ctx).device, *display);
}

} // namespace

constinit const builtin_kind builtin_linuxfb = fb_kind<linuxfb>(open_linuxfb, close_linuxfb, control_linuxfb);

} // namespace ombrel::builtin
