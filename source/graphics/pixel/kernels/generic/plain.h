// The kernels that every processor runs.
#pragma once

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

void fill16_plain(const fill_area& area, uint32_t color);
void fill24_plain(const fill_area& area, uint32_t color);
void fill32_plain(const fill_area& area, uint32_t color);

void copy_plain(const copy_area& area);

void widen_plain(unsigned char* to, const unsigned char* from, size_t count, uint32_t top);
void narrow_plain(unsigned char* to, const unsigned char* from, size_t count);

void glyph8_plain(const glyph_area& area, const glyph_colors& colors);
void glyph16_plain(const glyph_area& area, const glyph_colors& colors);
void glyph24_plain(const glyph_area& area, const glyph_colors& colors);
void glyph32_plain(const glyph_area& area, const glyph_colors& colors);

void blend_plain(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings);

void gather32_plain(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count);
void reverse32_plain(unsigned char* to, const unsigned char* from, size_t count);
void turn32_plain(const turn_area& area);

void mix_columns_plain(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                       const uint32_t* columns, const uint16_t* weights, size_t count);
void mix_rows_plain(unsigned char* to, const int16_t* upper, const int16_t* lower, unsigned weight,
                    size_t count);
void weigh_rows_plain(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                      const unsigned char* second, unsigned second_weight, size_t count);

} // namespace ombrel::graphics
