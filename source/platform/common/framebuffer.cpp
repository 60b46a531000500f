// What the devices have in common, and the calls of hosts without them.
#include "platform/framebuffer.h"

#include "platform/fault.h"

namespace ombrel::platform {

bool framebuffer_has(const framebuffer& open, uint32_t x_offset, uint32_t y_offset) {
    const uint64_t rows = uint64_t{y_offset} + open.resy;
    const uint64_t columns = uint64_t{x_offset} + open.resx;
    const uint64_t row_bytes = (columns * open.bits_per_pixel + 7) / 8;
    return rows > 0 && columns > 0 && row_bytes <= open.line_length &&
           (rows - 1) * open.line_length + row_bytes <= open.memory_size;
}

#if !defined(__linux__)

int open_framebuffer(const char*, framebuffer&) {
    leave_fault(fault_code::not_supported);
    return -1;
}

void close_framebuffer(framebuffer&) {}

int pan_framebuffer(const framebuffer&) {
    leave_fault(fault_code::not_supported);
    return -1;
}

int set_framebuffer_palette(const framebuffer&, const uint32_t (&)[256]) {
    leave_fault(fault_code::not_supported);
    return -1;
}

#endif

} // namespace ombrel::platform
