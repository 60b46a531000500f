// The inner loops of base64, all of the types base64_encode_kernel and base64_decode_kernel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/kernels/base64_tables.h"

namespace ombrel::encoding {

void encode_base64_plain(char* text, const unsigned char* bytes, size_t groups,
                         const base64_alphabet& alphabet);
size_t decode_base64_plain(unsigned char* bytes, const unsigned char* text, size_t groups);

#if defined(__x86_64__) || defined(__i386__)
void encode_base64_ssse3(char* text, const unsigned char* bytes, size_t groups,
                         const base64_alphabet& alphabet);
size_t decode_base64_ssse3(unsigned char* bytes, const unsigned char* text, size_t groups);
void encode_base64_avx2(char* text, const unsigned char* bytes, size_t groups,
                        const base64_alphabet& alphabet);
size_t decode_base64_avx2(unsigned char* bytes, const unsigned char* text, size_t groups);
#elif defined(__aarch64__) && defined(__ARM_NEON)
#define OMBREL_NEON_BASE64 1
void encode_base64_neon(char* text, const unsigned char* bytes, size_t groups,
                        const base64_alphabet& alphabet);
size_t decode_base64_neon(unsigned char* bytes, const unsigned char* text, size_t groups);
#endif

} // namespace ombrel::encoding
