// Hash tables by SipHash and the instructions that every processor of a family has.

#define OMBREL_HASH_TARGET
#include "container/hash_groups.h"
#include "container/hash_loops.h"
#include "container/kernels/hash_kernels.h"

namespace ombrel {
namespace {

#if defined(__aarch64__) && defined(__ARM_NEON)
using groups = neon_groups;
#else
using groups = plain_groups;
#endif

struct plain_machine : groups {
    static uint64_t of_number(const hash_secret& secret, uint64_t number) {
        return sip_hash::of_number(secret.words, number);
    }
    template<bool folds>
    static uint64_t of_bytes(const hash_secret& secret, const unsigned char* bytes, size_t size) {
        return sip_hash::of_bytes<folds>(secret.words, bytes, size);
    }
};

constexpr hash_kernel numbers = number_kernel<plain_machine>();
constexpr hash_kernel bytes = bytes_kernel<plain_machine, false>();
constexpr hash_kernel folded_bytes = bytes_kernel<plain_machine, true>();

} // namespace

constinit const hash_kernels plain_hash_kernels = {&numbers, &bytes, &folded_bytes};

} // namespace ombrel
