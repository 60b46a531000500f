// The inner loops over texts in UTF-8: the plain ones, and beside them those for particular processors. Texts
// lie at any alignment, and nothing outside of them is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::charset {

/// How many bytes at the front of a text are of the kind that the kernel stands for: ASCII, or whole valid
/// characters of UTF-8.
using run_kernel = size_t (*)(const char* text, size_t size);

/// How many bytes of a text are no continuation bytes of UTF-8.
using count_kernel = size_t (*)(const char* text, size_t size);

/// How far a conversion came.
struct utf8_progress {
    size_t bytes, codes;
};

/// Makes code points of a valid text, as many as fit. Behind them, within the room, others may be written.
using unpack_kernel = utf8_progress (*)(uint32_t* codes, size_t room, const char* text, size_t size);

/// Makes text of code points, as many as fit whole. Behind it, within the room, bytes may be written.
using pack_kernel = utf8_progress (*)(char* text, size_t room, const uint32_t* codes, size_t count);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<run_kernel>> ascii, utf8;
    std::span<const candidate<count_kernel>> count;
    std::span<const candidate<unpack_kernel>> unpack;
    std::span<const candidate<pack_kernel>> pack;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    run_kernel ascii, utf8;
    count_kernel count;
    unpack_kernel unpack;
    pack_kernel pack;
};

/// Chosen on the first call.
const kernel_slots& kernels();

} // namespace ombrel::charset
