/**
 * @file calendar.h
 * @brief Moments, civil dates and times, time zones, and their texts.
 *
 * A moment is an ombrel_instant_t: seconds and nanoseconds since 1970 in UTC. A civil time is an
 * ombrel_civil_time_t: the fields of a date and a time of day at an offset to UTC. This header goes from each
 * to the other, from each to text, and back.
 *
 * @code
 * ombrel_instant_t now;
 * ombrel_civil_time_t local;
 * char text[64];
 * if (ombrel_get_instant(&now) == 0 && ombrel_make_local_time(&now, &local) == 0 &&
 *     ombrel_format_time(text, sizeof text, "%A, %F %T.%3N %:z", &local) > 0)
 *     ombrel_printf("%s\n", text);
 *
 * if (ombrel_parse_instant("2026-03-01T12:00:00+01:00", 0, &now, NULL) == -1)
 *     ombrel_error_printf("that is no time\n");
 * @endcode
 *
 * The calendar is the Gregorian one, carried on to before its beginning, with a year 0 before the year 1. It
 * ends with the years -1,000,000 and 1,000,000 (#def_ombrel_calendar_year_max). Days have 86,400 seconds:
 * leap seconds are not counted, as in the time of POSIX.
 *
 * Local time is what the host says: by the environment variable TZ, or by the system's setting without it,
 * both as they were at the first use or at the last ombrel_refresh_time_zone(). On POSIX names of the zone
 * database and rules such as "CET-1CEST,M3.5.0,M10.5.0/3" are understood. On Windows it is the system's zone
 * with its history; TZ counts when it is such a rule, but names of the zone database are not known there and
 * leave the system's zone in force. In a child that was forked by a process with several threads, local time
 * is that at the offset of the fork (see ombrel_asctime()).
 *
 * @par Threads
 * Any, for all functions; a record belongs to one thread at a time.
 *
 * @par Failures
 * A function that fails leaves the reason where ombrel_last_fault() finds it: #def_ombrel_fault_invalid for a
 * null record, for fields out of their range and for a text that is not of the kind,
 * #def_ombrel_fault_too_large for what lies beyond the calendar's ends or those of a number,
 * #def_ombrel_fault_no_memory. Its output is then unchanged. Success leaves the last fault alone.
 */
#ifndef OMBREL_CALENDAR_H
#define OMBREL_CALENDAR_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The last year of the calendar; the first is as far before the year 0. */
#define def_ombrel_calendar_year_max 1000000
/** Bytes for the name of a zone, its end included. */
#define def_ombrel_calendar_zone_size 48
/** Stands for a number of digits: as many as a second's fraction has, trailing zeros left out. */
#define def_ombrel_calendar_all_digits (-1)

/** A moment: m_seconds + m_nanoseconds / 1,000,000,000 seconds after 1970-01-01T00:00:00Z. */
typedef struct ombrel_instant_ts {
    int64_t m_seconds;     /**< whole seconds, rounded down: half a second before 1970 is in second -1 */
    int32_t m_nanoseconds; /**< 0 to 999,999,999, before 1970 too */
} ombrel_instant_t;

/** A date and a time of day. */
typedef struct ombrel_civil_time_ts {
    int32_t m_year;       /**< -1,000,000 to 1,000,000; the year 0 comes before the year 1 */
    int32_t m_month;      /**< 1 to 12 */
    int32_t m_day;        /**< 1 to 31 */
    int32_t m_hour;       /**< 0 to 23 */
    int32_t m_minute;     /**< 0 to 59 */
    int32_t m_second;     /**< 0 to 59 */
    int32_t m_nanosecond; /**< 0 to 999,999,999 */
    int32_t m_offset; /**< seconds by which this time is ahead of UTC (east: positive), less than 48 hours */
    int32_t m_week_day;  /**< 0 for Sunday to 6 for Saturday: filled in, never read */
    int32_t m_year_day;  /**< 1 to 366: filled in, never read */
    int32_t m_is_summer; /**< 1 where summer time is in force, else 0: filled in, never read */
    char m_zone[def_ombrel_calendar_zone_size]; /**< name of the zone, "" when it has none */
} ombrel_civil_time_t;

/**
 * @name Moments
 * @{
 */

/** @brief The host's clock. @return 0; -1 for null */
OMBREL_API int ombrel_get_instant(ombrel_instant_t* now);

