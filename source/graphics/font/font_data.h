// The built-in fonts, written by tools/font/generate.py.
#pragma once

#include <array>
#include <cstdint>

#include <ombrel/font.h>

namespace ombrel::graphics {

extern const std::array<uint8_t, def_ombrel_bitmap_font_8x16_en_size> font_8x16_en;
extern const std::array<uint8_t, def_ombrel_bitmap_font_16x16_ko_size> font_16x16_ko;

} // namespace ombrel::graphics
