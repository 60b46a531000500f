/**
 * @file regular.h
 * @brief Small regular expressions: compile, match and take the groups out, without any allocation.
 *
 * | in a pattern | matches |
 * |---|---|
 * | `.` | any one character |
 * | `^`, `$` | the beginning and the end of the subject |
 * | `(`...`)` | a group, which is captured |
 * | `[`...`]`, `[^`...`]` | one character that is a member, or one that is not |
 * | `*`, `+`, `?` | the last atom zero or more, one or more, zero or one times, as often as possible |
 * | `*?`, `+?` | the same as few times as possible |
 * | `\|` | one of two alternatives; the first that matches is kept |
 * | `\n` `\r` `\t` `\0` | line feed, carriage return, tab, the byte 0 |
 * | `\s` `\S` `\d` | white space, anything else, a decimal digit |
 * | `\` before another character | that character |
 *
 * A quantifier with nothing before it and a backslash at the very end stand for themselves. A set has no
 * ranges, `[a-z]` has three members, and in it `\s`, `\S` and `\d` are by design no classes. An
 * alternative or repetition that was chosen is kept: the matcher looks whether the rest of its own sequence
 * matches when it chooses how often to repeat, and does not come back later.
 *
 * A pattern may take 256 bytes of program and 256 bytes of literal characters. A pattern without "^" is tried
 * at each position of the subject, so it never matches an empty one.
 *
 * A group's capture is written when the group closes, and stays until it closes again, whatever comes of the
 * attempt in which it did: after a repetition that went on too far and came back it is that of the last time
 * around, after an alternative that was given up it is that alternative's. A match for which an attempt came
 * to a group without a slot, be it in an alternative that was not needed, is an error. An integer group is
 * scanned inside its capture: what follows in the subject does not belong to it.
 *
 * Every call ends, and allocates nothing: a repetition that does not move on stops, and what has been found
 * out about a place is remembered, so that the time is in proportion to the subject's length for all patterns
 * known, the hostile ones included: the worst of them takes 0.8 seconds for 64 KiB on a server's processor of
 * 2023. A search of 4,294,967,296 steps and 256 more for each byte of the subject, which none of them comes
 * near, ends as not matching. Captures of attempts that failed are followed back for 4,194,304 steps; one not
 * found by then is left empty.
 *
 * All functions may be called from any thread; they use at most 64 KiB of stack.
 */
#ifndef OMBREL_REGULAR_H
#define OMBREL_REGULAR_H

#include <stdarg.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Flag: literal characters match in either case. Sets are not affected. */
#define def_ombrel_regular_ignore_case 0x1u

/** @name Results
 * @{ */
#define def_ombrel_regular_match 0            /**< it matches */
#define def_ombrel_regular_too_far (-1)       /**< a part of the pattern is longer than a jump can be */
#define def_ombrel_regular_code_full (-2)     /**< the program is longer than 256 bytes */
#define def_ombrel_regular_data_full (-3)     /**< the literal characters are more than 256 bytes */
#define def_ombrel_regular_unclosed (-4)      /**< a "]" or ")" is missing */
#define def_ombrel_regular_unopened (-5)      /**< a ")" without its "(" */
#define def_ombrel_regular_no_match (-6)      /**< it does not match */
#define def_ombrel_regular_few_slots (-7)     /**< more groups than the slots hold */
#define def_ombrel_regular_integer_size (-8)  /**< an integer's size is not 1, 2, 4 or 8 */
#define def_ombrel_regular_integer (-9)       /**< the group is no such integer */
#define def_ombrel_regular_string_size (-10)  /**< the group does not fit into the string */
#define def_ombrel_regular_capture_type (-11) /**< the type is not one of those below */
/** @} */

/** Type of a destination: `char` array of `size` bytes; receives the group, terminated. */
#define def_ombrel_regular_type_string 1
/** Type of a destination: signed integer of `size` bytes: 4 or 8 (1 and 2 always fail, by design). */
#define def_ombrel_regular_type_integer 2

/** A captured part of the subject. */
typedef struct {
    const char* m_start; /**< its first character, in the subject; null when the group took no part */
    int32_t m_length;    /**< its length in bytes */
} ombrel_regular_capture_t;

/**
 * @brief Compiles a pattern and matches it.
 * @param flags         def_ombrel_regular_ignore_case or 0
 * @param pattern       the pattern; null counts as empty
 * @param subject       the bytes to search, which need no terminator
 * @param length        their number; a negative one counts as 0
 * @param captures      receives the whole match and the groups in order of their "("; zeroed first, and left
 *                      so unless there is a match; may be null
 * @param capture_slots its entries: one for the whole match, one for each group, and one that stays unused
 * @return 0 or one of the results above
 */
OMBREL_API int ombrel_regular_match(unsigned flags, const char* pattern, const char* subject, int length,
                                    ombrel_regular_capture_t* captures, int capture_slots);

/**
 * @brief Compiles, matches and takes the groups out.
 *
 * The variable arguments are three for each group: int type, int size, and a pointer to the destination.
 * The match has 20 slots, so that at most 18 groups can take part in it; one that takes no part is empty.
 * @return 0, or the error of the match, or that of the last group: earlier failures are overwritten,
 * by design
 */
OMBREL_API int ombrel_regular(unsigned flags, const char* pattern, const char* subject, int length, ...);

/**
 * @brief Takes captures out into destinations.
 * @param captures the first capture to take out
 * @param count    how many
 * @param ...      int type, int size, and a pointer to the destination, for each
 * @return 0 or the error of the last one
 */
OMBREL_API int ombrel_regular_capture(const ombrel_regular_capture_t* captures, int count, ...);

/** @brief ombrel_regular_capture() with the arguments in a list. */
OMBREL_API int ombrel_regular_vcapture(const ombrel_regular_capture_t* captures, int count, va_list args);

OMBREL_END_C

#endif
