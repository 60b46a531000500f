/**
 * @file charset.h
 * @brief Converts texts from one character set to another, in pieces or at once, and checks whether bytes are
 * text of a set.
 *
 * UTF-8, UTF-16 and UTF-32 in both byte orders, US-ASCII, ISO-8859-1, windows-1252, and of Korea and Japan
 * EUC-KR, CP949, Shift_JIS, CP932 and EUC-JP: from each to each. Sets have numbers; names are looked up.
 *
 * @code
 * static int convert(ombrel_charset_converter_t* converter, FILE* from, FILE* to)
 * {
 *     char piece[4096], text[4096];
 *     size_t size, at, made;
 *     int step;
 *     do {
 *         size = fread(piece, 1, sizeof piece, from);
 *         at = 0;
 *         do {
 *             step = size > 0
 *                 ? ombrel_charset_converter_push(converter, piece, size, &at, text, sizeof text, &made)
 *                 : ombrel_charset_converter_finish(converter, text, sizeof text, &made);
 *             fwrite(text, 1, made, to);
 *         } while (step == 1);
 *     } while (step == 0 && size > 0);
 *     return step;
 * }
 * @endcode
 *
 * with a converter such as
 *
 * @code
 * converter = ombrel_open_charset_converter(ombrel_find_charset("cp949"), def_ombrel_charset_utf_8, NULL);
 * @endcode
 *
 * and for a text in memory:
 *
 * @code
 * char* text = ombrel_alloc_converted_text(def_ombrel_charset_cp949, def_ombrel_charset_utf_8, bytes, size,
 *                                          NULL, &text_size, &fault);
 * @endcode
 *
 * **What cannot be converted** is of two kinds: wrong bytes, which are no character of the set that they are
 * said to be in, and characters that the other set does not have. For each the caller chooses what is done:
 * fail, which is the default, replace, skip or escape. The converter counts both kinds.
 *
 * Where bytes are wrong, one fault covers: in UTF-8 the longest beginning of a character, or one byte; in
 * UTF-16 a unit, two bytes; in UTF-32 four bytes; in the sets of Korea and Japan the first byte alone, when
 * what follows cannot be a second byte or is ASCII (so that no wrong byte swallows a quotation mark or a
 * bracket), else both; sequences of three bytes likewise. In UTF-8 forms longer than needed, surrogates and
 * codes above U+10FFFF are wrong, as are surrogates without their other half elsewhere.
 *
 * **Byte order marks.** "UTF-16" and "UTF-32" are read by the mark at their beginning, which does not count
 * as a character, and as little-endian without one; they are written little-endian with a mark before the
 * first character. In the other sets U+FEFF is a character like any other, unless flags say otherwise.
 *
 * **The sets.** EUC-KR is KS X 1001 in two bytes, without the syllables that are composed of eight bytes;
 * CP949 is that and the other syllables, as Windows has it. Shift_JIS is JIS X 0201 and 0208 with the
 * backslash and the tilde of ASCII; CP932 is that of Windows, with its extensions and areas for private use.
 * EUC-JP is JIS X 0201, 0208 and, in three bytes, 0212. windows-1252 has no characters at 81, 8D, 8F, 90 and
 * 9D. What differs from other libraries stands in docs/text.md.
 *
 * **Limits.** A converter is one record of some hundred bytes; it keeps a started character and what did not
 * fit, no more. The one-shot functions have a limit, which is an option. Results do not depend on how the
 * input or the output is cut.
 *
 * **Threads.** A converter belongs to one thread at a time; all other functions may be called from any.
 *
 * **Errors.** ombrel_last_fault() is violation for wrong and cut-off bytes, not_supported for characters that
 * the other set does not have and for sets that are not known, too_large for limits, no_memory, invalid for
 * null and invalid arguments. Converters and the functions over texts also tell the reason and the place; see
 * ombrel_charset_fault_t.
 */
