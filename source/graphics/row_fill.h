// Runs of pixels of one colour.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::graphics {

/// Writes `count` pixels of the colour's low 1 to 4 bytes, at any alignment. Rows without a gap between them
/// are best written as one.
void fill_row(unsigned char* to, uint32_t color, size_t count, unsigned bytes_per_pixel);

} // namespace ombrel::graphics
