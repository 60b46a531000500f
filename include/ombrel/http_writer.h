/**
 * @file http_writer.h
 * @brief Heads, chunks and trailers of HTTP/1.1, written so that no value can break out of its place.
 *
 * A writer puts the lines of a message into the caller's buffer, or into a block of its own that grows and is
 * moved to a buffer chain without a copy. Every part is checked before anything of it is written: methods and
 * names are tokens, targets visible characters, values have no CR, LF, NUL or other control character except
 * the tab. What would give a message two meanings is refused too: Content-Length, Transfer-Encoding or Host
 * twice, both of the first two, either of them with a status that has no body (1xx, 204).
 *
 * The first failure stays: later calls fail with it, and ombrel_http_writer_get_size() gives -1. So a head
 * can be written without checking each result, and checked at its end:
 *
 * @code
 * char head[512];
 * ombrel_http_writer_t writer;
 * ombrel_init_http_writer(&writer, head, sizeof head);
 * ombrel_http_writer_response(&writer, 200, NULL);
 * ombrel_http_writer_field(&writer, "Content-Type", type);
 * ombrel_http_writer_number_field(&writer, "Content-Length", size);
 * ombrel_http_writer_end_head(&writer);
 * const int64_t length = ombrel_http_writer_get_size(&writer);
 * if (length < 0 || send_all(head, length) != 0)
 *     return -1;
 * @endcode
 *
 * **Threads.** A writer belongs to one thread at a time.
 *
 * **Errors** (ombrel_last_fault()): invalid for null arguments, for parts that may not be written or are out
 * of order; too_large where the buffer or the limit is full; no_memory.
 */
#ifndef OMBREL_HTTP_WRITER_H
#define OMBREL_HTTP_WRITER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A writer, embedded by its user, who looks at none of its fields. */
typedef struct ombrel_http_writer_ts {
    char* m_data;           /**< where it writes */
    size_t m_room;          /**< bytes there */
    size_t m_size;          /**< bytes written */
    size_t m_limit;         /**< most bytes of a block of its own; 0 with the caller's buffer */
    int m_state;            /**< what may come next */
    int m_status;           /**< the response's status; 0 in a request */
    uint32_t m_given;       /**< fields that may come once and have come */
    int m_fault;            /**< def_ombrel_fault_* of the first failure */
    const char* m_function; /**< for whom its block is accounted */
    unsigned long m_line;   /**< the source line there */
} ombrel_http_writer_t;

/**
 * @brief A writer into the caller's buffer. It need not be ended.
 * @param writer the record
 * @param buffer `size` bytes; no terminator is written
 * @param size   their number
 * @return 0; -1 for null arguments
 */
OMBREL_API int ombrel_init_http_writer(ombrel_http_writer_t* writer, char* buffer, size_t size);

/**
 * @brief A writer into a block of its own, ended by ombrel_uninit_http_writer().
 * @param writer   the record
 * @param limit    most bytes that are written between two pushes, 1 or more
 * @param function the function for whom the block is accounted, kept by address
 * @param line     its source line
 * @return 0; -1 for null or a limit of 0
 */
OMBREL_API int ombrel_init_http_writer_block_tag(ombrel_http_writer_t* writer, size_t limit,
                                                 const char* function, unsigned long line);
/** ombrel_init_http_writer_block_tag() with the caller's own name and line. */
#define ombrel_init_http_writer_block(writer, limit)                                                         \
    ombrel_init_http_writer_block_tag((writer), (limit), __func__, __LINE__)

/**
 * @brief Frees a writer's own block with what was not pushed. The record may be initialised again.
 * @param writer the record, or null
 * @return 0
 */
OMBREL_API int ombrel_uninit_http_writer(ombrel_http_writer_t* writer);

