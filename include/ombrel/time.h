/**
 * @file time.h
 * @brief Time stamps and the text of the local time. Any thread.
 */
#ifndef OMBREL_TIME_H
#define OMBREL_TIME_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief Milliseconds on a clock that never goes back. @return milliseconds since an unspecified start */
OMBREL_API uint64_t ombrel_time_stamp_msec(void);

/** Styles of ombrel_asctime(). */
#define def_ombrel_asctime_standard 0     /**< "Thu Jan 01 00:00:00 1970" */
#define def_ombrel_asctime_date_time 1    /**< "1970-01-01 00:00:00" */
#define def_ombrel_asctime_milliseconds 2 /**< "1970-01-01 00:00:00.000" */

/**
 * @brief Formats the current local time.
 *
 * In a child forked from a process with several threads it is the time at the offset to UTC of the fork: the
 * C library's rules stand behind a lock that may be held there for good.
 * @param buffer receives the text, always terminated; 32 bytes hold every style
 * @param size   bytes of the buffer
 * @param style  one of the styles above; others act as the first
 * @return `buffer`, or null when it is null or `size` is 0
 */
OMBREL_API char* ombrel_asctime(char* buffer, size_t size, int style);

OMBREL_END_C

#endif
