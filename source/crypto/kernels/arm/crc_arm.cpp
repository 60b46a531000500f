#include "crypto/kernels/arm/arm.h"

#if defined(OMBREL_ARM_KERNELS)
#include <arm_acle.h>
#include <arm_neon.h>
#include <cstring>

namespace ombrel::crypto {

namespace {

OMBREL_ARM_TARGET("+crypto") inline uint64x2_t load(const unsigned char* bytes) {
    return vreinterpretq_u64_u8(vld1q_u8(bytes));
}

OMBREL_ARM_TARGET("+crypto") inline uint64x2_t load(const fold_factors& factors) {
    return vcombine_u64(vcreate_u64(factors.first), vcreate_u64(factors.second));
}

OMBREL_ARM_TARGET("+crypto") inline uint64x2_t fold(uint64x2_t value, uint64x2_t factors, uint64x2_t next) {
    const poly64x2_t left = vreinterpretq_p64_u64(value), right = vreinterpretq_p64_u64(factors);
    const poly128_t first = vmull_p64(vgetq_lane_p64(left, 0), vgetq_lane_p64(right, 0));
    const poly128_t second = vmull_high_p64(left, right);
    return veorq_u64(veorq_u64(vreinterpretq_u64_p128(first), vreinterpretq_u64_p128(second)), next);
}

} // namespace

OMBREL_ARM_TARGET("+crypto")
size_t fold_pmull(const fold_distances& distances, uint64_t crc, const unsigned char* data, size_t size,
                  unsigned char (&rest)[16]) {
    const unsigned char* const begin = data;
    uint64x2_t lanes[4] = {load(data), load(data + 16), load(data + 32), load(data + 48)};
    lanes[0] = veorq_u64(lanes[0], vcombine_u64(vcreate_u64(crc), vcreate_u64(0)));
    const uint64x2_t by_64 = load(distances.by_64);
    for (data += 64, size -= 64; size >= 64; data += 64, size -= 64)
        for (int i = 0; i < 4; i++)
            lanes[i] = fold(lanes[i], by_64, load(data + 16 * i));

    const uint64x2_t by_16 = load(distances.by_16);
    uint64x2_t value = lanes[0];
    for (int i = 1; i < 4; i++)
        value = fold(value, by_16, lanes[i]);
    for (; size >= 16; data += 16, size -= 16)
        value = fold(value, by_16, load(data));
    vst1q_u8(rest, vreinterpretq_u8_u64(value));
    return static_cast<size_t>(data - begin);
}

OMBREL_ARM_TARGET("+crc") uint32_t crc32_arm(uint32_t crc, const unsigned char* data, size_t size) {
    for (; size >= 8; data += 8, size -= 8) {
        uint64_t bytes;
        memcpy(&bytes, data, sizeof bytes);
        crc = __crc32d(crc, bytes);
    }
    for (; size > 0; data++, size--)
        crc = __crc32b(crc, *data);
    return crc;
}

} // namespace ombrel::crypto
#endif
