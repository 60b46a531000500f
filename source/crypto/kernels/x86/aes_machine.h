// A block in a register and the instructions on it, for the loops of aes_loops.h.
#pragma once

#include <immintrin.h>

#include "crypto/kernels/aes_loops.h"

namespace ombrel::crypto {
namespace {

// Registers that a loop can keep in flight.
constexpr size_t x86_lanes = sizeof(void*) == 8 ? 8 : 4;

struct x86_machine {
    using vector = __m128i;
    static constexpr size_t lanes = x86_lanes;

    struct round_keys {
        unsigned rounds;
        vector round[aes_most_rounds + 1];
    };

    OMBREL_PART_OF_LOOP static vector load(const uint8_t* from) {
        return _mm_loadu_si128(reinterpret_cast<const vector*>(from));
    }
    OMBREL_PART_OF_LOOP static void store(uint8_t* to, vector block) {
        _mm_storeu_si128(reinterpret_cast<vector*>(to), block);
    }
    OMBREL_PART_OF_LOOP static vector one_byte(uint8_t byte) { return _mm_cvtsi32_si128(byte); }
    OMBREL_PART_OF_LOOP static uint8_t first_byte(vector block) {
        return static_cast<uint8_t>(_mm_cvtsi128_si32(block));
    }
    // The state of CFB-8 after one more byte, which is the first one of `feedback`.
    OMBREL_PART_OF_LOOP static vector push_byte(vector state, vector feedback) {
        return _mm_alignr_epi8(feedback, state, 1);
    }

    OMBREL_PART_OF_LOOP static vector encrypting_key(const aes_key& key, unsigned round) {
        return load(key.bytes + aes_block_size * round);
    }
    // The order and the mixed form that the decrypting instructions want.
    OMBREL_PART_OF_LOOP static vector decrypting_key(const aes_key& key, unsigned round) {
        const vector block = encrypting_key(key, key.rounds - round);
        return round == 0 || round == key.rounds ? block : _mm_aesimc_si128(block);
    }
    OMBREL_PART_OF_LOOP static void load_keys(round_keys& keys, const aes_key& key) {
        keys.rounds = key.rounds;
        for (unsigned i = 0; i <= key.rounds; i++)
            keys.round[i] = encrypting_key(key, i);
    }
    OMBREL_PART_OF_LOOP static void load_inverse_keys(round_keys& keys, const aes_key& key) {
        keys.rounds = key.rounds;
        for (unsigned i = 0; i <= key.rounds; i++)
            keys.round[i] = decrypting_key(key, i);
    }

    template<size_t count>
    OMBREL_PART_OF_LOOP static void encrypt(const round_keys& keys, vector (&blocks)[count]) {
        for (vector& block : blocks)
            block = _mm_xor_si128(block, keys.round[0]);
        for (unsigned round = 1; round < keys.rounds; round++)
            for (vector& block : blocks)
                block = _mm_aesenc_si128(block, keys.round[round]);
        for (vector& block : blocks)
            block = _mm_aesenclast_si128(block, keys.round[keys.rounds]);
    }
    template<size_t count>
    OMBREL_PART_OF_LOOP static void decrypt(const round_keys& keys, vector (&blocks)[count]) {
        for (vector& block : blocks)
            block = _mm_xor_si128(block, keys.round[0]);
        for (unsigned round = 1; round < keys.rounds; round++)
            for (vector& block : blocks)
                block = _mm_aesdec_si128(block, keys.round[round]);
        for (vector& block : blocks)
            block = _mm_aesdeclast_si128(block, keys.round[keys.rounds]);
    }
};

} // namespace
} // namespace ombrel::crypto
