/**
 * @file replace_string.h
 * @brief Replacement of every occurrence of a substring, and escaping for XML.
 *
 * Occurrences are found from left to right and do not overlap; what was put in is not searched again. A null
 * string to work on gives null. All functions may be called from any thread.
 *
 * The functions ending in `_tag` take the name of the calling function (a static string) and its source line
 * for the tagged heap. The macros without `_tag` pass the caller's own. Strings that they return are freed by
 * the caller with ombrel_free().
 */
#ifndef OMBREL_REPLACE_STRING_H
#define OMBREL_REPLACE_STRING_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Replaces in place.
 * @param s          the string to change
 * @param old_string what to look for; null or empty leaves `s` as it is
 * @param new_string what to put there; null deletes. Longer than `old_string` it is reported as an assertion
 * and `s` stays as it is
 * @return `s`
 */
OMBREL_API char* ombrel_replace_all_string(char* s, const char* old_string, const char* new_string);

/**
 * @brief Replaces into a new string of exactly the size needed.
 * @param s          the string to read
 * @param old_string what to look for; null or empty gives a plain duplicate
 * @param new_string what to put there; null deletes
 * @param caller the calling function; a static string
 * @param line its source line
 * @return the new string; null for a null `s` or when memory runs out
 */
OMBREL_API char* ombrel_replace_all_string_alloc_tag(const char* s, const char* old_string,
                                                     const char* new_string, const char* caller,
                                                     unsigned long line);

/**
 * @brief Replaces and consumes the string.
 * @param s          a string of the tagged heap; `old_string` and `new_string` must not point into it
 * @param old_string what to look for
 * @param new_string what to put there; null deletes
 * @param caller the calling function; a static string
 * @param line its source line
 * @return the new string, `s` being freed; `s` itself, unchanged, when there is nothing to replace or memory
 *         runs out
 */
OMBREL_API char* ombrel_replace_all_string_realloc_tag(char* s, const char* old_string,
                                                       const char* new_string, const char* caller,
                                                       unsigned long line);

/**
 * @brief Escapes a text for XML into a new string.
 *
 * The five replacements are made one after the other: "<", ">", "&", "'" and the double quote. As "&" comes
 * after the first two, those are escaped twice: "a<b" becomes "a&amp;lt;b".
 * @return the new string; null for a null `s` or when memory runs out
 */
OMBREL_API char* ombrel_replace_to_xml_entity_reference_alloc_tag(const char* s, const char* caller,
                                                                  unsigned long line);

/**
 * @brief The same, consuming a string of the tagged heap.
 * @return the new string, `s` being freed; `s` itself, unchanged, when there is nothing to escape or memory
 *         runs out
 */
OMBREL_API char* ombrel_replace_to_xml_entity_reference_realloc_tag(char* s, const char* caller,
                                                                    unsigned long line);

/** ombrel_replace_all_string_alloc_tag() with the caller's own name and line. */
#define ombrel_replace_all_string_alloc(s, old_string, new_string)                                           \
    ombrel_replace_all_string_alloc_tag((s), (old_string), (new_string), __func__, __LINE__)
/** ombrel_replace_all_string_realloc_tag() with the caller's own name and line. */
#define ombrel_replace_all_string_realloc(s, old_string, new_string)                                         \
    ombrel_replace_all_string_realloc_tag((s), (old_string), (new_string), __func__, __LINE__)
/** ombrel_replace_to_xml_entity_reference_alloc_tag() with the caller's own name and line. */
#define ombrel_replace_to_xml_entity_reference_alloc(s)                                                      \
    ombrel_replace_to_xml_entity_reference_alloc_tag((s), __func__, __LINE__)
/** ombrel_replace_to_xml_entity_reference_realloc_tag() with the caller's own name and line. */
#define ombrel_replace_to_xml_entity_reference_realloc(s)                                                    \
    ombrel_replace_to_xml_entity_reference_realloc_tag((s), __func__, __LINE__)

OMBREL_END_C

#endif
