// The kernels of hash tables.
#pragma once

#include <cstdint>
#include <span>

#include "container/hash_table.h"
#include "core/kernel_choice.h"

namespace ombrel {

/// One for each kind of keys.
struct hash_kernels {
    const hash_kernel* numbers;
    const hash_kernel* bytes;
    const hash_kernel* folded_bytes; ///< whose ASCII letters match either case

    /// For the flags of a table.
    const hash_kernel& of(uint32_t flags) const;
};

extern const hash_kernels plain_hash_kernels;
#if defined(__x86_64__) || defined(__i386__)
#define OMBREL_X86_HASH 1
extern const hash_kernels aes_x86_hash_kernels;
#endif

/// The best first.
extern const std::span<const candidate<const hash_kernels*>> all_hash_kernels;

/// Those that fit the processor.
const hash_kernels& hash_kernels_here();

} // namespace ombrel
