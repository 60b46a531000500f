#include <cstring>

#include "graphics/pixel/kernels/generic/plain.h"

namespace ombrel::graphics {

void copy_plain(const copy_area& area) {
    for (size_t row = 0; row < area.height; row++)
        memcpy(area.to + row * area.to_line_length, area.from + row * area.from_line_length, area.width);
}

} // namespace ombrel::graphics
