// Runs of pixels of one colour.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::graphics {

/// Writes `count` pixels of the colour's low 1 to 4 bytes, at any alignment.
void fill_row(unsigned char* to, uint32_t color, size_t count, unsigned bytes_per_pixel);

/// Writes rows of such pixels that begin `line_length` bytes from each other.
void fill_rows(unsigned char* to, size_t line_length, uint32_t color, size_t width, size_t height,
               unsigned bytes_per_pixel);

} // namespace ombrel::graphics
