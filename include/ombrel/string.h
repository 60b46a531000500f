/**
 * @file string.h
 * @brief String toolkit: guards for null, trimming, folding, comparison with word lists, duplication.
 *
 * Strings are NUL-terminated bytes; case and white space follow the ASCII classes of ctype.h, whatever the
 * locale. A null string is never a fault here: it counts as empty where it is read, and functions that change
 * a string in place hand the null back; they write nothing where nothing changes. All functions may be called
 * from any thread.
 *
 * The functions ending in `_tag` take the name of the calling function (a static string: the pointer is kept,
 * not the text) and its source line for the tagged heap. The macros without `_tag` pass the caller's own.
 * Strings that they return are freed by the caller with ombrel_free().
 */
#ifndef OMBREL_STRING_H
#define OMBREL_STRING_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief `s`, or an empty string when `s` is null. */
OMBREL_API const char* ombrel_check_string(const char* s);
/** @brief `s`, or `fallback` when `s` is null. */
OMBREL_API const char* ombrel_check_string_ex(const char* s, const char* fallback);

/**
 * @brief Whether `s` consists of decimal digits and the signs "+" and "-", which may stand anywhere.
 * @return 1 when so; 0 otherwise and for an empty or null string
 */
OMBREL_API int ombrel_is_decimal_string(const char* s);

/** @brief Folds lower-case letters to upper case in place. @return `s` */
OMBREL_API char* ombrel_strupper(char* s);
/** @brief Folds upper-case letters to lower case in place. @return `s` */
OMBREL_API char* ombrel_strlower(char* s);

/**
 * @brief Whether a character belongs to a set.
 * @param c        the character; with a list only its low byte counts. NUL belongs to no list
 * @param charlist the characters of the set; null stands for white space
 * @return 1 or 0
 */
OMBREL_API int ombrel_is_charlist(int c, const char* charlist);

/**
 * @brief Removes leading characters of a set in place.
 * @param s        the string; null gives null
 * @param charlist the characters of the set, as in ombrel_is_charlist(); null stands for white space
 * @return `s`
 */
OMBREL_API char* ombrel_trim_charlist_left(char* s, const char* charlist);
/**
 * @brief Removes trailing characters of a set in place.
 * @param s        the string; null gives null
 * @param charlist the characters of the set, as in ombrel_is_charlist(); null stands for white space
 * @return `s`
 */
OMBREL_API char* ombrel_trim_charlist_right(char* s, const char* charlist);
/** @brief Removes leading and trailing characters of a set in place. @return `s` */
OMBREL_API char* ombrel_trim_charlist(char* s, const char* charlist);
/** @brief Removes leading white space in place. @return `s` */
OMBREL_API char* ombrel_trim_string_left(char* s);
/** @brief Removes trailing white space in place. @return `s` */
OMBREL_API char* ombrel_trim_string_right(char* s);
/** @brief Removes leading and trailing white space in place. @return `s` */
OMBREL_API char* ombrel_trim_string(char* s);

/** @brief The first position whose character is not in the set; null for null. */
OMBREL_API const char* ombrel_skip_charlist(const char* s, const char* charlist);
/** @brief The first position that is not white space; null for null. */
OMBREL_API const char* ombrel_skip_space(const char* s);

/**
 * @brief Compares a string with each word of a list.
 * @param list        the words; they are split as by ombrel_get_word_sep() without skipping spaces
 * @param separators  the characters between the words; null compares `list` as one string
 * @param s           the string to find
 * @param limit       characters to compare at most; 0 sets no limit
 * @param ignore_case non-zero compares upper-cased characters
 * @return 0 as soon as one word is equal; else the difference of the first differing characters (as unsigned
 *         bytes) of the last comparison; -1 when the list has no words
 */
OMBREL_API int ombrel_compare_string_ex(const char* list, const char* separators, const char* s, size_t limit,
                                        int ignore_case);
/** @brief ombrel_compare_string_ex() without limit, regarding case. */
OMBREL_API int ombrel_compare_string(const char* list, const char* separators, const char* s);
/** @brief ombrel_compare_string_ex() without limit, ignoring case. */
OMBREL_API int ombrel_compare_case_string(const char* list, const char* separators, const char* s);
/** @brief ombrel_compare_string_ex() regarding case; a `limit` of 0 compares nothing and returns 0. */
OMBREL_API int ombrel_compare_string_limit(const char* list, const char* separators, const char* s,
                                           size_t limit);
/** @brief ombrel_compare_string_ex() ignoring case; a `limit` of 0 compares nothing and returns 0. */
OMBREL_API int ombrel_compare_case_string_limit(const char* list, const char* separators, const char* s,
                                                size_t limit);

/** @brief Duplicates a string. @return the copy; null for null or when memory runs out */
OMBREL_API char* ombrel_strdup_tag(const char* s, const char* caller, unsigned long line);
/** @brief Duplicates at most `n` characters, always terminated. @return the copy; null as ombrel_strdup_tag()
 */
OMBREL_API char* ombrel_strndup_tag(const char* s, size_t n, const char* caller, unsigned long line);
/**
 * @brief Frees a string and duplicates another.
 * @param old freed first; may be null
 * @param s   the string to copy; must not point into `old`
 * @param caller the calling function; a static string
 * @param line its source line
 * @return the copy; null for a null `s` or when memory runs out (`old` is freed all the same)
 */
OMBREL_API char* ombrel_realloc_strdup_tag(char* old, const char* s, const char* caller, unsigned long line);
/** @brief ombrel_realloc_strdup_tag() of at most `n` characters. */
OMBREL_API char* ombrel_realloc_strndup_tag(char* old, const char* s, size_t n, const char* caller,
                                            unsigned long line);

