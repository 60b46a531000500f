// The inner loops of checksums, digests and ciphers: the plain ones, and beside them those for particular
// processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::integrity {

struct aes_kernel;

/// Runs a register, nothing inverted, over bytes.
template<typename Register>
using crc_kernel = Register (*)(Register crc, const unsigned char* data, size_t size);

/// Runs a digest's state words over whole blocks of 64 bytes.
using block_kernel = void (*)(uint32_t* state, const unsigned char* blocks, size_t count);

struct base64_alphabet;

/// Makes 4 characters out of each of `groups` times 3 bytes.
using base64_encode_kernel = void (*)(char* text, const unsigned char* bytes, size_t groups,
                                      const base64_alphabet& alphabet);

/// Makes 3 bytes out of 4 characters, for at most `groups` groups and as far as they have characters of the
/// standard alphabet only; gives the groups made. Nothing is written beyond 3 times `groups` bytes.
using base64_decode_kernel = size_t (*)(unsigned char* bytes, const unsigned char* text, size_t groups);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<crc_kernel<uint16_t>>> crc16_ibm, crc16_ccitt;
    std::span<const candidate<crc_kernel<uint32_t>>> crc32;
    std::span<const candidate<crc_kernel<uint64_t>>> crc64;
    std::span<const candidate<block_kernel>> md5, sha1, sha256;
    std::span<const candidate<base64_encode_kernel>> base64_encode;
    std::span<const candidate<base64_decode_kernel>> base64_decode;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    crc_kernel<uint16_t> crc16_ibm, crc16_ccitt;
    crc_kernel<uint32_t> crc32;
    crc_kernel<uint64_t> crc64;
    block_kernel md5, sha1, sha256;
    const aes_kernel* aes; ///< of aes_kernels in aes_kernel.h
    base64_encode_kernel base64_encode;
    base64_decode_kernel base64_decode;
};

/// Chosen on the first call, for the life of the process, with the environment's OMBREL_PLAIN_KERNELS as the
/// setting.
const kernel_slots& kernels();

} // namespace ombrel::integrity
