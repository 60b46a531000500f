/**
 * @file argument.h
 * @brief Options of programs, described by a table; command lines to argument vectors and back; `${NAME}` in
 * texts.
 *
 * A program says in a table which options it has, and where their values go. The same table parses, checks,
 * words the error messages, and prints the help:
 *
 * @code
 * static int loud, copies = 1;
 * static const ombrel_argument_option_t options[] = {
 *     {.m_letter = 'l', .m_name = "loud", .m_kind = def_ombrel_argument_flag, .m_target = &loud,
 *      .m_help = "say it loudly"},
 *     {.m_letter = 'n', .m_name = "copies", .m_kind = def_ombrel_argument_integer, .m_target = &copies,
 *      .m_value = "COUNT", .m_help = "say it so often (default 1)", .m_least = 1, .m_most = 99},
 *     {0}};
 * static const ombrel_argument_table_t say = {
 *     .m_name = "say", .m_operands = "TEXT...", .m_least_operands = 1, .m_summary = "Says texts.",
 *     .m_options = options};
 *
 * int main(int argc, char** argv) {
 *     ombrel_arguments_t arguments;
 *     if (ombrel_take_arguments(&say, argc, argv, NULL, &arguments) != 0)
 *         return arguments.m_exit_code;
 *     for (int i = 0; i < arguments.m_operand_count; i++)
 *         speak(arguments.m_operands[i], loud, copies);
 *     return 0;
 * }
 * @endcode
 *
 * "say --help" prints
 *
 * @code{.unparsed}
 * usage: say [-l] [-n COUNT] TEXT...
 * Says texts.
 *   -l, --loud          say it loudly
 *   -n, --copies COUNT  say it so often (default 1)
 * @endcode
 *
 * and "say -n0 hello" complains with `say: option "-n": "0" is not from 1 to 99` and exits with 2.
 *
 * @par How arguments are read
 * Letters cluster ("-ln5"); the value of a letter follows it ("-n5") or is the next argument ("-n 5"), that
 * of a name follows a "=" ("--copies=5") or is the next argument, whatever that begins with. Options may
 * stand after operands, and "--" ends them; "-" alone is an operand. An option that is given again replaces
 * its value, but for those that count, list or call. Names are compared exactly, or, with a flag of the
 * table, by any unambiguous beginning. Each table has an option "--help", unless it says otherwise.
 * Sub-commands are tables of their own.
 *
 * @par Where values go
 * Each option has an address (m_target), or, where that is null, an offset (m_offset) in a record that is
 * given with each parse, so that a constant table serves any number of threads. A value that no option sets
 * stays as it was: that is its default.
 *
 * @par Memory
 * Parsing takes none. Values and operands point into the arguments.
 *
 * @par Command lines
 * They are split into arguments, and made of them, by the rules of POSIX shells, of Windows, or of neither:
 * ombrel_alloc_arguments(), ombrel_alloc_command_line(). ombrel_alloc_expanded_text() replaces names by their
 * values.
 *
 * @par Threads
 * Any, for all functions; an argument vector and a result belong to one thread at a time.
 *
 * @par Failures
 * A function that fails leaves the reason where ombrel_last_fault() finds it: "invalid" for null objects,
 * invalid arguments and texts that cannot be read; others are named with the function.
 *
 * In C++ before C++20, which has no designated fields in the language, write the fields in their order.
 */
#ifndef OMBREL_ARGUMENT_H
#define OMBREL_ARGUMENT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/value.h>

#if defined(__cplusplus) && __cplusplus >= 201402L
#define OMBREL_UNSET = {}
#else
/** The value of fields that a table does not name: nothing. Without it C++ compilers warn. */
#define OMBREL_UNSET
#endif

OMBREL_BEGIN_C

/**
 * @name Kinds of options
 * What an option does, and the type that it stores.
 * @{
 */
