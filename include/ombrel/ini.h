/**
 * @file ini.h
 * @brief INI files: read, changed and written back, with everything that was not changed as it was written.
 *
 * A document keeps every byte it was read from: comments, blank lines, the order, spaces, line ends. What is
 * changed, added, deleted or renamed changes its own line and no other:
 *
 * @code
 * ombrel_ini_t* const ini = ombrel_open_ini(NULL);
 * int64_t port = 8080;
 * if (ombrel_ini_load_file(ini, "service.ini") != 0 && ombrel_last_fault() != def_ombrel_fault_not_found)
 *     ombrel_error_printf("service.ini:%lld: %s\n", (long long)ombrel_ini_get_fault(ini)->m_line,
 *                         ombrel_ini_fault_text(ombrel_ini_get_fault(ini)->m_reason));
 * ombrel_ini_get_integer(ini, "server", "port", 1, 65535, &port); // stays 8080 unless the file has one
 * if (ombrel_ini_set(ini, "server", "name", " a name with spaces ") != 0 ||
 *     ombrel_ini_store_file(ini, "service.ini", 0666) != 0)
 *     ombrel_error_printf("service.ini: %s\n", ombrel_fault_text());
 * ombrel_close_ini(ini);
 * @endcode
 *
 * @par Lines
 * A line is blank, a comment, the head of a section ("[name]"), or a key with its value ("key = value").
 * Lines end with LF or CR LF, in any mixture; the last one may have no end. A byte order mark of UTF-8
 * stays at the beginning. Bytes above 0x7F are taken as they are; the zero byte is refused. Any other line is
 * refused or, with #def_ombrel_ini_keep_malformed, kept without a meaning.
 *
 * @par Dialects
 * These files have no single form, so flags say which rules hold; three sets of flags have names.
 * #def_ombrel_ini_dialect_plain, the default, reads what most people write: "#" and ";" begin comments, at
 * the beginning of a line and after white space in it; "=" or ":" stands after a key; a value in double
 * quotes keeps its spaces and may have escapes; lines that are indented deeper than their key continue its
 * value. #def_ombrel_ini_dialect_python is that of Python's configparser (without interpolation and
 * "DEFAULT"), #def_ombrel_ini_dialect_git that of git's configuration.
 *
 * @par Values
 * White space around a value is not part of it. With #def_ombrel_ini_quotes a value is quoted when it begins
 * with a double quote and the quote that closes it is its last character; any other quote is an ordinary
 * character. Several values of a key are kept in order; the last one counts or, by a flag, the first. A key
 * may have a value in each of several heads of the same name: they are one section.
 *
 * @par Sections
 * Functions name a section by what stands between the brackets; "" or null stands for the keys before the
 * first head. With #def_ombrel_ini_sub_sections a section `remote "origin"` is the sub-section "origin" of
 * "remote", however the head is spaced or escaped; `remote.origin` means the same, with the sub-section in
 * lower case.
 *
 * @par Changes
 * A changed value keeps what stands before and after it, and its quotes. A new key stands after the last
 * one of its section, before the blank lines and comments that follow, and is indented and spaced as that
 * one; a new section stands at the end, after a blank line unless the others stand without. Values are
 * written so that the same dialect reads them back the same: as they are where that suffices, else in quotes
 * with escapes, else over indented lines; what cannot be written in any of these ways, such as a line end in
 * a key, is refused. A line added at the end of a document whose last line has no line end has none either.
 *
 * @par Includes
 * They are off unless a flag turns them on, because a file that may be read should not for that reason name
 * others to be read. Paths are relative to the file that names them. What is included stands in the place of
 * its line, begins and ends outside of any section, is found as if it stood there, but is never changed nor
 * written. A file that includes itself, directly or through others, is refused; depth, number and size have
 * limits.
 *
 * @par Limits
 * Those of ombrel_ini_options_t: bytes, lines, the length of one. A look-up takes the same time in a file
 * with ten keys and with a hundred thousand, whatever they are called: names are found by a seeded hash.
 *
 * @par Threads
 * Any number of threads may read a document at the same time while none changes it.
 *
 * @par Failures
 * -1 or null, with the reason in ombrel_last_fault(): invalid for null objects and invalid arguments and for
 * what cannot be written, violation for texts that break the rules of their dialect, too_large for limits,
 * not_found for sections and keys that are not there, no_memory; for files those of file.h. A refused text
 * also has a reason, a line and a column: ombrel_ini_get_fault(). A change that fails changes nothing.
 */
