/**
 * @file match_filter.h
 * @brief Ordered lists of patterns that include and exclude names and paths, with the rules of git's lists.
 *
 * A filter is a list. Each pattern of it says what it does with what it matches: include or exclude. Of the
 * patterns that match the last one decides, or the first one where the filter was opened so. What no pattern
 * matches is included, unless the list begins with a pattern that includes.
 *
 * @code
 * ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
 * ombrel_match_filter_add(filter, def_ombrel_match_exclude, "*.o");
 * ombrel_match_filter_add(filter, def_ombrel_match_exclude, "/build/");
 * ombrel_match_filter_add(filter, def_ombrel_match_include, "crt*.o");
 * if (ombrel_match_filter_admits(filter, "lib/crt1.o", 0))
 *     use("lib/crt1.o");
 * ombrel_close_match_filter(filter);
 * @endcode
 *
 * Patterns:
 * - A pattern without "/" is taken for the last component of a path, one with "/" at its beginning or in its
 *   middle for the whole path. A "/" at its beginning is there for that alone, "/a" matches "a" at the top.
 * - A "/" at its end makes a pattern match directories only; it does not count as one of the middle.
 * - "?" stands for any byte, "*" for any number of them, including none; neither stands for "/".
 * - "[abc]", "[a-z]" and "[[:alpha:]]" stand for one byte of the class and never for "/", "[!a]" and "[^a]"
 *   for one that is not in it. A "]" that comes first is an ordinary one. Names of classes are those of C:
 *   alnum, alpha, blank, cntrl, digit, graph, lower, print, punct, space, upper, xdigit, in ASCII.
 * - "**" as a whole component stands for any number of components: at the beginning and in the middle for
 *   none too, at the end for at least one. Elsewhere it is the same as "*".
 * - A backslash makes the next character an ordinary one.
 * - A class that is not closed or whose name is unknown, a backslash at the end and an empty pattern match
 *   nothing.
 *
 * Matching takes time in proportion to the length of the pattern times that of the path at most, and no
 * memory.
 *
 * Paths are relative to wherever the patterns are meant to begin, joined by "/" on every system, without one
 * at the beginning or the end ("src/main.c"). They are compared byte by byte, as UTF-8 without a look at
 * characters; with #def_ombrel_match_filter_any_case ASCII letters match either case.
 *
 * What stands in an excluded directory is not excluded by that: ombrel_match_filter_match() looks at the one
 * path it is given, as one who walks over a tree and leaves out excluded directories needs it.
 * ombrel_match_filter_match_below() looks at the directories on the way first.
 *
 * Threads: one at a time while patterns are added; any number may match at the same time. Faults
 * (ombrel_last_fault()) are named with each function.
 */
#ifndef OMBREL_MATCH_FILTER_H
#define OMBREL_MATCH_FILTER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The longest pattern, in bytes. */
#define def_ombrel_match_filter_pattern_max 4095

/** @name What a pattern does, and what a match gives
 * @{ */
#define def_ombrel_match_none 0    /**< no pattern matches */
#define def_ombrel_match_include 1 /**< the deciding pattern includes */
#define def_ombrel_match_exclude 2 /**< the deciding pattern excludes */
/** @} */

/** @name Flags of a filter
 * @{ */
#define def_ombrel_match_filter_first 0x1u    /**< the first pattern that matches decides */
#define def_ombrel_match_filter_any_case 0x2u /**< ASCII letters match either case */
/** @} */

/** A filter. */
typedef struct ombrel_match_filter_ts ombrel_match_filter_t;

/**
 * @brief A new filter without patterns, which includes everything.
 * @param flags    def_ombrel_match_filter_* or 0
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the filter, to be closed by ombrel_close_match_filter(); null with the fault invalid for unknown
 *         flags, no_memory when memory runs out
 */
OMBREL_API ombrel_match_filter_t* ombrel_open_match_filter_tag(uint32_t flags, const char* function,
                                                               unsigned long line);
/** ombrel_open_match_filter_tag() with the caller's own name and line. */
#define ombrel_open_match_filter(flags) ombrel_open_match_filter_tag((flags), __func__, __LINE__)

/**
 * @brief Frees a filter with its patterns.
 * @param filter the filter, or null
 * @return 0
 */
OMBREL_API int ombrel_close_match_filter(ombrel_match_filter_t* filter);

/**
 * @brief Adds a pattern at the end of the list.
 * @param filter  the filter
 * @param verdict what the pattern does: def_ombrel_match_include or def_ombrel_match_exclude
 * @param pattern the pattern, to the letter: "!" and "#" and spaces at its ends mean themselves
 * @return 0; -1 with the fault invalid for a null argument or another verdict, too_large for a pattern above
 *         #def_ombrel_match_filter_pattern_max, no_memory; the filter stays as it was then
 */
OMBREL_API int ombrel_match_filter_add(ombrel_match_filter_t* filter, int verdict, const char* pattern);

/**
 * @brief Adds the patterns of a text, one a line, as files for git have them.
 *
 * Empty lines and lines that begin with "#" are comments. A line that begins with "!" does the opposite of
 * `verdict`. Spaces at the end of a line do not count unless a backslash stands before them, nor does a
 * carriage return, nor a byte order mark before the first line. A backslash before "#" or "!" at the
 * beginning makes it an ordinary character.
 * @param filter       the filter
 * @param verdict      what plain lines do: def_ombrel_match_exclude for a list of what is to be ignored,
 *                     def_ombrel_match_include for a list of what is wanted
 * @param text         the text, which need not be terminated
 * @param size         its bytes
 * @param fault_at     receives the offset in bytes of the line that was refused; may be null
 * @return the number of patterns added; -1 with the fault invalid for a null argument, another verdict or a
 *         line with a zero byte, too_large for a pattern above #def_ombrel_match_filter_pattern_max,
 *         no_memory. The filter has the patterns before the refused line then
 */
OMBREL_API int64_t ombrel_match_filter_add_text(ombrel_match_filter_t* filter, int verdict, const char* text,
                                                size_t size, size_t* fault_at);

/** @brief The number of patterns. @return 0 for null too */
OMBREL_API int64_t ombrel_match_filter_get_count(const ombrel_match_filter_t* filter);

/**
 * @brief What the list says of one path.
 * @param filter       the filter; null has no patterns
 * @param path         the path; a "/" at its end says that it is a directory
 * @param is_directory non-zero for a directory
 * @return a def_ombrel_match_*; -1 with the fault invalid for a null path
 */
OMBREL_API int ombrel_match_filter_match(const ombrel_match_filter_t* filter, const char* path,
                                         int is_directory);

/**
 * @brief The same after a look at the directories on the way: what stands in one that is excluded is
 *        excluded, whatever the list says of itself. That is how git reads its lists.
 * @param filter       as for ombrel_match_filter_match()
 * @param path         likewise
 * @param is_directory likewise
 * @return likewise
 */
OMBREL_API int ombrel_match_filter_match_below(const ombrel_match_filter_t* filter, const char* path,
                                               int is_directory);

/**
 * @brief Whether a path is included: by the pattern that decides or, where none matches, unless the list
 *        begins with a pattern that includes.
 * @param filter       as for ombrel_match_filter_match()
 * @param path         likewise
 * @param is_directory likewise
 * @return 1 or 0; -1 with the fault invalid for a null path
 */
OMBREL_API int ombrel_match_filter_admits(const ombrel_match_filter_t* filter, const char* path,
                                          int is_directory);

OMBREL_END_C

#endif
