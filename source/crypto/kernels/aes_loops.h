// The loops of AES over a processor's AES instructions, which are a type with
//   vector, a block in a register; lanes, how many of them hide an instruction's latency;
//   round_keys, and load_keys() and load_inverse_keys() to fill it;
//   encrypt() and decrypt() of an array of vectors;
//   load(), store(), one_byte(), first_byte() and push_byte().
//
// Compilers inline functions with special instructions only into others that have them too. So the
// instructions are given by the attribute OMBREL_WITH_AES, defined before this header is included, and each
// kernel compiles the loops for itself.
#pragma once

#include "crypto/aes_kernel.h"

#define OMBREL_PART_OF_LOOP OMBREL_WITH_AES [[gnu::always_inline]] inline

namespace ombrel::crypto {
namespace {

template<typename Machine, size_t count>
OMBREL_PART_OF_LOOP void load_blocks(typename Machine::vector (&blocks)[count], const uint8_t* data) {
    for (size_t i = 0; i < count; i++)
        blocks[i] = Machine::load(data + aes_block_size * i);
}
template<typename Machine, size_t count>
OMBREL_PART_OF_LOOP void store_blocks(uint8_t* data, const typename Machine::vector (&blocks)[count]) {
    for (size_t i = 0; i < count; i++)
        Machine::store(data + aes_block_size * i, blocks[i]);
}

template<typename Machine>
OMBREL_WITH_AES void loop_encrypt_ecb(const aes_key& key, uint8_t* data, size_t blocks) {
    constexpr size_t lanes = Machine::lanes;
    typename Machine::round_keys keys;
    Machine::load_keys(keys, key);
    for (; blocks >= lanes; blocks -= lanes, data += lanes * aes_block_size) {
        typename Machine::vector work[lanes];
        load_blocks<Machine>(work, data);
        Machine::encrypt(keys, work);
        store_blocks<Machine>(data, work);
    }
    for (; blocks > 0; --blocks, data += aes_block_size) {
        typename Machine::vector work[1] = {Machine::load(data)};
        Machine::encrypt(keys, work);
        Machine::store(data, work[0]);
    }
}

template<typename Machine>
OMBREL_WITH_AES void loop_decrypt_ecb(const aes_key& key, uint8_t* data, size_t blocks) {
    constexpr size_t lanes = Machine::lanes;
    typename Machine::round_keys keys;
    Machine::load_inverse_keys(keys, key);
    for (; blocks >= lanes; blocks -= lanes, data += lanes * aes_block_size) {
        typename Machine::vector work[lanes];
        load_blocks<Machine>(work, data);
        Machine::decrypt(keys, work);
        store_blocks<Machine>(data, work);
    }
    for (; blocks > 0; --blocks, data += aes_block_size) {
        typename Machine::vector work[1] = {Machine::load(data)};
        Machine::decrypt(keys, work);
        Machine::store(data, work[0]);
    }
}

template<typename Machine>
OMBREL_WITH_AES void loop_encrypt_cfb8(const aes_key& key, uint8_t* data, size_t size, uint8_t* iv) {
    typename Machine::round_keys keys;
    Machine::load_keys(keys, key);
    auto state = Machine::load(iv);
    for (uint8_t* const end = data + size; data != end; data++) {
        typename Machine::vector work[1] = {state};
        Machine::encrypt(keys, work);
        const auto feedback = work[0] ^ Machine::one_byte(*data);
        *data = Machine::first_byte(feedback);
        state = Machine::push_byte(state, feedback);
    }
    Machine::store(iv, state);
}

template<typename Machine, size_t count>
OMBREL_PART_OF_LOOP void decrypt_cfb8_bytes(const typename Machine::round_keys& keys, uint8_t* data,
                                            typename Machine::vector& state) {
    typename Machine::vector work[count];
    for (size_t i = 0; i < count; i++) {
        work[i] = state;
        state = Machine::push_byte(state, Machine::one_byte(data[i]));
    }
    Machine::encrypt(keys, work);
    for (size_t i = 0; i < count; i++)
        data[i] ^= Machine::first_byte(work[i]);
}

// Every state is made of bytes that are already there, so many can be encrypted at once.
template<typename Machine>
OMBREL_WITH_AES void loop_decrypt_cfb8(const aes_key& key, uint8_t* data, size_t size, uint8_t* iv) {
    constexpr size_t lanes = Machine::lanes;
    typename Machine::round_keys keys;
    Machine::load_keys(keys, key);
    auto state = Machine::load(iv);
    for (; size >= lanes; size -= lanes, data += lanes)
        decrypt_cfb8_bytes<Machine, lanes>(keys, data, state);
    for (; size > 0; --size, data++)
        decrypt_cfb8_bytes<Machine, 1>(keys, data, state);
    Machine::store(iv, state);
}

// The whole block is fed back and one byte of it used: meant so.
template<typename Machine>
OMBREL_WITH_AES void loop_ofb8(const aes_key& key, uint8_t* data, size_t size, uint8_t* iv) {
    typename Machine::round_keys keys;
    Machine::load_keys(keys, key);
    typename Machine::vector state[1] = {Machine::load(iv)};
    for (uint8_t* const end = data + size; data != end; data++) {
        Machine::encrypt(keys, state);
        *data ^= Machine::first_byte(state[0]);
    }
    Machine::store(iv, state[0]);
}

} // namespace
} // namespace ombrel::crypto
