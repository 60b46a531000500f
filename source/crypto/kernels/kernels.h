// The inner loops of checksums, digests and ciphers: the plain ones, and beside them those for particular
// processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::crypto {

struct aes_kernel;

/// Runs a register, nothing inverted, over bytes.
template<typename Register>
using crc_kernel = Register (*)(Register crc, const unsigned char* data, size_t size);

/// Runs a digest's state words over whole blocks of 64 bytes.
using block_kernel = void (*)(uint32_t* state, const unsigned char* blocks, size_t count);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<crc_kernel<uint16_t>>> crc16_ibm, crc16_ccitt;
    std::span<const candidate<crc_kernel<uint32_t>>> crc32;
    std::span<const candidate<crc_kernel<uint64_t>>> crc64;
    std::span<const candidate<block_kernel>> md5, sha1, sha256;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    crc_kernel<uint16_t> crc16_ibm, crc16_ccitt;
    crc_kernel<uint32_t> crc32;
    crc_kernel<uint64_t> crc64;
    block_kernel md5, sha1, sha256;
    const aes_kernel* aes; ///< of aes_kernels in aes_kernel.h
};

/// Chosen on the first call, for the life of the process, with the environment's OMBREL_PLAIN_KERNELS as the
/// setting.
const kernel_slots& kernels();

} // namespace ombrel::crypto
