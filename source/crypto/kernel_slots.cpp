#include "core/kernel_table.h"
#include "crypto/aes_kernel.h"
#include "crypto/kernels/kernels.h"

namespace ombrel::crypto {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.crc16_ibm, features), choose(all_kernels.crc16_ccitt, features),
            choose(all_kernels.crc32, features),     choose(all_kernels.crc64, features),
            choose(all_kernels.md5, features),       choose(all_kernels.sha1, features),
            choose(all_kernels.sha256, features),    choose(aes_kernels, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

} // namespace ombrel::crypto
