/**
 * @file seed.h
 * @brief The block cipher SEED: blocks of 16 bytes, keys of 16 bytes.
 *
 * Nothing is padded: ECB works on whole blocks, the byte modes (CFB-8 and output feedback) on any number of
 * bytes. ECB shows which blocks are equal, and none of the modes shows that data was changed: they are for
 * data and devices that ask for them. All functions work in place and may be called from any thread; threads
 * may share round keys.
 *
 * Encryption, decryption and the making of round keys look up tables by secret bytes, so that others on the
 * same processor may learn keys from its use of the cache: where that matters, prefer AES.
 *
 * The functions keep no copy of keys or data and wipe what they had on the stack. Round keys and vectors are
 * the caller's to wipe: compilers may leave out memset() before a free, but neither explicit_bzero() or
 * memset_s(), where the platform has them, nor the making of the round keys of a key of zeros over them.
 */
#ifndef OMBREL_SEED_H
#define OMBREL_SEED_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a block. */
#define def_ombrel_seed_block_size 16
/** Bytes of a key. */
#define def_ombrel_seed_key_size 16
/** Bytes of the round keys: 16 rounds of two 32-bit words in the machine's byte order. */
#define def_ombrel_seed_round_key_size 128

/**
 * @brief Makes the round keys of a key.
 * @param round_key receives 128 bytes; any alignment
 * @param key       16 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_seed(void* round_key, const void* key);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 16 bytes stays
 *                  as it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_seed()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_seed_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_seed_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_seed_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_seed()
 * @param iv        16 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_seed_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_seed_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_seed_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_seed_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_seed_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_seed_ofb8(void* data, size_t size, const void* round_key, void* iv);

OMBREL_END_C

#endif
