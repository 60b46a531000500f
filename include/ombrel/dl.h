/**
 * @file dl.h
 * @brief Dynamic loading: opening a shared library and finding its functions, over the platform's loader.
 *
 * The functions may be called from any thread.
 */
#ifndef OMBREL_DL_H
#define OMBREL_DL_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Opens a library.
 *
 * The path is tried as passed, so that a name without a directory goes by the platform's own search. When
 * that fails, the last part of the path is tried in each directory of the search list, in order; the first
 * success wins. On Windows that search goes through the folder of the program, those of the system and PATH,
 * never through the current one; and the handle of the program finds the symbols of everything that is
 * loaded.
 * @param path        the library; null is the program itself, where the platform has such a handle
 * @param search_list directories separated by ":"; empty ones are passed over; may be null. On Windows ";"
 * separates, too, and the ":" after the letter of a drive does not
 * @param flags       handed to the platform's loader as is; 0 means bound at once and visible to no other
 *                    library (on POSIX RTLD_NOW and RTLD_LOCAL)
 * @return the library's handle, to be closed by ombrel_close_dl(); null on failure (ombrel_dl_error() has the
 *         reason of the last attempt) or when memory runs out
 */
OMBREL_API void* ombrel_open_dl_ex(const char* path, const char* search_list, int flags);

/** @brief ombrel_open_dl_ex() without search list and flags. */
OMBREL_API void* ombrel_open_dl(const char* path);

/**
 * @brief Gives a library back; the platform unloads it with its last handle.
 * @param handle the handle, or null
 * @return 0; -1 for null; else the platform's result
 */
OMBREL_API int ombrel_close_dl(void* handle);

/**
 * @brief The address of a symbol that a library exports.
 * @param handle the library; null gives null
 * @param symbol its name; null gives null
 * @return the address, valid while the library is open; null when there is none
 */
OMBREL_API void* ombrel_import_dl(void* handle, const char* symbol);

/**
 * @brief What the platform's loader last complained about in this thread.
 *
 * Asking takes the text away: the next call gives null until something fails again.
 * @return the platform's text, valid until the thread's next call of this module; null when nothing failed
 */
OMBREL_API const char* ombrel_dl_error(void);

OMBREL_END_C

#endif
