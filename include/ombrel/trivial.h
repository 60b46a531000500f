/**
 * @file trivial.h
 * @brief Functions that do nothing, for tables of function slots and the like. Any thread.
 */
#ifndef OMBREL_TRIVIAL_H
#define OMBREL_TRIVIAL_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief Does nothing. @return 0 */
OMBREL_API int ombrel_nop(void);

/** @brief Always true. @return 1 */
OMBREL_API int ombrel_true(void);

/** @brief Always false. @return 0 */
OMBREL_API int ombrel_false(void);

/**
 * @brief Hides from the compiler where a pointer came from, by a call that it cannot see through.
 * @param p any pointer
 * @return `p`
 */
OMBREL_API void* ombrel_ignore_strict_aliasing_pointer(void* p);

OMBREL_END_C

#endif
