// The allocator under malloc().
#pragma once

#include <cstddef>
#include <cstdlib>

#if defined(__GLIBC__)
extern "C" void* __libc_malloc(size_t size);
#endif

namespace ombrel::platform {

/// Whether malloc() is that of a C library with fast lists for small blocks only. A program may bring its
/// own: a faster one, one that looks for mistakes, or one that counts requests or lets them fail.
inline bool has_slow_middle_blocks() {
#if defined(__GLIBC__)
    // Two names of one function unless the program defines the first; the compiler must not conclude that two
    // names are two functions.
    void* (*called)(size_t) = malloc;
    asm("" : "+r"(called));
    return called == __libc_malloc;
#else
    return false;
#endif
}

} // namespace ombrel::platform
