/**
 * @file nmea.h
 * @brief Sentences of NMEA 0183, as satellite receivers send them: read in pieces, and written.
 *
 * A sentence is a line of text: "$", two characters for the talker and three for the type, fields between
 * commas, "*" and a checksum. A reader takes bytes in pieces of any size from wherever they come, such as a
 * serial port (serial.h), and calls a handler with each sentence, its fields read into a record of its type:
 *
 * @code
 * static int take(const ombrel_nmea_sentence_t* sentence, void* context) {
 *     const ombrel_nmea_rmc_t* rmc = &sentence->m_value.m_rmc;
 *     (void)context;
 *     if (sentence->m_type == def_ombrel_nmea_rmc && rmc->m_latitude != def_ombrel_nmea_not_given)
 *         use(ombrel_get_nmea_degrees(rmc->m_latitude), ombrel_get_nmea_degrees(rmc->m_longitude));
 *     return 0;
 * }
 *
 * ombrel_nmea_reader_t* const reader = ombrel_open_nmea_reader(NULL, take, NULL);
 * ombrel_serial_t* const port = ombrel_open_serial("/dev/ttyACM0", NULL);
 * char bytes[256];
 * int64_t size;
 * while ((size = ombrel_serial_read(port, bytes, sizeof bytes, -1)) > 0)
 *     ombrel_nmea_reader_push(reader, bytes, (size_t)size);
 * @endcode
 *
 * @par Sentences
 * GGA, RMC, GLL, GSA, GSV, VTG, ZDA and HDT have records; all others, including proprietary ones ("$PUBX")
 * and encapsulated ones ("!AIVDM"), are given as fields. A line ends with a carriage return, a line feed or
 * both. Everything between sentences is passed over: the rest of one whose beginning was not seen, and the
 * blocks of tags (between backslashes) that some devices put before them. A "$" or "!" always begins a
 * sentence: one in which it stands is broken off there, so that the next one is never lost.
 *
 * @par Strictness
 * A checksum must be there and right; a flag lets sentences without one pass, but never those with a wrong
 * one. Characters are printable ASCII. A sentence has 82 characters with its line end at most, unless the
 * limit is set higher. In a sentence with a record every field must be as its type requires, or empty; fields
 * that are missing at the end count as empty, and additional ones are ignored. Any other sentence is bad: it
 * is counted, and given to the handler if a flag says so.
 *
 * @par Numbers
 * All are int64_t. Counts and identifiers are plain; what may have a fraction (metres, knots, degrees of a
 * course) is in billionths of its unit, so that up to nine digits after the point are exact; digits beyond
 * are dropped. A latitude or longitude is in billionths of a minute of arc, positive to the north and the
 * east, and so as exact as the sentence; ombrel_get_nmea_degrees() turns it into degrees. A number that is
 * not given is #def_ombrel_nmea_not_given, a character 0.
 *
 * @par Times
 * They are UTC, in the records of calendar.h. Where no time is given the hour is -1, where no date is given
 * the month is 0; ombrel_get_civil_instant() refuses both. A leap second (23:59:60) is the first second of
 * the next day. Years of two digits are those from 1980 to 2079.
 *
 * @par Threads
 * One at a time for a reader; any for the other functions.
 *
 * @par Failures
 * Functions give -1 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, #def_ombrel_fault_no_memory, and what is named with the function.
 */
#ifndef OMBREL_NMEA_H
#define OMBREL_NMEA_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Stands for a number whose field is empty or missing. */
#define def_ombrel_nmea_not_given INT64_MIN
/** The unit of numbers with a fraction: billionths. */
#define def_ombrel_nmea_scale 1000000000
/** Characters of a sentence at most, the line end's two included, as the standard has it. */
#define def_ombrel_nmea_length_max 82
/** The highest limit that can be set instead. */
#define def_ombrel_nmea_length_highest 4096
/** Satellites that a GSA sentence has room for. */
#define def_ombrel_nmea_gsa_satellites 12
/** Satellites that a GSV sentence tells of at most. */
#define def_ombrel_nmea_gsv_satellites 4