#ifndef OMBREL_CHARSET_H
#define OMBREL_CHARSET_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Character sets, from 1 to #def_ombrel_charset_count without a gap
 * @{ */
#define def_ombrel_charset_none 0         /**< no set */
#define def_ombrel_charset_us_ascii 1     /**< ASCII */
#define def_ombrel_charset_iso_8859_1 2   /**< Latin-1, with the control characters 80 to 9F */
#define def_ombrel_charset_windows_1252 3 /**< Latin-1 of Windows */
#define def_ombrel_charset_utf_8 4        /**< UTF-8 */
#define def_ombrel_charset_utf_16 5       /**< byte order by mark */
#define def_ombrel_charset_utf_16le 6     /**< least significant byte first */
#define def_ombrel_charset_utf_16be 7     /**< most significant byte first */
#define def_ombrel_charset_utf_32 8       /**< byte order by mark */
#define def_ombrel_charset_utf_32le 9     /**< least significant byte first */
#define def_ombrel_charset_utf_32be 10    /**< most significant byte first */
#define def_ombrel_charset_euc_kr 11      /**< Korean: KS X 1001 */
#define def_ombrel_charset_cp949 12       /**< Korean of Windows, also called UHC */
#define def_ombrel_charset_shift_jis 13   /**< Japanese: JIS X 0201 and 0208 */
#define def_ombrel_charset_cp932 14       /**< Japanese of Windows, also called Windows-31J */
#define def_ombrel_charset_euc_jp 15      /**< Japanese: JIS X 0201, 0208 and 0212 */
#define def_ombrel_charset_count 15       /**< how many there are */
/** @} */

/** The most bytes that one character takes in any set. */
#define def_ombrel_charset_character_limit 4

/** @name Names
 * @{ */
/**
 * @brief Looks a set up by one of its names: those of IANA, of the web, of iconv and of Python.
 *
 * Upper and lower case are the same, and what is neither letter nor digit is passed over: "UTF-8", "utf8" and
 * "Utf_8" are one name. Where the same name means different sets to different people it is the set of the
 * name's standard: "latin1" is ISO-8859-1, "euc-kr" EUC-KR and "shift_jis" Shift_JIS.
 * @param name the name, terminated
 * @return a def_ombrel_charset_*; -1 with not_supported for an unknown name, with invalid for null
 */
OMBREL_API int ombrel_find_charset(const char* name);

/**
 * @brief The canonical name of a set, its preferred MIME name where it has one: "Shift_JIS".
 * @param charset 1 to #def_ombrel_charset_count, so that all of them can be walked over
 * @return a static text; null with not_supported for another number
 */
OMBREL_API const char* ombrel_get_charset_name(int charset);

/**
 * @brief The other names of a set, one at a time. @param charset the set
 * @param index   0 for the first
 * @return a static text; null with not_found after the last, with not_supported for an unknown set
 */
OMBREL_API const char* ombrel_get_charset_alias(int charset, size_t index);
/** @} */

/** @name One character
 * @{ */
/**
 * @brief Reads the character at the beginning of bytes.
 * @param charset the set; def_ombrel_charset_utf_16 and utf_32 are read as little-endian
 * @param data    the bytes
 * @param size    how many may be read
 * @param code    receives the code point; left as it was when there is none; may be null
 * @return the bytes that the character takes, 1 to 4; 0 for a `size` of 0; -1 with violation for wrong bytes,
 *         with would_block when more bytes are needed to tell, with invalid for null and with not_supported
 *         for an unknown set
 */
OMBREL_API int ombrel_decode_charset_character(int charset, const void* data, size_t size, uint32_t* code);

/**
 * @brief Writes a character.
 * @param charset the set; def_ombrel_charset_utf_16 and utf_32 are written little-endian, without a mark
 * @param code    the code point
 * @param bytes   #def_ombrel_charset_character_limit bytes; may be null to ask for the size alone
 * @return the bytes that the character takes, 1 to 4; -1 with not_supported when the set does not have it or
 *         is unknown, and for what is no code point
 */
OMBREL_API int ombrel_encode_charset_character(int charset, uint32_t code, void* bytes);
/** @} */

/** @name Why and where
 * @{ */
#define def_ombrel_charset_fault_none 0        /**< nothing failed */
#define def_ombrel_charset_fault_malformed 1   /**< bytes are no character of the set */
#define def_ombrel_charset_fault_incomplete 2  /**< the input ends within a character */
#define def_ombrel_charset_fault_unencodable 3 /**< the other set does not have the character */
#define def_ombrel_charset_fault_too_large 4   /**< the result is above the limit */
#define def_ombrel_charset_fault_no_memory 5   /**< memory for the result ran out */

/** What could not be converted. */
typedef struct ombrel_charset_fault_ts {
    int m_reason;     /**< def_ombrel_charset_fault_* */
    int m_size;       /**< bytes of the input that it is, 1 to 4; 0 for limits and memory */
    int64_t m_offset; /**< bytes of the input before it */
    uint32_t m_code;  /**< the character that the other set does not have; else 0 */
    uint8_t m_bytes[def_ombrel_charset_character_limit]; /**< the bytes, the rest 0 */
} ombrel_charset_fault_t;

/**
 * @brief A reason in words for people: "bytes that are no character of the set".
 * @param reason def_ombrel_charset_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_charset_fault_text(int reason);
/** @} */

/** @name What is done with what cannot be converted
 * @{ */
#define def_ombrel_charset_fail 0    /**< the call fails, and tells where */
#define def_ombrel_charset_replace 1 /**< the replacement takes its place */
#define def_ombrel_charset_skip 2    /**< it is left out */
/** Characters become "\uAC00", or "\U0001F600" above U+FFFF, wrong bytes "\x8F" each, in upper-case digits.
 * Backslashes of the text stay as they are, so the result is for people and cannot be read back. */
#define def_ombrel_charset_escape 3
/** Characters become "&#xAC00;"; not for wrong bytes. */
#define def_ombrel_charset_escape_xml 4
/** @} */

/** @name Flags of converters
 * @{ */
/** A byte order mark at the beginning of UTF-8 and of the sets of one byte order is dropped too. */
#define def_ombrel_charset_drop_mark 0x1u
/** One is written before the first character in UTF-8 and in the sets of one byte order too. */
#define def_ombrel_charset_write_mark 0x2u
/** @} */

/** @name Settings
 * @{ */
/** The longest replacement, in bytes of UTF-8. */
#define def_ombrel_charset_replacement_limit 32

/** Settings of a conversion. */
typedef struct ombrel_charset_options_ts {
    int m_malformed;   /**< what is done with wrong bytes, cut-off ones included: def_ombrel_charset_fail */
    int m_unencodable; /**< what is done with characters that the other set does not have:
                          def_ombrel_charset_fail */
    /** The replacement for both, in UTF-8, at most #def_ombrel_charset_replacement_limit bytes, of characters
     * that the other set has; may be empty. Null, the default, is U+FFFD, or "?" in sets without it. */
    const char* m_replacement;
    uint32_t m_flags; /**< flags of converters; 0 */
    /** Most bytes of a result of the functions that allocate; 1 GiB. Converters do not look at it. */
    size_t m_limit;
} ombrel_charset_options_t;

/**
 * @brief Fills settings with their defaults.
 * @param options the settings
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_charset_options(ombrel_charset_options_t* options);
/** @} */

/** @name Conversion in pieces
 * @{ */
/** A converter; opaque. */
typedef struct ombrel_charset_converter_ts ombrel_charset_converter_t;

/** What a converter has done so far. */
typedef struct ombrel_charset_counts_ts {
    int64_t m_read;        /**< bytes of the input, those of a started character included */
    int64_t m_written;     /**< bytes of the output, those that wait for room not included */
    int64_t m_malformed;   /**< faults of wrong or cut-off bytes that were replaced, skipped or escaped */
    int64_t m_unencodable; /**< characters that were */
} ombrel_charset_counts_t;

/**
 * @brief A converter.
 * @param from     the set of the input; the result of ombrel_find_charset() may be passed unchecked
 * @param to       the set of the output, which may be the same
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the converter, closed by ombrel_close_charset_converter(); null with not_supported (an unknown
 *         set), with invalid (unknown policies or flags, a replacement that is too long, no UTF-8 or not in
 *         the set) or no_memory
 */
OMBREL_API ombrel_charset_converter_t*
ombrel_open_charset_converter_tag(int from, int to, const ombrel_charset_options_t* options,
                                  const char* function, unsigned long line);
/** ombrel_open_charset_converter_tag() with the caller's own name and line. */
#define ombrel_open_charset_converter(from, to, options)                                                     \
    ombrel_open_charset_converter_tag((from), (to), (options), __func__, __LINE__)

/**
 * @brief Frees a converter.
 * @param converter the converter, or null
 * @return 0
 */
OMBREL_API int ombrel_close_charset_converter(ombrel_charset_converter_t* converter);

/**
 * @brief Resets a converter for another text. Its sets and settings stay.
 * @param converter the converter
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_charset_converter_reset(ombrel_charset_converter_t* converter);

/**
 * @brief Converts bytes of a piece until all of them are used or the output is full.
 *
 * While it gives 1, empty the output and call it again with the same piece and `*at`. A character that is cut
 * at the end of a piece is kept; one that does not fit is given out in parts, so that room for one byte is
 * enough.
 * @param converter the converter
 * @param data      the piece; may be null for a `size` of 0
 * @param size      its bytes
 * @param at        how many of them are used, advanced by the call; 0 for a new piece
 * @param output    receives what is made; null to count it only, which checks a text and tells the size that
 *                  its conversion has (see ombrel_charset_converter_get_counts())
 * @param room      bytes there; of no meaning for a null output
 * @param made      receives how many were written, also when the call fails: all that stands before the fault
 *                  is written first; may be null for a null output
 * @return 1 when the output is full and there is more; 0 when the piece is used; -1 for what could not be
 *         converted, also at every later call until a reset, and for null arguments or `*at` above `size`
 */
OMBREL_API int ombrel_charset_converter_push(ombrel_charset_converter_t* converter, const void* data,
                                             size_t size, size_t* at, void* output, size_t room,
                                             size_t* made);

/**
 * @brief Says that the input ends, and gives out what is left. A character that was begun is then incomplete.
 * @param converter the converter; push() gives -1 afterwards, until a reset
 * @param output    receives what is left, null to count it only
 * @param room      bytes there
 * @param made      receives how many were written; may be null for a null output
 * @return 1 when the output is full and there is more, to be asked for by another call; 0 when all is done;
 *         -1 for what could not be converted and for null arguments
 */
OMBREL_API int ombrel_charset_converter_finish(ombrel_charset_converter_t* converter, void* output,
                                               size_t room, size_t* made);

/**
 * @brief Why and where a conversion failed.
 * @param converter the converter
 * @return a record in the converter, with the reason none while nothing has failed; null for null
 */
OMBREL_API const ombrel_charset_fault_t*
ombrel_charset_converter_get_fault(const ombrel_charset_converter_t* converter);

/**
 * @brief What a converter has done since it was opened or reset.
 * @param converter the converter
 * @param counts    receives it
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_charset_converter_get_counts(const ombrel_charset_converter_t* converter,
                                                   ombrel_charset_counts_t* counts);
/** @} */

/** @name Texts in memory
 * @{ */
/**
 * @brief Converts a text.
 * @param from        the set of the input; the result of ombrel_find_charset() may be passed unchecked
 * @param to          the set of the result
 * @param data        the text, which may have NULs; null for a `size` of 0
 * @param size        its bytes
 * @param options     the settings; null for the defaults
 * @param result_size receives the bytes of the result without its end; may be null
 * @param fault       receives why and where it failed, with the reason none after a success; may be null
 * @param function    the function for whom the memory is accounted, kept by address
 * @param line        its source line
 * @return the result, followed by four NULs, freed by ombrel_free(); null for what could not be converted,
 *         for a result above the limit (too_large), and as ombrel_open_charset_converter_tag() gives it
 */
OMBREL_API char* ombrel_alloc_converted_text_tag(int from, int to, const void* data, size_t size,
                                                 const ombrel_charset_options_t* options, size_t* result_size,
                                                 ombrel_charset_fault_t* fault, const char* function,
                                                 unsigned long line);
/** ombrel_alloc_converted_text_tag() with the caller's own name and line. */
#define ombrel_alloc_converted_text(from, to, data, size, options, result_size, fault)                       \
    ombrel_alloc_converted_text_tag((from), (to), (data), (size), (options), (result_size), (fault),         \
                                    __func__, __LINE__)

/**
 * @brief Counts the characters of a text, which also checks that it is valid. The marks of UTF-16 and UTF-32
 * do not count.
 * @param charset the set
 * @param data    the text
 * @param size    its bytes
 * @param fault   receives why and where it is not valid, with the reason none after a success; may be null
 * @return the characters; -1 with violation for wrong or cut-off bytes, with invalid for null and with
 *         not_supported for an unknown set
 */
OMBREL_API int64_t ombrel_count_charset_characters(int charset, const void* data, size_t size,
                                                   ombrel_charset_fault_t* fault);

/**
 * @brief Whether bytes are a text of a set.
 * @param charset the set
 * @param data    the bytes
 * @param size    how many
 * @return 1 or 0; 0 for null and for an unknown set too
 */
OMBREL_API int ombrel_is_charset_text(int charset, const void* data, size_t size);
/** @} */

OMBREL_END_C

#endif
