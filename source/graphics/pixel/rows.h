// Rows of pixels filled with one colour, or copied from one place to another.
#pragma once

#include <cstddef>
#include <cstdint>

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

/// Writes `count` pixels of the colour's low 1 to 4 bytes, at any alignment.
void fill_row(unsigned char* to, uint32_t color, size_t count, unsigned bytes_per_pixel);

/// Writes rows of such pixels that begin `line_length` bytes from each other.
void fill_rows(unsigned char* to, size_t line_length, uint32_t color, size_t width, size_t height,
               unsigned bytes_per_pixel);

/// Copies the rows as if they had been copied aside first, as long as rows that overlap belong to one bitmap.
void copy_rows(const copy_area& area);

} // namespace ombrel::graphics