/** @name Types
 * @{ */
#define def_ombrel_nmea_other 0 /**< a sentence without a record: read its fields */
#define def_ombrel_nmea_gga 1   /**< position and its quality */
#define def_ombrel_nmea_gll 2   /**< position and time */
#define def_ombrel_nmea_gsa 3   /**< satellites in use, and the effect of their positions on the accuracy */
#define def_ombrel_nmea_gsv 4   /**< satellites in view, four a sentence */
#define def_ombrel_nmea_hdt 5   /**< heading */
#define def_ombrel_nmea_rmc 6   /**< the recommended minimum: position, date, time, course, speed */
#define def_ombrel_nmea_vtg 7   /**< course and speed over ground */
#define def_ombrel_nmea_zda 8   /**< date, time, local zone */
/** @} */

/** @name What is wrong with a bad sentence
 * @{ */
#define def_ombrel_nmea_fault_none 0       /**< nothing */
#define def_ombrel_nmea_fault_start 1      /**< it begins with neither "$" nor "!" */
#define def_ombrel_nmea_fault_character 2  /**< a character that no sentence may have */
#define def_ombrel_nmea_fault_too_long 3   /**< it is longer than the limit */
#define def_ombrel_nmea_fault_unfinished 4 /**< another began, or the input ended, before it was over */
#define def_ombrel_nmea_fault_unchecked 5  /**< it has no checksum */
#define def_ombrel_nmea_fault_checksum 6   /**< its checksum is wrong, or not two digits at its end */
#define def_ombrel_nmea_fault_address 7    /**< it has no talker and type */
#define def_ombrel_nmea_fault_field 8      /**< a field is not as its type requires */
#define def_ombrel_nmea_fault_count 9      /**< how many there are, with none */
/** @} */

/** Position and its quality. */
typedef struct ombrel_nmea_gga_ts {
    ombrel_civil_time_t m_time; /**< time of day; the date is not given */
    int64_t m_latitude;         /**< billionths of a minute of arc */
    int64_t m_longitude;        /**< billionths of a minute of arc */
    int64_t m_quality;          /**< 0 no position, 1 satellites alone, 2 corrected, 4 and 5 RTK, 6 estimated,
                                     7 set by hand, 8 simulated */
    int64_t m_satellites;       /**< in use */
    int64_t m_hdop;             /**< horizontal dilution of precision, billionths */
    int64_t m_altitude;         /**< above the geoid ("sea level"), billionths of a metre */
    int64_t m_separation;       /**< of the geoid above the ellipsoid, billionths of a metre */
    int64_t m_correction_age;   /**< age of differential corrections, billionths of a second */
    int64_t m_station;          /**< their station, 0 to 4095 */
} ombrel_nmea_gga_t;

/** Position and time. */
typedef struct ombrel_nmea_gll_ts {
    int64_t m_latitude;         /**< billionths of a minute of arc */
    int64_t m_longitude;        /**< billionths of a minute of arc */
    ombrel_civil_time_t m_time; /**< time of day; the date is not given */
    char m_status;              /**< 'A' valid, 'V' not */
    char m_mode;                /**< 'A' satellites alone, 'D' corrected, 'E' estimated, 'N' none, … */
} ombrel_nmea_gll_t;

/** Satellites in use, and the effect of their positions on the accuracy. */
typedef struct ombrel_nmea_gsa_ts {
    char m_selection; /**< 'M' by hand, 'A' by itself between two and three dimensions */
    int64_t m_fix;    /**< 1 no position, 2 of two dimensions, 3 of three */
    int64_t m_satellites[def_ombrel_nmea_gsa_satellites]; /**< their numbers; not given where there is none */
    int64_t m_pdop;                                       /**< dilution of precision, billionths */
    int64_t m_hdop;                                       /**< the horizontal part */
    int64_t m_vdop;                                       /**< the vertical part */
    int64_t m_system; /**< the system of the satellites: 1 GPS, 2 GLONASS, 3 Galileo, 4 BeiDou, … 15 */
} ombrel_nmea_gsa_t;

