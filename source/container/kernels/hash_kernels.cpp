#include "container/kernels/hash_kernels.h"

#include "container/kernels/arm/hash_aes.h"
#include "core/kernel_table.h"

namespace ombrel {

namespace {

using namespace platform;

constexpr candidate<const hash_kernels*> list[] = {
#if defined(OMBREL_X86_HASH)
    {"aes", x86_aes | x86_ssse3, &aes_x86_hash_kernels},
#elif defined(OMBREL_ARM_HASH)
    {"aes", arm_aes, &aes_arm_hash_kernels},
#endif
    {"plain", 0, &plain_hash_kernels},
};

const hash_kernels* choose_all(uint32_t features) {
    return choose(all_hash_kernels, features);
}

constinit kernel_table<const hash_kernels*, choose_all> chosen;

} // namespace

constinit const std::span<const candidate<const hash_kernels*>> all_hash_kernels = list;

const hash_kernel& hash_kernels::of(uint32_t flags) const {
    if ((flags & def_ombrel_hash_numbers) != 0)
        return *numbers;
    return (flags & def_ombrel_hash_any_case) != 0 ? *folded_bytes : *bytes;
}

const hash_kernels& hash_kernels_here() {
    return *chosen.get();
}

} // namespace ombrel
