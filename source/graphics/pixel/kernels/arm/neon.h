// The kernels for 64-bit Arm processors, all of which have the instructions.
#pragma once

#if defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#define OMBREL_NEON_GRAPHICS 1

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

void widen_neon(unsigned char* to, const unsigned char* from, size_t count, uint32_t top);
void narrow_neon(unsigned char* to, const unsigned char* from, size_t count);
void blend_neon(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings);

void gather32_neon(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count);
void reverse32_neon(unsigned char* to, const unsigned char* from, size_t count);
void turn32_neon(const turn_area& area);

void mix_columns_neon(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                      const uint32_t* columns, const uint16_t* weights, size_t count);
void mix_rows_neon(unsigned char* to, const int16_t* upper, const int16_t* lower, unsigned weight,
                   size_t count);
void weigh_rows_neon(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                     const unsigned char* second, unsigned second_weight, size_t count);

} // namespace ombrel::graphics
#endif
