/**
 * @file sha1.h
 * @brief The message digest SHA-1 (FIPS 180-1), over bytes as they come.
 *
 * A context is initialised, takes bytes in pieces of any size, and gives the digest as bytes and as
 * upper-case hexadecimal text. Messages may have any length below 2^64 bits. A context has no lock: one
 * thread at a time. Unlike with MD5, taking the digest ends the message: initialise the context before its
 * next use.
 *
 * SHA-1 no longer protects against forgery. Use it where its value is asked for, and SHA-256 elsewhere.
 *
 * Time and memory access depend on the number of bytes alone. ombrel_close_sha1() wipes its context, and
 * taking the digest what was on the stack; a context of the caller's own is wiped by ombrel_init_sha1(),
 * which compilers cannot leave out as they may a memset().
 */
#ifndef OMBREL_SHA1_H
#define OMBREL_SHA1_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of a digest. */
#define def_ombrel_sha1_size 20

/** The context: 136 bytes on every platform. */
typedef struct {
    uint64_t m_bytes;           /**< bytes fed */
    uint32_t m_state[5];        /**< H0 to H4 */
    unsigned char m_buffer[64]; /**< the block that is being filled */
    char m_text[41];            /**< the digest as text, once it was taken */
    unsigned char m_padding[3]; /**< not used */
} ombrel_sha1_t;

/**
 * @brief Starts a message: sets the initial state and clears counters, buffer and text.
 * @param ctx the context, or null
 * @return `ctx`
 */
OMBREL_API ombrel_sha1_t* ombrel_init_sha1(ombrel_sha1_t* ctx);

/**
 * @brief Feeds bytes.
 * @param ctx  the context; with null nothing happens
 * @param data the bytes, of any alignment; null does nothing
 * @param size how many; 0 does nothing
 * @return `data`
 */
OMBREL_API const void* ombrel_sha1_push(ombrel_sha1_t* ctx, const void* data, size_t size);

/**
 * @brief Feeds the whole of a file, from its beginning.
 *
 * It needs 32,768 bytes of heap for the time of the call, however large the file is.
 * @param ctx  the context
 * @param path the file's path; pipes and devices are read until they end
 * @return 0; -1 when an argument is null, the file cannot be opened or is a directory, memory runs out, or
 *         reading fails (what was read up to then is part of the message)
 */
OMBREL_API int ombrel_sha1_push_file(ombrel_sha1_t* ctx, const char* path);

/**
 * @brief The digest of what was fed.
 *
 * The padding goes into the context itself, which is finished then: a second call gives another, meaningless
 * value. (MD5 differs in this.)
 * @param ctx the context
 * @param out receives the 20 bytes; may be null
 * @return the 40 digits of `ctx->m_text`, terminated; null for a null context
 */
OMBREL_API const char* ombrel_sha1_digest(ombrel_sha1_t* ctx, void* out);

/**
 * @brief A new context on the tagged heap, initialised.
 * @return the context, to be closed by ombrel_close_sha1(); null when memory runs out
 */
OMBREL_API ombrel_sha1_t* ombrel_open_sha1(void);

/**
 * @brief Takes the digest and frees a context of ombrel_open_sha1().
 * @param ctx the context, or null
 * @param out receives the 20 bytes; may be null
 * @return 0
 */
OMBREL_API int ombrel_close_sha1(ombrel_sha1_t* ctx, void* out);

/**
 * @brief Digests whatever a stream gives, from its opening to its end.
 *
 * It needs 32,768 bytes of heap and a context for the time of the call, which may come from any thread.
 * @param source what to open, as by ombrel_open_ctx_stream() in mode "rb": a path or a URI
 * @param ctx    initialised and fed, its digest being left to ombrel_sha1_digest(); null only reads
 * @return 0 at the end of the stream; -1 when it cannot be opened, memory runs out, reading fails, or it has
 *         nothing to read for 16 seconds later than 60 seconds after the start
 */
OMBREL_API int ombrel_simple_sha1(const char* source, ombrel_sha1_t* ctx);

OMBREL_END_C

#endif
