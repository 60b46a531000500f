#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <cstring>
#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx512f,avx512bw,avx512dq,avx512vl,vpclmulqdq,pclmul")]]

namespace ombrel::crypto {

namespace {

constexpr int exclusive_or_of_three = 0x96;

// Below, narrow vectors are as fast.
constexpr size_t wide_minimum = 512;

OMBREL_TARGET inline __m512i load(const unsigned char* bytes) {
    return _mm512_loadu_si512(bytes);
}

OMBREL_TARGET inline __m512i in_every_lane(const fold_factors& factors) {
    const auto first = static_cast<long long>(factors.first), second = static_cast<long long>(factors.second);
    return _mm512_set_epi64(second, first, second, first, second, first, second, first);
}

OMBREL_TARGET inline __m512i fold(__m512i value, __m512i factors, __m512i next) {
    const __m512i first = _mm512_clmulepi64_epi128(value, factors, 0x00);
    const __m512i second = _mm512_clmulepi64_epi128(value, factors, 0x11);
    return _mm512_ternarylogic_epi64(first, second, next, exclusive_or_of_three);
}

} // namespace

OMBREL_TARGET size_t fold_vpclmul(const fold_distances& distances, uint64_t crc, const unsigned char* data,
                                  size_t size, unsigned char (&rest)[16]) {
    if (size < wide_minimum)
        return fold_pclmul(distances, crc, data, size, rest);
    const unsigned char* const begin = data;
    __m512i lanes[4] = {load(data), load(data + 64), load(data + 128), load(data + 192)};
    lanes[0] =
        _mm512_xor_si512(lanes[0], _mm512_zextsi128_si512(_mm_set_epi64x(0, static_cast<long long>(crc))));
    const __m512i by_256 = in_every_lane(distances.by_256);
    for (data += 256, size -= 256; size >= 256; data += 256, size -= 256)
        for (int i = 0; i < 4; i++)
            lanes[i] = fold(lanes[i], by_256, load(data + 64 * i));

    const __m512i by_64 = in_every_lane(distances.by_64);
    __m512i value = lanes[0];
    for (int i = 1; i < 4; i++)
        value = fold(value, by_64, lanes[i]);
    for (; size >= 64; data += 64, size -= 64)
        value = fold(value, by_64, load(data));

    unsigned char last[64 + 48];
    const size_t unfolded = size / 16 * 16;
    _mm512_storeu_si512(last, value);
    memcpy(last + 64, data, unfolded);
    fold_pclmul(distances, 0, last, 64 + unfolded, rest);
    return static_cast<size_t>(data - begin) + unfolded;
}

} // namespace ombrel::crypto
#endif
