#include "platform/processor.h"
#include "text/charset/kernels/kernels.h"
#include "text/charset/kernels/utf8_codes.h"
#include "text/charset/kernels/utf8_kernels.h"

namespace ombrel::charset {

namespace {

using namespace platform;

constexpr candidate<run_kernel> ascii_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx2", x86_avx2, ascii_run_avx2},
    {"ssse3", x86_ssse3, ascii_run_ssse3},
#elif defined(OMBREL_NEON_UTF8)
    {"neon", 0, ascii_run_neon},
#endif
    {"plain", 0, ascii_run_plain},
};
constexpr candidate<run_kernel> utf8_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx512", x86_avx512, utf8_run_avx512},
    {"avx2", x86_avx2, utf8_run_avx2},
    {"ssse3", x86_ssse3, utf8_run_ssse3},
#elif defined(OMBREL_NEON_UTF8)
    {"neon", 0, utf8_run_neon},
#endif
    {"plain", 0, utf8_run_plain},
};
constexpr candidate<count_kernel> count_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx2", x86_avx2, utf8_count_avx2},
    {"ssse3", x86_ssse3, utf8_count_ssse3},
#elif defined(OMBREL_NEON_UTF8)
    {"neon", 0, utf8_count_neon},
#endif
    {"plain", 0, utf8_count_plain},
};

constexpr candidate<unpack_kernel> unpack_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"ssse3", x86_ssse3, unpack_utf8_ssse3},
#elif defined(OMBREL_NEON_UTF8_CODES)
    {"neon", 0, unpack_utf8_neon},
#endif
    {"plain", 0, unpack_utf8_plain},
};
constexpr candidate<pack_kernel> pack_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"avx512", x86_avx512 | x86_vbmi2, pack_utf8_avx512},
    {"avx2", x86_avx2, pack_utf8_avx2},
    {"ssse3", x86_ssse3, pack_utf8_ssse3},
#elif defined(OMBREL_NEON_UTF8_CODES)
    {"neon", 0, pack_utf8_neon},
#endif
    {"plain", 0, pack_utf8_plain},
};

} // namespace

constinit const kernel_candidates all_kernels = {ascii_list, utf8_list, count_list, unpack_list, pack_list};

} // namespace ombrel::charset
