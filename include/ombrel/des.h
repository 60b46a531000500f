/**
 * @file des.h
 * @brief The block ciphers DES and triple DES: blocks of 8 bytes, keys of 8 and 24 bytes.
 *
 * Triple DES encrypts with each of the three keys in turn, where most other software decrypts with the
 * second: data is interchangeable with the same arrangement only.
 *
 * Nothing is padded: ECB works on whole blocks, the byte modes (CFB-8 and output feedback) on any number of
 * bytes. All functions work in place and may be called from any thread; threads may share round keys.
 *
 * Encryption and decryption look up tables by secret bits, so that others on the same processor may learn
 * keys from its use of the cache; making round keys and the modes' own work depend on no secret. DES keys can
 * be found by trial: both are here for old data.
 *
 * The functions keep no copy of keys or data and wipe what they had on the stack. Round keys and vectors are
 * the caller's to wipe: compilers may leave out memset() before a free, but neither explicit_bzero() or
 * memset_s(), where the platform has them, nor the making of the round keys of a key of zeros over them. The
 * print-outs of round keys are keys, too.
 */
#ifndef OMBREL_DES_H
#define OMBREL_DES_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a block. */
#define def_ombrel_des_block_size 8
/** Bytes of a key; the low bit of each is ignored. */
#define def_ombrel_des_key_size 8
/** Bytes of the round keys: 16 rounds of 48 subkey bits, one in each byte. */
#define def_ombrel_des_round_key_size 768
/** Bytes of a triple key: three keys. */
#define def_ombrel_3des_key_size 24
/** Bytes of a triple key's round keys: three schedules in the order of the keys. */
#define def_ombrel_3des_round_key_size 2304

/**
 * @brief Makes the round keys of a key.
 * @param round_key receives 768 bytes; any alignment
 * @param key       8 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_des(void* round_key, const void* key);

/**
 * @brief Makes the round keys of a triple key.
 * @param round_key receives 2304 bytes; any alignment, also over `key` itself
 * @param key       24 bytes
 * @return `round_key`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_make_round_key_3des(void* round_key, const void* key);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 8 bytes stays as
 *                  it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_des()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_des_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_des_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_des_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_des()
 * @param iv        8 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_des_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_des_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_des_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_des_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_des_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_des_ofb8(void* data, size_t size, const void* round_key, void* iv);

/**
 * @brief Encrypts every whole block of a buffer in place, each by itself (ECB).
 * @param data      `size` bytes at any alignment; what remains after the last whole block of 8 bytes stays as
 *                  it is
 * @param size      bytes
 * @param round_key from ombrel_make_round_key_3des()
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_3des_ecb(void* data, size_t size, const void* round_key);
/** @brief Decrypts what ombrel_encrypt_3des_ecb() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_3des_ecb(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 * @param data      `size` bytes, encrypted in place
 * @param size      bytes; any number
 * @param round_key from ombrel_make_round_key_3des()
 * @param iv        8 bytes: the state of the stream, updated, so that the next call goes on
 * @return `data`; null, with nothing done, when an argument is null
 */
OMBREL_API void* ombrel_encrypt_3des_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Decrypts what ombrel_encrypt_3des_cfb8() encrypted; arguments and result as there. */
OMBREL_API void* ombrel_decrypt_3des_cfb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief Encrypts by output feedback, one byte of each block; arguments and result as with CFB-8. */
OMBREL_API void* ombrel_encrypt_3des_ofb8(void* data, size_t size, const void* round_key, void* iv);
/** @brief The same as ombrel_encrypt_3des_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_3des_ofb8(void* data, size_t size, const void* round_key, void* iv);

/**
 * @brief Prints the subkey bits through ombrel_puts(), a line for each round.
 *
 * The line of round r shows the 48 bytes from byte r of the buffer on, so that the lines overlap.
 * @param round_key from ombrel_make_round_key_des()
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_dump_round_key_des(const void* round_key);
/**
 * @brief ombrel_dump_round_key_des() for the three schedules of a triple key.
 * @param round_key from ombrel_make_round_key_3des()
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_dump_round_key_3des(const void* round_key);

OMBREL_END_C

#endif