/** A satellite in view. */
typedef struct ombrel_nmea_satellite_ts {
    int64_t m_number;    /**< its number */
    int64_t m_elevation; /**< degrees above the horizon, -90 to 90 */
    int64_t m_azimuth;   /**< degrees from true north, 0 to 359 */
    int64_t m_strength;  /**< strength of its signal, decibels above the noise in a hertz; not given when not
                            tracked */
} ombrel_nmea_satellite_t;

/** Satellites in view. */
typedef struct ombrel_nmea_gsv_ts {
    int64_t m_sentences;       /**< sentences that belong together */
    int64_t m_sentence;        /**< which of them this is, from 1 */
    int64_t m_in_view;         /**< satellites in all of them */
    int64_t m_satellite_count; /**< the satellites of this sentence, 0 to 4 */
    ombrel_nmea_satellite_t m_satellites[def_ombrel_nmea_gsv_satellites]; /**< this many of them are set */
    int64_t m_signal; /**< the signal whose strengths these are, 0 to 15 */
} ombrel_nmea_gsv_t;

/** Heading. */
typedef struct ombrel_nmea_hdt_ts {
    int64_t m_heading; /**< from true north, billionths of a degree */
} ombrel_nmea_hdt_t;

/** The recommended minimum. */
typedef struct ombrel_nmea_rmc_ts {
    ombrel_civil_time_t m_time; /**< date and time of day; either may be not given */
    char m_status;              /**< 'A' valid, 'V' a warning */
    int64_t m_latitude;         /**< billionths of a minute of arc */
    int64_t m_longitude;        /**< billionths of a minute of arc */
    int64_t m_speed;            /**< over ground, billionths of a knot */
    int64_t m_course;           /**< over ground, from true north, billionths of a degree */
    int64_t m_variation;        /**< of the compass, positive to the east, billionths of a degree */
    char m_mode;                /**< as in GLL */
    char m_navigation;          /**< 'S' safe, 'C' caution, 'U' unsafe, 'V' not valid */
} ombrel_nmea_rmc_t;

/** Course and speed over ground. */
typedef struct ombrel_nmea_vtg_ts {
    int64_t m_course;          /**< from true north, billionths of a degree */
    int64_t m_magnetic_course; /**< from magnetic north, billionths of a degree */
    int64_t m_speed;           /**< billionths of a knot */
    int64_t m_speed_kmh;       /**< billionths of a kilometre an hour */
    char m_mode;               /**< as in GLL */
} ombrel_nmea_vtg_t;

/** Date, time, local zone. */
typedef struct ombrel_nmea_zda_ts {
    ombrel_civil_time_t m_time; /**< date and time of day in UTC; either may be not given */
    int64_t m_zone_hours;       /**< of the local zone, -13 to 13, as the talker counts them */
    int64_t m_zone_minutes;     /**< and its minutes, 0 to 59, of the hours' sign */
} ombrel_nmea_zda_t;

/** A sentence. */
typedef struct ombrel_nmea_sentence_ts {
    int m_fault; /**< what is wrong with it (def_ombrel_nmea_fault_*); if anything is, only the text counts */
    size_t m_fault_at;  /**< offset in bytes of what is wrong */
    const char* m_text; /**< the sentence as it came, without its line end; not terminated */
    size_t m_size;      /**< its bytes */
    int m_type;         /**< a def_ombrel_nmea_* */
    char m_start;       /**< '$', or '!' for an encapsulated one */
    int m_is_checked;   /**< 1 when it had a checksum */
    char m_talker[3];   /**< the talker: "GP", "GN", "GL", "GA", "GB", …; "P" for a proprietary sentence */
    char m_formatter[16]; /**< the type: "GGA"; of a proprietary sentence all that follows the "P" ("UBX") */
    int m_field_count;    /**< number of fields, not counting those two */
    union {
        ombrel_nmea_gga_t m_gga;
        ombrel_nmea_gll_t m_gll;
        ombrel_nmea_gsa_t m_gsa;
        ombrel_nmea_gsv_t m_gsv;
        ombrel_nmea_hdt_t m_hdt;
        ombrel_nmea_rmc_t m_rmc;
        ombrel_nmea_vtg_t m_vtg;
        ombrel_nmea_zda_t m_zda;
    } m_value; /**< the record of the type */
} ombrel_nmea_sentence_t;

