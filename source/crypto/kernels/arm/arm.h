// The kernels for 64-bit Arm processors. A compiler that knows the instructions only in builds which assume
// them leaves the kernels out of other builds.
#pragma once

#if defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#if !defined(__clang__) || __clang_major__ >= 17
#define OMBREL_ARM_KERNELS 1
#define OMBREL_ARM_TARGET(extension) [[gnu::target(extension)]]
#elif defined(__ARM_FEATURE_CRYPTO) && defined(__ARM_FEATURE_CRC32)
#define OMBREL_ARM_KERNELS 1
#define OMBREL_ARM_TARGET(extension)
#endif
#endif

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
