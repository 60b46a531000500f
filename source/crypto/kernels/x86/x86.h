// The kernels for x86 processors, 64-bit and 32-bit. The names say what they need.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#define OMBREL_X86_KERNELS 1

#include <cstddef>
#include <cstdint>

#include "crypto/kernels/crc_folding.h"

namespace ombrel::crypto {

size_t fold_pclmul(const fold_distances& distances, uint64_t crc, const unsigned char* data, size_t size,
                   unsigned char (&rest)[16]);
size_t fold_vpclmul(const fold_distances& distances, uint64_t crc, const unsigned char* data, size_t size,
                    unsigned char (&rest)[16]);

void sha1_sha(uint32_t* state, const unsigned char* blocks, size_t count);
void sha1_avx2(uint32_t* state, const unsigned char* blocks, size_t count);
void sha1_ssse3(uint32_t* state, const unsigned char* blocks, size_t count);

void sha256_sha(uint32_t* state, const unsigned char* blocks, size_t count);
void sha256_avx2(uint32_t* state, const unsigned char* blocks, size_t count);
void sha256_ssse3(uint32_t* state, const unsigned char* blocks, size_t count);

} // namespace ombrel::crypto
#endif
