/**
 * @file environment.h
 * @brief The process environment.
 *
 * On Windows names and texts are UTF-8, and variables are those of the system, which the C library's are kept
 * like; only that library treats an empty one as missing. As on every platform, the environment must not be
 * read while another thread changes it.
 */
#ifndef OMBREL_ENVIRONMENT_H
#define OMBREL_ENVIRONMENT_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief The process environment: assignments "NAME=text", ended by a null pointer.
 * @return the platform's own array, not to be freed; null when the environment is empty on some platforms
 */
OMBREL_API char** ombrel_environ(void);
/**
 * @brief The value of the first environment variable of a list that is set.
 * @param names the variables' names, separated by "|"
 * @return a copy, freed by the caller with ombrel_free(); null when none is set or memory runs out
 */
OMBREL_API char* ombrel_alloc_getenv(const char* names);
/**
 * @brief Sets an environment variable.
 *
 * It takes the C library's lock on the environment: in a child that was forked while another thread was
 * changing variables it may wait for ever.
 * @param assignment "NAME=text", copied; a name alone removes the variable; what a text without a name ("" or
 *                   "=text") does is the platform's choice
 * @return the platform's result of putenv(), 0 when it has done something; -1 for null or when memory runs
 * out
 */
OMBREL_API int ombrel_putenv(const char* assignment);

OMBREL_END_C

#endif