/**
 * @brief Begins a request: "GET /x HTTP/1.1".
 * @param writer the writer, at its beginning or after a message
 * @param method a token
 * @param target visible characters of ASCII, "#" not among them, in the form that the method wants
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_request(ombrel_http_writer_t* writer, const char* method,
                                          const char* target);

/**
 * @brief Begins a response: "HTTP/1.1 404 Not Found".
 * @param writer the writer, at its beginning or after a message
 * @param status 100 to 999
 * @param reason no control characters except the tab; null for the usual one of the status
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_response(ombrel_http_writer_t* writer, int status, const char* reason);

/**
 * @brief Writes a field of the head, or a trailer after ombrel_http_writer_last_chunk().
 *
 * A Content-Length has to be digits, a Host a host (or empty), a Transfer-Encoding "chunked"; none of the
 * three may be a trailer.
 * @param writer the writer
 * @param name   a token
 * @param value  no control characters except the tab; bytes above 0x7F are taken as they are. White space
 * around it is left out.
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_field(ombrel_http_writer_t* writer, const char* name, const char* value);

/**
 * @brief ombrel_http_writer_field() with texts that need not be terminated, as events of a parser have them.
 * @param writer     the writer
 * @param name       the name
 * @param name_size  its bytes
 * @param value      the value
 * @param value_size its bytes; NUL among them is refused
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_sized_field(ombrel_http_writer_t* writer, const char* name,
                                              size_t name_size, const char* value, size_t value_size);

/**
 * @brief Writes a field whose value is a number.
 * @param writer the writer
 * @param name   a token
 * @param value  the number; a Content-Length is not negative
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_number_field(ombrel_http_writer_t* writer, const char* name, int64_t value);

/**
 * @brief Writes a field whose value is a moment: "Sun, 06 Nov 1994 08:49:37 GMT".
 * @param writer  the writer
 * @param name    a token
 * @param instant the moment, in a year from 0 to 9999; null for now
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_date_field(ombrel_http_writer_t* writer, const char* name,
                                             const ombrel_instant_t* instant);

/**
 * @brief Ends the head with its empty line. The message's body follows: chunks if the head has
 * "Transfer-Encoding: chunked", else bytes that the caller sends, or none.
 * @param writer the writer
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_end_head(ombrel_http_writer_t* writer);

/**
 * @brief Writes a chunk.
 * @param writer the writer, after a head with "Transfer-Encoding: chunked"
 * @param data   `size` bytes
 * @param size   their number; 0 writes nothing, as an empty chunk would end the body
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_chunk(ombrel_http_writer_t* writer, const void* data, size_t size);

/**
 * @brief Writes the line before a chunk whose bytes the caller sends; the next chunk's line brings
 * the line end after them.
 * @param writer the writer, as for ombrel_http_writer_chunk()
 * @param size   bytes of the chunk, above 0
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_chunk_line(ombrel_http_writer_t* writer, uint64_t size);

/**
 * @brief Writes the chunk that ends the body. Trailers may follow, then ombrel_http_writer_end_trailers().
 * @param writer the writer, as for ombrel_http_writer_chunk()
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_last_chunk(ombrel_http_writer_t* writer);

/**
 * @brief Ends the trailers and with them the message.
 * @param writer the writer, after ombrel_http_writer_last_chunk()
 * @return 0; -1
 */
OMBREL_API int ombrel_http_writer_end_trailers(ombrel_http_writer_t* writer);

/**
 * @brief How much was written since the beginning or the last ombrel_http_writer_clear() or _push().
 * @param writer the writer
 * @return bytes; -1 when a call has failed, with its fault
 */
OMBREL_API int64_t ombrel_http_writer_get_size(const ombrel_http_writer_t* writer);

/**
 * @brief What was written, not terminated.
 * @param writer the writer
 * @return the bytes, which stay until the writer's next call; null when a call has failed and for null
 */
OMBREL_API const char* ombrel_http_writer_get_data(const ombrel_http_writer_t* writer);

/**
 * @brief Forgets what was written, because it was sent; the message goes on where it was.
 * @param writer the writer
 * @return 0; -1 when a call has failed
 */
OMBREL_API int ombrel_http_writer_clear(ombrel_http_writer_t* writer);

/**
 * @brief Queues what was written in a buffer chain and forgets it. A block of the writer's own goes over
 * without a copy; of the caller's buffer a copy goes.
 * @param writer the writer
 * @param buffer the chain; it gets all or, with -1, nothing
 * @return 0; -1, no_memory among the faults
 */
OMBREL_API int ombrel_http_writer_push(ombrel_http_writer_t* writer, ombrel_buffer_t* buffer);

OMBREL_END_C

#endif
