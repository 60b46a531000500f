#include <cstring>

#include "core/kernel_table.h"
#include "graphics/pixel/kernels/kernels.h"
#include "graphics/pixel/row_fill.h"

namespace ombrel::graphics {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.fill16, features),  choose(all_kernels.fill24, features),
            choose(all_kernels.fill32, features),  choose(all_kernels.copy, features),
            choose(all_kernels.widen, features),   choose(all_kernels.narrow, features),
            choose(all_kernels.glyph8, features),  choose(all_kernels.glyph16, features),
            choose(all_kernels.glyph24, features), choose(all_kernels.glyph32, features),
            choose(all_kernels.blend, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

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

} // namespace ombrel::graphics
