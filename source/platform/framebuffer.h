// Frame-buffer devices.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

/// Where a channel's bits are in a pixel, counted from the lowest.
struct framebuffer_channel {
    uint32_t offset, bits;
};

/// A device, its memory mapped.
struct framebuffer {
    int descriptor;
    void* mapping;
    size_t mapping_size;
    unsigned char* memory; ///< its pixels
    size_t memory_size;
    uint32_t resx, resy;                 ///< what is shown of it
    uint32_t virtual_resx, virtual_resy; ///< what there is
    uint32_t x_offset, y_offset;         ///< where that which is shown begins
    uint32_t line_length;                ///< bytes from a row to the next
    uint32_t bits_per_pixel;
    bool has_palette; ///< pixels are numbers of colours; the channels say nothing
    framebuffer_channel red, green, blue, alpha;
    char name[17];
};

/// 0; -1 with its fault when there is no such device, or the memory is not what the device says.
int open_framebuffer(const char* path, framebuffer& opened);
void close_framebuffer(framebuffer& open);

/// Whether all that would be shown from such offsets on is in the memory.
bool framebuffer_has(const framebuffer& open, uint32_t x_offset, uint32_t y_offset);

/// Shows the memory from its offsets on: 0, or -1 with its fault.
int pan_framebuffer(const framebuffer& open);

/// Gives the 256 colours, 0xRRGGBB each: 0, or -1 with its fault.
int set_framebuffer_palette(const framebuffer& open, const uint32_t (&colors)[256]);

} // namespace ombrel::platform
