// Hash tables by the AES instructions of 64-bit Arm processors.
#include "container/kernels/arm/hash_aes.h"

#if defined(OMBREL_ARM_HASH)

#include "container/aes_hash.h"
#include "container/hash_groups.h"
#include "container/hash_loops.h"

namespace ombrel {
namespace {

struct arm_block {
    using vector = uint8x16_t;

    OMBREL_PART_OF_AES_HASH vector load(const unsigned char* bytes) { return vld1q_u8(bytes); }
    OMBREL_PART_OF_AES_HASH vector load_key(const unsigned char* bytes) { return load(bytes); }
    OMBREL_PART_OF_AES_HASH vector of_words(uint64_t low, uint64_t high) {
        return vreinterpretq_u8_u64(vcombine_u64(vcreate_u64(low), vcreate_u64(high)));
    }
    OMBREL_PART_OF_AES_HASH uint64_t low(vector block) {
        return vgetq_lane_u64(vreinterpretq_u64_u8(block), 0);
    }
    OMBREL_PART_OF_AES_HASH vector add(vector a, vector b) { return veorq_u8(a, b); }
    // Here an instruction adds its key before the substitution.
    OMBREL_PART_OF_AES_HASH vector round(vector block, vector key) {
        return veorq_u8(vaesmcq_u8(vaeseq_u8(block, vdupq_n_u8(0))), key);
    }
    OMBREL_PART_OF_AES_HASH vector fold(vector block) {
        const vector capitals = vcleq_u8(vsubq_u8(block, vdupq_n_u8('A')), vdupq_n_u8('Z' - 'A'));
        return vorrq_u8(block, vandq_u8(capitals, vdupq_n_u8(0x20)));
    }
};

struct arm_machine : aes_hash<arm_block>, neon_groups {};

constexpr hash_kernel numbers = number_kernel<arm_machine>();
constexpr hash_kernel bytes = bytes_kernel<arm_machine, false>();
constexpr hash_kernel folded_bytes = bytes_kernel<arm_machine, true>();

} // namespace

constinit const hash_kernels aes_arm_hash_kernels = {&numbers, &bytes, &folded_bytes};

} // namespace ombrel

#endif
