#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <immintrin.h>
#include <utility>

#define OMBREL_TARGET [[gnu::target("sha,sse4.1,ssse3")]]

namespace ombrel::crypto {

namespace {

OMBREL_TARGET inline __m128i load(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

// Four rounds on the words of `schedule`'s place `group`, which then makes room for those sixteen rounds on.
template<size_t group>
OMBREL_TARGET [[gnu::always_inline]] inline void four_rounds(__m128i& abcd, __m128i& e,
                                                             __m128i (&schedule)[4]) {
    __m128i& words = schedule[group % 4];
    const __m128i input = group == 0 ? _mm_add_epi32(e, words) : _mm_sha1nexte_epu32(e, words);
    e = abcd;
    abcd = _mm_sha1rnds4_epu32(abcd, input, group / 5);
    if constexpr (group < 16) {
        const __m128i older = _mm_sha1msg1_epu32(words, schedule[(group + 1) % 4]);
        words =
            _mm_sha1msg2_epu32(_mm_xor_si128(older, schedule[(group + 2) % 4]), schedule[(group + 3) % 4]);
    }
}

template<size_t... group>
OMBREL_TARGET [[gnu::always_inline]] inline void all_rounds(__m128i& abcd, __m128i& e, __m128i (&schedule)[4],
                                                            std::index_sequence<group...> /*groups*/) {
    (four_rounds<group>(abcd, e, schedule), ...);
}

} // namespace

OMBREL_TARGET void sha1_sha(uint32_t* state, const unsigned char* blocks, size_t count) {
    const __m128i reversed = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
    __m128i abcd = _mm_shuffle_epi32(load(state), 0x1B);
    __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
    for (; count > 0; count--, blocks += 64) {
        const __m128i abcd_before = abcd, e_before = e;
        __m128i schedule[4];
        for (int i = 0; i < 4; i++)
            schedule[i] = _mm_shuffle_epi8(load(blocks + 16 * i), reversed);
        all_rounds(abcd, e, schedule, std::make_index_sequence<20>());
        abcd = _mm_add_epi32(abcd, abcd_before);
        e = _mm_sha1nexte_epu32(e, e_before);
    }
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(state)), _mm_shuffle_epi32(abcd, 0x1B));
    state[4] = static_cast<uint32_t>(_mm_extract_epi32(e, 3));
}

} // namespace ombrel::crypto
#endif
