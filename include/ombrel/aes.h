/**
 * @file aes.h
 * @brief The block cipher AES: blocks of 16 bytes, keys of 16, 24 and 32 bytes.
 *
 * Nothing is padded: ECB works on whole blocks, the byte modes (CFB-8 and output feedback) on any number of
 * bytes. ECB shows which blocks are equal, and none of the modes shows that data was changed: they are for
 * data and devices that ask for them. All functions work in place and may be called from any thread; threads
 * may share round keys.
 *
 * Neither time nor memory access depends on keys or data, also when round keys are made: the processor's AES
 * instructions do the work where it has them, else logic on bit planes without table look-ups or branches.
 *
 * The functions keep no copy of keys or data and wipe what they had on the stack. Round keys and vectors are
 * the caller's to wipe: compilers may leave out memset() before a free, but neither explicit_bzero() or
 * memset_s(), where the platform has them, nor the making of the round keys of a key of zeros over them.
 */
#ifndef OMBREL_AES_H
#define OMBREL_AES_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a block. */
#define def_ombrel_aes_block_size 16
/** Bytes of an AES-128 key. */
#define def_ombrel_aes128_key_size 16
/** Bytes of its round keys, as FIPS 197 expands the key. */
#define def_ombrel_aes128_round_key_size 176
/** Bytes of an AES-192 key. */
#define def_ombrel_aes192_key_size 24
/** Bytes of its round keys, as FIPS 197 expands the key. */
#define def_ombrel_aes192_round_key_size 208
/** Bytes of an AES-256 key. */
#define def_ombrel_aes256_key_size 32
/** Bytes of its round keys, as FIPS 197 expands the key. */
#define def_ombrel_aes256_round_key_size 240

/**
 * @brief Makes the round keys of an AES-128 key.
 * @param round_key receives 176 bytes; any alignment, also over `key` itself
 * @param key       16 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_aes128(void* round_key, const void* key);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 16 bytes stays
 *                  as it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_aes128()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes128_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_aes128_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes128_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_aes128()
 * @param iv        16 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes128_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_aes128_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes128_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_aes128_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_aes128_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_aes128_ofb8(void* data, size_t size, const void* round_key, void* iv);

/**
 * @brief Makes the round keys of an AES-192 key.
 * @param round_key receives 208 bytes; any alignment, also over `key` itself
 * @param key       24 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_aes192(void* round_key, const void* key);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 16 bytes stays
 *                  as it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_aes192()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes192_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_aes192_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes192_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_aes192()
 * @param iv        16 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes192_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_aes192_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes192_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_aes192_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_aes192_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_aes192_ofb8(void* data, size_t size, const void* round_key, void* iv);

/**
 * @brief Makes the round keys of an AES-256 key.
 * @param round_key receives 240 bytes; any alignment, also over `key` itself
 * @param key       32 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_aes256(void* round_key, const void* key);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 16 bytes stays
 *                  as it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_aes256()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes256_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_aes256_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes256_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_aes256()
 * @param iv        16 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_aes256_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_aes256_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_aes256_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_aes256_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_aes256_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_aes256_ofb8(void* data, size_t size, const void* round_key, void* iv);

OMBREL_END_C

#endif