/** The row after the last option. */
#define def_ombrel_argument_end 0
/** No value: stores 1 in an int; "--no-NAME" stores 0 where the option is #def_ombrel_argument_negatable. */
#define def_ombrel_argument_flag 1
/** No value: adds 1 to an int ("-vv"); "--no-NAME" stores 0 as for a flag. */
#define def_ombrel_argument_count 2
/** Any text: stores a const char*. */
#define def_ombrel_argument_text 3
/** A decimal number, with a "-" before it if negative: stores an int. */
#define def_ombrel_argument_integer 4
/** The same, stored in an int64_t. */
#define def_ombrel_argument_integer64 5
/** A count of bytes, stored in an int64_t: a decimal number with nothing or "B" after it, with "K", "M",
 * "G", "T", "P" or "E" for powers of 1024 ("KiB" and so on are the same, as are lower-case letters), or with
 * "KB", "MB" and so on for powers of 1000. Digits after a point are read ("1.5M"); a fraction of a byte is
 * cut off. */
#define def_ombrel_argument_size 6
/** A length of time, stored in an int64_t in nanoseconds: a decimal number, also with digits after a point,
 * of seconds, or of the unit after it: "ns", "us", "ms", "s", "m" (minutes), "h", "d". A fraction of a
 * nanosecond is cut off. */
#define def_ombrel_argument_duration 7
/** The same, stored in an int in milliseconds, as time limits have it; a part of a millisecond counts as
 * one. */
#define def_ombrel_argument_time_limit 8
/** One of the words of m_choices: stores its place among them, from 0 on, in an int. */
#define def_ombrel_argument_choice 9
/** Any text, any number of times: adds it to an ombrel_argument_list_t. Options with the same list keep their
 * order in it. */
#define def_ombrel_argument_listed 10
/** Calls m_handler with the text; the target is its context. */
#define def_ombrel_argument_call 11
/** No value, no target: ends the parse with #def_ombrel_argument_help_wanted. For a table that wants a letter
 * for "--help", or shows it. */
#define def_ombrel_argument_help 12
/** No option: m_help is a line of its own in the help, before the options that follow. */
#define def_ombrel_argument_heading 13
/** No value, no target: ends the parse with #def_ombrel_argument_version_wanted. m_otherwise is the version,
 * which ombrel_take_arguments() prints after the table's name; that of the library when null. */
#define def_ombrel_argument_version 14
/** No value: ends the parse with #def_ombrel_argument_manual_wanted, for which ombrel_take_arguments() prints
 * the man page of the table (argument_manual.h). The target is its ombrel_argument_manual_t, which may be
 * null. */
#define def_ombrel_argument_manual 15
/** No value, no target: ends the parse with #def_ombrel_argument_completion_wanted, for which
 * ombrel_take_arguments() prints the script by which bash completes the table's arguments. */
#define def_ombrel_argument_completion 16
/** @} */

/**
 * @name Flags of options
 * @{
 */
/** "--no-NAME" takes the option back: for flags and counts. */
#define def_ombrel_argument_negatable 0x01u
/** The value may be left out, and must otherwise stand in the same argument ("-O2", "--colour=auto"):
 * m_otherwise takes its place. */
#define def_ombrel_argument_optional 0x02u
/** The help's usage line shows that the option can be given more than once; listed ones always do. */
#define def_ombrel_argument_repeatable 0x04u
/** The option is not shown in the help. */
#define def_ombrel_argument_hidden 0x08u
/** @} */

/**
 * @name Flags of tables
 * @{
 */
/** Options end at the first operand, as in programs that run others. */
#define def_ombrel_argument_stop_at_operand 0x01u
/** The beginning of a long name is enough if no other name has it. */
#define def_ombrel_argument_prefixes 0x02u
/** There is no "--help" unless the options have it. */
#define def_ombrel_argument_no_help 0x04u
/** @} */

/**
 * @name Results of a parse that ends because something is asked for
 * @{
 */
