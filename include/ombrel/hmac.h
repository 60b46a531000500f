/**
 * @file hmac.h
 * @brief Keyed digests: HMAC (RFC 2104) and keys made of passwords (PBKDF2, RFC 8018), over digest.h.
 *
 * A keyed digest proves that a message comes from somebody who knows the key:
 *
 * @code
 * unsigned char expected[def_ombrel_digest_size_max];
 * const ombrel_digest_algorithm_t* sha256 = ombrel_find_digest_algorithm("sha256");
 * if (ombrel_make_hmac(sha256, key, key_size, message, message_size, expected) == 0 &&
 *     ombrel_is_same_secret(expected, received, sha256->m_size))
 *     believe(message);
 * @endcode
 *
 * The algorithms are the message digests: "sha256", "sha1", "md5". Checksums are refused, as a key does not
 * make them prove anything.
 *
 * Records have no lock: one thread at a time. Copies of keys on the stack are overwritten; a record is
 * overwritten by ombrel_hmac_result() and ombrel_wipe_secret().
 *
 * @par Failures
 * -1 with #def_ombrel_fault_invalid for null arguments and for algorithms that are not supported.
 */
#ifndef OMBREL_HMAC_H
#define OMBREL_HMAC_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/digest.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A keyed digest under way. */
typedef struct ombrel_hmac_ts {
    ombrel_digest_t m_inner; /**< what the message goes into */
    ombrel_digest_t m_outer; /**< what the inner result goes into */
} ombrel_hmac_t;

/**
 * @brief Starts a message, whatever was in the record before.
 * @param hmac      the record
 * @param algorithm sha256, sha1 or md5
 * @param key       the key; may be null when `key_size` is 0
 * @param key_size  its bytes; a key beyond 64 counts as its digest
 * @return 0, or -1
 */
OMBREL_API int ombrel_init_hmac(ombrel_hmac_t* hmac, const ombrel_digest_algorithm_t* algorithm,
                                const void* key, size_t key_size);

/** @brief Feeds bytes, in pieces of any size; null or 0 of them do nothing. @return 0, or -1 for null */
OMBREL_API int ombrel_hmac_push(ombrel_hmac_t* hmac, const void* data, size_t size);

/**
 * @brief Ends the message and wipes the record.
 * @param hmac the keyed digest
 * @param out  receives the algorithm's `m_size` bytes
 * @return 0, or -1, also for a record that was not started
 */
OMBREL_API int ombrel_hmac_result(ombrel_hmac_t* hmac, void* out);

/** @brief The three calls in one: the keyed digest of a message. @return 0, or -1 */
OMBREL_API int ombrel_make_hmac(const ombrel_digest_algorithm_t* algorithm, const void* key, size_t key_size,
                                const void* data, size_t size, void* out);

/**
 * @brief Makes a key of a password by PBKDF2 with HMAC, which takes the time of `iterations` keyed digests
 * for each `m_size` bytes of the key.
 * @param algorithm     sha256, sha1 or md5
 * @param password      the password; may be null when `password_size` is 0
 * @param password_size its bytes
 * @param salt          bytes that belong to this password, preferably 16 random ones
 * @param salt_size     how many
 * @param iterations    at least 1
 * @param key           receives the key
 * @param key_size      bytes wanted, at least 1
 * @return 0, or -1
 */
OMBREL_API int ombrel_make_pbkdf2(const ombrel_digest_algorithm_t* algorithm, const void* password,
                                  size_t password_size, const void* salt, size_t salt_size,
                                  uint32_t iterations, void* key, size_t key_size);

/**
 * @brief Compares memory in a time that depends on the size alone, so that it does not reveal where a guess
 * went wrong.
 * @param left  one
 * @param right the other
 * @param size  bytes of each; with 0 they are the same
 * @return 1 when they are the same; 0 otherwise, and for null
 */
OMBREL_API int ombrel_is_same_secret(const void* left, const void* right, size_t size);

/** @brief Overwrites memory with zeros in a way that no compiler optimises away. @return `memory`, which may
 * be null */
OMBREL_API void* ombrel_wipe_secret(void* memory, size_t size);

OMBREL_END_C

#endif
