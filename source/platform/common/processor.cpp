#include "platform/processor.h"

#include <cstddef>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#elif defined(__aarch64__) && defined(__linux__)
#include <sys/auxv.h>
#elif defined(__aarch64__) && defined(_WIN32)
#include <windows.h>
#endif

namespace ombrel::platform {

namespace {

struct feature_bit {
    unsigned long word;
    processor_feature feature;
};

template<size_t count>
uint32_t present(const feature_bit (&bits)[count], unsigned long word) {
    uint32_t features = 0;
    for (const feature_bit& bit : bits)
        if ((word & bit.word) == bit.word)
            features |= bit.feature;
    return features;
}

#if defined(__x86_64__) || defined(__i386__)

constexpr feature_bit first_leaf[] = {
    {1u << 1, x86_pclmul},
    {1u << 9, x86_ssse3},
    {1u << 19, x86_sse41},
    {1u << 25, x86_aes},
};
constexpr feature_bit extended_leaf[] = {
    {1u << 5, x86_avx2},
    {1u << 8, x86_bmi2},
    {1u << 16 | 1u << 17 | 1u << 30 | 1u << 31, x86_avx512},
    {1u << 29, x86_sha},
};
constexpr feature_bit extended_leaf_ecx[] = {
    {1u << 6, x86_vbmi2},
    {1u << 9, x86_vaes},
    {1u << 10, x86_vpclmul},
};
constexpr unsigned long os_saves_vectors = 1u << 27;

// Which register sets the system saves when it changes tasks.
uint32_t saved_state() {
    uint32_t low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

uint32_t unusable_vectors(unsigned long first_leaf_ecx) {
    constexpr uint32_t avx_state = 0x06, avx512_state = 0xE6;
    const uint32_t state = (first_leaf_ecx & os_saves_vectors) != 0 ? saved_state() : 0;
    if ((state & avx512_state) == avx512_state)
        return 0;
    constexpr uint32_t beyond_avx2 = x86_avx512 | x86_vbmi2;
    return (state & avx_state) == avx_state ? beyond_avx2 : beyond_avx2 | x86_avx2 | x86_vpclmul | x86_vaes;
}

#elif defined(__aarch64__) && defined(__linux__)

constexpr feature_bit hardware_words[] = {
    {1u << 3, arm_aes},    {1u << 4, arm_pmull}, {1u << 5, arm_sha1},
    {1u << 6, arm_sha256}, {1u << 7, arm_crc32},
};

#endif

} // namespace

#if defined(__x86_64__) || defined(__i386__)

uint32_t processor_features() {
    unsigned eax, ebx, ecx, edx;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0)
        return 0;
    uint32_t features = present(first_leaf, ecx);
    const uint32_t unusable = unusable_vectors(ecx);
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0)
        features |= present(extended_leaf, ebx) | present(extended_leaf_ecx, ecx);
    return features & ~unusable;
}

#elif defined(__aarch64__) && defined(__linux__)

uint32_t processor_features() {
    return present(hardware_words, getauxval(AT_HWCAP));
}

#elif defined(__aarch64__) && defined(_WIN32)

uint32_t processor_features() {
    uint32_t features = 0;
    if (IsProcessorFeaturePresent(PF_ARM_V8_CRYPTO_INSTRUCTIONS_AVAILABLE))
        features |= arm_aes | arm_pmull | arm_sha1 | arm_sha256;
    if (IsProcessorFeaturePresent(PF_ARM_V8_CRC32_INSTRUCTIONS_AVAILABLE))
        features |= arm_crc32;
    return features;
}

#else

uint32_t processor_features() {
    return 0;
}

#endif

} // namespace ombrel::platform
