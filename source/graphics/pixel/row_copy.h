// Rows of bytes copied from one place to another.
#pragma once

#include <cstddef>

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

/// Copies the rows as if they had been copied aside first, as long as rows that overlap belong to one bitmap.
void copy_rows(const copy_area& area);

} // namespace ombrel::graphics
