/**
 * @file scan.h
 * @brief Scanning over a pair of callbacks: the same parsers read a string, a buffer or a stream.
 *
 * Every scanner takes `peek`, `pop` and an opaque `ctx` for both. It counts the characters that it consumes
 * and never consumes more than its limit. Results that count characters end at `INT_MAX`.
 *
 * White space is #def_ombrel_ctype_space, the codes 9 to 13 and 32. Numbers never overflow with an error:
 * they wrap around at the width of their type. `long` is the platform's own.
 *
 * Numbers: leading white space is skipped, free of charge; then a "+" or "-"; then digits, as long as they
 * are below the base. With a base of 0 or less a leading "0x" or "0X" makes the base 16, otherwise it is 10.
 * There is no octal form, and a given base of 16 takes no "0x". Outside of base 10 the sign is read and
 * ignored: "-ff" in base 16 is 255. Bases of 17 and more know the digits up to "f" only.
 *
 * All functions may be called from any thread, as far as the callbacks may.
 */
#ifndef OMBREL_SCAN_H
#define OMBREL_SCAN_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * Gives the next character without consuming it.
 * @return the character as 1 to 255; 0 at the end of the input
 */
typedef int (*ombrel_scan_peek_t)(void* ctx);

/** Consumes the next character. @return the character; scanners call it only after a peek that was not 0 */
typedef int (*ombrel_scan_pop_t)(void* ctx);

/** The limit in characters of the number scanners without a limit of their own. */
#define def_ombrel_scan_limit 4096

/** @brief Peek callback over a string. @param ctx the address of a `const char*` cursor @return the byte */
OMBREL_API int ombrel_scan_peek_mem(void* ctx);

/**
 * @brief Pop callback over a string: advances the cursor by one, also at the end of the string.
 * @param ctx the address of a `const char*` cursor
 * @return the byte that was under the cursor
 */
OMBREL_API int ombrel_scan_pop_mem(void* ctx);

/**
 * @brief Consumes white space.
 * @param peek  gives the next character
 * @param pop   consumes it
 * @param ctx   handed to both
 * @param limit characters to consume at most
 * @return the characters consumed
 */
OMBREL_API int ombrel_scan_skip_space_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                            size_t limit);

/** @brief ombrel_scan_skip_space_limit() without a limit. @return the characters consumed */
OMBREL_API int ombrel_scan_skip_space(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx);

/**
 * @brief Consumes characters up to white space or the end of the input.
 * @param peek  gives the next character
 * @param pop   consumes it
 * @param ctx   handed to both
 * @param limit characters to consume at most
 * @param out   takes what was consumed and a NUL, up to `limit` + 1 bytes; may be null
 * @return the characters consumed
 */
OMBREL_API int ombrel_scan_until_space_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                             size_t limit, char* out);

/** @brief ombrel_scan_until_space_limit() without a limit: `out` must have room for all. */
OMBREL_API int ombrel_scan_until_space(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, char* out);

/**
 * @brief Consumes characters up to one that a table names, or to the end of the input.
 * @param peek       gives the next character
 * @param pop        consumes it
 * @param ctx        handed to both
 * @param limit      characters to consume at most
 * @param table      a value for each character; null stops at none
 * @param stop_value stops before the first character whose value this is
 * @param out        takes what was consumed and a NUL, up to `limit` + 1 bytes; may be null
 * @return the characters consumed
 */
OMBREL_API int ombrel_scan_until_xtable_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                              size_t limit, const unsigned char table[256], int stop_value,
                                              char* out);

/**
 * @brief Scans a number as the head of this file tells.
 * @param peek  gives the next character
 * @param pop   consumes it
 * @param ctx   handed to both
 * @param limit characters to consume at most, sign and "0x" included, leading white space not
 * @param out   takes the number, 0 when there is none; may be null
 * @param base  2 to 16; 0 or less tells by the "0x"
 * @return the characters consumed after the leading white space; 0 when there is no number
 */
OMBREL_API int ombrel_scan_atox_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit,
                                      int* out, int base);
/** @brief ombrel_scan_atox_limit() for `long`. */
OMBREL_API int ombrel_scan_atolx_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                       size_t limit, long* out, int base);
/** @brief ombrel_scan_atox_limit() for 64-bit numbers. */
OMBREL_API int ombrel_scan_atollx_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                        size_t limit, int64_t* out, int base);
/** @brief ombrel_scan_atox_limit() with a limit of #def_ombrel_scan_limit. */
OMBREL_API int ombrel_scan_atox(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, int* out,
                                int base);
/** @brief ombrel_scan_atolx_limit() with a limit of #def_ombrel_scan_limit. */
OMBREL_API int ombrel_scan_atolx(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, long* out,
                                 int base);
/** @brief ombrel_scan_atollx_limit() with a limit of #def_ombrel_scan_limit. */
OMBREL_API int ombrel_scan_atollx(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, int64_t* out,
                                  int base);

