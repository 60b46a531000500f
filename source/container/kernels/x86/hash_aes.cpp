// Hash tables by the AES instructions of x86 processors.
#include "container/kernels/hash_kernels.h"

#if defined(OMBREL_X86_HASH)

#include <immintrin.h>

#define OMBREL_HASH_TARGET [[gnu::target("aes,ssse3")]]
#include "container/aes_hash.h"
#include "container/hash_loops.h"

namespace ombrel {
namespace {

struct x86_block {
    using vector = __m128i;

    OMBREL_PART_OF_AES_HASH vector load(const unsigned char* bytes) {
        return _mm_loadu_si128(reinterpret_cast<const vector*>(bytes));
    }
    OMBREL_PART_OF_AES_HASH vector load_key(const unsigned char* bytes) {
        if constexpr (hash_secret::alignment >= sizeof(vector))
            return _mm_load_si128(reinterpret_cast<const vector*>(bytes));
        return load(bytes);
    }
    OMBREL_PART_OF_AES_HASH vector of_words(uint64_t low, uint64_t high) {
        return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
    }
    OMBREL_PART_OF_AES_HASH uint64_t low(vector block) {
        uint64_t word;
        _mm_storel_epi64(reinterpret_cast<vector*>(&word), block);
        return word;
    }
    OMBREL_PART_OF_AES_HASH vector add(vector a, vector b) { return _mm_xor_si128(a, b); }
    OMBREL_PART_OF_AES_HASH vector round(vector block, vector key) { return _mm_aesenc_si128(block, key); }
    OMBREL_PART_OF_AES_HASH vector fold(vector block) {
        const vector capitals = _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8('A' - 1)),
                                              _mm_cmpgt_epi8(_mm_set1_epi8('Z' + 1), block));
        return _mm_or_si128(block, _mm_and_si128(capitals, _mm_set1_epi8(0x20)));
    }
};

struct x86_machine : aes_hash<x86_block> {
    OMBREL_PART_OF_AES_HASH unsigned same(const unsigned char* group, uint8_t tag) {
        const __m128i wanted = _mm_set1_epi8(static_cast<char>(tag));
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x86_block::load(group), wanted)));
    }
};

constexpr hash_kernel numbers = number_kernel<x86_machine>();
constexpr hash_kernel bytes = bytes_kernel<x86_machine, false>();
constexpr hash_kernel folded_bytes = bytes_kernel<x86_machine, true>();

} // namespace

constinit const hash_kernels aes_x86_hash_kernels = {&numbers, &bytes, &folded_bytes};

} // namespace ombrel

#endif
