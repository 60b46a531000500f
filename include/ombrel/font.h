/**
 * @file font.h
 * @brief The built-in bitmap fonts and the lookup of a character's glyph.
 *
 * A glyph is rows of pixels, top row first, the most significant bit of a byte leftmost, a set bit for ink. A
 * glyph 8 pixels wide has one byte a row, one 16 pixels wide has two, the left one first; all are 16 rows
 * high. Hangul syllables are composed of letters (jamo) drawn in several variants, which leave room for each
 * other.
 *
 * Threads: everything here is pure and may be called from any thread.
 */
#ifndef OMBREL_FONT_H
#define OMBREL_FONT_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of an 8×16 Latin font: 128 glyphs (codes 0 to 127) of 16 bytes; that of code c is at byte 16·c. */
#define def_ombrel_bitmap_font_8x16_en_size 2048u
/**
 * Bytes of a 16×16 Hangul font: 344 glyphs of 32 bytes in three banks. Letters are in the order of Unicode,
 * but for final glyph 25, which is ㅎ and never used, and 26, which is ㅍ.
 * - 8 sets of 19 initial consonants: (set·19 + initial)·32
 * - 4 sets of 21 medial vowels: (set·21 + medial)·32 + 4864
 * - 4 sets of 27 final consonants: (set·27 + final)·32 + 7552
 */
#define def_ombrel_bitmap_font_16x16_ko_size 11008u
/** Bytes that a glyph buffer must have. */
#define def_ombrel_bitmap_font_glyph_size 32u

/** @return the built-in Latin font, ::def_ombrel_bitmap_font_8x16_en_size bytes; owned by the library */
OMBREL_API const uint8_t* ombrel_get_default_bitmap_font_8x16_en_entry(void);

/** @return the built-in Hangul font, ::def_ombrel_bitmap_font_16x16_ko_size bytes; owned by the library */
OMBREL_API const uint8_t* ombrel_get_default_bitmap_font_16x16_ko_entry(void);

/**
 * @brief Finds the glyph of a character, and composes it when it is a Hangul syllable.
 *
 * | code | size | glyph |
 * |---|---|---|
 * | below 128 | 8×16 | from the Latin font |
 * | 128 to 255 | 8×16 | a hollow box |
 * | U+3131 to U+314E, those that can begin a syllable | 16×16 | initial consonant, set 0 |
 * | U+314F to U+3163 | 16×16 | medial vowel, set 0 |
 * | U+AC00 to U+D7A3, with a buffer | 16×16 | the letters of the syllable, joined in the buffer |
 * | anything else, and a syllable without a buffer | 16×16 | a hollow box |
 *
 * The final of a syllable selects a glyph by its number as follows: 1 to 25 the glyphs 0 to 24, 26 (ㅍ) the
 * glyph 26; 27 (ㅎ) draws no final, and the other letters are then those of a syllable without one. Glyph 25
 * is never used.
 * @param width        receives the width in pixels, 8 or 16; or null
 * @param height       receives the height in pixels, 16; or null
 * @param glyph_buffer ::def_ombrel_bitmap_font_glyph_size bytes, or null; receives the glyph: 16 bytes where
 * it is 8 wide, else 32. Of the 16×16 box it receives only the upper eight rows, 16 bytes; what lies beyond
 * is left as it was.
 * @param font         the font to use in place of the built-in one, or null; it serves Latin and Hangul codes
 *                     alike, so it must be of the kind that the code needs
 * @param code         the character's Unicode code point
 * @return `glyph_buffer`; without one, the glyph within the font, or a box that the library owns; never null
 */
OMBREL_API const uint8_t* ombrel_get_bitmap_font(unsigned int* width, unsigned int* height,
                                                 uint8_t* glyph_buffer, const uint8_t* font, uint32_t code);

OMBREL_END_C

#endif
