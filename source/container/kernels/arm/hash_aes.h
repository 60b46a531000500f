// Whether this build has the kernels for 64-bit Arm processors. A compiler that knows the instructions only
// in builds which assume them leaves them out of other builds.
#pragma once

#include "container/kernels/hash_kernels.h"

#if defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#if !defined(__clang__) || __clang_major__ >= 17
#define OMBREL_ARM_HASH 1
#define OMBREL_HASH_TARGET [[gnu::target("+crypto")]]
#elif defined(__ARM_FEATURE_CRYPTO)
#define OMBREL_ARM_HASH 1
#define OMBREL_HASH_TARGET
#endif
#endif

#if defined(OMBREL_ARM_HASH)
namespace ombrel {
extern const hash_kernels aes_arm_hash_kernels;
}
#endif
