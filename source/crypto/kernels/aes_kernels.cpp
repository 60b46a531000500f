#include "crypto/aes_kernel.h"
#include "platform/processor.h"

namespace ombrel::crypto {

namespace {

constexpr candidate<const aes_kernel*> aes_list[] = {
#if defined(__x86_64__) || defined(__i386__)
    {"wide AES instructions",
     platform::x86_vaes | platform::x86_avx2 | platform::x86_aes | platform::x86_ssse3, &aes_x86_wide},
    {"AES instructions", platform::x86_aes | platform::x86_ssse3, &aes_x86},
#elif defined(OMBREL_ARM_KERNELS)
    {"AES instructions", platform::arm_aes, &aes_arm},
#endif
    {"plain", 0, &aes_plain},
};

} // namespace

constinit const std::span<const candidate<const aes_kernel*>> aes_kernels = aes_list;

} // namespace ombrel::crypto
