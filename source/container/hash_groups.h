// Which slots of a group have a tag, by what every processor of a family has.
#pragma once

#include <cstdint>

#include "container/ascii_fold.h"
#include "container/hash_part.h"

#if defined(__aarch64__) && defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace ombrel {

/// A bit for each byte that is the same, of the group's header as it lies in memory.
struct plain_groups {
    static unsigned same(const unsigned char* group, uint8_t tag) {
        return same_in_word(load_word(group), tag) | same_in_word(load_word(group + 8), tag) << 8;
    }

private:
    static unsigned same_in_word(uint64_t tags, uint8_t tag) {
        const uint64_t differing = tags ^ every_byte<uint64_t>(tag), low = every_byte<uint64_t>(0x7F);
        const uint64_t zeros = ~(((differing & low) + low) | differing | low); // bit 7 of each byte
        return static_cast<unsigned>((zeros >> 7) * 0x0102040810204080 >> 56);
    }
};

#if defined(__aarch64__) && defined(__ARM_NEON)

struct neon_groups {
    static unsigned same(const unsigned char* group, uint8_t tag) {
        constexpr uint8_t bits[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        const uint8x16_t equal = vandq_u8(vceqq_u8(vld1q_u8(group), vdupq_n_u8(tag)), vld1q_u8(bits));
        return vaddv_u8(vget_low_u8(equal)) | static_cast<unsigned>(vaddv_u8(vget_high_u8(equal))) << 8;
    }
};

#endif

} // namespace ombrel
