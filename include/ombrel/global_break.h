/**
 * @file global_break.h
 * @brief One flag for the whole process that asks every long-running loop of the library to stop. Any thread.
 */
#ifndef OMBREL_GLOBAL_BREAK_H
#define OMBREL_GLOBAL_BREAK_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief Asks the library's long-running loops to stop. @return 0 */
OMBREL_API int ombrel_set_global_break(void);

/** @brief Takes the request back. @return 0 */
OMBREL_API int ombrel_clear_global_break(void);

/** @brief Whether a stop is asked for. @return 1 when so, else 0 */
OMBREL_API int ombrel_get_global_break(void);

OMBREL_END_C

#endif
