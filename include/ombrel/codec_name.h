/**
 * @file codec_name.h
 * @brief Names of media codecs, from four-character codes and from format tags of wave files, and back.
 *
 * Containers such as AVI, MP4, Matroska and WAVE tell by a number what their streams are coded with. A
 * four-character code (FOURCC) tells it of pictures: four characters, the first in the lowest byte. A format
 * tag, 16 bits, tells it of sound. The tables are those of RFC 2361 and of Microsoft's public registry, with
 * the codes that have come into general use since.
 *
 * @code
 * char code[def_ombrel_codec_code_size];
 * const ombrel_codec_t* video = ombrel_find_video_codec(ombrel_make_fourcc("H264"));
 * const ombrel_codec_t* audio = ombrel_find_audio_codec(0x0055);
 * ombrel_printf("%s, %s\n", video->m_name, audio->m_name);
 * ombrel_format_fourcc(code, sizeof code, video->m_code);
 * @endcode
 *
 * @par Upper and lower case
 * Four-character codes are numbers, and codes that differ in case are different
 * ones. As programs write them in either case all the same ("DIVX", "divx"), a code that is not in the table
 * is looked for once more with its ASCII letters in upper case, as which most of the table's are: an exact
 * match always comes first. A code that is shorter than four characters is filled up with spaces ("RLE ").
 * Names are found in either case.
 *
 * @par Threads
 * Any; the tables are constant.
 *
 * @par Failures
 * A function that finds nothing leaves the fault "not found", one that
 * was given null or a text that is no code "invalid", where ombrel_last_fault() finds it.
 */
#ifndef OMBREL_CODEC_NAME_H
#define OMBREL_CODEC_NAME_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes for a code as text, its end included: four characters of which each may need four, such as "\x1f".
 */
#define def_ombrel_codec_code_size 17

/** A codec. Its texts last as long as the library. */
typedef struct ombrel_codec_ts {
    uint32_t m_code;      /**< the four-character code, or the format tag */
    const char* m_symbol; /**< what the registry calls it: "WAVE_FORMAT_MPEGLAYER3"; a four-character code's
                             characters */
    const char* m_name;   /**< its name for people: "MPEG Layer 3" */
} ombrel_codec_t;

/**
 * @brief The number of a four-character code.
 * @param text one to four characters, each in the range 0x20 to 0x7E; spaces fill it up after them
 * @return the number, the first character in the lowest byte; 0 for null, for an empty text, and for one that
 *         is longer or has other characters
 */
OMBREL_API uint32_t ombrel_make_fourcc(const char* text);

/**
 * @brief A four-character code as text. Characters outside 0x20 to 0x7E, and the backslash, stand as "\x"
 * with two digits.
 * @param buf  receives the text and its end, cut to fit
 * @param size bytes there; #def_ombrel_codec_code_size always suffice
 * @param code the number
 * @return the characters stored, without the end; -1 for null or a size of 0
 */
OMBREL_API int ombrel_format_fourcc(char* buf, size_t size, uint32_t code);

/**
 * @brief The codec of a four-character code.
 * @param code the code, in any case, as told above
 * @return the codec, whose m_code has the table's case; null when it is unknown
 */
OMBREL_API const ombrel_codec_t* ombrel_find_video_codec(uint32_t code);

/**
 * @brief The codec of a format tag of wave files.
 * @param tag the tag, wFormatTag; of the extensible form, the first two bytes of its sub-format. Those above
 *            65,535 are unknown
 * @return the codec; null when it is unknown
 */
OMBREL_API const ombrel_codec_t* ombrel_find_audio_codec(uint32_t tag);

/**
 * @brief The first codec for pictures with a name.
 * @param name its name or symbol, in either case
 * @return the codec; null when there is none
 */
OMBREL_API const ombrel_codec_t* ombrel_find_video_codec_by_name(const char* name);

/**
 * @brief The first codec for sound with a name.
 * @param name its name or symbol, in either case; the symbol also without "WAVE_FORMAT_"
 * @return the codec; null when there is none
 */
OMBREL_API const ombrel_codec_t* ombrel_find_audio_codec_by_name(const char* name);

/**
 * @brief The codecs for pictures, ordered by their codes' characters.
 * @param index from 0 on
 * @return a codec; null at the end, which is no fault
 */
OMBREL_API const ombrel_codec_t* ombrel_get_video_codec(size_t index);

/**
 * @brief The codecs for sound, ordered by their tags.
 * @param index from 0 on
 * @return a codec; null at the end, which is no fault
 */
OMBREL_API const ombrel_codec_t* ombrel_get_audio_codec(size_t index);

OMBREL_END_C

#endif