/**
 * @brief Makes a moment of seconds and nanoseconds of any size and sign, which are carried over.
 * @param seconds     since 1970
 * @param nanoseconds more of them
 * @param instant     receives the moment
 * @return 0; -1 ("too large") when the seconds overflow
 */
OMBREL_API int ombrel_make_instant(int64_t seconds, int64_t nanoseconds, ombrel_instant_t* instant);

/**
 * @brief Moves a moment.
 * @param instant     the moment
 * @param nanoseconds by how many; negative ones go back
 * @return 0; -1 ("too large") when the seconds overflow
 */
OMBREL_API int ombrel_add_duration(ombrel_instant_t* instant, int64_t nanoseconds);

/**
 * @brief The time between two moments.
 * @param from        the earlier, or not
 * @param to          the later, or not
 * @param nanoseconds receives how long after `from` the moment `to` is; negative when it is before
 * @return 0; -1 ("too large") for more than about 292 years
 */
OMBREL_API int ombrel_get_duration(const ombrel_instant_t* from, const ombrel_instant_t* to,
                                   int64_t* nanoseconds);

/** @brief Compares two moments; null is before all. @return -1, 0 or 1 for `a` before, equal to, after `b` */
OMBREL_API int ombrel_compare_instants(const ombrel_instant_t* a, const ombrel_instant_t* b);

/** @} */
/**
 * @name Civil time
 * @{
 */

/** @brief The civil time of a moment in UTC, whose zone is named "UTC". @return 0; -1 */
OMBREL_API int ombrel_make_utc_time(const ombrel_instant_t* instant, ombrel_civil_time_t* time);

/**
 * @brief The civil time of a moment at a fixed offset; its zone has no name.
 * @param instant the moment
 * @param offset  seconds ahead of UTC, less than 48 hours either way
 * @param time    receives the time
 * @return 0; -1
 */
OMBREL_API int ombrel_make_offset_time(const ombrel_instant_t* instant, int32_t offset,
                                       ombrel_civil_time_t* time);

/**
 * @brief The civil time of a moment where this program runs, with its offset, its zone's name and whether it
 * is summer time. A name that is too long is cut at a whole character.
 * @return 0; -1
 */
OMBREL_API int ombrel_make_local_time(const ombrel_instant_t* instant, ombrel_civil_time_t* time);

/**
 * @brief Has the environment variable TZ and the system's setting looked at again. Local time need not follow
 * their changes otherwise, as the environment must not be read while another thread changes it.
 * @return 0; -1 ("not supported") in a child of a process with several threads
 */
OMBREL_API int ombrel_refresh_time_zone(void);

/**
 * @brief The moment of a civil time at its m_offset.
 * @param time    the time; a field out of its range is refused, as the 30th of February is
 * @param instant receives the moment
 * @return 0; -1
 */
OMBREL_API int ombrel_get_civil_instant(const ombrel_civil_time_t* time, ombrel_instant_t* instant);

/** Of the two moments that a local time has when clocks were put back, the later one. */
#define def_ombrel_local_later 1u
/** Local times that clocks were put past are refused. */
#define def_ombrel_local_refuse_gap 2u
/** Local times that there are two of are refused. */
#define def_ombrel_local_refuse_overlap 4u

/**
 * @brief The moment of a civil time where this program runs; its m_offset is not looked at.
 *
 * When clocks are put back some local times come twice: the first is meant unless the flags say otherwise.
 * When they are put forward some do not come at all: such a time is taken by the offset before the change, so
 * that it becomes one as much after it (02:30 becomes 03:30).
 * @param time    the time; a field out of its range is refused
 * @param flags   `def_ombrel_local_*`, or 0
 * @param instant receives the moment
 * @return 0; -1 ("invalid", too, for what the flags refuse)
 */
OMBREL_API int ombrel_get_local_instant(const ombrel_civil_time_t* time, uint32_t flags,
                                        ombrel_instant_t* instant);

/**
 * @brief Carries over what is out of range in fields: the 32nd of January becomes the 1st of February, second
 * -1 the one before, month 14 the second of the next year. The days of the week and of the year are filled
 * in; offset, summer and zone stay.
 * @param time its fields from m_year to m_nanosecond may have any value
 * @return 0; -1 ("too large") for a year beyond the calendar's ends
 */
