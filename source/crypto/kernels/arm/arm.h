// The kernels for 64-bit Arm processors.
#pragma once

#include "crypto/kernels/arm/target.h"

#if defined(OMBREL_ARM_KERNELS)
#include <cstddef>
#include <cstdint>

#include "crypto/kernels/crc_folding.h"

namespace ombrel::crypto {

size_t fold_pmull(const fold_distances& distances, uint64_t crc, const unsigned char* data, size_t size,
                  unsigned char (&rest)[16]);
uint32_t crc32_arm(uint32_t crc, const unsigned char* data, size_t size);

void sha1_arm(uint32_t* state, const unsigned char* blocks, size_t count);
void sha256_arm(uint32_t* state, const unsigned char* blocks, size_t count);

} // namespace ombrel::crypto
#endif
