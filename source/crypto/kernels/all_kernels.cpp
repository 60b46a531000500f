#include "crypto/kernels/arm/arm.h"
#include "crypto/kernels/generic/plain.h"
#include "crypto/kernels/kernels.h"
#include "crypto/kernels/x86/x86.h"
#include "platform/processor.h"

namespace ombrel::crypto {

namespace {

using namespace platform;

template<typename Model>
constexpr candidate<crc_kernel<typename Model::word>> crc_list[] = {
#if defined(OMBREL_X86_KERNELS)
    {"vpclmul", x86_avx512 | x86_vpclmul | x86_pclmul | x86_sse41, crc_by_folding<Model, fold_vpclmul>},
    {"pclmul", x86_pclmul | x86_sse41, crc_by_folding<Model, fold_pclmul>},
#elif defined(OMBREL_ARM_KERNELS)
    {"pmull", arm_pmull, crc_by_folding<Model, fold_pmull>},
#endif
    {"plain", 0, crc_by_slices<Model>},
};

#if defined(OMBREL_ARM_KERNELS)
// Many a small processor has the instructions for this one polynomial and no carry-less multiplication.
template<>
constexpr candidate<crc_kernel<uint32_t>> crc_list<crc32_model>[] = {
    {"pmull", arm_pmull, crc_by_folding<crc32_model, fold_pmull>},
    {"crc32", arm_crc32, crc32_arm},
    {"plain", 0, crc_by_slices<crc32_model>},
};
#endif

constexpr candidate<block_kernel> md5_list[] = {
    {"plain", 0, md5_plain},
};

constexpr candidate<block_kernel> sha1_list[] = {
#if defined(OMBREL_X86_KERNELS)
    {"sha", x86_sha | x86_sse41 | x86_ssse3, sha1_sha},
    {"avx2", x86_avx2 | x86_bmi2, sha1_avx2},
    {"ssse3", x86_ssse3, sha1_ssse3},
#elif defined(OMBREL_ARM_KERNELS)
    {"sha1", arm_sha1, sha1_arm},
#endif
    {"plain", 0, sha1_plain},
};

constexpr candidate<block_kernel> sha256_list[] = {
#if defined(OMBREL_X86_KERNELS)
    {"sha", x86_sha | x86_sse41 | x86_ssse3, sha256_sha},
    {"avx2", x86_avx2 | x86_bmi2, sha256_avx2},
    {"ssse3", x86_ssse3, sha256_ssse3},
#elif defined(OMBREL_ARM_KERNELS)
    {"sha2", arm_sha256, sha256_arm},
#endif
    {"plain", 0, sha256_plain},
};

} // namespace

constinit const kernel_candidates all_kernels = {crc_list<crc16_ibm_model>,
                                                 crc_list<crc16_ccitt_model>,
                                                 crc_list<crc32_model>,
                                                 crc_list<crc64_model>,
                                                 md5_list,
                                                 sha1_list,
                                                 sha256_list};

} // namespace ombrel::crypto