/** "--help". */
#define def_ombrel_argument_help_wanted (-2)
/** An option of the kind #def_ombrel_argument_version. */
#define def_ombrel_argument_version_wanted (-3)
/** An option of the kind #def_ombrel_argument_manual. */
#define def_ombrel_argument_manual_wanted (-4)
/** An option of the kind #def_ombrel_argument_completion. */
#define def_ombrel_argument_completion_wanted (-5)
/** @} */

/**
 * @name What was wrong
 * @{
 */
#define def_ombrel_argument_good 0             /**< nothing */
#define def_ombrel_argument_unknown_option 1   /**< there is no such option */
#define def_ombrel_argument_ambiguous_option 2 /**< several names begin so */
#define def_ombrel_argument_missing_value 3    /**< an option needs a value */
#define def_ombrel_argument_unwanted_value 4   /**< an option takes none */
#define def_ombrel_argument_bad_value 5    /**< a value is not a number, size, ... or its handler gave -1 */
#define def_ombrel_argument_out_of_range 6 /**< a number is too small or too large */
#define def_ombrel_argument_list_full 7    /**< a list has no room left */
#define def_ombrel_argument_missing_operand 8  /**< there are too few operands */
#define def_ombrel_argument_unwanted_operand 9 /**< there are too many */
#define def_ombrel_argument_missing_command 10 /**< no sub-command is named */
#define def_ombrel_argument_unknown_command 11 /**< there is no such sub-command */
#define def_ombrel_argument_bad_table                                                                        \
    12 /**< the table or the call is invalid: a mistake of the programmer                                    \
        */
/** @} */

/** Bytes for the words of an error, their terminator included; longer ones are cut at a whole character. */
#define def_ombrel_argument_message_size 256

/** An option of a table. */
typedef struct ombrel_argument_option_ts ombrel_argument_option_t;
/** What a program's arguments may be. */
typedef struct ombrel_argument_table_ts ombrel_argument_table_t;
/** What they were. */
typedef struct ombrel_arguments_ts ombrel_arguments_t;

/**
 * Called for an option of the kind #def_ombrel_argument_call, in the order of the arguments.
 * @param option  its row
 * @param value   its value; null when it takes none, or when an optional one was left out and there is no
 *                other
 * @param context the option's target
 * @return 0 to go on; -1 when the value is wrong, which the result then says in words; anything else,
 * preferably above 0, ends the parse, which returns it
 */
typedef int (*ombrel_argument_handler_t)(const ombrel_argument_option_t* option, const char* value,
                                         void* context);

/** An option. Fields that are not named are unset: 0 or null. */
struct ombrel_argument_option_ts {
    /** Its letter, any ASCII character but "-"; 0 for none. */
    char m_letter OMBREL_UNSET;
    /** Its long name, without dashes; null for none. */
    const char* m_name OMBREL_UNSET;
    /** One of the kinds. */
    int m_kind OMBREL_UNSET;
    /** Flags of options. */
    uint32_t m_flags OMBREL_UNSET;
    /** Where its value goes, of the type that the kind tells. */
    void* m_target OMBREL_UNSET;
    /** Without a target: its place in the record of the parse, in bytes. */
    size_t m_offset OMBREL_UNSET;
    /** The name of its value in the help ("FILE"); "VALUE" when null. Listed options and calls take a value
     * only if this is set. */
    const char* m_value OMBREL_UNSET;
    /** What it does, broken into lines by the help; may be null. */
    const char* m_help OMBREL_UNSET;
    /** The least value that is allowed, in the target's unit. */
    int64_t m_least OMBREL_UNSET;
    /** The greatest value. When both are 0: the range of the target's type, from 0 on for sizes and times. */
    int64_t m_most OMBREL_UNSET;
    /** For a choice: words separated by "|". With other kinds, words that completion offers. */
    const char* m_choices OMBREL_UNSET;
    /** For an optional value: the value used for a missing one; null leaves the target as it is. */
    const char* m_otherwise OMBREL_UNSET;
    /** For a call. */
    ombrel_argument_handler_t m_handler OMBREL_UNSET;
};

