#include "platform/framebuffer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

/// ioctl(), whose requests are of another type in each C library.
template<typename Request>
int call_as(int (*host_call)(int, Request, ...), int descriptor, unsigned long request, void* record) {
    int result;
    do
        result = host_call(descriptor, static_cast<Request>(request), record);
    while (result < 0 && errno == EINTR);
    return result;
}

int call(int descriptor, unsigned long request, void* record) {
    return call_as(ioctl, descriptor, request, record);
}

int refuse(const fault& why) {
    leave_fault(why);
    return -1;
}

framebuffer_channel channel_of(const fb_bitfield& field) {
    return {field.offset, field.length};
}

void take_info(framebuffer& device, const fb_fix_screeninfo& fixed, const fb_var_screeninfo& variable) {
    device.resx = variable.xres;
    device.resy = variable.yres;
    device.virtual_resx = variable.xres_virtual;
    device.virtual_resy = variable.yres_virtual;
    device.x_offset = variable.xoffset;
    device.y_offset = variable.yoffset;
    device.line_length = fixed.line_length;
    device.bits_per_pixel = variable.bits_per_pixel;
    device.has_palette =
        fixed.visual == FB_VISUAL_PSEUDOCOLOR || fixed.visual == FB_VISUAL_STATIC_PSEUDOCOLOR;
    device.red = channel_of(variable.red);
    device.green = channel_of(variable.green);
    device.blue = channel_of(variable.blue);
    device.alpha = channel_of(variable.transp);
    memcpy(device.name, fixed.id, sizeof fixed.id);
}

// The memory need not begin with a page, the mapping does.
int map_memory(framebuffer& device, const fb_fix_screeninfo& fixed) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t before = fixed.smem_start % page;
    device.memory_size = fixed.smem_len;
    if (!framebuffer_has(device, device.x_offset, device.y_offset))
        return refuse(fault_code::invalid);
    device.mapping_size = before + device.memory_size;
    device.mapping =
        mmap(nullptr, device.mapping_size, PROT_READ | PROT_WRITE, MAP_SHARED, device.descriptor, 0);
    if (device.mapping == MAP_FAILED)
        return -1;
    device.memory = static_cast<unsigned char*>(device.mapping) + before;
    return 0;
}

int set_up(framebuffer& device) {
    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    if (call(device.descriptor, FBIOGET_VSCREENINFO, &variable) < 0 ||
        call(device.descriptor, FBIOGET_FSCREENINFO, &fixed) < 0)
        return -1;
    if (fixed.type != FB_TYPE_PACKED_PIXELS)
        return refuse({fault_code::not_supported, ENOTSUP});
    take_info(device, fixed, variable);
    return map_memory(device, fixed);
}

} // namespace

int open_framebuffer(const char* path, framebuffer& opened) {
    opened = {};
    do
        opened.descriptor = open(path, O_RDWR | O_CLOEXEC);
    while (opened.descriptor < 0 && errno == EINTR);
    if (opened.descriptor < 0)
        return -1;
    if (set_up(opened) == 0)
        return 0;
    const fault_keeper why;
    close(opened.descriptor);
    return -1;
}

void close_framebuffer(framebuffer& open) {
    munmap(open.mapping, open.mapping_size);
    close(open.descriptor);
}

int pan_framebuffer(const framebuffer& open) {
    fb_var_screeninfo variable = {};
    if (call(open.descriptor, FBIOGET_VSCREENINFO, &variable) < 0)
        return -1;
    variable.xoffset = open.x_offset;
    variable.yoffset = open.y_offset;
    return call(open.descriptor, FBIOPAN_DISPLAY, &variable) < 0 ? -1 : 0;
}

int set_framebuffer_palette(const framebuffer& open, const uint32_t (&colors)[256]) {
    constexpr uint32_t spread = 0x101; // 8 bits to 16
    uint16_t red[256], green[256], blue[256];
    for (size_t i = 0; i < 256; i++) {
        red[i] = static_cast<uint16_t>((colors[i] >> 16 & 0xff) * spread);
        green[i] = static_cast<uint16_t>((colors[i] >> 8 & 0xff) * spread);
        blue[i] = static_cast<uint16_t>((colors[i] & 0xff) * spread);
    }
    fb_cmap palette = {0, 256, red, green, blue, nullptr};
    return call(open.descriptor, FBIOPUTCMAP, &palette) < 0 ? -1 : 0;
}

} // namespace ombrel::platform
