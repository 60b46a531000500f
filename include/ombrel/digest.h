/**
 * @file digest.h
 * @brief All digests and checksums by their names, through one set of functions.
 *
 * | name | bytes | what it is |
 * |---|---|---|
 * | sha256, sha1, md5 | 32, 20, 16 | the message digests of sha256.h, sha1.h and md5.h |
 * | crc32 | 4 | ombrel_crc32_ieee_802_3(), as of zip, gzip and PNG |
 * | crc64 | 8 | ombrel_crc64_iso() |
 * | crc16-ibm, crc16-ccitt | 2 | ombrel_crc16_ibm() and ombrel_crc16_ccitt(), from 0 |
 *
 * Results are bytes with the most significant one first, and text in lower-case hexadecimal, as the tools
 * that write and check lists of digests have it; the functions of a single digest give upper case.
 *
 * Algorithms are constants that live as long as the library, for any thread. A digest has no lock: one thread
 * at a time.
 *
 * @code
 * ombrel_digest_t digest;
 * if (ombrel_init_digest(&digest, ombrel_find_digest_algorithm("sha256")) != NULL) {
 *     ombrel_digest_push(&digest, data, size);
 *     puts(ombrel_digest_result(&digest, NULL));
 * }
 * @endcode
 */
#ifndef OMBREL_DIGEST_H
#define OMBREL_DIGEST_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>

OMBREL_BEGIN_C

/** Bytes of the longest result. */
#define def_ombrel_digest_size_max def_ombrel_sha256_size

/** Room of the longest result as text, with its terminator. */
#define def_ombrel_digest_text_size (2 * def_ombrel_digest_size_max + 1)

/** An algorithm. Only those that the functions here return can be used. */
typedef struct ombrel_digest_algorithm_ts {
    const char* m_name; /**< its name */
    size_t m_size;      /**< bytes of its results */
} ombrel_digest_algorithm_t;

/** A digest in the making. */
typedef struct ombrel_digest_ts {
    const ombrel_digest_algorithm_t* m_algorithm; /**< what it is made by */
    union {
        ombrel_md5_t m_md5;
        ombrel_sha1_t m_sha1;
        ombrel_sha256_t m_sha256;
        uint64_t m_crc;
    } m_state;                                /**< private to the algorithm */
    char m_text[def_ombrel_digest_text_size]; /**< the result as text, once it was taken */
} ombrel_digest_t;

/**
 * @brief An algorithm by its position: in the order of the table above.
 * @param index counted from 0
 * @return the algorithm; null at the end
 */
OMBREL_API const ombrel_digest_algorithm_t* ombrel_get_digest_algorithm(size_t index);

/**
 * @brief An algorithm by its name.
 * @param name compared exactly; null finds nothing
 * @return the algorithm; null when there is none with the name
 */
OMBREL_API const ombrel_digest_algorithm_t* ombrel_find_digest_algorithm(const char* name);

/**
 * @brief The first algorithm, by position, whose results have a given number of bytes.
 * @param size bytes: half of the hexadecimal digits
 * @return the algorithm; null when there is none
 */
OMBREL_API const ombrel_digest_algorithm_t* ombrel_find_digest_algorithm_by_size(size_t size);

/**
 * @brief Starts a message, whatever was in the record before, which is overwritten.
 * @param digest    the record, or null
 * @param algorithm one of this table
 * @return `digest`; null, with the record cleared, for another algorithm or none
 */
OMBREL_API ombrel_digest_t* ombrel_init_digest(ombrel_digest_t* digest,
                                               const ombrel_digest_algorithm_t* algorithm);

/**
 * @brief Feeds bytes, in pieces of any size.
 * @param digest the digest; with null, or one that was not initialised, nothing happens
 * @param data   the bytes, of any alignment; null does nothing
 * @param size   how many; 0 does nothing
 * @return `data`
 */
OMBREL_API const void* ombrel_digest_push(ombrel_digest_t* digest, const void* data, size_t size);

/**
 * @brief The digest of what was fed.
 *
 * It ends the message: what is fed or taken afterwards, before the next ombrel_init_digest(), has no meaning.
 * @param digest the digest
 * @param out    receives the bytes of the result, as many as the algorithm's `m_size`; may be null
 * @return the text in `digest->m_text`, 2 × `m_size` digits, terminated; null for a null digest and one that
 *         was not initialised
 */
OMBREL_API const char* ombrel_digest_result(ombrel_digest_t* digest, void* out);

OMBREL_END_C

#endif