OMBREL_API int ombrel_normalize_civil_time(ombrel_civil_time_t* time);

/** @brief Whether a civil time has each field in its range and its date exists. @return 0 if it has, else -1
 */
OMBREL_API int ombrel_check_civil_time(const ombrel_civil_time_t* time);

/**
 * @brief Moves a date by months. A day that the month reached does not have becomes its last: a month after
 * the 31st of January is the 28th or 29th of February.
 * @param time   the time, whose fields are in range; its time of day and offset stay
 * @param months by how many; negative ones go back; 12 are a year
 * @return 0; -1
 */
OMBREL_API int ombrel_add_months(ombrel_civil_time_t* time, int32_t months);

/** @} */
/**
 * @name Facts of the calendar
 * @{
 */

/** @brief Whether a year has a 29th of February. @return 1 or 0 */
OMBREL_API int ombrel_is_leap_year(int32_t year);

/** @brief Days of a month, 28 to 31. @return the days; -1 for an invalid month */
OMBREL_API int ombrel_get_month_days(int32_t year, int32_t month);

/** @brief Day of the week of a date, 0 for Sunday. @return 0 to 6; -1 for an invalid date */
OMBREL_API int ombrel_get_week_day(int32_t year, int32_t month, int32_t day);

/** @brief Day of the year of a date, 1 for the 1st of January. @return 1 to 366; -1 for an invalid date */
OMBREL_API int ombrel_get_year_day(int32_t year, int32_t month, int32_t day);

/** @brief Weeks that the year of ISO 8601 has. @return 52 or 53; -1 for a year beyond the calendar's ends */
OMBREL_API int ombrel_get_iso_weeks(int32_t year);

/**
 * @brief Week of a date as ISO 8601 counts them: from Monday on, the first being that with the year's first
 * Thursday.
 * @param year      the year
 * @param month     1 to 12
 * @param day       the day of the month
 * @param week_year receives the year that the week belongs to; may be null
 * @return 1 to 53; -1 for an invalid date
 */
OMBREL_API int ombrel_get_iso_week(int32_t year, int32_t month, int32_t day, int32_t* week_year);

/**
 * @brief The date of a day of an ISO week.
 * @param week_year the week's year
 * @param week      1 to as many as ombrel_get_iso_weeks() says
 * @param week_day  1 for Monday to 7 for Sunday
 * @param time      its date and days of week and year are set; the rest stays
 * @return 0; -1
 */
OMBREL_API int ombrel_set_iso_week(int32_t week_year, int32_t week, int32_t week_day,
                                   ombrel_civil_time_t* time);

/**
 * @brief The date of a day of the year.
 * @param year     the year
 * @param year_day 1 to 365 or 366
 * @param time     its date and days of week and year are set; the rest stays
 * @return 0; -1
 */
OMBREL_API int ombrel_set_year_day(int32_t year, int32_t year_day, ombrel_civil_time_t* time);

/** @} */
/**
 * @name Text of civil times
 * @{
 */

/**
 * @brief Formats a time as date(1) of GNU does where no locale is set; what does not fit is cut off.
 *
 * A conversion is "%", any flags, a width, "E" or "O" (which change nothing), and a letter:
 *
 * | letter | text |
 * |---|---|
 * | a A, b B h | name of the day and of the month, short and full |
 * | c | as `%a %b %e %T %Y` |
 * | D x, F, T X | as `%m/%d/%y`, `%Y-%m-%d`, `%H:%M:%S` |
 * | r, R | as `%I:%M:%S %p`, `%H:%M` |
 * | Y C y | year, its century, its last two digits |
 * | G g V | ISO week's year, its last two digits, ISO week |
 * | q, m, d e | quarter; month; day (`e` padded by a space) |
 * | j, u, w | day of the year; day of the week from 1, Monday; from 0, Sunday |
 * | U, W | week of the year, from its first Sunday on; from its first Monday on |
 * | H k, I l, p P | hour of 24, of 12 (`k` and `l` padded by spaces), AM or PM, in lower case |
 * | M, S, N, s | minute; second; nanoseconds; seconds since 1970 |
 * | z Z | offset as +hhmm; name of the zone |
 * | `:z`, also with two or three colons | offset as +hh:mm; as +hh:mm:ss; as short as it can be |
 * | n t % | line feed, tab, percent sign |
 *
 * Flags: "-" no padding, "_" padding by spaces, "0" by zeros, "+" by zeros and a sign before years of more
 * than four digits, "^" upper case, "#" the other case. A width says how many characters there are at least,
 * to 65535; of "N" it says how many digits, cut and not rounded: `%3N` are milliseconds. An unknown
 * conversion, and one that the format's end cuts off, is copied as it is.
 * @param buf    the buffer; may be null when `size` is 0
 * @param size   its bytes, the terminating NUL included; with 0 nothing is written
 * @param format the format
 * @param time   the time, whose fields are in range
 * @return the characters stored, without the NUL, as ombrel_snprintf() counts them: never more than `size` -
 * 1; -1 for a null format or time and for fields out of range, which leaves an empty text
 */
