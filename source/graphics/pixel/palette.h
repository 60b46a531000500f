// The colours of palette and grey interfaces, matched.
#pragma once

#include <cstdint>

namespace ombrel::graphics {

/// As ombrel_convert_color() for an interface of has_palette(), but to the nearest of its colours.
uint32_t nearest_palette_color(uint32_t to_interface, uint32_t from_interface, uint32_t color);

} // namespace ombrel::graphics
