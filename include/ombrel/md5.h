/**
 * @file md5.h
 * @brief The message digest MD5 (RFC 1321), over bytes as they come.
 *
 * A context is initialised, takes bytes in pieces of any size, and gives the digest as bytes and as
 * upper-case hexadecimal text. Messages may have any length below 2^64 bits. A context has no lock: one
 * thread at a time. Taking the digest does not end the message: the context can take more bytes, and a later
 * digest covers all.
 *
 * MD5 no longer protects against forgery. Use it where its value is asked for, and SHA-256 elsewhere.
 *
 * Time and memory access depend on the number of bytes alone. ombrel_close_md5() wipes its context, and
 * taking the digest what was on the stack; a context of the caller's own is wiped by ombrel_init_md5(), which
 * compilers cannot leave out as they may a memset().
 */
#ifndef OMBREL_MD5_H
#define OMBREL_MD5_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a digest. */
#define def_ombrel_md5_size 16

/** The context: 136 bytes on every platform. */
typedef struct {
    uint32_t m_total;           /**< bytes fed, modulo 2^32 */
    uint32_t m_spare;           /**< not used */
    uint32_t m_state[4];        /**< A, B, C and D */
    uint32_t m_bits_low;        /**< bits fed: the lower word */
    uint32_t m_bits_high;       /**< bits fed: the higher word */
    unsigned char m_buffer[64]; /**< the block that is being filled */
    char m_text[33];            /**< the digest as text, once it was taken */
    unsigned char m_padding[7]; /**< not used */
} ombrel_md5_t;

/**
 * @brief Starts a message: sets the initial state and clears counters, buffer and text.
 * @param ctx the context, or null
 * @return `ctx`
 */
OMBREL_API ombrel_md5_t* ombrel_init_md5(ombrel_md5_t* ctx);

/**
 * @brief Feeds bytes.
 * @param ctx  the context; with null nothing happens
 * @param data the bytes, of any alignment; null does nothing
 * @param size how many; 0 does nothing
 * @return `data`
 */
OMBREL_API const void* ombrel_md5_push(ombrel_md5_t* ctx, const void* data, size_t size);

/**
 * @brief Feeds the whole of a file, from its beginning.
 *
 * It needs 32,768 bytes of heap for the time of the call, however large the file is.
 * @param ctx  the context
 * @param path the file's path; pipes and devices are read until they end
 * @return 0; -1 when an argument is null, the file cannot be opened or is a directory, memory runs out, or
 *         reading fails (what was read up to then is part of the message)
 */
OMBREL_API int ombrel_md5_push_file(ombrel_md5_t* ctx, const char* path);

/**
 * @brief The digest of what was fed.
 *
 * It is worked out on a copy: the message goes on, and a second call gives the same. (SHA-1 and SHA-256
 * differ in this.)
 * @param ctx the context
 * @param out receives the 16 bytes; may be null
 * @return the 32 digits of `ctx->m_text`, terminated; null for a null context
 */
OMBREL_API const char* ombrel_md5_digest(ombrel_md5_t* ctx, void* out);

/**
 * @brief A new context on the tagged heap, initialised.
 * @return the context, to be closed by ombrel_close_md5(); null when memory runs out
 */
OMBREL_API ombrel_md5_t* ombrel_open_md5(void);

/**
 * @brief Takes the digest and frees a context of ombrel_open_md5().
 * @param ctx the context, or null
 * @param out receives the 16 bytes; may be null
 * @return 0
 */
OMBREL_API int ombrel_close_md5(ombrel_md5_t* ctx, void* out);

/**
 * @brief Digests whatever a stream gives, from its opening to its end.
 *
 * It needs 32,768 bytes of heap and a context for the time of the call, which may come from any thread.
 * @param source what to open, as by ombrel_open_ctx_stream() in mode "rb": a path or a URI
 * @param ctx    initialised and fed, its digest being left to ombrel_md5_digest(); null only reads
 * @return 0 at the end of the stream; -1 when it cannot be opened, memory runs out, reading fails, or it has
 *         nothing to read for 16 seconds later than 60 seconds after the start
 */
OMBREL_API int ombrel_simple_md5(const char* source, ombrel_md5_t* ctx);

OMBREL_END_C

#endif
