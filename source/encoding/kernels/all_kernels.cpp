#include "encoding/kernels/base64.h"
#include "encoding/kernels/kernels.h"
#include "platform/processor.h"

namespace ombrel::encoding {

namespace {

using namespace platform;

constexpr candidate<base64_encode_kernel> encode_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx2", x86_avx2, encode_base64_avx2},
    {"ssse3", x86_ssse3, encode_base64_ssse3},
#elif defined(OMBREL_NEON_BASE64)
    {"neon", 0, encode_base64_neon},
#endif
    {"plain", 0, encode_base64_plain},
};
constexpr candidate<base64_decode_kernel> decode_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx2", x86_avx2, decode_base64_avx2},
    {"ssse3", x86_ssse3, decode_base64_ssse3},
#elif defined(OMBREL_NEON_BASE64)
    {"neon", 0, decode_base64_neon},
#endif
    {"plain", 0, decode_base64_plain},
};

} // namespace

constinit const kernel_candidates all_kernels = {encode_list, decode_list};

} // namespace ombrel::encoding