/**
 * @name Reading one sentence
 * @{
 */
/** Flag: sentences without a checksum are accepted. */
#define def_ombrel_nmea_unchecked 1u
/** Flag of readers: bad sentences are given to the handler too. */
#define def_ombrel_nmea_bad_too 2u

/** How sentences are read. */
typedef struct ombrel_nmea_options_ts {
    /** #def_ombrel_nmea_unchecked, #def_ombrel_nmea_bad_too or 0, the default. */
    uint32_t m_flags;
    /** Characters of a sentence at most, the line end counted as two whatever it is, 16 to
     * #def_ombrel_nmea_length_highest; the default is #def_ombrel_nmea_length_max. */
    size_t m_length_limit;
} ombrel_nmea_options_t;

/** @brief Sets the options to their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_nmea_options(ombrel_nmea_options_t* options);

/**
 * @brief Reads one sentence.
 * @param text     the sentence, with or without a line end; it need not be terminated
 * @param size     its bytes
 * @param options  how; null means ombrel_init_nmea_options()
 * @param sentence receives it, with what is wrong when it is bad; its text points into `text`
 * @return 0; -1 for a bad sentence too
 */
OMBREL_API int ombrel_parse_nmea_sentence(const char* text, size_t size, const ombrel_nmea_options_t* options,
                                          ombrel_nmea_sentence_t* sentence);

/**
 * @brief A field of a sentence that was read, as it stands there (a "^" and two digits for a byte included).
 * @param sentence the sentence, whose text is still there
 * @param index    which, from 0, not counting the talker and the type
 * @param text     receives where it begins; it is not terminated
 * @param size     receives its bytes, 0 for an empty one
 * @return 0; -1, #def_ombrel_fault_not_found where there is no such field
 */
OMBREL_API int ombrel_nmea_sentence_get_field(const ombrel_nmea_sentence_t* sentence, int index,
                                              const char** text, size_t* size);

/** @brief Words for what is wrong with a bad sentence. @return the text, never null */
OMBREL_API const char* ombrel_nmea_fault_text(int fault);

/** @brief Degrees of a latitude or longitude. @return them; not a number when it is not given */
OMBREL_API double ombrel_get_nmea_degrees(int64_t angle);
/** @brief The same in billionths of a degree, rounded. @return them; not given when the number is not */
OMBREL_API int64_t ombrel_get_nmea_nanodegrees(int64_t angle);
/** @brief A number with a fraction. @return it; not a number when it is not given */
OMBREL_API double ombrel_get_nmea_number(int64_t billionths);
/** @} */

/**
 * @name Readers
 * @{
 */
/** A reader. */
typedef struct ombrel_nmea_reader_ts ombrel_nmea_reader_t;

/**
 * Called for each sentence.
 * @param sentence the sentence, valid until the handler returns; a bad one has its m_fault set
 * @param context  what was given with the handler
 * @return 0 to go on; anything else ends the push, which returns it
 */
typedef int (*ombrel_nmea_handler_t)(const ombrel_nmea_sentence_t* sentence, void* context);

/** What a reader has read. */
typedef struct ombrel_nmea_counts_ts {
    uint64_t m_good;                                /**< good sentences */
    uint64_t m_bad;                                 /**< bad ones */
    uint64_t m_faults[def_ombrel_nmea_fault_count]; /**< the bad ones by what is wrong with them */
    uint64_t m_passed_over;                         /**< bytes between sentences, line ends not counted */
} ombrel_nmea_counts_t;

