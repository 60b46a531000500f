/**
 * @file pattern.h
 * @brief Wildcard patterns, and lists of them such as "bond*|eth*|en*|*".
 *
 * In a pattern, "?" matches any one character, a backslash makes the next character literal, and "*" skips to
 * the first occurrence of the pattern character after it (its stop character, always taken literally: "**"
 * looks for a "*") or, when there is none, to the end of the string. A "*" at the end accepts the rest.
 *
 * The match is a single pass that never goes back: the star stops at the first occurrence of its stop
 * character. So "*.txt" matches "a.txt" but not "a.b.txt", and as a star without an occurrence stands at the
 * end, "*a" matches "bbb". Any number of stars costs time in proportion to the string.
 *
 * All functions may be called from any thread. A null string is matched as an empty one.
 */
#ifndef OMBREL_PATTERN_H
#define OMBREL_PATTERN_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief Matches the whole of `s`. @return 0 for a match; -1 for none and for a null pattern */
OMBREL_API int ombrel_check_pattern(const char* pattern, const char* s);
/** @brief ombrel_check_pattern() comparing lower-cased characters. */
OMBREL_API int ombrel_check_case_pattern(const char* pattern, const char* s);

/**
 * @brief Matches a string with each pattern of a list.
 * @param patterns   the patterns; they are split as by ombrel_get_word_sep() without skipping spaces, and a
 *                   backslash does not protect a separator
 * @param separators the characters between the patterns
 * @param s          the string
 * @return 0 as soon as one matches; -1 when none does or the list is empty
 */
OMBREL_API int ombrel_check_pattern_list(const char* patterns, const char* separators, const char* s);
/** @brief ombrel_check_pattern_list() comparing lower-cased characters. */
OMBREL_API int ombrel_check_case_pattern_list(const char* patterns, const char* separators, const char* s);

OMBREL_END_C

#endif
