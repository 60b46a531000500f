/**
 * @file base64.h
 * @brief Base64, encoded and decoded as a stream or in one call.
 *
 * A coder holds an input and an output buffer chain. A push adds input and converts as much of it as is
 * complete; a push of size 0 marks the end and flushes; ombrel_get_base64() takes all output so far. The
 * option fields of a coder are set by its owner before the first push. A coder works in one direction: do not
 * mix encoding and decoding pushes.
 *
 * Threads: a coder belongs to one thread at a time; different coders do not share anything.
 */
#ifndef OMBREL_BASE64_H
#define OMBREL_BASE64_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** "A" to "Z", "a" to "z", "0" to "9", "+" and "/", padded with "=". */
#define def_ombrel_base64_alphabet_standard 0u
/** The same with "-" and "_" for "+" and "/", for encoding only: the decoder reads the standard alphabet. */
#define def_ombrel_base64_alphabet_url_safe 1u

/** A coder. Made by ombrel_open_base64() alone, which adds fields of its own after these. */
typedef struct ombrel_base64_ts {
    uint32_t m_input_limit;  /**< option: most bytes waiting in the input chain; 0 for no limit */
    uint32_t m_output_limit; /**< option: most bytes in the output chain; 0 for no limit */
    uint32_t m_line_width;   /**< option, encoder: characters a line, at least 1; 0 for no line breaks */
    uint32_t m_continuation; /**< option, encoder: non-zero writes a backslash before each newline */
    uint32_t m_lenient;  /**< option, decoder: non-zero skips foreign characters, 0 ends the input there */
    uint32_t m_alphabet; /**< option, encoder: def_ombrel_base64_alphabet_standard or _url_safe */
    uint32_t m_column;   /**< read-only: characters on the current output line; 0 without a line width */
    uint32_t m_final;    /**< read-only: non-zero once the input has ended */
    ombrel_buffer_t* m_input;  /**< read-only: input that waits for its group to be complete */
    ombrel_buffer_t* m_output; /**< read-only: output not taken yet */
} ombrel_base64_t;

/**
 * @brief Opens a coder with all options 0.
 * @return the coder, to be closed by ombrel_close_base64(); null when memory runs out
 */
OMBREL_API ombrel_base64_t* ombrel_open_base64(void);

/**
 * @brief Frees a coder and all it holds.
 * @param coder the coder, or null
 * @return 0
 */
OMBREL_API int ombrel_close_base64(ombrel_base64_t* coder);

/**
 * @brief Adds input and encodes every whole group of 3 bytes; at the end, what is left too.
 *
 * With a line width a break (a newline, or a backslash and a newline) goes before each character that has no
 * room on its line, and one more is written at the end, even after an empty output. Without a line width
 * there is no break at all.
 *
 * Before each group the output chain must have room for 4 bytes under the output limit; breaks are not
 * counted, so the output may pass the limit by those of one group and the one at the end.
 * @param coder the coder
 * @param data  `size` bytes, copied; null adds as many zeros
 * @param size  their number; 0 marks the end of the input
 * @return 0, or -1: the coder is null; the data would make the waiting input exceed the input limit, or
 *         memory for it ran out (nothing of it is taken); or the output limit was reached or memory for the
 *         output ran out (the data is taken; get the output and push again, at the end another end, to go
 *         on). Input after the end is ignored, and an end pushed again does nothing more once all is flushed:
 *         both give 0.
 */
OMBREL_API int ombrel_push_encode_base64(ombrel_base64_t* coder, const void* data, size_t size);

/**
 * @brief Adds input and decodes every whole group of 4 characters.
 *
 * Carriage returns and line feeds are skipped. Any other character outside the standard alphabet, "-" and "_"
 * among them whatever the alphabet option says, is skipped by a lenient decoder; otherwise it ends the input:
 * m_final is set, and that character, an incomplete group before it and all that follows are dropped.
 * The first "=" ends its group of 4: one byte for two characters before it, two for three, none for fewer.
 * Groups may follow a padded one. A group that the end leaves incomplete gives nothing.
 *
 * Before each group the output chain must have room for 3 bytes under the output limit, also when the group
 * has fewer. Skipped characters count as waiting input until the next group is complete; of a long run of
 * them only the number is kept.
 * @param coder the coder
 * @param data  `size` characters, copied; null adds as many zeros
 * @param size  their number; 0 marks the end of the input
 * @return 0 or -1 as for ombrel_push_encode_base64()
 */
OMBREL_API int ombrel_push_decode_base64(ombrel_base64_t* coder, const void* data, size_t size);

/**
 * @brief Takes all output produced so far.
 * @param coder    the coder
 * @param size_out receives the number of bytes without the terminator, 0 with a null result; may be null
 * @return a tagged-heap block of the output (which may be empty) and a terminating 0, which the caller frees;
 *         null when the coder is null or memory runs out (the output stays)
 */
OMBREL_API char* ombrel_get_base64(ombrel_base64_t* coder, size_t* size_out);

/**
 * @brief Encodes bytes with the standard alphabet and without line breaks.
 * @param data     `size` bytes; null stands for as many zeros
 * @param size     their number
 * @param size_out receives the number of characters, 0 with a null result; may be null
 * @return a terminated text as a tagged-heap block that the caller frees; null when memory runs out
 * @par Threads any thread
 */
OMBREL_API char* ombrel_encode_base64(const void* data, size_t size, size_t* size_out);

/**
 * @brief Decodes a text strictly: as far as a character that does not belong there.
 * @param data     `size` characters; null stands for as many zeros
 * @param size     their number
 * @param size_out receives the number of bytes without the terminator, 0 with a null result; may be null
 * @return the bytes (there may be none) and a terminating 0 as a tagged-heap block that the caller frees;
 *         null when memory runs out
 * @par Threads any thread
 */
OMBREL_API char* ombrel_decode_base64(const void* data, size_t size, size_t* size_out);

OMBREL_END_C

#endif
