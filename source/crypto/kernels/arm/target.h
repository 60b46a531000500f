// Whether this build has the kernels for 64-bit Arm processors, and how a function is given their
// instructions. A compiler that knows the instructions only in builds which assume them leaves the kernels
// out of other builds.
#pragma once

#if defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#if !defined(__clang__) || __clang_major__ >= 17
#define OMBREL_ARM_KERNELS 1
#define OMBREL_ARM_TARGET(extension) [[gnu::target(extension)]]
#elif defined(__ARM_FEATURE_CRYPTO) && defined(__ARM_FEATURE_CRC32)
#define OMBREL_ARM_KERNELS 1
#define OMBREL_ARM_TARGET(extension)
#endif
#endif
