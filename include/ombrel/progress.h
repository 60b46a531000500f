/**
 * @file progress.h
 * @brief A progress bar, a rolling mark, and the proportion that they are made from. Any thread.
 */
#ifndef OMBREL_PROGRESS_H
#define OMBREL_PROGRESS_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief The share `value` / `total`, scaled.
 * @return the floor of `value` × `scale` / `total` without overflow, at most `scale`; 0 for a total of 0
 */
OMBREL_API uint64_t ombrel_ratio_uintmax(uint64_t value, uint64_t total, uint64_t scale);

/**
 * @brief Draws a bar over the current line of the terminal, through ombrel_puts().
 *
 * The bar takes what prefix, percentage and suffix leave of the terminal's width; with no room left, only
 * those three are printed.
 * @param value   what is done
 * @param total   what there is to do; 0 shows 0 %
 * @param prefix  text before the percentage, or null
 * @param pattern characters of the bar, position by position, or null for "=" and spaces
 * @param format  a format of ombrel_vsnprintf() for the text after the bar, or null
 * @return the result of ombrel_printf(), or -1 when memory runs out
 */
OMBREL_API int ombrel_progress_bar(uint64_t value, uint64_t total, const char* prefix, const char* pattern,
                                   const char* format, ...) OMBREL_PRINTF_LIKE(5, 6);

/**
 * @brief A mark that moves while work goes on: the next of ten frames at most every 100 ms.
 * @return a static string of 3 characters
 */
OMBREL_API const char* ombrel_roll_string(void);

OMBREL_END_C

#endif
