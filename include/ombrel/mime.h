/**
 * @file mime.h
 * @brief MIME types: of files by their names, and hints that say which of them something serves.
 *
 * All functions may be called from any thread.
 */
#ifndef OMBREL_MIME_H
#define OMBREL_MIME_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Compares two MIME types as texts, upper and lower case being different.
 * @param a a text; null is the empty one
 * @param b a text; null is the empty one
 * @return 0 when they are equal, below 0 when `a` comes first, above 0 when `b` does
 */
OMBREL_API int ombrel_compare_mime_type(const char* a, const char* b);

/**
 * @brief Whether a hint covers a MIME type.
 *
 * The hint's patterns are separated by ";" or "|" and matched in either case with the wildcards of pattern.h:
 * "application/tuk_stream*" covers every type that begins so. A space is a character like any other.
 * @param hint      the patterns; null covers every type
 * @param mime_type the type; null is the empty text
 * @return 0 when a pattern matches; -1 when none does
 */
OMBREL_API int ombrel_compare_mime_type_hint(const char* hint, const char* mime_type);

/**
 * @brief The type of a file by the end of its name.
 * @param name a name or path; endings are compared in either case, "a.tar.gz" by the last one
 * @return the type, a static text, such as "image/png", without a character set; "application/octet-stream"
 * for names without an ending that is known, and for null
 */
OMBREL_API const char* ombrel_get_mime_type(const char* name);

OMBREL_END_C

#endif
