#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <algorithm>
#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("ssse3")]]
#define OMBREL_INLINE OMBREL_TARGET [[gnu::always_inline]] static inline

namespace {

struct lanes {
    using vector = __m128i;
    static constexpr size_t blocks = 1;

    OMBREL_INLINE vector load(const unsigned char* block, const unsigned char* /*last_block*/) {
        const vector big_words = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
        return _mm_shuffle_epi8(_mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(block))),
                                big_words);
    }
    OMBREL_INLINE void store(uint32_t* inputs, size_t /*to_next_block*/, vector words) {
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(inputs)), words);
    }
    OMBREL_INLINE vector repeat(uint32_t word) { return _mm_set1_epi32(static_cast<int>(word)); }
    OMBREL_INLINE vector four_words(const uint32_t* words) {
        return _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(words)));
    }
    OMBREL_INLINE vector add(vector a, vector b) { return _mm_add_epi32(a, b); }
    OMBREL_INLINE vector differ(vector a, vector b) { return _mm_xor_si128(a, b); }
    OMBREL_INLINE vector either(vector a, vector b) { return _mm_or_si128(a, b); }
    OMBREL_INLINE vector shift_left(vector words, int by) { return _mm_slli_epi32(words, by); }
    OMBREL_INLINE vector shift_right(vector words, int by) { return _mm_srli_epi32(words, by); }
    template<int bytes>
    OMBREL_INLINE vector towards_first(vector words) {
        return _mm_srli_si128(words, bytes);
    }
    template<int bytes>
    OMBREL_INLINE vector towards_last(vector words) {
        return _mm_slli_si128(words, bytes);
    }
    template<int bytes>
    OMBREL_INLINE vector join(vector later, vector earlier) {
        return _mm_alignr_epi8(later, earlier, bytes);
    }
};

} // namespace

#include "crypto/kernels/x86/sha_schedule.h"

namespace ombrel::crypto {

OMBREL_TARGET void sha1_ssse3(uint32_t* state, const unsigned char* blocks, size_t count) {
    run_blocks<lanes, sha1_digest>(state, blocks, count);
}

OMBREL_TARGET void sha256_ssse3(uint32_t* state, const unsigned char* blocks, size_t count) {
    run_blocks<lanes, sha256_digest>(state, blocks, count);
}

} // namespace ombrel::crypto
#endif