/** A program, or a sub-command of one. Fields that are not named are unset: 0 or null. */
struct ombrel_argument_table_ts {
    /** The name that help and complaints begin with. A sub-command is called by the last word of it: "cache
     * clear" by "clear". */
    const char* m_name OMBREL_UNSET;
    /** What the usage line shows after the name; null for one made of the options and m_operands. */
    const char* m_usage OMBREL_UNSET;
    /** The operands as the usage line shows them ("[FILE...]"); null for none, which are refused then. */
    const char* m_operands OMBREL_UNSET;
    /** The least number of operands. */
    int m_least_operands OMBREL_UNSET;
    /** The greatest number of operands; 0 for any number. */
    int m_most_operands OMBREL_UNSET;
    /** What it does, in a line; may be null. */
    const char* m_summary OMBREL_UNSET;
    /** What the help says after the options; may be null. */
    const char* m_notes OMBREL_UNSET;
    /** Its options and a row of zeroes; may be null. */
    const ombrel_argument_option_t* m_options OMBREL_UNSET;
    /** Its sub-commands and a null; null without any. With them the first operand names one, whose table
     * takes the rest of the arguments. */
    const ombrel_argument_table_t* const* m_commands OMBREL_UNSET;
    /** Flags of tables. */
    uint32_t m_flags OMBREL_UNSET;
    /** What it does: for callers that take it from the result's m_table. The library never calls it. */
    int (*m_main)(const ombrel_arguments_t* arguments, void* record) OMBREL_UNSET;
};

/** What a parse found. */
struct ombrel_arguments_ts {
    const ombrel_argument_table_t* m_table; /**< the table given, or that of the innermost sub-command */
    int m_operand_count; /**< how many operands there are; 0 when the parse did not give 0 */
    char** m_operands;   /**< the operands and a null after the last: the end of `argv` */
    int m_wrong;         /**< what was wrong */
    int m_index; /**< which argument was wrong: its place when the parse began; `argc` when an operand or a
                    command is missing */
    int m_exit_code; /**< what a program exits with: 0 when it was asked for its help and the like; 2 when
                        something was wrong; what a handler returned, in its lowest 8 bits */
    char m_message[def_ombrel_argument_message_size]; /**< the error in words; empty when there was none */
};

/** One of the options in a list. */
typedef struct ombrel_argument_entry_ts {
    const ombrel_argument_option_t* m_option; /**< its row */
    const char* m_value;                      /**< its value; null when it takes none */
} ombrel_argument_entry_t;

/** Options in the order of the arguments; set up by the caller. */
typedef struct ombrel_argument_list_ts {
    ombrel_argument_entry_t*
        m_entries;  /**< room for them; the number of arguments is always enough for options with values */
    size_t m_room;  /**< for how many */
    size_t m_count; /**< how many there are: 0 before the parse */
} ombrel_argument_list_t;

/**
 * @brief Reads the arguments of a program.
 *
 * The pointers of `argv` are put in another order: options with their values first, operands last, each in
 * the order in which they were. Values are stored as they are met, so that those before a mistake are set.
 * @param table the program's table
 * @param argc      number of arguments, with the program's name
 * @param argv      the arguments and a null after them; the first is passed over. It may have been read
 *                  before by the same table
 * @param record    where options without a target of their own have their places; null when there are none.
 *                  Sub-commands share it
 * @param arguments receives what was found
 * @return 0; #def_ombrel_argument_help_wanted when "--help" came before any mistake, and likewise for the
 *         other things that an option asks for; what a handler returned if that was neither 0 nor -1; -1 when
 *         something is wrong, with the fault "invalid"
 */
OMBREL_API int ombrel_parse_arguments(const ombrel_argument_table_t* table, int argc, char** argv,
                                      void* record, ombrel_arguments_t* arguments);

