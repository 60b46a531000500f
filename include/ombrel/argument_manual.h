/**
 * @file argument_manual.h
 * @brief Man pages, and completion in bash, from the table of options by which a program reads its arguments.
 *
 * The table that argument.h parses by and prints as help also becomes a page for man(1), and a script that
 * lets bash complete the program's options, their values, its operands and its sub-commands. A program offers
 * both by rows of its table, which users do not see:
 *
 * @code
 * static const ombrel_argument_section_t sections[] = {
 *     {"EXAMPLES", "To be heard twice:\n  say -n 2 hello"}, {NULL, NULL}};
 * static const ombrel_argument_manual_t page = {.m_date = "2026-11-22", .m_source = "say 1.2",
 *                                               .m_sections = sections};
 * static const ombrel_argument_option_t options[] = {
 *     ...
 *     {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_otherwise = "1.2",
 *      .m_help = "print the version"},
 *     {.m_name = "manual", .m_kind = def_ombrel_argument_manual, .m_flags = def_ombrel_argument_hidden,
 *      .m_target = (void*)&page},
 *     {.m_name = "completion", .m_kind = def_ombrel_argument_completion,
 *      .m_flags = def_ombrel_argument_hidden},
 *     {0}};
 * @endcode
 *
 * so that a build runs `say --manual > say.1` and `say --completion > say`, and installs the first in
 * `share/man/man1`, the second in `share/bash-completion/completions`.
 *
 * @par Pages
 * They are written in the macros of man(7), which every formatter knows, with the sections NAME, SYNOPSIS,
 * DESCRIPTION (the table's summary and notes), OPTIONS, COMMANDS, EXIT STATUS, the caller's own, and SEE
 * ALSO. Texts of a table appear as they are: nothing in them is taken for a request of the formatter. A line
 * that begins with a space is not joined with others, as in examples.
 *
 * @par Completion
 * Offered are the options that the help shows, the words of choices, and the names of sub-commands. Other
 * values and operands are completed by their names in the help: words between "|" that have a small letter
 * are words to choose ("search|announce", "f|d|l"); a name that ends in "FILE", "PATH", "LIST", "FROM", "TO"
 * or "URI" is that of a file; one that ends in "DIRECTORY" or "FOLDER" that of a directory; "COMMAND" that of
 * a program. A text or a call may have words for its value in m_choices, too, which the parse does not look
 * at. The script needs bash 4 and nothing else.
 *
 * @par Memory
 * Texts are freed with ombrel_free().
 *
 * @par Threads
 * Any.
 *
 * @par Failures
 * Null, with the reason where ombrel_last_fault() finds it: "invalid" for a null table or one without a name,
 * "no memory".
 */
#ifndef OMBREL_ARGUMENT_MANUAL_H
#define OMBREL_ARGUMENT_MANUAL_H

#include <ombrel/argument.h>

OMBREL_BEGIN_C

/** Flag of pages: sub-commands have pages of their own, called "NAME-COMMAND", so that this page lists them
 * with their summaries alone. */
#define def_ombrel_argument_manual_pages_of_commands 0x01u

/** An exit code of a program. */
typedef struct ombrel_argument_exit_ts {
    const char* m_code; /**< "0", or a text such as "128+SIGNAL"; null after the last */
    const char* m_help; /**< what it tells */
} ombrel_argument_exit_t;

/** A section of a page that no table has. */
typedef struct ombrel_argument_section_ts {
    const char* m_title; /**< its title, such as "FILES" or "EXAMPLES"; null after the last */
    const char* m_text;  /**< its text: lines, and paragraphs between empty ones */
} ombrel_argument_section_t;

/** What a page has besides a table. Fields that are not named are unset: 0 or null. */
typedef struct ombrel_argument_manual_ts {
    /** Where the table is that of a command of a program, the program's name: the page is called
     * "PROGRAM-NAME" and describes "PROGRAM NAME". */
    const char* m_program OMBREL_UNSET;
    /** When the page was changed, such as "2026-11-22"; null for today, or for the day that the environment's
     * SOURCE_DATE_EPOCH names in seconds since 1970. */
    const char* m_date OMBREL_UNSET;
    /** What stands in the page's last line, such as "say 1.2"; null for the page's name, with the version
     * that an option of the table gives. */
    const char* m_source OMBREL_UNSET;
    /** Its exit codes; null for 0 (all is well, or help was asked for), 1 (something could not be done)
     * and 2 (the arguments are wrong). */
    const ombrel_argument_exit_t* m_exits OMBREL_UNSET;
    /** More sections, in their order; may be null. */
    const ombrel_argument_section_t* m_sections OMBREL_UNSET;
    /** Pages that this one names in its last section, such as "cat(1), sed(1)"; may be null. The pages of its
     * program and of its commands stand there anyway. */
    const char* m_see_also OMBREL_UNSET;
    /** Flags of pages. */
    uint32_t m_flags OMBREL_UNSET;
} ombrel_argument_manual_t;

/**
 * @brief The man page of a table, of section 1.
 * @param table    the table; its name is that of the program, or of the command where the page says so
 * @param page     what the page has besides; null for nothing
 * @param function the function for whom the text is accounted
 * @param line     its source line
 * @return the page; null on failure
 */
OMBREL_API char* ombrel_alloc_argument_manual_tag(const ombrel_argument_table_t* table,
                                                  const ombrel_argument_manual_t* page, const char* function,
                                                  unsigned long line);
/** ombrel_alloc_argument_manual_tag() with the caller's own name and line. */
#define ombrel_alloc_argument_manual(table, page)                                                            \
    ombrel_alloc_argument_manual_tag((table), (page), __func__, __LINE__)

/**
 * @brief The script by which bash completes the arguments of a table's program.
 *
 * It declares functions that begin with "_" and the table's name, and has the program of that name completed.
 * It is sourced, or lies under the program's name where bash looks for such scripts.
 * @param table    the table; it is that of a program, with those of its sub-commands below it
 * @param function the function for whom the text is accounted
 * @param line     its source line
 * @return the script; null on failure
 */
OMBREL_API char* ombrel_alloc_argument_completion_tag(const ombrel_argument_table_t* table,
                                                      const char* function, unsigned long line);
/** ombrel_alloc_argument_completion_tag() with the caller's own name and line. */
#define ombrel_alloc_argument_completion(table)                                                              \
    ombrel_alloc_argument_completion_tag((table), __func__, __LINE__)

OMBREL_END_C

#endif
