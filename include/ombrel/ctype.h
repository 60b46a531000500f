/**
 * @file ctype.h
 * @brief Character classes and case folding for ASCII, the same on every platform and in every locale.
 *
 * All functions are pure and may be called from any thread.
 */
#ifndef OMBREL_CTYPE_H
#define OMBREL_CTYPE_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

#define def_ombrel_ctype_control 0x0001u         /**< codes 0 to 31 and 127 */
#define def_ombrel_ctype_space 0x0002u           /**< codes 9 to 13 and 32 */
#define def_ombrel_ctype_punctuation 0x0004u     /**< printable, neither letter nor digit nor blank */
#define def_ombrel_ctype_digit 0x0008u           /**< "0" to "9" */
#define def_ombrel_ctype_upper 0x0010u           /**< "A" to "Z" */
#define def_ombrel_ctype_hex_letter 0x0020u      /**< "A" to "F" and "a" to "f" */
#define def_ombrel_ctype_lower 0x0040u           /**< "a" to "z" */
#define def_ombrel_ctype_non_ascii 0x0080u       /**< every code of 128 or more */
#define def_ombrel_ctype_base64 0x0100u          /**< the base64 alphabet with its pad "=" */
#define def_ombrel_ctype_line_feed 0x0200u       /**< code 10 */
#define def_ombrel_ctype_carriage_return 0x0400u /**< code 13 */
#define def_ombrel_ctype_separator 0x0800u       /**< characters that end a token in protocol headers */

/** Hexadecimal digits of both cases. */
#define def_ombrel_ctype_hex_digit (def_ombrel_ctype_digit | def_ombrel_ctype_hex_letter)

/**
 * @brief Whether a character belongs to a class.
 * @param c    the character's code; bytes must be given as 0 to 255
 * @param mask one or more `def_ombrel_ctype_*` classes
 * @return 1 when `c` is in any of the classes, else 0; a negative `c` is in none
 */
OMBREL_API int ombrel_ctype_select(int c, unsigned mask);

/**
 * @brief Folds a lower-case letter.
 * @param c the character's code
 * @return the upper-case letter for "a" to "z"; any other `c` as it is
 */
OMBREL_API int ombrel_to_upper(int c);

/**
 * @brief Folds an upper-case letter.
 * @param c the character's code
 * @return the lower-case letter for "A" to "Z"; any other `c` as it is
 */
OMBREL_API int ombrel_to_lower(int c);

OMBREL_END_C

#endif
