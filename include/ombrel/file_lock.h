/**
 * @file file_lock.h
 * @brief Names reserved for locks on files. They lock nothing yet.
 */
#ifndef OMBREL_FILE_LOCK_H
#define OMBREL_FILE_LOCK_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Not implemented: reports the assertion "TODO".
 * @param path the file; null returns at once, without a report
 * @return -1
 */
OMBREL_API int ombrel_file_lock_tag(const char* path);

/** @brief Not implemented: reports the assertion "TODO" for a path that is not null. @return -1 */
OMBREL_API int ombrel_file_unlock_tag(const char* path);

/** ombrel_file_lock_tag(). */
#define ombrel_file_lock(path) ombrel_file_lock_tag(path)
/** ombrel_file_unlock_tag(). */
#define ombrel_file_unlock(path) ombrel_file_unlock_tag(path)

OMBREL_END_C

#endif
