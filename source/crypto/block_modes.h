// The loops of ECB, CFB-8 and output feedback over a cipher, which is a type with
//   block, block_size, lanes (how many blocks keep the processor busy),
//   a constructor from round keys in the caller's buffer,
//   transform(block (&)[n]) for n of 1 and lanes,
//   and the static load(), store(), first_byte() and push_byte() of a block.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/wipe.h"

namespace ombrel::crypto {

enum class direction { encrypt, decrypt };

template<typename Cipher, size_t count>
void transform_blocks(const Cipher& cipher, uint8_t* data) {
    typename Cipher::block blocks[count];
    for (size_t i = 0; i < count; i++)
        blocks[i] = Cipher::load(data + i * Cipher::block_size);
    cipher.transform(blocks);
    for (size_t i = 0; i < count; i++)
        Cipher::store(data + i * Cipher::block_size, blocks[i]);
}

template<typename Cipher>
void run_ecb(const Cipher& cipher, uint8_t* data, size_t blocks) {
    for (; blocks >= Cipher::lanes; blocks -= Cipher::lanes, data += Cipher::lanes * Cipher::block_size)
        transform_blocks<Cipher, Cipher::lanes>(cipher, data);
    for (; blocks > 0; --blocks, data += Cipher::block_size)
        transform_blocks<Cipher, 1>(cipher, data);
}

template<typename Cipher>
void run_encrypt_cfb8(const Cipher& cipher, uint8_t* data, size_t size, uint8_t* iv) {
    auto state = Cipher::load(iv);
    for (uint8_t* const end = data + size; data != end; data++) {
        typename Cipher::block work[1] = {state};
        cipher.transform(work);
        *data ^= Cipher::first_byte(work[0]);
        state = Cipher::push_byte(state, *data);
    }
    Cipher::store(iv, state);
}

template<typename Cipher, size_t count>
void decrypt_cfb8_bytes(const Cipher& cipher, uint8_t* data, typename Cipher::block& state) {
    typename Cipher::block work[count];
    for (size_t i = 0; i < count; i++) {
        work[i] = state;
        state = Cipher::push_byte(state, data[i]);
    }
    cipher.transform(work);
    for (size_t i = 0; i < count; i++)
        data[i] ^= Cipher::first_byte(work[i]);
}

// Every state is made of bytes that are already there, so many can be encrypted at once.
template<typename Cipher>
void run_decrypt_cfb8(const Cipher& cipher, uint8_t* data, size_t size, uint8_t* iv) {
    auto state = Cipher::load(iv);
    for (; size >= Cipher::lanes; size -= Cipher::lanes, data += Cipher::lanes)
        decrypt_cfb8_bytes<Cipher, Cipher::lanes>(cipher, data, state);
    for (; size > 0; --size, data++)
        decrypt_cfb8_bytes<Cipher, 1>(cipher, data, state);
    Cipher::store(iv, state);
}

// The whole block is fed back and one byte of it used: meant so.
template<typename Cipher>
void run_ofb8(const Cipher& cipher, uint8_t* data, size_t size, uint8_t* iv) {
    typename Cipher::block state[1] = {Cipher::load(iv)};
    for (uint8_t* const end = data + size; data != end; data++) {
        cipher.transform(state);
        *data ^= Cipher::first_byte(state[0]);
    }
    Cipher::store(iv, state[0]);
}

// The same loops at the library's interface, where buffers may be null.

template<typename Cipher>
void* apply_ecb(void* data, size_t size, const void* round_key) {
    if (data == nullptr || round_key == nullptr)
        return nullptr;
    without_trace([=] {
        const Cipher cipher(static_cast<const uint8_t*>(round_key));
        run_ecb(cipher, static_cast<uint8_t*>(data), size / Cipher::block_size);
    });
    return data;
}

template<typename Cipher>
using byte_mode = void (*)(const Cipher&, uint8_t* data, size_t size, uint8_t* iv);

template<typename Cipher, byte_mode<Cipher> run>
void* apply_mode(void* data, size_t size, const void* round_key, void* iv) {
    if (data == nullptr || round_key == nullptr || iv == nullptr)
        return nullptr;
    without_trace([=] {
        const Cipher cipher(static_cast<const uint8_t*>(round_key));
        run(cipher, static_cast<uint8_t*>(data), size, static_cast<uint8_t*>(iv));
    });
    return data;
}

} // namespace ombrel::crypto
