/**
 * @file assert.h
 * @brief Assertion reports: one line on standard error, and the program goes on.
 *
 * The reports never abort: a library must not end its host process. They may be called from any thread, and
 * in a child forked from a threaded program.
 */
#ifndef OMBREL_ASSERT_H
#define OMBREL_ASSERT_H

#include <stdarg.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Writes "ombrel [ASSERT:file:function:line] <expression> time" and a newline to standard error and
 *        flushes it.
 * @param file       the source's name; null prints "UNKNOWN"
 * @param function   the function's name; null prints "UNKNOWN"
 * @param line       the source line
 * @param expression the condition that failed; null prints "NO_MESSAGE"
 * @return 0
 */
OMBREL_API int ombrel_assert_fail_tag(const char* file, const char* function, unsigned long line,
                                      const char* expression);

/**
 * @brief The same with a formatted message.
 * @param file     the source's name, or null
 * @param function the function's name, or null
 * @param line     the source line
 * @param format   a format of ombrel_vsnprintf(); reported as it stands when it cannot be formatted
 * @param args     the format's arguments
 * @return 0
 */
OMBREL_API int ombrel_vassert_fail_tag(const char* file, const char* function, unsigned long line,
                                       const char* format, va_list args) OMBREL_PRINTF_LIKE(4, 0);

/** @brief ombrel_vassert_fail_tag() with the arguments in the call. */
OMBREL_API int ombrel_assertf_fail_tag(const char* file, const char* function, unsigned long line,
                                       const char* format, ...) OMBREL_PRINTF_LIKE(4, 5);

/** Reports a condition that does not hold, naming the place where it stands. */
#define ombrel_assert(condition)                                                                             \
    ((condition) ? 0 : ombrel_assert_fail_tag(__FILE__, __func__, __LINE__, #condition))

OMBREL_END_C

#endif
