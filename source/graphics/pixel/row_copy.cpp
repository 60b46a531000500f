#include "graphics/pixel/row_copy.h"

#include <cstdint>
#include <cstring>

namespace ombrel::graphics {

namespace {

size_t extent(size_t line_length, const copy_area& area) {
    return line_length * (area.height - 1) + area.width;
}

bool overlap(const copy_area& area) {
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

} // namespace

void copy_rows(const copy_area& area) {
    if (area.height == 0)
        return;
    if (area.width == area.to_line_length && area.width == area.from_line_length)
        memmove(area.to, area.from, area.width * area.height);
    else if (overlap(area))
        move_rows(area);
    else
        kernels().copy(area);
}

} // namespace ombrel::graphics
