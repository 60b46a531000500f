/**
 * @file word.h
 * @brief The word splitter: walks a string word by word over a set of separator characters.
 *
 * The cursor is left on the separator that ended the word, so that the caller can see which one it was and
 * steps over it himself. All functions may be called from any thread.
 */
#ifndef OMBREL_WORD_H
#define OMBREL_WORD_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Finds the word at the cursor without copying it.
 *
 * @code
 * const char* cursor = "a,,b";
 * while (*cursor != 0) {
 *     const char* word = ombrel_get_word_sep(0, ",", &cursor);
 *     use(word, (size_t)(cursor - word));
 *     if (*cursor != 0)
 *         cursor++;
 * }
 * @endcode
 * gives "a", "" and "b". A separator at the end gives no empty word after it.
 *
 * @param skip_space non-zero moves the cursor past leading white space first
 * @param separators the characters that end a word; null leaves the word empty
 * @param cursor     where to start; moved to the first separator or the end of the string
 * @return the first character of the word, which reaches up to the cursor and is not terminated; null when
 *         `cursor` or the string is null
 */
OMBREL_API const char* ombrel_get_word_sep(int skip_space, const char* separators, const char** cursor);

/** @brief The same as ombrel_get_word_sep(), under the name for strings that must not be changed. */
OMBREL_API const char* ombrel_get_word_sep_c(int skip_space, const char* separators, const char** cursor);

/**
 * @brief ombrel_get_word_sep() with a copy of the word.
 * @param skip_space non-zero moves the cursor past leading white space first
 * @param separators the characters that end a word; null leaves the word empty
 * @param cursor     where to start; moved to the first separator or the end of the string
 * @return the word, an empty string for an empty word; freed by the caller with ombrel_free(). Null when
 * memory runs out or `cursor` is null
 */
OMBREL_API char* ombrel_get_word_sep_alloc(int skip_space, const char* separators, const char** cursor);

/** @brief The same as ombrel_get_word_sep_alloc(), under the name for strings that must not be changed. */
OMBREL_API char* ombrel_get_word_sep_alloc_c(int skip_space, const char* separators, const char** cursor);

OMBREL_END_C

#endif
