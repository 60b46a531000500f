/**
 * @file digest_list.h
 * @brief Lists of digests as the tools of GNU coreutils write and check them: "hex  name" a line.
 *
 * A line has hexadecimal digits of either case, a space, a space or "*" (which some tools put before the
 * names of binary files, and which means nothing here), and a name to the line's end. The form of `--tag`,
 * "SHA256 (name) = hex", is read too, with SHA256, SHA1 or MD5 and as many digits as that has; spaces around
 * the parentheses and the "=" do not matter. A line that begins with a backslash has a name with escapes:
 * `\\` for a backslash, `\n` for a line feed and `\r` for a carriage return. Lines that begin with "#" are
 * comments. Lines end with a line feed, with or without a carriage return before it.
 *
 * A reader takes a list in pieces of any size, from wherever it comes, and calls a handler for each line. It
 * has no lock: one thread at a time. What the digits are a digest of, and by which algorithm, it does not
 * ask: ombrel_find_digest_algorithm_by_size() tells the algorithms with as many digits.
 */
#ifndef OMBREL_DIGEST_LIST_H
#define OMBREL_DIGEST_LIST_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The longest line that is read, in bytes without its end. */
#define def_ombrel_digest_list_line_max 16383

/** A line of a list, taken apart. */
typedef struct ombrel_digest_entry_ts {
    const char* m_digits; /**< the digits as the list has them, terminated */
    size_t m_digit_count; /**< how many: at least 1 */
    const char* m_name;   /**< the name, its escapes undone, terminated: at least 1 character */
} ombrel_digest_entry_t;

/**
 * Called for each line of a list that is no comment.
 * @param entry   the line, valid until the handler returns; null for a line that is no entry: malformed, with
 *                a zero byte, or longer than #def_ombrel_digest_list_line_max
 * @param context what was given with the handler
 * @return 0 to go on; anything else ends the push, which returns it
 */
typedef int (*ombrel_digest_list_handler_t)(const ombrel_digest_entry_t* entry, void* context);

/** A reader. */
typedef struct ombrel_digest_list_ts ombrel_digest_list_t;

/**
 * @brief A new reader. It takes about 16 KiB of heap, however long the list is.
 * @param handler called for each line, within ombrel_push_digest_list(); it may do anything but push to the
 *                reader or close it
 * @param context handed to the handler
 * @return the reader, to be closed by ombrel_close_digest_list(); null for a null handler and when memory
 *         runs out
 */
OMBREL_API ombrel_digest_list_t* ombrel_open_digest_list(ombrel_digest_list_handler_t handler, void* context);

/**
 * @brief Reads a piece of a list.
 * @param list the reader
 * @param data the bytes; null ends the list: a last line without an end is read then, and what is pushed
 *             afterwards is another list
 * @param size how many
 * @return 0; what the handler returned when that was not 0 (the rest of the piece is not read then); -1 for a
 *         null reader
 */
OMBREL_API int ombrel_push_digest_list(ombrel_digest_list_t* list, const void* data, size_t size);

/**
 * @brief Frees a reader. A last line that was not ended is dropped.
 * @param list the reader, or null
 * @return 0
 */
OMBREL_API int ombrel_close_digest_list(ombrel_digest_list_t* list);

/**
 * @brief Splits a line into its parts, in its own memory.
 * @param line  the line without its end, terminated; it is changed
 * @param entry receives what points into the line; its content means nothing after a failure
 * @return 0; -1 when an argument is null or the line is not an entry, as with comments and empty lines
 */
OMBREL_API int ombrel_parse_digest_line(char* line, ombrel_digest_entry_t* entry);

/**
 * @brief Makes the line for a name, with escapes where it needs them.
 * @param digits the digits
 * @param name   the name
 * @return the line without its end, freed with ombrel_free(); null when an argument is null or empty, or
 *         memory runs out
 */
OMBREL_API char* ombrel_alloc_digest_line(const char* digits, const char* name);

OMBREL_END_C

#endif
