#include <bit>
#include <utility>

#include "crypto/kernels/generic/plain.h"

namespace ombrel::crypto {

namespace {

constexpr uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};
constexpr int rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

struct word_order {
    size_t first, step;
};
constexpr word_order orders[4] = {{0, 1}, {1, 5}, {5, 3}, {0, 7}};

template<size_t round>
[[gnu::always_inline]] inline uint32_t mix(uint32_t x, uint32_t y, uint32_t z) {
    if constexpr (round == 0)
        return z ^ (x & (y ^ z));
    else if constexpr (round == 1)
        return (x & z) + (y & ~z); // no bit is in both
    else if constexpr (round == 2)
        return x ^ y ^ z;
    else
        return y ^ (x | ~z);
}

template<size_t i>
[[gnu::always_inline]] inline void step(uint32_t (&state)[4], const uint32_t (&words)[16]) {
    constexpr size_t round = i / 16;
    constexpr size_t word = (orders[round].first + i * orders[round].step) % 16;
    uint32_t& a = state[(64 - i) % 4];
    const uint32_t b = state[(65 - i) % 4], c = state[(66 - i) % 4], d = state[(67 - i) % 4];
    a = b + std::rotl(a + mix<round>(b, c, d) + words[word] + sines[i], rotations[round][i % 4]);
}

template<size_t... i>
[[gnu::always_inline]] inline void all_steps(uint32_t (&state)[4], const uint32_t (&words)[16],
                                             std::index_sequence<i...> /*steps*/) {
    (step<i>(state, words), ...);
}

} // namespace

void md5_plain(uint32_t* state, const unsigned char* blocks, size_t count) {
    uint32_t sum[4] = {state[0], state[1], state[2], state[3]};
    for (; count > 0; count--, blocks += 64) {
        uint32_t words[16];
        for (size_t i = 0; i < 16; i++)
            words[i] = load_little(blocks + 4 * i);
        uint32_t now[4] = {sum[0], sum[1], sum[2], sum[3]};
        all_steps(now, words, std::make_index_sequence<64>());
        for (size_t i = 0; i < 4; i++)
            sum[i] += now[i];
    }
    for (size_t i = 0; i < 4; i++)
        state[i] = sum[i];
}

} // namespace ombrel::crypto
