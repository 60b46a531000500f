#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("sse4.1,pclmul")]]

namespace ombrel::crypto {

namespace {

OMBREL_TARGET inline __m128i load(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

OMBREL_TARGET inline __m128i fold(__m128i value, __m128i factors, __m128i next) {
    const __m128i first = _mm_clmulepi64_si128(value, factors, 0x00);
    const __m128i second = _mm_clmulepi64_si128(value, factors, 0x11);
    return _mm_xor_si128(_mm_xor_si128(first, second), next);
}

} // namespace

OMBREL_TARGET size_t fold_pclmul(const fold_distances& distances, uint64_t crc, const unsigned char* data,
                                 size_t size, unsigned char (&rest)[16]) {
    const unsigned char* const begin = data;
    __m128i lanes[4] = {load(data), load(data + 16), load(data + 32), load(data + 48)};
    lanes[0] = _mm_xor_si128(lanes[0], _mm_set_epi64x(0, static_cast<long long>(crc)));
    const __m128i by_64 = load(&distances.by_64);
    for (data += 64, size -= 64; size >= 64; data += 64, size -= 64)
        for (int i = 0; i < 4; i++)
            lanes[i] = fold(lanes[i], by_64, load(data + 16 * i));

    const __m128i by_16 = load(&distances.by_16);
    __m128i value = lanes[0];
    for (int i = 1; i < 4; i++)
        value = fold(value, by_16, lanes[i]);
    for (; size >= 16; data += 16, size -= 16)
        value = fold(value, by_16, load(data));
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(rest)), value);
    return static_cast<size_t>(data - begin);
}

} // namespace ombrel::crypto
#endif