OMBREL_API int ombrel_format_time(char* buf, size_t size, const char* format,
                                  const ombrel_civil_time_t* time);

/**
 * @brief ombrel_format_time() into a new string of exactly the needed size.
 * @param format   the format
 * @param time     the time
 * @param function name of the calling function, kept by address
 * @param line     its source line
 * @return the string, freed with ombrel_free(); null when it fails
 */
OMBREL_API char* ombrel_alloc_time_text_tag(const char* format, const ombrel_civil_time_t* time,
                                            const char* function, unsigned long line);
/** ombrel_alloc_time_text_tag() with the caller's own name and line. */
#define ombrel_alloc_time_text(format, time) ombrel_alloc_time_text_tag((format), (time), __func__, __LINE__)

/** Without separators: "20260301T120000+0100". */
#define def_ombrel_iso_basic 1u
/** The date as a week and its day: "2026-W09-7". */
#define def_ombrel_iso_week 2u
/** The date as a day of the year: "2026-060". */
#define def_ombrel_iso_ordinal 4u
/** The date alone. */
#define def_ombrel_iso_date_only 8u
/** No offset. */
#define def_ombrel_iso_no_offset 16u
/** An offset of 0 as "+00:00", not as "Z". */
#define def_ombrel_iso_numeric_offset 32u
/** A space between date and time in place of the "T". */
#define def_ombrel_iso_space 64u

/**
 * @brief Formats a time as ISO 8601 and RFC 3339 do; what does not fit is cut off. 40 bytes hold every text.
 *
 * Years before 0 and after 9999 have a sign and at least six digits. An offset that has seconds shows them.
 * @param buf    the buffer; may be null when `size` is 0
 * @param size   its bytes
 * @param time   the time, whose fields are in range
 * @param flags  `def_ombrel_iso_*`, or 0 for "2026-03-01T12:00:00+01:00"
 * @param digits digits of the second's fraction, cut and not rounded: 0 to 9 or
 * #def_ombrel_calendar_all_digits
 * @return the characters stored; -1 as ombrel_format_time()
 */
OMBREL_API int ombrel_format_iso_time(char* buf, size_t size, const ombrel_civil_time_t* time, uint32_t flags,
                                      int digits);

/** Forms of the dates of HTTP and mail. */
#define def_ombrel_http_date_rfc1123 0 /**< "Sun, 06 Nov 1994 08:49:37 GMT", the form to be sent */
#define def_ombrel_http_date_rfc850 1  /**< "Sunday, 06-Nov-94 08:49:37 GMT" */
#define def_ombrel_http_date_asctime 2 /**< "Sun Nov  6 08:49:37 1994" */

/**
 * @brief Formats a moment as HTTP does; what does not fit is cut off. 40 bytes hold every text.
 * @param buf     the buffer; may be null when `size` is 0
 * @param size    its bytes
 * @param instant the moment, in a year from 0 to 9999
 * @param form    `def_ombrel_http_date_*`
 * @return the characters stored; -1, with an empty text
 */
OMBREL_API int ombrel_format_http_date(char* buf, size_t size, const ombrel_instant_t* instant, int form);

/** @} */
/**
 * @name Times in texts
 *
 * The text is read as a whole, without white space around it. `fault_at`, which may be null, receives after a
 * failure with "invalid" or "too large" the offset in bytes of the first part that does not fit.
 * @{
 */

/** Only what RFC 3339 has: date, time and offset in the extended form, "T", "t" or a space between them. */
#define def_ombrel_parse_rfc3339 1u
/** A time without an offset is UTC, not local. */
#define def_ombrel_parse_utc 2u
/** A local time that clocks were put past is refused. */
#define def_ombrel_parse_refuse_gap 4u

