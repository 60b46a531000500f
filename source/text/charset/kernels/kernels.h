// The inner loops over texts in UTF-8: the plain ones, and beside them those for particular processors. Texts
// lie at any alignment, and nothing outside of them is read.
#pragma once

#include <cstddef>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::charset {

/// How many bytes at the front of a text are of the kind that the kernel stands for: ASCII, or whole valid
/// characters of UTF-8.
using run_kernel = size_t (*)(const char* text, size_t size);

/// How many bytes of a text are no continuation bytes of UTF-8.
using count_kernel = size_t (*)(const char* text, size_t size);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<run_kernel>> ascii, utf8;
    std::span<const candidate<count_kernel>> count;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    run_kernel ascii, utf8;
    count_kernel count;
};

/// Chosen on the first call.
const kernel_slots& kernels();

} // namespace ombrel::charset
