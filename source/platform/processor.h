// What the processor can do beyond the instructions that the build assumes.
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// Instruction sets that both the processor and the system support. The bits of a processor family say
/// nothing about another one.
enum processor_feature : uint32_t {
    x86_ssse3 = 1u << 0,
    x86_sse41 = 1u << 1,
    x86_pclmul = 1u << 2,
    x86_avx2 = 1u << 3,
    x86_bmi2 = 1u << 4,
    x86_sha = 1u << 5,
    x86_aes = 1u << 6,
    x86_avx512 = 1u << 7, ///< foundation, byte and word, doubleword and quadword, shorter vectors
    x86_vpclmul = 1u << 8,
    x86_vaes = 1u << 9,
    x86_vbmi2 = 1u << 10, ///< bytes of vectors pushed together

    arm_aes = 1u << 16,
    arm_pmull = 1u << 17,
    arm_sha1 = 1u << 18,
    arm_sha256 = 1u << 19,
    arm_crc32 = 1u << 20,
};

/// The set of features. It asks the processor anew each time: callers keep the answer.
uint32_t processor_features();

} // namespace ombrel::platform