/** What ombrel_parse_iso_time() found in the text: a time of day. */
#define def_ombrel_given_time 1u
/** What ombrel_parse_iso_time() found in the text: an offset, "Z" included. */
#define def_ombrel_given_offset 2u

/**
 * @brief Reads a date, or a date and a time, of ISO 8601 or RFC 3339.
 *
 * Dates are calendar dates ("2026-03-01", "20260301", "2026-03" for the month's first day), week dates
 * ("2026-W09-7", "2026W097", "2026-W09" for its Monday) and ordinal dates ("2026-060", "2026060"). Years have
 * four digits, or a sign and four to seven ("-0044-03-15", "+12026-03-01"); with a sign the separators are
 * needed, as one could not tell where the year ends.
 *
 * A time follows a day after "T", "t" or a space: "12:30:00", "12:30", "12", without colons too if the date
 * is without separators; the last of them may have a fraction after a point or comma ("12:30.5"), whose
 * digits beyond the ninth of a second are dropped. "24:00:00" is the day's end. A second 60, a leap second,
 * is read where a day of UTC ends with it, and is the first of the next minute. An offset may follow, also
 * after a space: "Z", "z", "UTC", "GMT", "+01:00", "+0100", "+01", with seconds too ("+01:00:30"), by up to
 * 23:59:59; RFC 3339's unknown offset "-00:00" is that of UTC.
 * @param text     the text
 * @param flags    #def_ombrel_parse_rfc3339 or 0
 * @param time     receives the time, all fields in range; midnight and offset 0 where the text has none
 * @param given    receives `def_ombrel_given_*`; may be null
 * @param fault_at see above
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_iso_time(const char* text, uint32_t flags, ombrel_civil_time_t* time,
                                     uint32_t* given, size_t* fault_at);

/**
 * @brief Reads a date of HTTP in any of its three forms. The day of the week must be the date's; names are in
 * any case. RFC 1123's may have a one-digit day, an offset ("+0100") or "UTC" in place of "GMT", as mail has
 * them, and lack the seconds or the day of the week.
 * @param text     the text
 * @param now      by which the century of a two-digit year is found: the same, or the one before where the
 * date would be more than 50 years ahead; null for the host's clock
 * @param instant  receives the moment
 * @param fault_at see above
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_http_date(const char* text, const ombrel_instant_t* now,
                                      ombrel_instant_t* instant, size_t* fault_at);

/**
 * @brief Reads a moment: "@" and seconds since 1970 ("@-1.5" is one and a half before; digits beyond the
 * ninth are dropped), what ombrel_parse_iso_time() reads, or what ombrel_parse_http_date() does.
 * @param text     the text
 * @param flags    `def_ombrel_parse_*`; without any a time without an offset is local
 * @param instant  receives the moment
 * @param fault_at see above
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_instant(const char* text, uint32_t flags, ombrel_instant_t* instant,
                                    size_t* fault_at);

/** @} */
/**
 * @name Durations in texts
 * @{
 */

/**
 * @brief Formats a duration: "02:03:04", "1 d 02:03:04", "-1 d 02:03:04.5"; what does not fit is cut off. 40
 * bytes hold every text.
 * @param buf         the buffer; may be null when `size` is 0
 * @param size        its bytes
 * @param nanoseconds the duration
 * @param digits      digits of the second's fraction, cut and not rounded: 0 to 9 or
 * #def_ombrel_calendar_all_digits
 * @return the characters stored; -1
 */
OMBREL_API int ombrel_format_duration(char* buf, size_t size, int64_t nanoseconds, int digits);

/**
 * @brief Reads a duration: days and a time ("1 d 02:03:04.5", "26:03", as hours and minutes), or numbers with
 * units from large to small, each once ("1 d 2 h 30 min", "1.5h", "250 ms"), after a "-" for a negative one.
 *
 * Units are w, d, h, min or m, s, ms, us, ns; a number without one is seconds. The last number may have a
 * fraction; what is less than a nanosecond is dropped. Spaces may stand between numbers and units.
 * @param text        the text
 * @param nanoseconds receives the duration
 * @param fault_at    as for times
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_duration(const char* text, int64_t* nanoseconds, size_t* fault_at);

/** @} */

OMBREL_END_C

#endif
