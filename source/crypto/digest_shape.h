// What is inside a message digest, for those who run its blocks themselves.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/digest.h>

#include "crypto/digest_internal.h"

namespace ombrel::crypto {

struct digest_shape {
    const char* name;
    block_kernel kernel_slots::*kernel;
    padding (*pad)(uint64_t message_bits);
    void (*store)(unsigned char* to, uint32_t word);
    const uint32_t* (*state)(const ombrel_digest_t& digest);
};

constexpr size_t most_digest_words = def_ombrel_digest_size_max / sizeof(uint32_t);

/// Null for a checksum and for what is no algorithm.
const digest_shape* find_digest_shape(const ombrel_digest_algorithm_t* algorithm);

} // namespace ombrel::crypto
