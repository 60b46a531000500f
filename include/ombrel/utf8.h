/**
 * @file utf8.h
 * @brief Texts in UTF-8: validation, characters forwards and backwards, repair, case, width in columns; and
 * what Unicode says of single code points.
 *
 * Texts are bytes with a size; they need not be terminated, and a NUL is a character like any other.
 *
 * @code
 * // A name from outside, made fit for a column of a table: valid, and at most 20 columns wide.
 * char* const name = ombrel_alloc_utf8_repaired(given, strlen(given), NULL);
 * if (name == NULL)
 *     return -1;
 * const int64_t size = ombrel_utf8_fit_columns(name, strlen(name), 20, 0, NULL);
 * ombrel_printf("%.*s\n", (int)size, name);
 * ombrel_free(name);
 *
 * // Each character of a text.
 * uint32_t code;
 * for (size_t at = 0; ombrel_utf8_next(text, size, &at, &code) == 1;)
 *     letters += ombrel_code_point_select(code, def_ombrel_utf8_letter);
 * @endcode
 *
 * @par Characters, also where a text is invalid
 * UTF-8 is taken strictly: stray or missing continuation bytes, forms longer than a character needs,
 * surrogates (U+D800 to U+DFFF) and values above U+10FFFF are invalid. Functions that count and step see an
 * invalid text as if it had been repaired: whatever one U+FFFD would replace is one character. That is the
 * longest beginning of some valid character that stands at this place (1 to 3 bytes), else a single byte, as
 * Unicode recommends and the encoding standard of the web demands. Thus steps forwards and backwards meet at
 * the same places, and neither reads outside the text.
 *
 * "Character" means code point throughout: "e" with a combining accent after it is two.
 *
 * @par Unicode
 * Case, classes and widths are those of the version that ombrel_get_unicode_version() names, the same in
 * every locale and on every system. Case is changed by the simple mappings, character by character: "ß" stays
 * as it is in upper case, and the dotted and dotless "i" of Turkish are not treated apart.
 *
 * @par Threads
 * Any, for all functions.
 *
 * @par Failures
 * A null text with a size of 0 is an empty text; another null pointer is #def_ombrel_fault_invalid, where
 * nothing else is said. A text that is not valid, where that matters, is #def_ombrel_fault_violation.
 */