/**
 * @brief A new reader. It takes as many bytes of heap as its limit and a few more, whatever is pushed.
 * @param options  how it reads; null means ombrel_init_nmea_options()
 * @param handler  called for each sentence, within ombrel_nmea_reader_push(); it may do anything but push to
 *                 the reader or close it
 * @param context  handed to the handler
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the reader, to be closed by ombrel_close_nmea_reader(); null
 */
OMBREL_API ombrel_nmea_reader_t* ombrel_open_nmea_reader_tag(const ombrel_nmea_options_t* options,
                                                             ombrel_nmea_handler_t handler, void* context,
                                                             const char* function, unsigned long line);
/** ombrel_open_nmea_reader_tag() with the caller's own name and line. */
#define ombrel_open_nmea_reader(options, handler, context)                                                   \
    ombrel_open_nmea_reader_tag((options), (handler), (context), __func__, __LINE__)

/**
 * @brief Reads a piece.
 * @param reader the reader
 * @param data   the bytes; null ends the input: a last sentence without a line end is read then, and what is
 *               pushed afterwards is another input
 * @param size   how many
 * @return 0; what the handler returned when that was not 0 (the rest of the piece is not read then); -1
 */
OMBREL_API int ombrel_nmea_reader_push(ombrel_nmea_reader_t* reader, const void* data, size_t size);

/** @brief What was read since the reader was opened. @return 0; -1 for null */
OMBREL_API int ombrel_nmea_reader_get_counts(const ombrel_nmea_reader_t* reader,
                                             ombrel_nmea_counts_t* counts);

/** @brief Frees a reader; an unfinished sentence is dropped. @param reader the reader, or null @return 0
 */
OMBREL_API int ombrel_close_nmea_reader(ombrel_nmea_reader_t* reader);
/** @} */

/**
 * @name Writing
 * @{
 */
/**
 * @brief Begins a sentence to be written: everything except the talker and the type is not given.
 * @param sentence the record
 * @param type     a def_ombrel_nmea_* except #def_ombrel_nmea_other
 * @param talker   two capital letters or digits, such as "GP"
 * @return 0; -1
 */
OMBREL_API int ombrel_init_nmea_sentence(ombrel_nmea_sentence_t* sentence, int type, const char* talker);

/**
 * @brief Writes a sentence of a type with a record: ombrel_parse_nmea_sentence() of it gives the same record.
 *
 * Times have two digits after the point or as many as they need, minutes of arc four or as many as they
 * need, other numbers as many as they need. Fields that came with later versions of the standard (modes, the
 * system, the signal) stand there when they are given.
 * @param buf      the buffer
 * @param size     its bytes: #def_ombrel_nmea_length_max and one more hold every sentence that the standard
 *                 allows, and so are the limit
 * @param sentence its m_type, m_talker and m_value
 * @return characters of the sentence, its carriage return and line feed included and a terminating zero not;
 *         -1, with an empty text: #def_ombrel_fault_too_large when it does not fit,
 *         #def_ombrel_fault_invalid also for values that the type does not have
 */
OMBREL_API int ombrel_format_nmea_sentence(char* buf, size_t size, const ombrel_nmea_sentence_t* sentence);

/**
 * @brief Writes a sentence of any kind.
 * @param buf     the buffer
 * @param size    its bytes
 * @param start   '$', or '!' for an encapsulated one
 * @param address the talker and the type: "GPTXT", "PUBX"
 * @param fields  the fields: printable ASCII without the characters that have a meaning ("$!*,\~^", of which
 *                "^" may stand before two hexadecimal digits)
 * @param count   how many
 * @return as ombrel_format_nmea_sentence()
 */
OMBREL_API int ombrel_format_nmea_fields(char* buf, size_t size, char start, const char* address,
                                         const char* const* fields, size_t count);
/** @} */

OMBREL_END_C

#endif
