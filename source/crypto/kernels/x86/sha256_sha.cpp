#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <immintrin.h>
#include <utility>

#include "crypto/kernels/sha_rounds.h"

#define OMBREL_TARGET [[gnu::target("sha,sse4.1,ssse3")]]

namespace ombrel::crypto {

namespace {

OMBREL_TARGET inline __m128i load(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

OMBREL_TARGET inline void store(uint32_t* words, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(words)), value);
}

// Four rounds on the words of `schedule`'s place `group`, which then makes room for those sixteen rounds on.
template<size_t group>
OMBREL_TARGET [[gnu::always_inline]] inline void four_rounds(__m128i& abef, __m128i& cdgh,
                                                             __m128i (&schedule)[4]) {
    __m128i& words = schedule[group % 4];
    const __m128i last = schedule[(group + 3) % 4];
    const __m128i inputs = _mm_add_epi32(words, load(&sha256_constants[4 * group]));
    cdgh = _mm_sha256rnds2_epu32(cdgh, abef, inputs);
    abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(inputs, 0x0E));
    if constexpr (group < 12) {
        const __m128i older = _mm_sha256msg1_epu32(words, schedule[(group + 1) % 4]);
        const __m128i middle = _mm_alignr_epi8(last, schedule[(group + 2) % 4], 4);
        words = _mm_sha256msg2_epu32(_mm_add_epi32(older, middle), last);
    }
}

template<size_t... group>
OMBREL_TARGET [[gnu::always_inline]] inline void
all_rounds(__m128i& abef, __m128i& cdgh, __m128i (&schedule)[4], std::index_sequence<group...> /*groups*/) {
    (four_rounds<group>(abef, cdgh, schedule), ...);
}

} // namespace

OMBREL_TARGET void sha256_sha(uint32_t* state, const unsigned char* blocks, size_t count) {
    const __m128i big_words = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    const __m128i cdab = _mm_shuffle_epi32(load(state), 0xB1);
    const __m128i efgh = _mm_shuffle_epi32(load(state + 4), 0x1B);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xF0);
    for (; count > 0; count--, blocks += 64) {
        const __m128i abef_before = abef, cdgh_before = cdgh;
        __m128i schedule[4];
        for (int i = 0; i < 4; i++)
            schedule[i] = _mm_shuffle_epi8(load(blocks + 16 * i), big_words);
        all_rounds(abef, cdgh, schedule, std::make_index_sequence<16>());
        abef = _mm_add_epi32(abef, abef_before);
        cdgh = _mm_add_epi32(cdgh, cdgh_before);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    store(state, _mm_blend_epi16(feba, dchg, 0xF0));
    store(state + 4, _mm_alignr_epi8(dchg, feba, 8));
}

} // namespace ombrel::crypto
#endif
