/**
 * @file charset_detect.h
 * @brief In which character set a text of unknown origin is written, with a confidence.
 *
 * @code
 * ombrel_charset_detection_t found;
 * if (ombrel_detect_charset(bytes, size, &found) != 0)
 *     return -1;
 * if (found.m_kind == def_ombrel_charset_detect_text)
 *     ombrel_printf("%s, %d %%\n", found.m_name, found.m_confidence);
 * else
 *     ombrel_puts("no text");
 * @endcode
 *
 * These sets are recognised, under their names of charset.h:
 *
 * | name           | told when                                                                             |
 * |----------------|---------------------------------------------------------------------------------------|
 * | "US-ASCII"     | there is nothing but ASCII, so that nearly any set will do                            |
 * | "UTF-8"        | the bytes are UTF-8 and not ASCII alone, or begin with its byte order mark            |
 * | "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE" | a byte order mark says so, or the units make sense |
 * | "EUC-KR"       | Korean, all of whose characters are those of KS X 1001                                |
 * | "CP949"        | Korean with a syllable beyond these                                                   |
 * | "Shift_JIS"    | Japanese, all of whose characters are those of JIS X 0201 and JIS X 0208              |
 * | "CP932"        | the same with a character of Windows beyond these                                     |
 * | "EUC-JP"       | Japanese, JIS X 0212 included                                                         |
 * | "ISO-8859-1"   | a Western European language, without bytes from 0x80 to 0x9F                          |
 * | "windows-1252" | the same with some of these, such as curly quotes or the euro sign                    |
 *
 * The confidence is 0 to 100. The runner-up has one too, so their distance tells how close the decision was;
 * of two sets one of which contains the other ("EUC-KR" and "CP949") only one is named. 100 is given for a
 * byte order mark and for ASCII alone. For texts of a handful of characters the result is a guess: two Hangul
 * syllables in EUC-KR may be two Kanji in EUC-JP. The result is the likeliest set, even if only by a little.
 *
 * How likely a set is, is weighed by how common its characters are in the languages above. An occasional
 * fault in a long text counts heavily against a set but does not rule it out; the confidence is then 70 at
 * most.
 *
 * Data is binary when random bytes explain it better than any set, and when it has zero bytes but is neither
 * UTF-16 nor UTF-32.
 *
 * It takes time in proportion to the text, and no memory beyond the detector. What is found does not depend
 * on how the text was cut into pieces.
 *
 * @par Threads
 * A detector belongs to one thread at a time; the other functions may be called from any.
 */
#ifndef OMBREL_CHARSET_DETECT_H
#define OMBREL_CHARSET_DETECT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name What a text turned out to be
 * @{ */
#define def_ombrel_charset_detect_empty 0  /**< there is nothing, or a byte order mark alone */
#define def_ombrel_charset_detect_text 1   /**< a text, in the set that is named */
#define def_ombrel_charset_detect_binary 2 /**< not a text in any set that is known here */
/** @} */

/** What a detection found. */
typedef struct ombrel_charset_detection_ts {
    int m_kind;                /**< a def_ombrel_charset_detect_* */
    int m_confidence;          /**< confidence in the set or, for binary data, that it is binary: 0 to 100 */
    int m_charset;             /**< the set, a def_ombrel_charset_*; none for binary data, and for nothing */
    const char* m_name;        /**< its name, static; null where there is none */
    int m_second_charset;      /**< the runner-up, a def_ombrel_charset_*; none where there is none */
    const char* m_second_name; /**< its name, static; null where there is none */
    int m_second_confidence;   /**< confidence in the runner-up, `m_confidence` at most; 0 where there is none
                                */
    uint32_t m_mark_size; /**< bytes of the byte order mark at the beginning, 0 to 4: no part of the text */
} ombrel_charset_detection_t;

/**
 * @brief Detects the set of a whole text, or of its beginning.
 * @param text  the bytes; null is allowed when `size` is 0
 * @param size  their number. A character that the end cuts off counts little
 * @param found receives what was found
 * @return 0; -1 with the fault invalid for a null pointer
 */
OMBREL_API int ombrel_detect_charset(const void* text, size_t size, ombrel_charset_detection_t* found);

/** A detection in pieces. */
typedef struct ombrel_charset_detector_ts ombrel_charset_detector_t;

/**
 * @brief Begins a detection in pieces.
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the detector, to be closed by ombrel_close_charset_detector(); null with the fault no_memory
 */
OMBREL_API ombrel_charset_detector_t* ombrel_open_charset_detector_tag(const char* function,
                                                                       unsigned long line);
/** ombrel_open_charset_detector_tag() with the caller's own name and line. */
#define ombrel_open_charset_detector() ombrel_open_charset_detector_tag(__func__, __LINE__)

/**
 * @brief Ends a detection.
 * @param detector the detector, or null
 * @return 0
 */
OMBREL_API int ombrel_close_charset_detector(ombrel_charset_detector_t* detector);

/**
 * @brief Takes the next piece, which may be cut anywhere.
 * @param detector the detector
 * @param text     the piece; null is allowed when `size` is 0
 * @param size     its bytes
 * @return 1 when no further piece can change the result (the text has a byte order mark, or is
 * binary); 0 when it can; -1 with the fault invalid for a null pointer
 */
OMBREL_API int ombrel_charset_detector_push(ombrel_charset_detector_t* detector, const void* text,
                                            size_t size);

/**
 * @brief What the pieces so far are. More may follow.
 * @param detector the detector
 * @param found    receives what was found
 * @return 0; -1 with the fault invalid for a null pointer
 */
OMBREL_API int ombrel_charset_detector_get_detection(const ombrel_charset_detector_t* detector,
                                                     ombrel_charset_detection_t* found);

/** @brief Forgets all pieces, for another text. @return 0; -1 with the fault invalid for null */
OMBREL_API int ombrel_charset_detector_reset(ombrel_charset_detector_t* detector);

OMBREL_END_C

#endif
