#include <atomic>
#include <cstdlib>

#include "core/short_lock_guard.h"
#include "integrity/aes_kernel.h"
#include "integrity/kernels/kernels.h"
#include "platform/processor.h"

namespace ombrel::integrity {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.crc16_ibm, features),     choose(all_kernels.crc16_ccitt, features),
            choose(all_kernels.crc32, features),         choose(all_kernels.crc64, features),
            choose(all_kernels.md5, features),           choose(all_kernels.sha1, features),
            choose(all_kernels.sha256, features),        choose(aes_kernels, features),
            choose(all_kernels.base64_encode, features), choose(all_kernels.base64_decode, features)};
}

constinit kernel_slots slots{};
constinit std::atomic<bool> chosen{false};
constinit ombrel_short_lock_t choosing{};

void choose_once() {
    const short_lock_guard guard(choosing);
    if (chosen.load(std::memory_order_relaxed))
        return;
    slots = choose_all(features_to_use(getenv("OMBREL_PLAIN_KERNELS"), platform::processor_features()));
    chosen.store(true, std::memory_order_release);
}

} // namespace

const kernel_slots& kernels() {
    if (!chosen.load(std::memory_order_acquire))
        choose_once();
    return slots;
}

} // namespace ombrel::integrity
