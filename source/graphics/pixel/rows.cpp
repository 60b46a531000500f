#include "graphics/pixel/rows.h"

#include <cstdint>
#include <cstring>

namespace ombrel::graphics {

namespace {

void fill8(const fill_area& area, uint32_t color) {
    for (size_t row = 0; row < area.height; row++)
        memset(area.to + row * area.line_length, static_cast<unsigned char>(color), area.width);
}

fill_kernel fill_for(unsigned bytes_per_pixel) {
    switch (bytes_per_pixel) {
    case 1:
        return fill8;
    case 2:
        return kernels().fill16;
    case 3:
        return kernels().fill24;
    default:
        return kernels().fill32;
    }
}

} // namespace

void fill_row(unsigned char* to, uint32_t color, size_t count, unsigned bytes_per_pixel) {
    fill_for(bytes_per_pixel)({to, 0, count, 1}, color);
}

void fill_rows(unsigned char* to, size_t line_length, uint32_t color, size_t width, size_t height,
               unsigned bytes_per_pixel) {
    if (line_length == width * bytes_per_pixel)
        return fill_row(to, color, width * height, bytes_per_pixel);
    fill_for(bytes_per_pixel)({to, line_length, width, height}, color);
}

namespace {

size_t extent(size_t line_length, const copy_area& area) {
    return line_length * (area.height - 1) + area.width;
}

bool share_memory(const copy_area& area) {
    const auto to = reinterpret_cast<uintptr_t>(area.to), from = reinterpret_cast<uintptr_t>(area.from);
    return to < from + extent(area.from_line_length, area) && from < to + extent(area.to_line_length, area);
}

// Rows that are still to be read must not be written first.
void move_rows(const copy_area& area) {
    const bool upwards = reinterpret_cast<uintptr_t>(area.to) > reinterpret_cast<uintptr_t>(area.from);
    for (size_t i = 0; i < area.height; i++) {
        const size_t row = upwards ? area.height - 1 - i : i;
        memmove(area.to + row * area.to_line_length, area.from + row * area.from_line_length, area.width);
    }
}

// From so many bytes on it is faster to fetch rows ahead than to copy them as one.
constexpr size_t long_copy = size_t{4} << 20;

} // namespace

void copy_rows(const copy_area& area) {
    if (area.height == 0)
        return;
    const bool without_gaps = area.width == area.to_line_length && area.width == area.from_line_length;
    if (without_gaps && area.width * area.height < long_copy)
        memmove(area.to, area.from, area.width * area.height);
    else if (share_memory(area))
        move_rows(area);
    else
        kernels().copy(area);
}

} // namespace ombrel::graphics
