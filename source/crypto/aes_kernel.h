// The inner loops of AES: the plain ones, and beside them those for particular processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "crypto/kernels/arm/target.h"
#include "crypto/kernels/kernels.h"

namespace ombrel::crypto {

constexpr size_t aes_block_size = 16;
constexpr unsigned aes_most_rounds = 14;

/// An expanded key in the caller's buffer: a block for each round and one before them.
struct aes_key {
    const uint8_t* bytes;
    unsigned rounds;
};

/// All work in place, at any alignment.
struct aes_kernel {
    using blocks_function = void (*)(const aes_key& key, uint8_t* data, size_t blocks);
    using bytes_function = void (*)(const aes_key& key, uint8_t* data, size_t size, uint8_t* iv);

    blocks_function encrypt_ecb, decrypt_ecb;
    bytes_function encrypt_cfb8, decrypt_cfb8, run_ofb8;
};

/// All kernels of this build, the fastest first.
extern const std::span<const candidate<const aes_kernel*>> aes_kernels;

extern const aes_kernel aes_plain;
#if defined(__x86_64__) || defined(__i386__)
extern const aes_kernel aes_x86, aes_x86_wide;
#elif defined(OMBREL_ARM_KERNELS)
extern const aes_kernel aes_arm;
#endif

} // namespace ombrel::crypto