#ifndef OMBREL_INI_H
#define OMBREL_INI_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Flags: what a line may be
 * @{ */
#define def_ombrel_ini_hash_comments 0x1u      /**< "#" begins a comment */
#define def_ombrel_ini_semicolon_comments 0x2u /**< ";" begins one too */
/** Comments may stand after values and heads, white space before them. Directly after the separator and its
 * white space "#" or ";" begins one only if white space or the end of the line follows: "colour = #ffffff"
 * has a value. */
#define def_ombrel_ini_inline_comments 0x4u
/** Comments may stand anywhere outside of quotes. */
#define def_ombrel_ini_comments_anywhere 0x8u
#define def_ombrel_ini_colon 0x10u           /**< ":" separates a key from its value as well as "=" */
#define def_ombrel_ini_bare_keys 0x20u       /**< a key may stand without separator and value */
#define def_ombrel_ini_key_behind_head 0x40u /**< a key may stand in the line of its section's head */
/** Section names have letters, digits, "-" and "." alone, keys letters, digits and "-", a letter first;
 * names of sub-sections are free. */
#define def_ombrel_ini_plain_names 0x80u
/** @} */

/** @name Flags: values
 * A dialect reads values by lines or by characters: #def_ombrel_ini_quotes and #def_ombrel_ini_indented_lines
 * go together, and with neither #def_ombrel_ini_quotes_within nor #def_ombrel_ini_backslash_lines.
 * @{ */
#define def_ombrel_ini_quotes 0x100u /**< a value may stand in double quotes as a whole */
#define def_ombrel_ini_quotes_within                                                                         \
    0x200u /**< parts of a value may stand in quotes; a quote that is not closed is refused */
/** Backslashes are escapes: within quotes and, with #def_ombrel_ini_quotes_within, outside of them. They
 * stand before a backslash, a double quote, and the letters n (LF), t (tab) and b (backspace); a backslash
 * before another character stands for itself with #def_ombrel_ini_quotes and is refused with
 * #def_ombrel_ini_quotes_within. */
#define def_ombrel_ini_escapes 0x400u
/** Lines that are indented deeper than their key continue its value, joined by LF; blank lines between them
 * are part of it, comment lines are not. */
#define def_ombrel_ini_indented_lines 0x800u
/** A backslash at the end of a line joins the next one to its value. */
#define def_ombrel_ini_backslash_lines 0x1000u
/** @} */

/** @name Flags: names
 * @{ */
#define def_ombrel_ini_key_any_case 0x2000u     /**< ASCII letters of keys match either case */
#define def_ombrel_ini_section_any_case 0x4000u /**< those of sections do; never those of sub-sections */
#define def_ombrel_ini_sub_sections 0x8000u     /**< [name "sub-section"] and [name.sub-section] */
#define def_ombrel_ini_first_counts 0x10000u    /**< of several values of a key the first counts */
#define def_ombrel_ini_single_keys 0x20000u     /**< a key that is there twice in a section is refused */
#define def_ombrel_ini_single_sections 0x40000u /**< a section that has two heads is refused */
/** @} */

/** @name Flags: the rest
 * @{ */
/** Lines that are malformed stay, without a meaning, instead of being refused. */
#define def_ombrel_ini_keep_malformed 0x80000u
/** The key "path" in a section "include" includes a file, as git has it. */
#define def_ombrel_ini_include_keys 0x100000u
/** A line "!include PATH" includes a file. */
#define def_ombrel_ini_include_lines 0x200000u
/** A file to include that is not there is passed over instead of refused. */
#define def_ombrel_ini_include_optional 0x400000u
/** @} */

/** @name Sets of flags
 * @{ */
/** Suits most files; the default. */
#define def_ombrel_ini_dialect_plain                                                                         \
    (def_ombrel_ini_hash_comments | def_ombrel_ini_semicolon_comments | def_ombrel_ini_inline_comments |     \
     def_ombrel_ini_colon | def_ombrel_ini_quotes | def_ombrel_ini_escapes | def_ombrel_ini_indented_lines)
/** That of Python's configparser. */
#define def_ombrel_ini_dialect_python                                                                        \
    (def_ombrel_ini_hash_comments | def_ombrel_ini_semicolon_comments | def_ombrel_ini_colon |               \
     def_ombrel_ini_indented_lines | def_ombrel_ini_key_any_case | def_ombrel_ini_single_keys |              \
     def_ombrel_ini_single_sections)
/** That of git, whose files include others only if #def_ombrel_ini_include_keys is added. */
#define def_ombrel_ini_dialect_git                                                                           \
    (def_ombrel_ini_hash_comments | def_ombrel_ini_semicolon_comments | def_ombrel_ini_comments_anywhere |   \
     def_ombrel_ini_bare_keys | def_ombrel_ini_key_behind_head | def_ombrel_ini_plain_names |                \
     def_ombrel_ini_quotes_within | def_ombrel_ini_escapes | def_ombrel_ini_backslash_lines |                \
     def_ombrel_ini_key_any_case | def_ombrel_ini_section_any_case | def_ombrel_ini_sub_sections)
/** @} */

/** Settings of a document. A limit of 0 is refused when opening. */
typedef struct ombrel_ini_options_ts {
    uint32_t m_flags;             /**< def_ombrel_ini_*; #def_ombrel_ini_dialect_plain */
    size_t m_size_limit;          /**< bytes of the text, includes counted in; 16 MiB */
    size_t m_line_limit;          /**< bytes of a line with its continuation lines; 1 MiB */
    size_t m_count_limit;         /**< lines, includes counted in; 1,000,000 */
    size_t m_include_depth_limit; /**< files that are being included at once, at most 64; 10 */
    size_t m_include_count_limit; /**< files that are included in all; 100 */
} ombrel_ini_options_t;

/** @name Reasons for which a text or a change is refused
 * @{ */
#define def_ombrel_ini_fault_none 0            /**< nothing was */
#define def_ombrel_ini_fault_no_separator 1    /**< a line is neither head nor comment and has no separator */
#define def_ombrel_ini_fault_no_key 2          /**< nothing stands before the separator */
#define def_ombrel_ini_fault_key 3             /**< a key has a character that the dialect does not allow */
#define def_ombrel_ini_fault_open_head 4       /**< a head has no "]" */
#define def_ombrel_ini_fault_no_section 5      /**< a head has no name */
#define def_ombrel_ini_fault_section 6         /**< a head's name breaks the rules of the dialect */
#define def_ombrel_ini_fault_behind_head 7     /**< something other than a comment stands after a head */
#define def_ombrel_ini_fault_open_quote 8      /**< a quote is not closed */
#define def_ombrel_ini_fault_escape 9          /**< a backslash before a character that is not an escape */
#define def_ombrel_ini_fault_indented 10       /**< an indented line has no value to continue */
#define def_ombrel_ini_fault_zero_byte 11      /**< a zero byte */
#define def_ombrel_ini_fault_encoding 12       /**< the text is UTF-16 or UTF-32 */
#define def_ombrel_ini_fault_same_key 13       /**< a key is there twice */
#define def_ombrel_ini_fault_same_section 14   /**< a section has two heads */
#define def_ombrel_ini_fault_line_limit 15     /**< a line is too long */
#define def_ombrel_ini_fault_size_limit 16     /**< the text is too long */
#define def_ombrel_ini_fault_count_limit 17    /**< there are too many lines */
#define def_ombrel_ini_fault_include_depth 18  /**< includes are too deep */
#define def_ombrel_ini_fault_include_count 19  /**< there are too many includes */
#define def_ombrel_ini_fault_include_circle 20 /**< a file includes itself */
#define def_ombrel_ini_fault_include_file 21   /**< a file to include cannot be read */
#define def_ombrel_ini_fault_unwritable_section 22 /**< a section's name cannot be written */
#define def_ombrel_ini_fault_unwritable_key 23     /**< a key cannot be written */
#define def_ombrel_ini_fault_unwritable_value 24   /**< a value cannot be written */
#define def_ombrel_ini_fault_included 25           /**< what is to be changed stands in an included file */
#define def_ombrel_ini_fault_no_memory 26          /**< memory ran out */
/** @} */

/** Why and where a text was refused. */
typedef struct ombrel_ini_fault_ts {
    int m_reason;       /**< def_ombrel_ini_fault_* */
    int64_t m_line;     /**< from 1; 0 where there is no place, for example when a change was refused */
    int64_t m_column;   /**< in characters, from 1; 0 where there is none */
    int64_t m_offset;   /**< bytes before the place in its file */
    const char* m_path; /**< the file that was refused, as it was named; "" for a text from elsewhere */
} ombrel_ini_fault_t;

/** A document; opaque. */
typedef struct ombrel_ini_ts ombrel_ini_t;

/** @name Documents
 * @{ */

/** @brief Fills settings with their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_ini_options(ombrel_ini_options_t* options);

/**
 * @brief An empty document.
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom all the document's memory is accounted, kept by address
 * @param line     its source line
 * @return the document, closed by ombrel_close_ini(); null with invalid (unknown flags, flags that do not go
 *         together, a limit of 0, a depth above 64) or no_memory
 */
OMBREL_API ombrel_ini_t* ombrel_open_ini_tag(const ombrel_ini_options_t* options, const char* function,
                                             unsigned long line);
/** ombrel_open_ini_tag() with the caller's own name and line. */
#define ombrel_open_ini(options) ombrel_open_ini_tag((options), __func__, __LINE__)

/** @brief Frees a document and all the texts that it returned. @param ini the document, or null @return 0 */
OMBREL_API int ombrel_close_ini(ombrel_ini_t* ini);

/** @brief Empties a document; its settings stay. @return 0; -1 for null */
OMBREL_API int ombrel_ini_reset(ombrel_ini_t* ini);

/** @brief Why and where the last reading or change was refused. @return a record in the document, which its
 * next call changes; null for null */
OMBREL_API const ombrel_ini_fault_t* ombrel_ini_get_fault(const ombrel_ini_t* ini);

/** @brief A reason in words: "line without a separator". @param reason def_ombrel_ini_fault_* @return a
 * static text; "unknown" for another number */
OMBREL_API const char* ombrel_ini_fault_text(int reason);

/** @} */

/** @name Reading
 * A document is read once, while it is empty, and is empty again when that fails.
 * @{ */

/**
 * @brief Reads a file.
 * @param ini  the document
 * @param path the file; includes are relative to it
 * @return 0; -1 with the faults of ombrel_alloc_load_file(), not_found among them, and of the text
 */
OMBREL_API int ombrel_ini_load_file(ombrel_ini_t* ini, const char* path);

/**
 * @brief Reads a text from memory.
 * @param ini  the document
 * @param text the text; includes are relative to the current directory
 * @param size its bytes
 * @return 0; -1
 */
OMBREL_API int ombrel_ini_load(ombrel_ini_t* ini, const void* text, size_t size);

/** @brief Reads all that a buffer chain holds, which is taken from it. @return 0; -1 when what was taken so
 * far was refused */
OMBREL_API int ombrel_ini_load_buffer(ombrel_ini_t* ini, ombrel_buffer_t* buffer);

/**
 * @brief Reads a piece of a text, of any size; the document does not depend on where it is cut.
 *
 * The document must not be read or changed before ombrel_ini_end().
 * @param ini  the document
 * @param text the piece
 * @param size its bytes
 * @return 0; -1, also at every later call until ombrel_ini_reset()
 */
OMBREL_API int ombrel_ini_push(ombrel_ini_t* ini, const void* text, size_t size);

/** @brief Ends a text that was read in pieces. @return 0; -1 */
OMBREL_API int ombrel_ini_end(ombrel_ini_t* ini);

/** @} */

/** @name Writing
 * @{ */

/** @brief Bytes of the document's text. @return them; -1 for null */
OMBREL_API int64_t ombrel_ini_get_text_size(const ombrel_ini_t* ini);

/**
 * @brief The document's text.
 * @param ini      the document
 * @param size     receives its bytes; may be null
 * @param function the caller's name
 * @param line     its line
 * @return the text with a zero byte after it, freed with ombrel_free(); null
 */
OMBREL_API char* ombrel_alloc_ini_text_tag(const ombrel_ini_t* ini, size_t* size, const char* function,
                                           unsigned long line);
/** ombrel_alloc_ini_text_tag() with the caller's own name and line. */
#define ombrel_alloc_ini_text(ini, size) ombrel_alloc_ini_text_tag((ini), (size), __func__, __LINE__)

/** @brief Queues the document's text in a buffer chain: all of it or, with -1, nothing. @return 0; -1 */
OMBREL_API int ombrel_ini_push_buffer(const ombrel_ini_t* ini, ombrel_buffer_t* buffer);

/**
 * @brief Stores the document as ombrel_store_file() does: no crash leaves half of it, permissions and owner
 * of a file that was there stay, links are followed.
 * @param ini  the document, which counts as unchanged afterwards
 * @param path the file
 * @param mode permissions of a new file, such as 0666
 * @return 0; -1 with the faults of ombrel_store_file()
 */
OMBREL_API int ombrel_ini_store_file(ombrel_ini_t* ini, const char* path, uint32_t mode);

/** @brief Whether the text differs from what was read or stored last. @return 1 or 0; -1 for null */
OMBREL_API int ombrel_ini_is_changed(const ombrel_ini_t* ini);

/** @} */

/** @name Asking
 * Texts stay until the document is changed or closed. What a function reads into is left as it was when it
 * fails, so that defaults can stand there before.
 * @{ */

/** @brief Whether a section has a head; "" always has one. @return 1 or 0; -1 for a null document or a name
 * that no section can have */
OMBREL_API int ombrel_ini_has_section(const ombrel_ini_t* ini, const char* section);

/** @brief The number of values that a key has. @return the number, 0 where the key is not there; -1 */
OMBREL_API int64_t ombrel_ini_get_count(const ombrel_ini_t* ini, const char* section, const char* key);

/** @brief The value of a key that counts. @return it, "" for a bare key; null, not_found among the faults */
OMBREL_API const char* ombrel_ini_get(const ombrel_ini_t* ini, const char* section, const char* key);

/**
 * @brief One of the values of a key.
 * @param ini     the document
 * @param section the section
 * @param key     the key
 * @param index   which of them, from 0 in their order
 * @return it, "" for a bare key; null, with not_found also for an index beyond the last. Takes time in
 *         proportion to the index: a walk is better to see many
 */
OMBREL_API const char* ombrel_ini_get_at(const ombrel_ini_t* ini, const char* section, const char* key,
                                         int64_t index);

/**
 * @brief A whole number: decimal digits, or hexadecimal ones after "0x", after "-" or "+".
 * @param ini     the document
 * @param section the section
 * @param key     the key
 * @param least   the least that is taken
 * @param most    the greatest
 * @param value   receives it
 * @return 0; -1 with not_found, violation for what is no number, too_large for one out of the range
 */
OMBREL_API int ombrel_ini_get_integer(const ombrel_ini_t* ini, const char* section, const char* key,
                                      int64_t least, int64_t most, int64_t* value);

/** @brief 1 for "true", "yes", "on", "1", in either case, and for a bare key; 0 for "false", "no", "off", "0"
 * and, where there may be bare keys, for an empty value. @return 0; -1 with not_found, violation */
OMBREL_API int ombrel_ini_get_boolean(const ombrel_ini_t* ini, const char* section, const char* key,
                                      int* value);

/** @brief A number with a point and an exponent ("-1.5e3"), rounded to the nearest double. @return 0; -1 with
 * not_found, violation, too_large */
OMBREL_API int ombrel_ini_get_double(const ombrel_ini_t* ini, const char* section, const char* key,
                                     double* value);

/** @brief Bytes: "10", "64K", "1.5 MiB", as #def_ombrel_argument_size has them. @return 0; -1 with not_found,
 * violation, too_large */
OMBREL_API int ombrel_ini_get_bytes(const ombrel_ini_t* ini, const char* section, const char* key,
                                    int64_t* bytes);

/** @brief A duration: "90", "1.5h", "250 ms", "1 d 02:03:04", as ombrel_parse_duration() has them. @return 0;
 * -1 with not_found, violation */
OMBREL_API int ombrel_ini_get_duration(const ombrel_ini_t* ini, const char* section, const char* key,
                                       int64_t* nanoseconds);

/**
 * @brief A list: items between commas or line ends, over all values of the key, white space around them
 *        dropped, empty ones too unless they are quoted.
 * @param ini      the document
 * @param section  the section
 * @param key      the key
 * @param count    receives the number of items; may be null
 * @param function the caller's name
 * @param line     its line
 * @return the items and a null, one block freed with ombrel_free(); null, not_found among the faults
 */
OMBREL_API char** ombrel_alloc_ini_list_tag(const ombrel_ini_t* ini, const char* section, const char* key,
                                            size_t* count, const char* function, unsigned long line);
/** ombrel_alloc_ini_list_tag() with the caller's own name and line. */
#define ombrel_alloc_ini_list(ini, section, key, count)                                                      \
    ombrel_alloc_ini_list_tag((ini), (section), (key), (count), __func__, __LINE__)

/** @} */

/** @name Walking
 * @{ */

/** @name Kinds of entries
 * @{ */
#define def_ombrel_ini_entry_section 1   /**< a head: m_section, m_name, m_sub_section */
#define def_ombrel_ini_entry_key 2       /**< a key: m_key and m_value too */
#define def_ombrel_ini_entry_comment 3   /**< a line that is a comment: m_text */
#define def_ombrel_ini_entry_blank 4     /**< a blank line */
#define def_ombrel_ini_entry_malformed 5 /**< a line that was kept: m_text */
#define def_ombrel_ini_entry_include 6   /**< a line "!include": m_value is the path */
/** @} */

/** What a document has at one place. */
typedef struct ombrel_ini_entry_ts {
    int m_kind;            /**< def_ombrel_ini_entry_* */
    int m_is_included;     /**< 1 when it stands in an included file */
    const char* m_section; /**< the section it stands in, as functions take it; "" before the first head */
    const char* m_name;    /**< the section's name without that of a sub-section */
    const char* m_sub_section; /**< the name of the sub-section; null without */
    const char* m_key;         /**< the key as it was written; null where there is none */
    const char* m_value;       /**< the value; null where there is none, for example for a bare key */
    const char* m_text;        /**< the bytes as they stand, with the line end */
    size_t m_size;             /**< their number */
    int64_t m_line;            /**< the line in its file as it was read; 0 for what was added since */
} ombrel_ini_entry_t;

/** Where a walk is; embedded by its user, who looks at none of its fields. */
typedef struct ombrel_ini_walk_ts {
    const ombrel_ini_t* m_ini; /**< the document */
    const void* m_next;        /**< what comes next */
    const void* m_only;        /**< the section that is walked through; null for all */
    uint64_t m_version;        /**< the document's when the walk began */
} ombrel_ini_walk_t;

/**
 * @brief Begins a walk through a document in its order, included files in their places.
 * @param walk    the walk; nothing ends it
 * @param ini     the document
 * @param section the one section to walk through, all its heads, "" for the keys before the first; null for
 *                the whole document
 * @return 0; -1 with not_found
 */
OMBREL_API int ombrel_init_ini_walk(ombrel_ini_walk_t* walk, const ombrel_ini_t* ini, const char* section);

/**
 * @brief The next entry.
 * @param walk  the walk
 * @param entry receives it; its texts stay until the document is changed
 * @return 1; 0 after the last; -1 for null, and with busy when the document was changed since the walk began
 */
OMBREL_API int ombrel_ini_walk_next(ombrel_ini_walk_t* walk, ombrel_ini_entry_t* entry);

/** @} */

/** @name Changing
 * @{ */

/**
 * @brief Sets the value of a key: changes the one that counts, or adds the key and, if need be, its section.
 * @param ini     the document
 * @param section the section
 * @param key     the key
 * @param value   the value; null for a bare key, where the dialect has them
 * @return 0; -1 with invalid for what cannot be written, too_large for limits, access_denied when the value
 *         that counts would still be one of an included file
 */
OMBREL_API int ombrel_ini_set(ombrel_ini_t* ini, const char* section, const char* key, const char* value);

/** @brief Changes one of the values of a key: as ombrel_ini_set(), by index as ombrel_ini_get_at(). @return
 * 0; -1, with not_found for an index beyond the last, access_denied for one of an included file */
OMBREL_API int ombrel_ini_set_at(ombrel_ini_t* ini, const char* section, const char* key, int64_t index,
                                 const char* value);

/** @brief Adds a value to a key after those that it has, or adds the key. @return as ombrel_ini_set(), but
 * never access_denied; -1 with exists where the dialect has single keys and the key is there */
OMBREL_API int ombrel_ini_add(ombrel_ini_t* ini, const char* section, const char* key, const char* value);

/** @brief Sets a whole number in decimal digits. @return as ombrel_ini_set() */
OMBREL_API int ombrel_ini_set_integer(ombrel_ini_t* ini, const char* section, const char* key, int64_t value);

/** @brief Sets "true" or "false". @return as ombrel_ini_set() */
OMBREL_API int ombrel_ini_set_boolean(ombrel_ini_t* ini, const char* section, const char* key, int value);

/** @brief Sets a number in the fewest digits that read back as the same double. @return as ombrel_ini_set();
 * -1 with invalid for what is no finite number */
OMBREL_API int ombrel_ini_set_double(ombrel_ini_t* ini, const char* section, const char* key, double value);

/** @brief Sets bytes, with the greatest of K, M, G and so on that divides them. @return as ombrel_ini_set();
 * -1 with invalid for negative ones */
OMBREL_API int ombrel_ini_set_bytes(ombrel_ini_t* ini, const char* section, const char* key, int64_t bytes);

/** @brief Sets a duration as ombrel_format_duration() words it. @return as ombrel_ini_set() */
OMBREL_API int ombrel_ini_set_duration(ombrel_ini_t* ini, const char* section, const char* key,
                                       int64_t nanoseconds);

/**
 * @brief Sets a list, as one value that ombrel_alloc_ini_list() reads back the same, in place of all that the
 *        key has.
 * @param ini     the document
 * @param section the section
 * @param key     the key
 * @param items   the items, each quoted if need be
 * @param count   their number
 * @return as ombrel_ini_set()
 */
OMBREL_API int ombrel_ini_set_list(ombrel_ini_t* ini, const char* section, const char* key,
                                   const char* const* items, size_t count);

/**
 * @brief Deletes a key with all values that it has. Comments and blank lines around it stay.
 * @return the number of values that were deleted; -1 with not_found, access_denied when there are some in an
 *         included file
 */
OMBREL_API int64_t ombrel_ini_delete(ombrel_ini_t* ini, const char* section, const char* key);

/** @brief Deletes one of the values of a key, by index as ombrel_ini_get_at(). @return 0; -1 as
 * ombrel_ini_set_at() */
OMBREL_API int ombrel_ini_delete_at(ombrel_ini_t* ini, const char* section, const char* key, int64_t index);

/** @brief Gives a key another name, for all its values, in their places. @return 0; -1 with not_found, exists
 * when the section has a key of the new name, access_denied as ombrel_ini_delete() */
OMBREL_API int ombrel_ini_rename(ombrel_ini_t* ini, const char* section, const char* key,
                                 const char* new_key);

/** @brief Adds a section without keys at the end. @return 0; -1 with exists */
OMBREL_API int ombrel_ini_add_section(ombrel_ini_t* ini, const char* section);

/**
 * @brief Deletes a section: all its heads, keys, comments and blank lines, and the comments that stand
 * directly before a head of it; those directly before the next section's head stay. For "" only the keys are
 * deleted.
 * @return 0; -1 with not_found, access_denied when it is in an included file too
 */
OMBREL_API int ombrel_ini_delete_section(ombrel_ini_t* ini, const char* section);

/** @brief Gives a section another name, in all its heads; what stands after a head stays. @return 0; -1 with
 * not_found, exists when the document has a section of the new name, invalid for "", access_denied as
 * ombrel_ini_delete_section() */
OMBREL_API int ombrel_ini_rename_section(ombrel_ini_t* ini, const char* section, const char* new_section);

/**
 * @brief The name of a sub-section as functions take it: `remote "origin"`.
 * @param buf         the buffer; may be null when `size` is 0
 * @param size        its bytes
 * @param name        the section's name
 * @param sub_section the sub-section's, any text without line ends
 * @return bytes of the whole name without its terminator, also when it was cut off; -1
 */
OMBREL_API int64_t ombrel_format_ini_section(char* buf, size_t size, const char* name,
                                             const char* sub_section);

/** @} */

OMBREL_END_C

#endif
