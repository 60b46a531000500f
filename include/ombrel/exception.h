/**
 * @file exception.h
 * @brief The exception trail: the sections that are being run now, for reports when something goes wrong.
 *
 * Code that wants to appear in a report opens a section on entry and closes it on exit. A report lists the
 * open sections, newest first, and up to 128 live heap blocks. All functions may be called from any thread.
 * The trail takes its memory from the platform, never from the tagged heap, so that it does not disturb the
 * figures it reports. Texts that cannot be read or printed are shown as ombrel_get_alloc_list() shows tags,
 * and overwritten links end a list with one line.
 */
#ifndef OMBREL_EXCEPTION_H
#define OMBREL_EXCEPTION_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A section in progress. */
typedef struct ombrel_exception_ts {
    struct ombrel_exception_ts* m_newer; /**< the section opened next after this one, or null */
    struct ombrel_exception_ts* m_older; /**< the section opened last before this one, or null */
    uint64_t m_time_stamp;               /**< when it was opened, in ombrel_time_stamp_msec() */
    const char* m_file;                  /**< source file; not copied */
    const char* m_function;              /**< function; not copied */
    unsigned long m_line;                /**< source line */
} ombrel_exception_t;

/**
 * @brief Opens a section.
 * @param file     source file; a static string
 * @param function function; a static string
 * @param line     source line
 * @return the section, or null (after an assertion) when memory runs out
 */
OMBREL_API void* ombrel_add_exception_tag(const char* file, const char* function, unsigned long line);

/**
 * @brief Closes a section.
 * @param entry what ombrel_add_exception_tag() returned; null, a section that is not open and one whose links
 *              were overwritten are reported as an assertion and left alone
 * @return 0
 */
OMBREL_API int ombrel_del_exception_tag(void* entry);

/**
 * @brief Writes the report to standard error.
 * @param force    0 leaves the report out when there is nothing to tell
 * @param file     the caller's source file
 * @param function the caller's function
 * @param line     the caller's line
 * @return 0
 */
OMBREL_API int ombrel_dump_exception_tag(int force, const char* file, const char* function,
                                         unsigned long line);

/**
 * @brief Switches all reports on or off for the process.
 * @param value 0 silences every report; anything else allows them (the initial state)
 * @return `value`
 */
OMBREL_API int ombrel_set_force_dump_exception(int value);

/** Opens a section at the place where it stands. */
#define ombrel_add_exception() ombrel_add_exception_tag(__FILE__, __func__, __LINE__)
/** Closes a section. */
#define ombrel_del_exception(entry) ombrel_del_exception_tag(entry)
/** Writes the report, naming the place where it stands. */
#define ombrel_dump_exception(force) ombrel_dump_exception_tag((force), __FILE__, __func__, __LINE__)

OMBREL_END_C

#endif
