// AES on two blocks in a register, where blocks do not depend on each other.
#if defined(__x86_64__) || defined(__i386__)

#define OMBREL_WITH_AES [[gnu::target("vaes,avx2,aes,ssse3")]]
#include "crypto/kernels/x86/aes_machine.h"

namespace ombrel::crypto {
namespace {

constexpr size_t lanes = x86_lanes;
constexpr size_t blocks_per_turn = 2 * lanes;

// Every key twice, for both blocks of a register.
struct round_keys {
    unsigned rounds;
    __m256i round[aes_most_rounds + 1];
};

OMBREL_PART_OF_LOOP void load_keys(round_keys& keys, const aes_key& key) {
    keys.rounds = key.rounds;
    for (unsigned i = 0; i <= key.rounds; i++)
        keys.round[i] = _mm256_broadcastsi128_si256(x86_machine::encrypting_key(key, i));
}
OMBREL_PART_OF_LOOP void load_inverse_keys(round_keys& keys, const aes_key& key) {
    keys.rounds = key.rounds;
    for (unsigned i = 0; i <= key.rounds; i++)
        keys.round[i] = _mm256_broadcastsi128_si256(x86_machine::decrypting_key(key, i));
}

OMBREL_PART_OF_LOOP void load_and_add(__m256i (&work)[lanes], const uint8_t* data, __m256i key) {
    for (size_t i = 0; i < lanes; i++)
        work[i] = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(data) + i), key);
}
OMBREL_PART_OF_LOOP void store(uint8_t* data, const __m256i (&work)[lanes]) {
    for (size_t i = 0; i < lanes; i++)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(data) + i, work[i]);
}

OMBREL_PART_OF_LOOP void encrypt(const round_keys& keys, uint8_t* data) {
    __m256i work[lanes];
    load_and_add(work, data, keys.round[0]);
    for (unsigned round = 1; round < keys.rounds; round++)
        for (__m256i& blocks : work)
            blocks = _mm256_aesenc_epi128(blocks, keys.round[round]);
    for (__m256i& blocks : work)
        blocks = _mm256_aesenclast_epi128(blocks, keys.round[keys.rounds]);
    store(data, work);
}

OMBREL_PART_OF_LOOP void decrypt(const round_keys& keys, uint8_t* data) {
    __m256i work[lanes];
    load_and_add(work, data, keys.round[0]);
    for (unsigned round = 1; round < keys.rounds; round++)
        for (__m256i& blocks : work)
            blocks = _mm256_aesdec_epi128(blocks, keys.round[round]);
    for (__m256i& blocks : work)
        blocks = _mm256_aesdeclast_epi128(blocks, keys.round[keys.rounds]);
    store(data, work);
}

OMBREL_WITH_AES void encrypt_ecb(const aes_key& key, uint8_t* data, size_t blocks) {
    if (blocks >= blocks_per_turn) {
        round_keys keys;
        load_keys(keys, key);
        for (; blocks >= blocks_per_turn; blocks -= blocks_per_turn, data += blocks_per_turn * aes_block_size)
            encrypt(keys, data);
    }
    if (blocks > 0)
        loop_encrypt_ecb<x86_machine>(key, data, blocks);
}

OMBREL_WITH_AES void decrypt_ecb(const aes_key& key, uint8_t* data, size_t blocks) {
    if (blocks >= blocks_per_turn) {
        round_keys keys;
        load_inverse_keys(keys, key);
        for (; blocks >= blocks_per_turn; blocks -= blocks_per_turn, data += blocks_per_turn * aes_block_size)
            decrypt(keys, data);
    }
    if (blocks > 0)
        loop_decrypt_ecb<x86_machine>(key, data, blocks);
}

} // namespace

constinit const aes_kernel aes_x86_wide = {encrypt_ecb, decrypt_ecb, loop_encrypt_cfb8<x86_machine>,
                                           loop_decrypt_cfb8<x86_machine>, loop_ofb8<x86_machine>};

} // namespace ombrel::crypto

#endif
