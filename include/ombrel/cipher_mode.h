/**
 * @file cipher_mode.h
 * @brief Byte-wise stream modes, CFB-8 and 8-bit output feedback, over any block cipher.
 *
 * The modes turn a block cipher into a cipher for any number of bytes. They work in place and keep their
 * state in the caller's initialisation vector, so consecutive calls with the same vector continue one
 * stream. Both directions use the cipher's encryption alone.
 *
 * These modes and ECB are for data and devices that ask for them. None of them shows that data was changed,
 * and ECB shows which blocks are equal: do not choose them for something new.
 *
 * The ciphers of this library have their own forms of these functions (ombrel_encrypt_aes128_cfb8() and so
 * on), which give the same bytes and are much faster. All functions may be called from any thread, for
 * different buffers. Their time depends on sizes and on the cipher's function alone, and their work block is
 * wiped; the vector is the caller's to wipe.
 */
#ifndef OMBREL_CIPHER_MODE_H
#define OMBREL_CIPHER_MODE_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * A cipher's ECB function, such as ombrel_encrypt_aes128_ecb().
 * @param data      `size` bytes, worked on in place
 * @param size      bytes; the modes always give one block
 * @param round_key the cipher's round keys
 * @return `data`
 */
typedef void* (*ombrel_ecb_t)(void* data, size_t size, const void* round_key);

/**
 * @brief Encrypts bytes by 8-bit cipher feedback.
 *
 * Blocks of more than 32 bytes take a work block from the heap; while memory is out the call waits and tries
 * again.
 * @param ecb_encrypt the cipher's encryption
 * @param block_size  its block in bytes, at least 1
 * @param data        `size` bytes, encrypted in place
 * @param size        bytes; any number
 * @param round_key   handed to `ecb_encrypt`; may be null when that accepts it
 * @param iv          `block_size` bytes: the state of the stream, updated
 * @return `data`; null, with nothing done, for a null function, data or vector and for a block size of 0
 */
OMBREL_API void* ombrel_encrypt_mode_cfb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data,
                                          size_t size, const void* round_key, void* iv);

/** @brief Decrypts what ombrel_encrypt_mode_cfb8() encrypted; arguments and results as there. */
OMBREL_API void* ombrel_decrypt_mode_cfb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data,
                                          size_t size, const void* round_key, void* iv);

/**
 * @brief Encrypts or decrypts bytes by output feedback, one byte of each block.
 *
 * The whole encrypted block is fed back and its first byte alone is used.
 * @param ecb_encrypt the cipher's encryption
 * @param block_size  its block in bytes, at least 1
 * @param data        `size` bytes, worked on in place
 * @param size        bytes; any number
 * @param round_key   handed to `ecb_encrypt`; may be null when that accepts it
 * @param iv          `block_size` bytes: the state of the stream, updated
 * @return `data`; null, with nothing done, for a null function, data or vector and for a block size of 0
 */
OMBREL_API void* ombrel_encrypt_mode_ofb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data,
                                          size_t size, const void* round_key, void* iv);

/** @brief The same as ombrel_encrypt_mode_ofb8(), which is its own inverse. */
OMBREL_API void* ombrel_decrypt_mode_ofb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data,
                                          size_t size, const void* round_key, void* iv);

OMBREL_END_C

#endif