#ifndef OMBREL_UTF8_H
#define OMBREL_UTF8_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name One character
 * @{
 */

/** The most bytes that one character takes. */
#define def_ombrel_utf8_character_limit ((size_t)4u)

/** The code point that stands for what is invalid. */
#define def_ombrel_utf8_replacement 0xFFFDu

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

/**
 * @brief Encodes one character; no NUL is put after it.
 * @param code the code point
 * @param text receives the bytes; may be null, to learn how many they are
 * @param size bytes that may be written; #def_ombrel_utf8_character_limit are always enough
 * @return the bytes that the character takes, 1 to 4; -1 with the fault invalid for a surrogate and for a
 * value above U+10FFFF, too_large when `size` does not suffice; nothing is written then
 */
OMBREL_API int ombrel_utf8_character_encode(uint32_t code, char* text, size_t size);

/** @} */
/**
 * @name Validation
 * @{
 */

/**
 * @brief Whether a text is valid.
 * @param text     the text
 * @param size     its bytes
 * @param fault_at receives the offset of the first character that is not valid or that the text's end cuts
 * off; `size` when there is none; may be null
 * @return 0; -1 with the fault violation when the text is not valid
 */
OMBREL_API int ombrel_utf8_check(const char* text, size_t size, size_t* fault_at);

/** A validation in pieces. The fields are its own; a program embeds it and calls ombrel_init_utf8_checker().
 */
typedef struct ombrel_utf8_checker_ts {
    int64_t m_offset;     /**< bytes checked, without those that are held */
    char m_held[4];       /**< the beginning of a character whose rest is to come */
    uint32_t m_held_size; /**< its bytes */
    uint32_t m_is_faulty; /**< 1 after a fault, which then lies at `m_offset` */
} ombrel_utf8_checker_t;

/** @brief Begins a text. There is nothing to end. @return 0; -1 for null */
OMBREL_API int ombrel_init_utf8_checker(ombrel_utf8_checker_t* checker);

/**
 * @brief Takes the next piece, which may be cut anywhere, also within a character.
 * @param checker the checker
 * @param text    the piece
 * @param size    its bytes
 * @return 0 while the text can still be a valid one; -1 with the fault violation, again at each further piece
 */
OMBREL_API int ombrel_utf8_checker_push(ombrel_utf8_checker_t* checker, const char* text, size_t size);

/**
 * @brief Ends the text, which no piece may follow then.
 * @param checker the checker
 * @return 0 when all of it was valid; -1 with the fault violation, also for a character without its end
 */
OMBREL_API int ombrel_utf8_checker_finish(ombrel_utf8_checker_t* checker);

/**
 * @brief Where the first fault is, counted in bytes from the beginning of the first piece.
 * @param checker the checker
 * @return the offset of the first character that is not valid; -1 while there is none, and for null
 */
OMBREL_API int64_t ombrel_utf8_checker_get_fault_at(const ombrel_utf8_checker_t* checker);

/** @} */
/**
 * @name Counting, stepping and cutting
 *
 * All of them take invalid texts too, as it is said above.
 * @{
 */

/**
 * @brief The number of characters.
 * @param text the text
 * @param size its bytes
 * @return the number; -1 for a null text
 */
OMBREL_API int64_t ombrel_utf8_count(const char* text, size_t size);

/**
 * @brief One character forwards.
 * @param text   the text
 * @param size   its bytes
 * @param offset where the character begins; receives where it ends. Within a character its remaining bytes
 * count as invalid
 * @param code   receives the code point, #def_ombrel_utf8_replacement for what is invalid; may be null
 * @return 1; 0 at the end of the text; -1 with the fault invalid for a null pointer and an offset beyond the
 * end
 */
OMBREL_API int ombrel_utf8_next(const char* text, size_t size, size_t* offset, uint32_t* code);

/**
 * @brief One character backwards.
 * @param text   the text
 * @param size   its bytes, those after the offset too
 * @param offset where the character ends; receives where it begins. From within a character it goes to its
 *               beginning
 * @param code   receives the code point, #def_ombrel_utf8_replacement for what is invalid; may be null
 * @return 1; 0 at the beginning of the text; -1 as ombrel_utf8_next()
 */
OMBREL_API int ombrel_utf8_previous(const char* text, size_t size, size_t* offset, uint32_t* code);

/**
 * @brief Where the n-th character begins.
 * @param text  the text
 * @param size  its bytes
 * @param index the character, from 0; the number of characters stands for the end of the text
 * @return the offset in bytes; -1 with the fault not_found beyond the end, invalid for a negative index
 */
OMBREL_API int64_t ombrel_utf8_find_character(const char* text, size_t size, int64_t index);

/**
 * @brief How much of a text fits into a size without a character being split.
 * @param text  the text
 * @param size  its bytes
 * @param limit bytes that it may take
 * @return the size of the beginning that fits, `limit` at most; `size` when all of it does; -1 for a null
 * text
 */
OMBREL_API int64_t ombrel_utf8_fit(const char* text, size_t size, size_t limit);

/** @} */
/**
 * @name Changed texts
 *
 * A text is written into a buffer, which must not overlap the source, or comes as a new string. What does not
 * fit the buffer is left out from a whole character on; a NUL ends what is there, unless `room` is 0. The
 * result is the size of the whole changed text, without a NUL, as with ombrel_snprintf(): all of it was
 * written when it is less than `room`.
 * @{
 */

/**
 * @brief Replaces what is invalid by U+FFFD; a valid text stays as it is.
 * @param to   the buffer; may be null when `room` is 0
 * @param room its bytes. Three times `size`, and one, are always enough
 * @param text the text
 * @param size its bytes
 * @return the size of the repaired text in bytes; -1 for a null pointer
 */
OMBREL_API int64_t ombrel_utf8_repair(char* to, size_t room, const char* text, size_t size);

/**
 * @brief ombrel_utf8_repair() into a new string.
 * @param text     the text
 * @param size     its bytes
 * @param repaired receives the bytes of the string without the NUL that ends it; may be null
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the string, to be freed by ombrel_free(); null with the fault invalid for a null text, no_memory
 */
OMBREL_API char* ombrel_alloc_utf8_repaired_tag(const char* text, size_t size, size_t* repaired,
                                                const char* function, unsigned long line);
/** ombrel_alloc_utf8_repaired_tag() with the caller's own name and line. */
#define ombrel_alloc_utf8_repaired(text, size, repaired)                                                     \
    ombrel_alloc_utf8_repaired_tag((text), (size), (repaired), __func__, __LINE__)

#define def_ombrel_utf8_upper 0 /**< the upper-case letter of each */
#define def_ombrel_utf8_lower 1 /**< the lower-case letter of each */
#define def_ombrel_utf8_fold                                                                                 \
    2 /**< one letter for all cases of it, for comparisons and keys; not for people */

/**
 * @brief Changes the case of a text; what is invalid stays as it is. A character may take more or fewer bytes
 *        than before.
 * @param to      the buffer; may be null when `room` is 0
 * @param room    its bytes. Three times `size`, and one, are always enough
 * @param text    the text
 * @param size    its bytes
 * @param mapping #def_ombrel_utf8_upper, #def_ombrel_utf8_lower or #def_ombrel_utf8_fold
 * @return the size of the changed text in bytes; -1 with the fault invalid for a null pointer and another
 * mapping
 */
OMBREL_API int64_t ombrel_utf8_change_case(char* to, size_t room, const char* text, size_t size, int mapping);

/**
 * @brief ombrel_utf8_change_case() into a new string.
 * @param text     the text
 * @param size     its bytes
 * @param mapping  as for ombrel_utf8_change_case()
 * @param changed  receives the bytes of the string without the NUL that ends it; may be null
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the string, to be freed by ombrel_free(); null with the fault invalid or no_memory
 */
OMBREL_API char* ombrel_alloc_utf8_case_tag(const char* text, size_t size, int mapping, size_t* changed,
                                            const char* function, unsigned long line);
/** ombrel_alloc_utf8_case_tag() with the caller's own name and line. */
#define ombrel_alloc_utf8_case(text, size, mapping, changed)                                                 \
    ombrel_alloc_utf8_case_tag((text), (size), (mapping), (changed), __func__, __LINE__)

/** @} */

/**
 * @brief Compares two texts without regard to case, in the order of their folded code points.
 *
 * Bytes that are invalid equal the same bytes only, and come after all characters.
 * @param a      a text; null is an empty one
 * @param a_size its bytes
 * @param b      the other; null is an empty one
 * @param b_size its bytes
 * @return -1, 0 or 1 for `a` before, equal to, after `b`
 */
OMBREL_API int ombrel_utf8_compare_any_case(const char* a, size_t a_size, const char* b, size_t b_size);

/**
 * @name Width in columns
 *
 * Columns are those of a terminal or of a font of fixed width: two for the characters of East Asia that are
 * wide and for pictures (emoji), none for marks that are put upon the character before, for what only directs
 * (U+200B, U+200D and the like) and for the vowels and final consonants of Hangul letter by letter, one for
 * all others. Each character counts by itself, as most terminals have it: a picture made of several joined
 * ones is as wide as its parts together. In a text a control character takes no column, and what is invalid
 * takes that of U+FFFD; escape sequences are not known.
 * @{
 */

/** Characters whose width Unicode calls ambiguous (such as "→", "①", "±") take two columns, as in fonts and
 * terminals made for Korean, Japanese or Chinese. */
#define def_ombrel_utf8_ambiguous_wide 0x1u

/**
 * @brief The columns of a text.
 * @param text  the text
 * @param size  its bytes
 * @param flags #def_ombrel_utf8_ambiguous_wide or 0
 * @return the columns; -1 with the fault invalid for a null text and unknown flags
 */
OMBREL_API int64_t ombrel_utf8_get_columns(const char* text, size_t size, uint32_t flags);

/**
 * @brief How much of a text fits into a number of columns; combining marks on the last character go with it.
 * @param text    the text
 * @param size    its bytes
 * @param columns columns that it may take; nothing fits into a negative number
 * @param flags   #def_ombrel_utf8_ambiguous_wide or 0
 * @param used    receives the columns that it takes: `columns`, or one less where a wide character did not
 * fit, or all that the text has; may be null
 * @return the size of the beginning that fits, in bytes; -1 as ombrel_utf8_get_columns()
 */
OMBREL_API int64_t ombrel_utf8_fit_columns(const char* text, size_t size, int64_t columns, uint32_t flags,
                                           int64_t* used);

/** @} */
/**
 * @name What Unicode says of a code point
 * @{
 */

/** @name Classes: the general categories, of which each code point has one, and groups of them
 * @{ */
#define def_ombrel_utf8_upper_letter 0x00000001u /**< Lu */
#define def_ombrel_utf8_lower_letter 0x00000002u /**< Ll */
#define def_ombrel_utf8_title_letter 0x00000004u /**< Lt: two letters in one, the first of them a capital */
#define def_ombrel_utf8_modifier_letter 0x00000008u /**< Lm */
#define def_ombrel_utf8_other_letter                                                                         \
    0x00000010u /**< Lo: Hangul, Han, kana, Arabic and all else without case */
#define def_ombrel_utf8_nonspacing_mark 0x00000020u     /**< Mn */
#define def_ombrel_utf8_spacing_mark 0x00000040u        /**< Mc */
#define def_ombrel_utf8_enclosing_mark 0x00000080u      /**< Me */
#define def_ombrel_utf8_decimal_digit 0x00000100u       /**< Nd: digits of all scripts */
#define def_ombrel_utf8_letter_number 0x00000200u       /**< Nl */
#define def_ombrel_utf8_other_number 0x00000400u        /**< No */
#define def_ombrel_utf8_connector 0x00000800u           /**< Pc, such as "_" */
#define def_ombrel_utf8_dash 0x00001000u                /**< Pd */
#define def_ombrel_utf8_open_bracket 0x00002000u        /**< Ps */
#define def_ombrel_utf8_close_bracket 0x00004000u       /**< Pe */
#define def_ombrel_utf8_initial_quote 0x00008000u       /**< Pi */
#define def_ombrel_utf8_final_quote 0x00010000u         /**< Pf */
#define def_ombrel_utf8_other_punctuation 0x00020000u   /**< Po */
#define def_ombrel_utf8_math_symbol 0x00040000u         /**< Sm */
#define def_ombrel_utf8_currency_symbol 0x00080000u     /**< Sc */
#define def_ombrel_utf8_modifier_symbol 0x00100000u     /**< Sk */
#define def_ombrel_utf8_other_symbol 0x00200000u        /**< So */
#define def_ombrel_utf8_space_separator 0x00400000u     /**< Zs */
#define def_ombrel_utf8_line_separator 0x00800000u      /**< Zl: U+2028 */
#define def_ombrel_utf8_paragraph_separator 0x01000000u /**< Zp: U+2029 */
#define def_ombrel_utf8_control 0x02000000u             /**< Cc: U+0000 to U+001F, U+007F to U+009F */
#define def_ombrel_utf8_format 0x04000000u              /**< Cf */
#define def_ombrel_utf8_surrogate 0x08000000u           /**< Cs */
#define def_ombrel_utf8_private_use 0x10000000u         /**< Co */
#define def_ombrel_utf8_unassigned 0x20000000u          /**< Cn, and values above U+10FFFF */
/** White space: U+0009 to U+000D, U+0020, U+0085 and all separators. */
#define def_ombrel_utf8_space 0x40000000u

#define def_ombrel_utf8_letter 0x0000001Fu      /**< of any kind */
#define def_ombrel_utf8_mark 0x000000E0u        /**< of any kind */
#define def_ombrel_utf8_number 0x00000700u      /**< of any kind */
#define def_ombrel_utf8_punctuation 0x0003F800u /**< of any kind */
#define def_ombrel_utf8_symbol 0x003C0000u      /**< of any kind */
#define def_ombrel_utf8_separator 0x01C00000u   /**< of any kind */
/** @} */

/**
 * @brief Whether a code point belongs to a class.
 * @param code the code point
 * @param mask one or more `def_ombrel_utf8_*` classes
 * @return 1 when it is in any of them, else 0
 */
OMBREL_API int ombrel_code_point_select(uint32_t code, uint32_t mask);

/**
 * @brief The other case of a letter, by its simple mapping.
 * @param code    the code point
 * @param mapping #def_ombrel_utf8_upper, #def_ombrel_utf8_lower or #def_ombrel_utf8_fold
 * @return the code point that it is mapped to; `code` itself where there is none, and for another mapping
 */
OMBREL_API uint32_t ombrel_code_point_change_case(uint32_t code, int mapping);

/**
 * @brief The columns that a character takes.
 * @param code  the code point
 * @param flags #def_ombrel_utf8_ambiguous_wide or 0
 * @return 0, 1 or 2; -1 for a control character, U+0000 too, and for what is no character: a surrogate, a
 * value above U+10FFFF
 */
OMBREL_API int ombrel_code_point_get_columns(uint32_t code, uint32_t flags);

/** @brief The version of Unicode that this library's tables follow, such as "14.0.0". @return a static
 * text
 */
OMBREL_API const char* ombrel_get_unicode_version(void);

/** @} */

OMBREL_END_C

#endif
