/**
 * @file quoted_printable.h
 * @brief Quoted-printable, encoded and decoded as a stream or in one call.
 *
 * A coder holds an input and an output buffer chain. A push adds input, a push of size 0 marks its end, and
 * ombrel_get_quoted_printable() takes all output so far. The limits of a coder are set by its owner before
 * the first push. A coder works in one direction: do not mix encoding and decoding pushes.
 *
 * Threads: a coder belongs to one thread at a time; different coders do not share anything.
 */
#ifndef OMBREL_QUOTED_PRINTABLE_H
#define OMBREL_QUOTED_PRINTABLE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A coder. Made by ombrel_open_quoted_printable() alone. */
typedef struct ombrel_quoted_printable_ts {
    uint32_t m_input_limit;    /**< option: most bytes waiting in the input chain; 0 for no limit */
    uint32_t m_output_limit;   /**< option: most bytes in the output chain; 0 for no limit */
    uint32_t m_final;          /**< read-only: non-zero once the end was pushed */
    ombrel_buffer_t* m_input;  /**< read-only: input not converted yet */
    ombrel_buffer_t* m_output; /**< read-only: output not taken yet */
} ombrel_quoted_printable_t;

/**
 * @brief Opens a coder without limits.
 * @return the coder, to be closed by ombrel_close_quoted_printable(); null when memory runs out
 */
OMBREL_API ombrel_quoted_printable_t* ombrel_open_quoted_printable(void);

/**
 * @brief Frees a coder and all it holds.
 * @param coder the coder, or null
 * @return 0
 */
OMBREL_API int ombrel_close_quoted_printable(ombrel_quoted_printable_t* coder);

/**
 * @brief Adds input, and at the end encodes all of it.
 *
 * Bytes from 33 to 126 other than "=" are copied; every other byte, space, tab and line ends included,
 * becomes "=" and two upper-case hexadecimal digits. No line breaks are added. Nothing is encoded before the
 * end: to encode a long stream in little memory, encode it in pieces and join the results, which is the same
 * text.
 *
 * Before each byte the output chain must have room for 3 bytes under the output limit.
 * @param coder the coder
 * @param data  `size` bytes, copied; null adds as many zeros
 * @param size  their number; 0 marks the end of the input
 * @return 0, or -1: the coder is null; the data would make the waiting input exceed the input limit, or
 *         memory for it ran out (nothing of it is taken); or the output limit was reached or memory for the
 *         output ran out (the data is taken; get the output and push again, at the end another end, to go
 *         on). Input after the end is ignored, and an end pushed again does nothing more once all is flushed:
 *         both give 0.
 */
OMBREL_API int ombrel_push_encode_quoted_printable(ombrel_quoted_printable_t* coder, const void* data,
                                                   size_t size);

/**
 * @brief Adds input and decodes it.
 *
 * "=" and two upper-case hexadecimal digits become the byte. All else is copied: lower-case digits, "="
 * before anything else, and "=" before a line end too, so soft line breaks stay. An "=" with fewer than two
 * bytes after it waits for them; at the end it is copied.
 *
 * Each byte needs room in the output chain under the output limit.
 * @param coder the coder
 * @param data  `size` bytes, copied; null adds as many zeros
 * @param size  their number; 0 marks the end of the input
 * @return 0 or -1 as for ombrel_push_encode_quoted_printable()
 */
OMBREL_API int ombrel_push_decode_quoted_printable(ombrel_quoted_printable_t* coder, const void* data,
                                                   size_t size);

/**
 * @brief Takes all output produced so far.
 * @param coder    the coder
 * @param size_out receives the number of bytes without the terminator, 0 with a null result; may be null
 * @return a tagged-heap block of the output (which may be empty) and a terminating 0, which the caller frees;
 *         null when the coder is null or memory runs out (the output stays)
 */
OMBREL_API char* ombrel_get_quoted_printable(ombrel_quoted_printable_t* coder, size_t* size_out);

/**
 * @brief Encodes bytes as ombrel_push_encode_quoted_printable() does.
 * @param data     `size` bytes; null stands for as many zeros
 * @param size     their number
 * @param size_out receives the number of characters, 0 with a null result; may be null
 * @return a terminated text as a tagged-heap block that the caller frees; null when memory runs out
 * @par Threads any thread
 */
OMBREL_API char* ombrel_encode_quoted_printable(const void* data, size_t size, size_t* size_out);

/**
 * @brief Decodes a text as ombrel_push_decode_quoted_printable() does.
 * @param data     `size` bytes; null stands for as many zeros
 * @param size     their number
 * @param size_out receives the number of bytes without the terminator, 0 with a null result; may be null
 * @return the bytes (there may be none) and a terminating 0 as a tagged-heap block that the caller frees;
 *         null when memory runs out
 * @par Threads any thread
 */
OMBREL_API char* ombrel_decode_quoted_printable(const void* data, size_t size, size_t* size_out);

OMBREL_END_C

#endif
