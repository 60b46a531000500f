/**
 * @file utf8.h
 * @brief The decoder of UTF-8 text, one character a call.
 *
 * The function is pure and may be called from any thread.
 */
#ifndef OMBREL_UTF8_H
#define OMBREL_UTF8_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The most bytes that one character takes. */
#define def_ombrel_utf8_character_limit ((size_t)4u)

/**
 * @brief Decodes the character at the beginning of a text.
 *
 * It is strict: stray or missing continuation bytes, forms longer than the character needs, surrogates
 * (U+D800 to U+DFFF) and values above U+10FFFF are refused, and so is a character that the end of the text
 * cuts off.
 * @param text the text at its cursor, `size` bytes; a NUL is a character like any other
 * @param size bytes that may be read
 * @param code receives the code point; left as it was when nothing could be decoded; may be null
 * @return the bytes that the character takes, 1 to 4; 0 at the end of the text (`size` 0); -1 for an invalid
 *         sequence or a null text
 */
OMBREL_API int ombrel_utf8_character_decode(const char* text, size_t size, uint32_t* code);

OMBREL_END_C

#endif