/** ombrel_strdup_tag() with the caller's own name and line. */
#define ombrel_strdup(s) ombrel_strdup_tag((s), __func__, __LINE__)
/** ombrel_strndup_tag() with the caller's own name and line. */
#define ombrel_strndup(s, n) ombrel_strndup_tag((s), (n), __func__, __LINE__)
/** ombrel_realloc_strdup_tag() with the caller's own name and line. */
#define ombrel_realloc_strdup(old, s) ombrel_realloc_strdup_tag((old), (s), __func__, __LINE__)
/** ombrel_realloc_strndup_tag() with the caller's own name and line. */
#define ombrel_realloc_strndup(old, s, n) ombrel_realloc_strndup_tag((old), (s), (n), __func__, __LINE__)

/**
 * @brief Reads a fraction such as "30000/1001"; a number without "/" has the denominator 1.
 * @param s           the text; each side is read as ombrel_atoi() reads it
 * @param numerator   receives the part before the first "/"; may be null
 * @param denominator receives the part after it, 1 when there is none; may be null
 * @return 0, or -1 for a null string
 */
OMBREL_API int ombrel_fraction_string_to_int(const char* s, int* numerator, int* denominator);

/**
 * @brief Removes terminal escape sequences in place: each escape character, the run of digits, ";" and "["
 * that follows it, and the character after that run.
 * @return `s`
 */
OMBREL_API char* ombrel_strip_ansi_code(char* s);

/**
 * @brief Copies a number with a "," before every group of three digits, counted from the last digit.
 *
 * What stands before the first digit and after the run of digits is copied as it is.
 * @param out    receives the text; must not overlap `digits`
 * @param size   bytes at `out`: at least length + (length - 1) / 3 + 1
 * @param digits the number in decimal digits
 * @return `out`; null when the room is too small or an argument is null
 */
OMBREL_API char* ombrel_comma_string(char* out, size_t size, const char* digits);
/** @brief ombrel_comma_string() into a new string. @return the string; null for null or when memory runs out
 */
OMBREL_API char* ombrel_comma_string_alloc_tag(const char* digits, const char* caller, unsigned long line);
/** ombrel_comma_string_alloc_tag() with the caller's own name and line. */
#define ombrel_comma_string_alloc(digits) ombrel_comma_string_alloc_tag((digits), __func__, __LINE__)

/** @brief Length in bytes without the terminator; 0 for null. */
OMBREL_API size_t ombrel_strlen(const char* s);
/** @brief Length in bytes, looking at most at `limit` bytes; 0 for null. */
OMBREL_API size_t ombrel_strnlen(const char* s, size_t limit);

/**
 * @brief Copies `src` with its terminator.
 * @param dst room for all of it
 * @param src where to read
 * @return `dst`
 */
OMBREL_API char* ombrel_strcpy(char* dst, const char* src);
/** @brief Copies at most `size` bytes and fills the rest with NULs; not terminated when `src` is too long.
 *  @return `dst` */
OMBREL_API char* ombrel_strncpy(char* dst, const char* src, size_t size);
/** @brief Copies at most `size` - 1 bytes and fills the rest of `size` with NULs; always terminated unless
 *         `size` is 0. @return `dst` */
OMBREL_API char* ombrel_strncpy_safe(char* dst, const char* src, size_t size);
/**
 * @brief Appends `src`.
 * @param dst a string with room for both
 * @param src where to read
 * @return `dst`
 */
OMBREL_API char* ombrel_strcat(char* dst, const char* src);
/** @brief Appends at most `n` bytes of `src` and a terminator. @return `dst` */
OMBREL_API char* ombrel_strncat(char* dst, const char* src, size_t n);

/** @brief Compares as unsigned bytes. @return below, equal to or above 0 */
OMBREL_API int ombrel_strcmp(const char* a, const char* b);
/** @brief Compares at most `n` characters as unsigned bytes. @return below, equal to or above 0 */
OMBREL_API int ombrel_strncmp(const char* a, const char* b, size_t n);
/** @brief Compares upper-cased characters. @return the difference of the first differing ones, 0 when equal
 */
OMBREL_API int ombrel_strcasecmp(const char* a, const char* b);
/** @brief ombrel_strcasecmp() of at most `n` characters. */
OMBREL_API int ombrel_strncasecmp(const char* a, const char* b, size_t n);

/** @brief The first `c` in `s`, its terminator included; null when there is none. */
OMBREL_API char* ombrel_strchr(const char* s, int c);
/** @brief The last `c` in `s`, its terminator included; null when there is none. */
OMBREL_API char* ombrel_strrchr(const char* s, int c);
/** @brief The first character of `s` that is one of `accept`; null when there is none. */
OMBREL_API char* ombrel_strpbrk(const char* s, const char* accept);
/** @brief How many leading characters of `s` are in `accept`. */
OMBREL_API size_t ombrel_strspn(const char* s, const char* accept);
/** @brief How many leading characters of `s` are not in `reject`. */
OMBREL_API size_t ombrel_strcspn(const char* s, const char* reject);

/**
 * @brief Looks for a substring in a single pass.
 *
 * The haystack is walked once; a mismatch forgets what matched so far and continues with the next character,
 * without trying the current one again. So "cab" contains "ab" by this rule and "aab" does not; for a search
 * that finds every occurrence use the functions of replace_string.h.
 * @return the first occurrence found; null when there is none or either string is empty
 */
OMBREL_API char* ombrel_strstr(const char* haystack, const char* needle);
/** @brief ombrel_strstr() comparing upper-cased characters. */
OMBREL_API char* ombrel_strcasestr(const char* haystack, const char* needle);

OMBREL_END_C

#endif
