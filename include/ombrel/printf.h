/**
 * @file printf.h
 * @brief Formatted text: a small printf family that formats the same way on every platform.
 *
 * A conversion is written in exactly this order, every part optional:
 *
 *     % # - . 0 * width .precision l or ll conversion
 *
 * - "#" is accepted and ignored.
 * - "-" pads on the right. Together with "0" the field is padded with zeros on the left all the same.
 * - "." before the width is the leading dot: see "s" and "f".
 * - "0" pads with zeros.
 * - "*" takes the width from the next `int` argument; a negative one counts as 0. Digits after "*" are added
 * to it. Widths and precisions end at 268435455 (28 bits).
 * - Parts out of this order are not recognised: in "%0-5d" the "-" stands where the conversion belongs.
 *
 * | conversion | argument | output |
 * |---|---|---|
 * | d, i | `int`; `l`: `long`; `ll`: 64 bits | signed decimal |
 * | u, o, x, X | `unsigned`; `l`: `unsigned long`; `ll`: 64 bits | decimal, octal, hexadecimal |
 * | c | `int` | the byte, without padding |
 * | s | `const char *` | the string, "(null)" for a null pointer |
 * | p, P | pointer | sign-extended to 64 bits, as 16 hexadecimal digits of lower or upper case |
 * | f | `double` | fixed-point decimal; with `ll` nothing, and no argument is taken |
 * | % | none | "%" |
 * | any other | none | the character itself; the character after it is skipped |
 *
 * `long` is the platform's own. A precision has no effect on integers. A conversion that the end of the
 * format cuts off prints nothing.
 *
 * "s": the string is padded with spaces up to the width and never cut, with one exception: with the leading
 * dot it is both padded and cut to the width ("%.3s" gives " ab" for "ab" and "abc" for "abcdef"), and no
 * more than that many bytes of it are read. A precision after a width is ignored.
 *
 * "f": with the leading dot the width is the number of decimals ("%.2f"). Otherwise the width applies to the
 * integer part alone; a width without a precision prints no decimals, and neither of both prints six. The
 * sign is that of the rounded integer part, so values between -1 and 0 print without one. An integer part
 * beyond the signed 64-bit range prints as the bound of that range, and not-a-number as 0; decimals that do
 * not fit into 64 bits are exact to 18 digits and end in zeros.
 *
 * There is no "e", "g", "a", "n", "h", "z", "j", "t", "L", "+" or space. These rules differ from the standard
 * ones, so the functions carry no format attribute.
 *
 * All functions may be called from any thread. A format must not be null. Arguments must match the format.
 */
#ifndef OMBREL_PRINTF_H
#define OMBREL_PRINTF_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Flag of the integer writers: pad with spaces; without it, with the digit table's first character. */
#define def_ombrel_xtoa_space 0x80000000u
/** Flag of the integer writers: the value is a negative number's magnitude; "-" is written. */
#define def_ombrel_xtoa_negative 0x40000000u
/** Flag of the integer writers: pad after the digits; only together with #def_ombrel_xtoa_space. */
#define def_ombrel_xtoa_left 0x20000000u
/** Flag of the integer writers: pad with the digit table's first character in spite of
 * #def_ombrel_xtoa_space. */
#define def_ombrel_xtoa_digit_pad 0x10000000u
/** The bits of the flag word that hold the field's width in characters, sign included. */
#define def_ombrel_xtoa_width_mask 0x0FFFFFFFu

/**
 * @brief Writes an integer without a terminating NUL; what does not fit is cut off.
 * @param dst         where to write
 * @param room        characters that fit there
 * @param value       the value, or the magnitude of a negative one
 * @param base        2 to 16
 * @param flags_width `def_ombrel_xtoa_*` flags and the field's width
 * @param digits      `base` characters, the digits from 0 on; the first also pads; null for
 * "0123456789ABCDEF"
 * @return the characters written; 0 for a null `dst` or a base out of range
 */
OMBREL_API unsigned ombrel_xtoa_limit(char* dst, size_t room, unsigned value, unsigned base,
                                      unsigned flags_width, const char* digits);

/** @brief ombrel_xtoa_limit() for 64-bit values. @return the characters written */
OMBREL_API unsigned ombrel_llxtoa_limit(char* dst, size_t room, uint64_t value, unsigned base,
                                        unsigned flags_width, const char* digits);

/**
 * @brief Formats into a buffer; what does not fit is cut off.
 * @param buf    the buffer; may be null when `size` is 0
 * @param size   its bytes, the terminating NUL included; with 0 nothing is written
 * @param format the format
 * @param ap     its arguments; must not be used again without `va_end`
 * @return the characters stored, without the NUL: never more than `size` - 1 nor than `INT_MAX`. It is not
 * the length that the whole text would have had.
 */
OMBREL_API int ombrel_vsnprintf(char* buf, size_t size, const char* format, va_list ap)
    OMBREL_PRINTF_LIKE(3, 0);

/** @brief ombrel_vsnprintf() over its own arguments. @return the characters stored */
OMBREL_API int ombrel_snprintf(char* buf, size_t size, const char* format, ...) OMBREL_PRINTF_LIKE(3, 4);

/**
 * @brief Formats into a buffer that the caller knows to be large enough.
 * @param buf    the buffer
 * @param format the format
 * @param ap     its arguments
 * @return the characters stored, without the NUL
 */
OMBREL_API int ombrel_vsprintf(char* buf, const char* format, va_list ap) OMBREL_PRINTF_LIKE(2, 0);

/** @brief ombrel_vsprintf() over its own arguments. @return the characters stored */
OMBREL_API int ombrel_sprintf(char* buf, const char* format, ...) OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Formats into a new string of exactly the needed size.
 * @param format the format
 * @param ap     its arguments
 * @return the string, which the caller frees with ombrel_free(), tagged with the called function's name; null
 *         when memory runs out or the text has more than 65278 characters
 */
OMBREL_API char* ombrel_alloc_vsprintf(const char* format, va_list ap) OMBREL_PRINTF_LIKE(1, 0);

/** @brief ombrel_alloc_vsprintf() over its own arguments. @return the string or null */
OMBREL_API char* ombrel_alloc_sprintf(const char* format, ...) OMBREL_PRINTF_LIKE(1, 2);

/**
 * @brief Frees a string, then formats a new one as ombrel_alloc_vsprintf() does.
 * @param old    a string of the tagged heap, or null. It is freed before the formatting, also when that
 * fails: the arguments must not refer to it.
 * @param format the format
 * @param ap     its arguments
 * @return the new string or null
 */
OMBREL_API char* ombrel_realloc_vsprintf(char* old, const char* format, va_list ap) OMBREL_PRINTF_LIKE(2, 0);

/** @brief ombrel_realloc_vsprintf() over its own arguments. @return the new string or null */
OMBREL_API char* ombrel_realloc_sprintf(char* old, const char* format, ...) OMBREL_PRINTF_LIKE(2, 3);

OMBREL_END_C

#endif
