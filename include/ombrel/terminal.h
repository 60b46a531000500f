/**
 * @file terminal.h
 * @brief Whether a descriptor is a terminal, and how large the terminal is. Any thread.
 */
#ifndef OMBREL_TERMINAL_H
#define OMBREL_TERMINAL_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Columns assumed where there is no terminal. */
#define def_ombrel_terminal_columns 80
/** Rows assumed where there is no terminal. */
#define def_ombrel_terminal_rows 24

/**
 * @brief Whether a descriptor is a terminal.
 * @param fd a descriptor; one that is not open is no terminal
 * @return 1 for a terminal, else 0
 */
OMBREL_API int ombrel_isatty(int fd);

/**
 * @brief The size of the terminal behind the first of standard output, error and input that is one.
 * @param columns receives the width in characters; may be null
 * @param rows    receives the height in lines; may be null
 * @return 0, or -1 when none of the three is a terminal: then 80 columns and 24 rows are stored
 */
OMBREL_API int ombrel_get_terminal_size(int* columns, int* rows);

OMBREL_END_C

#endif