/**
 * @brief ombrel_parse_arguments() for a program that ends when it fails: prints the help, the version, the
 * man page or the completion on standard output when it is wanted, or an error message "NAME: WORDS" and how
 * to get help on standard error.
 * @return as ombrel_parse_arguments(); m_exit_code then is the exit code. -1 with the code 1 when what
 *         was wanted could not be written
 */
OMBREL_API int ombrel_take_arguments(const ombrel_argument_table_t* table, int argc, char** argv,
                                     void* record, ombrel_arguments_t* arguments);

/**
 * @brief Prints a program's own error message about its arguments, as ombrel_take_arguments() does.
 * @param table the program's table
 * @param format what is wrong, without the program's name and without a newline, as for ombrel_printf()
 * @return 2, to exit with
 */
OMBREL_API int ombrel_refuse_arguments(const ombrel_argument_table_t* table, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Prints the help of a table through ombrel_puts(), in the terminal's width, 80 columns without one.
 * @param table the table, or that of a sub-command
 * @return 0; -1 for a null table, or when memory runs out (fault "no memory")
 */
OMBREL_API int ombrel_print_argument_help(const ombrel_argument_table_t* table);

/**
 * @brief The help of a table.
 * @param table    the table
 * @param columns  how wide lines may be: at least 20; longer words get a line of their own
 * @param function the function for whom the text is accounted
 * @param line     its source line
 * @return the text, its lines each with a newline, freed with ombrel_free(); null for a null table, or when
 *         memory runs out (fault "no memory")
 */
OMBREL_API char* ombrel_alloc_argument_help_tag(const ombrel_argument_table_t* table, int columns,
                                                const char* function, unsigned long line);
/** ombrel_alloc_argument_help_tag() with the caller's own name and line. */
#define ombrel_alloc_argument_help(table, columns)                                                           \
    ombrel_alloc_argument_help_tag((table), (columns), __func__, __LINE__)

/**
 * @brief Reads a text as the value of an option: for operands that are numbers, sizes, times or choices.
 * @param option the row: its kind, range and choices count
 * @param text   the text
 * @param target where the value goes, of the type that the kind tells
 * @return 0; -1 when it is not a value of this kind, or out of range, with the target as it was. Lists and
 * calls have no such value
 */
OMBREL_API int ombrel_parse_argument_value(const ombrel_argument_option_t* option, const char* text,
                                           void* target);

/**
 * @name Quoting
 * How arguments stand in a command line.
 * @{
 */
/** As a POSIX shell splits words: separated by spaces, tabs and newlines; single quotes hold everything as it
 * is; in double quotes a backslash takes the meaning of a "$", "`", quote, backslash or newline after it,
 * and stands for itself before others; outside quotes it takes that of any character. A newline after a
 * backslash is left out. Nothing else has a meaning: there are no comments, patterns, variables or operators.
 */
#define def_ombrel_argument_quoting_posix 0
/** As Windows splits a whole command line (CommandLineToArgvW()): the first argument is the program's name,
 * to the next quote if it begins with one, else to the next space or tab, and may be empty; the others as in
 * #def_ombrel_argument_quoting_windows_rest. */
#define def_ombrel_argument_quoting_windows 1
/** As Windows splits what follows the program's name: separated by spaces and tabs; double quotes hold them
 * together; before a quote two backslashes stand for one, and a remaining one takes the quote's meaning;
 * within quotes, two quotes are one and end the quoting. Single quotes mean nothing. */
#define def_ombrel_argument_quoting_windows_rest 2
/** As the library's pipe streams split their arguments: separated by spaces; single or double quotes hold
 * what they enclose together and are left out; a backslash is a character like others. */
#define def_ombrel_argument_quoting_plain 3
/** @} */

/**
 * @brief Splits a command line into arguments.
 * @param text     the command line, terminated; any bytes
 * @param quoting  one of the ways
 * @param count    receives the number of arguments; may be null
 * @param fault_at receives the offset in bytes of the quote that is not closed, or of a backslash at the very
 * end of the text; the text's size when there is none; may be null
 * @param function the function for whom the block is accounted
 * @param line     its source line
 * @return the arguments and a null after them, in one block that is freed with ombrel_free(); it may be
 *         empty. Null for a null text or an unknown way; for an unfinished quote, except in the two ways of
 * Windows, where the text's end closes it; and when memory runs out (fault "no memory")
 */
OMBREL_API char** ombrel_alloc_arguments_tag(const char* text, int quoting, int* count, size_t* fault_at,
                                             const char* function, unsigned long line);
/** ombrel_alloc_arguments_tag() with the caller's own name and line. */
#define ombrel_alloc_arguments(text, quoting, count, fault_at)                                               \
    ombrel_alloc_arguments_tag((text), (quoting), (count), (fault_at), __func__, __LINE__)

/**
 * @brief Makes a command line that splits into the given arguments.
 *
 * Arguments that need no quotes get none. POSIX command lines can be handed to a shell: each argument reaches
 * the program as it is. Those for Windows are split by the program's run-time, and are not meant for the
 * command interpreter, `cmd.exe`.
 * @param arguments the arguments and a null after them
 * @param quoting   one of the ways
 * @param function  the function for whom the text is accounted
 * @param line      its source line
 * @return the command line, freed with ombrel_free(); null for null arguments, an unknown way, a quote in the
 *         name of a Windows program, which cannot be written, and when memory runs out (fault "no memory")
 */
OMBREL_API char* ombrel_alloc_command_line_tag(const char* const* arguments, int quoting,
                                               const char* function, unsigned long line);
/** ombrel_alloc_command_line_tag() with the caller's own name and line. */
#define ombrel_alloc_command_line(arguments, quoting)                                                        \
    ombrel_alloc_command_line_tag((arguments), (quoting), __func__, __LINE__)

/**
 * @name Expansion
 * @{
 */
/** Names are found in either case. */
#define def_ombrel_argument_expand_any_case 0x01u
/** A name that the list does not have is looked up in the process environment. */
#define def_ombrel_argument_expand_environment 0x02u
/** A name that is not found and has no default text is a failure (fault "not found"); without this flag it
 * stands for an empty text. */
#define def_ombrel_argument_expand_strict 0x04u
/** The limit on the result in bytes when the caller gives none: 1 MiB. */
#define def_ombrel_argument_expand_default_limit 1048576u
/** @} */

/**
 * @brief Replaces names by their values.
 *
 * "${NAME}" stands for the text of the list's first entry of the name; "${NAME:-TEXT}" for TEXT where there
 * is no such entry or it is empty. NAME is anything but empty, without "}" and ":-"; TEXT reaches to the next
 * "}". "$$" stands for "$"; a "$" before anything else is a "$". Inserted values and TEXT are not expanded
 * again, so that values cannot name others.
 * @param text     the text
 * @param values   the list, or null for an empty one; entries whose data hold no text do not count
 * @param flags    flags of the expansion
 * @param limit    bytes that the result may have, without its end; 0 for
 * #def_ombrel_argument_expand_default_limit
 * @param fault_at receives the offset in bytes of the "$", that is at fault; the text's size when none is;
 * may be null
 * @param function the function for whom the text is accounted
 * @param line     its source line
 * @return the new text, freed with ombrel_free(); null for a null text, an empty name or one that does not
 *         end (fault "invalid"), a name that is not found with the strict flag ("not found"), a longer result
 *         than allowed ("too large"), and when memory runs out ("no memory")
 */
OMBREL_API char* ombrel_alloc_expanded_text_tag(const char* text, const ombrel_value_t* values,
                                                uint32_t flags, size_t limit, size_t* fault_at,
                                                const char* function, unsigned long line);
/** ombrel_alloc_expanded_text_tag() with the caller's own name and line. */
#define ombrel_alloc_expanded_text(text, values, flags, limit, fault_at)                                     \
    ombrel_alloc_expanded_text_tag((text), (values), (flags), (limit), (fault_at), __func__, __LINE__)

OMBREL_END_C

#endif
