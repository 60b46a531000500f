// The inner loops of base64: the plain ones, and beside them those for particular processors.
#pragma once

#include <cstddef>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::encoding {

struct base64_alphabet;

/// Makes 4 characters out of each of `groups` times 3 bytes.
using base64_encode_kernel = void (*)(char* text, const unsigned char* bytes, size_t groups,
                                      const base64_alphabet& alphabet);

/// Makes 3 bytes out of 4 characters, for at most `groups` groups and as far as they have characters of the
/// standard alphabet only; gives the groups made. Nothing is written beyond 3 times `groups` bytes.
using base64_decode_kernel = size_t (*)(unsigned char* bytes, const unsigned char* text, size_t groups);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<base64_encode_kernel>> encode;
    std::span<const candidate<base64_decode_kernel>> decode;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    base64_encode_kernel encode;
    base64_decode_kernel decode;
};

/// Chosen on the first call, for the life of the process, with the environment's OMBREL_PLAIN_KERNELS as the
/// setting.
const kernel_slots& kernels();

} // namespace ombrel::encoding