/**
 * @brief The number at the start of a string, as the head of this file tells.
 * @param s    the string; null counts as empty
 * @param base 2 to 16; 0 or less tells by the "0x"
 * @return the number; 0 when there is none
 */
OMBREL_API int ombrel_atox(const char* s, int base);
/** @brief ombrel_atox() in base 10. */
OMBREL_API int ombrel_atoi(const char* s);
/** @brief ombrel_atox() for `long`. */
OMBREL_API long ombrel_atolx(const char* s, int base);
/** @brief ombrel_atolx() in base 10. */
OMBREL_API long ombrel_atol(const char* s);
/** @brief ombrel_atox() for 64-bit numbers. */
OMBREL_API int64_t ombrel_atollx(const char* s, int base);
/** @brief ombrel_atollx() in base 10. */
OMBREL_API int64_t ombrel_atoll(const char* s);

/**
 * @brief ombrel_atolx() that tells where it ended.
 * @param s    the string; null counts as empty
 * @param end  takes the place after the last character consumed, leading white space included; may be null
 * @param base 2 to 16; 0 or less tells by the "0x"
 * @return the number; 0 when there is none
 */
OMBREL_API long ombrel_strtol(const char* s, char** end, int base);
/** @brief ombrel_strtol() for 64-bit numbers. */
OMBREL_API int64_t ombrel_strtoll(const char* s, char** end, int base);

/**
 * @brief The decimal number with optional fraction at the start of a string. There is no exponent.
 *
 * The integer part wraps around at 64 bits. Decimals count for as long as the value of all of them fits into
 * 64 bits, however many they are; those after do not.
 * @param s the string; null counts as empty
 * @return the number; 0 when there is none
 */
OMBREL_API double ombrel_atof(const char* s);

/**
 * @brief The decimal number at the start of a string as an integer number of parts of 10 to the power
 * `digits`.
 *
 * A sign is skipped and ignored. Further decimals are cut off, not rounded. The first decimal is always read:
 * with 0 digits "1.5" gives 6. All arithmetic wraps around at 64 bits, so `digits` above 19 are of no use.
 * @param s      the string; null counts as empty
 * @param digits decimals wanted; a negative number counts as 0
 * @param scale  takes 10 to the power `digits`; may be null
 * @return the number times the scale
 */
OMBREL_API uint64_t ombrel_atof_uintmax(const char* s, int digits, uint64_t* scale);

/**
 * @brief Scans fields after a format.
 *
 * A character of the format that belongs to no conversion skips white space and then consumes an equal
 * character if it comes next; if not, nothing fails and the scan continues. A conversion is written
 *
 *     % * width sizes conversion
 *
 * "*" reads the field and assigns nothing; the width is the most characters that the field may have, 4096
 * when absent; the sizes are any number of "h" (one down) and "l" (one up).
 *
 * | conversion | argument | reads |
 * |---|---|---|
 * | d, u | as the sizes tell | a signed decimal number |
 * | x | as the sizes tell | a hexadecimal number without "0x"; a sign is ignored |
 * | s | `char*`, width + 1 bytes | characters up to white space |
 * | [set] | `char*`, width + 1 bytes | characters of the set; "[^set]" those that are not |
 * | n | `int*` | nothing: gives the characters consumed so far, and counts as a field |
 * | any other | none | an equal character, as outside of conversions |
 *
 * A number goes to an `int*`; with the sizes `hh` to a `signed char*`, `h` to a `short*`, `l` to a `long*`
 * and `ll` to an `int64_t*`.
 *
 * All but "n" skip leading white space, sets too. A "]" that comes first belongs to the set. In a set "a-d"
 * stands for "a" up to and without "d", and "d" is not a member. A number of no characters ends the scan; an
 * empty text is a field like any other. Without a width a text needs room for 4097 bytes.
 * @param peek   gives the next character
 * @param pop    consumes it
 * @param ctx    handed to both
 * @param format the format; not null
 * @param ap     its arguments; must not be used again without `va_end`
 * @return the fields assigned; the end of the input is no case of its own
 */
OMBREL_API int ombrel_context_scanf(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx,
                                    const char* format, va_list ap) OMBREL_SCANF_LIKE(4, 0);

/**
 * @brief ombrel_context_scanf() over a string.
 * @param s the string; null counts as empty
 * @param format the format
 * @param ap its arguments
 * @return the fields assigned
 */
OMBREL_API int ombrel_vsscanf(const char* s, const char* format, va_list ap) OMBREL_SCANF_LIKE(2, 0);

/** @brief ombrel_vsscanf() over its own arguments. @return the fields assigned */
OMBREL_API int ombrel_sscanf(const char* s, const char* format, ...) OMBREL_SCANF_LIKE(2, 3);

OMBREL_END_C

#endif
