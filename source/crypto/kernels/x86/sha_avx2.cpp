#include "crypto/kernels/x86/x86.h"

#if defined(OMBREL_X86_KERNELS)
#include <algorithm>
#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2,bmi,bmi2")]]
#define OMBREL_INLINE OMBREL_TARGET [[gnu::always_inline]] static inline

namespace {

struct lanes {
    using vector = __m256i;
    static constexpr size_t blocks = 2;

    OMBREL_INLINE __m128i half(const void* words) {
        return _mm_loadu_si128(static_cast<const __m128i*>(words));
    }
    OMBREL_INLINE vector load(const unsigned char* block, const unsigned char* last_block) {
        const vector big_words =
            _mm256_broadcastsi128_si256(_mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203));
        const vector both = _mm256_inserti128_si256(_mm256_castsi128_si256(half(block)), half(last_block), 1);
        return _mm256_shuffle_epi8(both, big_words);
    }
    OMBREL_INLINE void store(uint32_t* inputs, size_t to_next_block, vector words) {
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(inputs)), _mm256_castsi256_si128(words));
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(inputs + to_next_block)),
                         _mm256_extracti128_si256(words, 1));
    }
    OMBREL_INLINE vector repeat(uint32_t word) { return _mm256_set1_epi32(static_cast<int>(word)); }
    OMBREL_INLINE vector four_words(const uint32_t* words) {
        return _mm256_broadcastsi128_si256(half(words));
    }
    OMBREL_INLINE vector add(vector a, vector b) { return _mm256_add_epi32(a, b); }
    OMBREL_INLINE vector differ(vector a, vector b) { return _mm256_xor_si256(a, b); }
    OMBREL_INLINE vector either(vector a, vector b) { return _mm256_or_si256(a, b); }
    OMBREL_INLINE vector shift_left(vector words, int by) { return _mm256_slli_epi32(words, by); }
    OMBREL_INLINE vector shift_right(vector words, int by) { return _mm256_srli_epi32(words, by); }
    template<int bytes>
    OMBREL_INLINE vector towards_first(vector words) {
        return _mm256_bsrli_epi128(words, bytes);
    }
    template<int bytes>
    OMBREL_INLINE vector towards_last(vector words) {
        return _mm256_bslli_epi128(words, bytes);
    }
    template<int bytes>
    OMBREL_INLINE vector join(vector later, vector earlier) {
        return _mm256_alignr_epi8(later, earlier, bytes);
    }
};

} // namespace

#include "crypto/kernels/x86/sha_schedule.h"

namespace ombrel::crypto {

OMBREL_TARGET void sha1_avx2(uint32_t* state, const unsigned char* blocks, size_t count) {
    run_blocks<lanes, sha1_digest>(state, blocks, count);
}

OMBREL_TARGET void sha256_avx2(uint32_t* state, const unsigned char* blocks, size_t count) {
    run_blocks<lanes, sha256_digest>(state, blocks, count);
}

} // namespace ombrel::crypto
#endif
