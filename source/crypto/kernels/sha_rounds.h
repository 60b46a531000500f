// The rounds of SHA-1 and SHA-256 on single words, for the kernels that have no instructions for them. Each
// round is given its word of the schedule with the round's constant added.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace ombrel::crypto {

inline constexpr std::array<uint32_t, 4> sha1_constants = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};

inline constexpr std::array<uint32_t, 64> sha256_constants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

template<size_t round>
[[gnu::always_inline]] inline uint32_t sha1_mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (round / 20 == 0)
        return d ^ (b & (c ^ d));
    else if constexpr (round / 20 == 2)
        return (c & d) + (b & (c ^ d)); // no bit is in both
    else
        return b ^ c ^ d;
}

// The words keep their places and change their parts, so that nothing is moved.
template<size_t round>
[[gnu::always_inline]] inline void sha1_round(uint32_t (&words)[5], uint32_t input) {
    const uint32_t a = words[(80 - round) % 5], c = words[(82 - round) % 5], d = words[(83 - round) % 5];
    uint32_t& b = words[(81 - round) % 5];
    uint32_t& e = words[(84 - round) % 5];
    e += input;
    e += sha1_mix<round>(b, c, d);
    e += std::rotl(a, 5);
    b = std::rotl(b, 30);
}

template<size_t first, size_t... i>
[[gnu::always_inline]] inline void sha1_rounds(uint32_t (&words)[5], const uint32_t* inputs,
                                               std::index_sequence<i...> /*rounds*/) {
    (sha1_round<first + i>(words, inputs[i]), ...);
}

// `difference` is what b and c differ in, which the round before has worked out as its a and b.
template<size_t round>
[[gnu::always_inline]] inline void sha256_round(uint32_t (&words)[8], uint32_t& difference, uint32_t input) {
    const uint32_t a = words[(64 - round) % 8], b = words[(65 - round) % 8];
    const uint32_t e = words[(68 - round) % 8], f = words[(69 - round) % 8], g = words[(70 - round) % 8];
    uint32_t& d = words[(67 - round) % 8];
    uint32_t& h = words[(71 - round) % 8];
    h += input;
    h += g ^ (e & (f ^ g));
    h += std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
    d += h;
    h += std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
    const uint32_t b_from_c = difference;
    difference = a ^ b;
    h += b ^ (difference & b_from_c);
}

/// A number of rounds that is a multiple of 8.
template<size_t... i>
[[gnu::always_inline]] inline void sha256_rounds(uint32_t (&words)[8], const uint32_t* inputs,
                                                 std::index_sequence<i...> /*rounds*/) {
    uint32_t difference = words[1] ^ words[2];
    (sha256_round<i>(words, difference, inputs[i]), ...);
}

template<size_t count>
[[gnu::always_inline]] inline void add_words(uint32_t* sum, const uint32_t (&words)[count]) {
    for (size_t i = 0; i < count; i++)
        sum[i] += words[i];
}

} // namespace ombrel::crypto
