#include "crypto/kernels/arm/arm.h"

#if defined(OMBREL_ARM_KERNELS)
#include <arm_neon.h>
#include <utility>

#include "crypto/kernels/sha_rounds.h"

namespace ombrel::crypto {

namespace {

#define OMBREL_INLINE OMBREL_ARM_TARGET("+crypto") [[gnu::always_inline]] inline

OMBREL_INLINE void load_block(uint32x4_t (&schedule)[4], const unsigned char* block) {
    for (int i = 0; i < 4; i++)
        schedule[i] = vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(block + 16 * i)));
}

template<size_t round>
OMBREL_INLINE uint32x4_t mix(uint32x4_t abcd, uint32_t e, uint32x4_t inputs) {
    if constexpr (round / 20 == 0)
        return vsha1cq_u32(abcd, e, inputs);
    else if constexpr (round / 20 == 2)
        return vsha1mq_u32(abcd, e, inputs);
    else
        return vsha1pq_u32(abcd, e, inputs);
}

// Four rounds on the words of `schedule`'s place `group`, which then makes room for those sixteen rounds on.
template<size_t group>
OMBREL_INLINE void four_sha1_rounds(uint32x4_t& abcd, uint32_t& e, uint32x4_t (&schedule)[4]) {
    uint32x4_t& words = schedule[group % 4];
    const uint32_t next_e = vsha1h_u32(vgetq_lane_u32(abcd, 0));
    abcd = mix<4 * group>(abcd, e, vaddq_u32(words, vdupq_n_u32(sha1_constants[group / 5])));
    e = next_e;
    if constexpr (group < 16) {
        const uint32x4_t older = vsha1su0q_u32(words, schedule[(group + 1) % 4], schedule[(group + 2) % 4]);
        words = vsha1su1q_u32(older, schedule[(group + 3) % 4]);
    }
}

template<size_t... group>
OMBREL_INLINE void all_sha1_rounds(uint32x4_t& abcd, uint32_t& e, uint32x4_t (&schedule)[4],
                                   std::index_sequence<group...> /*groups*/) {
    (four_sha1_rounds<group>(abcd, e, schedule), ...);
}

template<size_t group>
OMBREL_INLINE void four_sha256_rounds(uint32x4_t& abcd, uint32x4_t& efgh, uint32x4_t (&schedule)[4]) {
    uint32x4_t& words = schedule[group % 4];
    const uint32x4_t inputs = vaddq_u32(words, vld1q_u32(&sha256_constants[4 * group]));
    const uint32x4_t abcd_before = abcd;
    abcd = vsha256hq_u32(abcd, efgh, inputs);
    efgh = vsha256h2q_u32(efgh, abcd_before, inputs);
    if constexpr (group < 12) {
        const uint32x4_t older = vsha256su0q_u32(words, schedule[(group + 1) % 4]);
        words = vsha256su1q_u32(older, schedule[(group + 2) % 4], schedule[(group + 3) % 4]);
    }
}

template<size_t... group>
OMBREL_INLINE void all_sha256_rounds(uint32x4_t& abcd, uint32x4_t& efgh, uint32x4_t (&schedule)[4],
                                     std::index_sequence<group...> /*groups*/) {
    (four_sha256_rounds<group>(abcd, efgh, schedule), ...);
}

} // namespace

OMBREL_ARM_TARGET("+crypto")
void sha1_arm(uint32_t* state, const unsigned char* blocks, size_t count) {
    uint32x4_t abcd = vld1q_u32(state), schedule[4];
    uint32_t e = state[4];
    for (; count > 0; count--, blocks += 64) {
        const uint32x4_t abcd_before = abcd;
        const uint32_t e_before = e;
        load_block(schedule, blocks);
        all_sha1_rounds(abcd, e, schedule, std::make_index_sequence<20>());
        abcd = vaddq_u32(abcd, abcd_before);
        e += e_before;
    }
    vst1q_u32(state, abcd);
    state[4] = e;
}

OMBREL_ARM_TARGET("+crypto")
void sha256_arm(uint32_t* state, const unsigned char* blocks, size_t count) {
    uint32x4_t abcd = vld1q_u32(state), efgh = vld1q_u32(state + 4), schedule[4];
    for (; count > 0; count--, blocks += 64) {
        const uint32x4_t abcd_before = abcd, efgh_before = efgh;
        load_block(schedule, blocks);
        all_sha256_rounds(abcd, efgh, schedule, std::make_index_sequence<16>());
        abcd = vaddq_u32(abcd, abcd_before);
        efgh = vaddq_u32(efgh, efgh_before);
    }
    vst1q_u32(state, abcd);
    vst1q_u32(state + 4, efgh);
}

} // namespace ombrel::crypto
#endif
