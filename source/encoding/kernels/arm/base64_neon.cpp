#include "encoding/kernels/base64.h"

#if defined(OMBREL_NEON_BASE64)

#include <arm_neon.h>

namespace ombrel::encoding {

namespace {

// A step takes the parts of sixteen groups apart into a vector for each position.
constexpr size_t step_groups = 16;

inline uint8x16x4_t load_table(const void* from) {
    const auto* bytes = static_cast<const uint8_t*>(from);
    return {{vld1q_u8(bytes), vld1q_u8(bytes + 16), vld1q_u8(bytes + 32), vld1q_u8(bytes + 48)}};
}

// Bit 7 stays set for characters above 127, and is set for others that have no value.
inline uint8x16_t values_of(uint8x16_t characters, const uint8x16x4_t& below_64,
                            const uint8x16x4_t& from_64) {
    const uint8x16_t low = vqtbl4q_u8(below_64, characters);
    const uint8x16_t values = vqtbx4q_u8(low, from_64, vsubq_u8(characters, vdupq_n_u8(64)));
    return vorrq_u8(values, vandq_u8(characters, vdupq_n_u8(0x80)));
}

} // namespace

void encode_base64_neon(char* text, const unsigned char* bytes, size_t groups,
                        const base64_alphabet& alphabet) {
    const uint8x16x4_t characters = load_table(alphabet.characters.data());
    const uint8x16_t six_bits = vdupq_n_u8(63);
    for (; groups >= step_groups; groups -= step_groups, bytes += 48, text += 64) {
        const uint8x16x3_t in = vld3q_u8(bytes);
        const uint8x16_t second = vsliq_n_u8(vshrq_n_u8(in.val[1], 4), in.val[0], 4);
        const uint8x16_t third = vsliq_n_u8(vshrq_n_u8(in.val[2], 6), in.val[1], 2);
        const uint8x16x4_t out = {{vqtbl4q_u8(characters, vshrq_n_u8(in.val[0], 2)),
                                   vqtbl4q_u8(characters, vandq_u8(second, six_bits)),
                                   vqtbl4q_u8(characters, vandq_u8(third, six_bits)),
                                   vqtbl4q_u8(characters, vandq_u8(in.val[2], six_bits))}};
        vst4q_u8(reinterpret_cast<uint8_t*>(text), out);
    }
    encode_base64_plain(text, bytes, groups, alphabet);
}

size_t decode_base64_neon(unsigned char* bytes, const unsigned char* text, size_t groups) {
    const uint8x16x4_t below_64 = load_table(base64_values.data()),
                       from_64 = load_table(base64_values.data() + 64);
    size_t left = groups;
    for (; left >= step_groups; left -= step_groups, bytes += 48, text += 64) {
        const uint8x16x4_t in = vld4q_u8(text);
        const uint8x16_t a = values_of(in.val[0], below_64, from_64),
                         b = values_of(in.val[1], below_64, from_64),
                         c = values_of(in.val[2], below_64, from_64),
                         d = values_of(in.val[3], below_64, from_64);
        if (vmaxvq_u8(vorrq_u8(vorrq_u8(a, b), vorrq_u8(c, d))) >= 0x80)
            break;
        const uint8x16x3_t out = {
            {vsliq_n_u8(vshrq_n_u8(b, 4), a, 2), vsliq_n_u8(vshrq_n_u8(c, 2), b, 4), vsliq_n_u8(d, c, 6)}};
        vst3q_u8(bytes, out);
    }
    return groups - left + decode_base64_plain(bytes, text, left);
}

} // namespace ombrel::encoding

#endif
