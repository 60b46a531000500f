/**
 * @file percent.h
 * @brief Percent coding of texts, as in URLs and forms.
 *
 * All functions may be called from any thread. The strings that they return are freed by the caller with
 * ombrel_free().
 */
#ifndef OMBREL_PERCENT_H
#define OMBREL_PERCENT_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Encodes a text.
 *
 * Letters, digits and "-", ".", "_", "~" stay; a space becomes "+"; any other byte becomes "%" and two
 * upper-case hexadecimal digits.
 * @param s    the text
 * @param keep further characters that stay; may be null
 * @return the new string; null for a null `s` or when memory runs out
 */
OMBREL_API char* ombrel_encode_percent_string_ex(const char* s, const char* keep);
/** @brief ombrel_encode_percent_string_ex() that keeps no further characters. */
OMBREL_API char* ombrel_encode_percent_string(const char* s);

/**
 * @brief Decodes a text: "+" becomes a space, "%" and up to two hexadecimal digits become one byte.
 *
 * The digits are read by ombrel_scan_atox_limit() with base 16 and limit 2, which passes over white space and
 * takes a sign before them. A "%" without a digit becomes a NUL byte, so that the result may go on after
 * what string functions see.
 * @return the new string; null for a null `s` or when memory runs out
 */
OMBREL_API char* ombrel_decode_percent_string(const char* s);

OMBREL_END_C

#endif
