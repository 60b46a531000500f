// AES on bit planes: a plane holds one bit of each of 64 bytes, and logic on whole planes takes the place of
// table look-ups, so that neither time nor memory access tells anything about keys or data.
#pragma once

#include <array>
#include <cstdint>

namespace ombrel::crypto {

/// Plane k holds bit k of every byte.
using bit_planes = std::array<uint64_t, 8>;

/// Turns eight words of eight bytes into planes and back: bit k of byte i of word j goes to bit 8i + j of
/// plane k.
void transpose_planes(bit_planes& planes);

/// The S-box on all 64 bytes.
void substitute_planes(bit_planes& planes);

} // namespace ombrel::crypto
