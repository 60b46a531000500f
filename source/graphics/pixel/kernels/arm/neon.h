// The kernels for 64-bit Arm processors, all of which have the instructions.
#pragma once

#if defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#define OMBREL_NEON_GRAPHICS 1

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

void widen_neon(unsigned char* to, const unsigned char* from, size_t count, uint32_t top);
void narrow_neon(unsigned char* to, const unsigned char* from, size_t count);
void blend_neon(unsigned char* to, const unsigned char* from, size_t count, const blend_settings& settings);

} // namespace ombrel::graphics
#endif
