// The kernels for x86 processors, 64-bit and 32-bit. The names say what they need.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#define OMBREL_X86_GRAPHICS 1

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

void fill16_avx2(const fill_area& area, uint32_t color);
void fill32_avx2(const fill_area& area, uint32_t color);
void copy_avx2(const copy_area& area);
void widen_avx2(unsigned char* to, const unsigned char* from, size_t count, uint32_t top);
void narrow_avx2(unsigned char* to, const unsigned char* from, size_t count);

void glyph16_avx2(const glyph_area& area, const glyph_colors& colors);
void glyph32_avx2(const glyph_area& area, const glyph_colors& colors);

void blend_avx2(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings);
void blend_ssse3(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings);

void gather32_avx2(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count);
void reverse32_avx2(unsigned char* to, const unsigned char* from, size_t count);
void turn32_avx2(const turn_area& area);

void mix_columns_avx2(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                      const uint32_t* columns, const uint16_t* weights, size_t count);
void mix_rows_avx2(unsigned char* to, const int16_t* upper, const int16_t* lower, unsigned weight,
                   size_t count);
void weigh_rows_avx2(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                     const unsigned char* second, unsigned second_weight, size_t count);

} // namespace ombrel::graphics
#endif
