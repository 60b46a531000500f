/**
 * @file ctx.h
 * @brief Contexts: one handle for streams, frame buffers, databases and programs, whichever plug-in serves
 * it.
 *
 * A context is created, given options, and opened with a MIME type. It binds to the newest loaded plug-in
 * whose hint covers the type and whose open operation accepts it; from then on every operation is forwarded
 * to that plug-in, until the context is closed. It can be opened again, with new options, and is destroyed at
 * the end.
 *
 * @par Handles
 * Handles are positive. Every function takes any number: one that does not belong to a living context gives
 * -1 (null where a pointer is the result) and does nothing else. A number comes back only after some two
 * thousand million others, so a stale handle does not reach another context.
 *
 * @par Errors
 * Functions that fail with -1 or null leave a code that ombrel_ctx_get_last_error() gives. An operation that
 * the bound plug-in lacks, and every forwarded operation of a closed context, leaves
 * ::def_ombrel_ctx_error_not_supported, whatever its other arguments are. Success does not clear an earlier
 * code, except in ombrel_open_ctx(), and ombrel_ctx_db_fetch_row() at the end of a result.
 *
 * What the host, a server or a library said of the failure stays with the code, also after an opening that
 * failed, until the next failure or opening: ombrel_ctx_get_last_error_text() tells it, as often as it is
 * asked.
 *
 * @code
 * if (ombrel_open_ctx_stream(ctx, "ftp://device.local/log.txt", "r", 0) != 0) {
 *     char why[def_ombrel_ctx_error_text_size];
 *     ombrel_ctx_get_last_error_text(ctx, why, sizeof why);
 *     ombrel_error_printf("log.txt: %s\n", why); // "log.txt: 550 No such file"
 * }
 * @endcode
 *
 * @par Threads
 * Different contexts may be used by different threads at any time. One context is used by one thread at a
 * time, and its handle may pass from thread to thread; whether one thread may read while another writes is
 * for the plug-in to say. Should calls on one context meet all the same, then
 * - destroying it succeeds at once: calls that come later find no context. Calls that are inside finish, and
 *   the last of them closes the context and frees it, in its thread;
 * - closing it while another call is inside fails with ::def_ombrel_ctx_error_busy, and changes nothing;
 *   opening it then fails as on any open context;
 * - while one thread opens or closes it, calls of the others that need the plug-in fail with
 *   ::def_ombrel_ctx_error_busy, and the functions that ask what is bound find nothing;
 * - options and the error code may be set and asked for at any time. A text that was returned stays for as
 *   long as its function says, so another thread may take it away.
 *
 * No call, whenever it comes, touches memory of a context that has been destroyed, or code of a plug-in that
 * has been unloaded: what is inside an operation or a main entry keeps the plug-in in place.
 */
#ifndef OMBREL_CTX_H
#define OMBREL_CTX_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/plugin.h>

OMBREL_BEGIN_C

struct ombrel_fbmap_ts;

/**
 * @name Error codes
 * Codes below 0x10000 are the library's; plug-ins may use those above for their own.
 * @{
 */
#define def_ombrel_ctx_error_none 0             /**< nothing failed */
#define def_ombrel_ctx_error_failed 1           /**< it failed, for a reason without a code */
#define def_ombrel_ctx_error_invalid_argument 2 /**< an argument or option makes no sense */
#define def_ombrel_ctx_error_not_supported 3    /**< the operation or type is not served; also: not open */
#define def_ombrel_ctx_error_no_memory 4        /**< memory ran out */
#define def_ombrel_ctx_error_not_found 5        /**< no such file, name or column */
#define def_ombrel_ctx_error_access_denied 6    /**< the system or the other side forbids it */
#define def_ombrel_ctx_error_timed_out 7        /**< the time limit passed */
#define def_ombrel_ctx_error_disconnected 8     /**< the other side is gone, or broke the connection off */
#define def_ombrel_ctx_error_already_open 9     /**< the context is open already */
#define def_ombrel_ctx_error_io 10              /**< reading, writing or positioning failed */
#define def_ombrel_ctx_error_busy 11            /**< in use: locked by another, or with another call inside */
#define def_ombrel_ctx_error_protocol 12      /**< the other side broke its protocol, or refused a request */
#define def_ombrel_ctx_error_corrupt 13       /**< the data are damaged */
#define def_ombrel_ctx_error_syntax 14        /**< a query or address cannot be understood */
#define def_ombrel_ctx_error_no_descriptor 15 /**< the process or the system has no descriptor left */
#define def_ombrel_ctx_error_refused 16       /**< the host is there, but no program listens at the port */
#define def_ombrel_ctx_error_unknown_host 17  /**< the name of a host has no address */
#define def_ombrel_ctx_error_unreachable 18   /**< no way leads to the host */
#define def_ombrel_ctx_error_is_directory 19  /**< it is a directory */
#define def_ombrel_ctx_error_exists 20        /**< it is there already */
#define def_ombrel_ctx_error_no_space 21      /**< the device, or the user's share of it, is full */
#define def_ombrel_ctx_error_plugin 0x10000   /**< the first code that plug-ins may define */
/** @} */

/**
 * @brief Makes a closed context without options; it holds one use of the built-in plug-in.
 * @return the handle, above 0, to be destroyed by ombrel_destroy_ctx(); -1 when memory runs out, when the
 *         built-in plug-in cannot be loaded, or, which an error line says, when there are
 *         ::def_ombrel_plugin_most_handles handles already
 */
OMBREL_API int ombrel_new_ctx(void);
/**
 * @brief Ends the context: closes it if it is open and frees it, here or, while calls of it are inside, when
 *        the last of them leaves.
 *
 * Plug-ins too may do so in an operation of the context, except opening and closing.
 * @param ctx the context
 * @return 0, the handle being unknown from then on; -1 for an unknown handle, and with the error "busy" for
 *         a plug-in that would destroy the context that it is just opening or closing
 */
OMBREL_API int ombrel_destroy_ctx(int ctx);

/**
 * @brief Binds the context to a plug-in.
 *
 * The plug-ins are tried from the newest to the oldest. Each one whose hint covers the type is asked; one
 * that refuses and leaves the error "not supported" is passed over, any other refusal ends the search.
 * @param ctx       the context
 * @param mime_type what is wanted, such as "application/tuk_stream"; copied; null is a type of no name, which
 *                  only a plug-in without a hint, or with a hint such as "*", covers
 * @return 0; -1 when it is open already, which leaves it bound as it was, and when memory runs out; -1 with
 * the error "not supported" when no plug-in was asked; else the result of the plug-in asked last, with its
 *         error, or "not supported" if it left none. The options stay for another attempt.
 *
 * Two options are for all plug-ins. With "debug", a number other than 0, an opening that none serves is
 * reported through the error printer. "schemes" are the ones that the option "source" may have, separated by
 * "|" as in "https|ftp"; a path counts as "file", also where "source" is not set. Another one is refused with
 * the error "access denied" before any plug-in is asked. Set it where the source comes from outside the
 * program: "pipe:" runs what it names.
 */
OMBREL_API int ombrel_open_ctx(int ctx, const char* mime_type);

/**
 * @brief Ends the binding: calls the plug-in's close operation and frees options and MIME type.
 *
 * On a closed context it frees the options alone.
 * @param ctx the context
 * @return 0; the result of the plug-in's close operation if that failed, though the context is closed all the
 * same; -1 for an unknown handle, and with the error "busy" while another call is inside: an operation, or
 * opening or closing. Then nothing has changed.
 */
OMBREL_API int ombrel_close_ctx(int ctx);

/**
 * @brief Opens a stream: sets the options "source", "mode" and "debug" and opens "application/tuk_stream".
 * @param ctx    a closed context
 * @param source what to open, a URI ("file:///tmp/a", "ftp://host/a", "tcp://host:80") or a file's path; null
 *               leaves the option as it is
 * @param mode   as for fopen(), such as "rb"; null leaves the option as it is
 * @param debug  0, or another number for messages
 * @return as ombrel_open_ctx(); -1 too when an option cannot be set for want of memory
 */
OMBREL_API int ombrel_open_ctx_stream(int ctx, const char* source, const char* mode, int debug);
/**
 * @brief Opens a stream over a file descriptor: the same with the option "fd" instead of "source".
 * @param ctx   a closed context
 * @param fd    the descriptor of an open file, pipe, terminal or socket; it belongs to the context once this
 * has succeeded and is closed with it
 * @param mode  as for fopen(); it must agree with how the descriptor was opened; null leaves the option as it
 * is
 * @param debug 0, or another number for messages
 * @return as ombrel_open_ctx_stream(); on failure the descriptor stays the caller's
 */
OMBREL_API int ombrel_open_ctx_stream_fd(int ctx, int fd, const char* mode, int debug);

/**
 * @name Options
 * Pairs of name and text that a plug-in reads when it is opened. Names are compared in either case; setting
 * one again replaces its text. Closing a context removes its options.
 * @{
 */

/**
 * @brief Sets an option.
 * @param ctx   the context
 * @param name  the name, copied; neither null nor empty
 * @param value the text, copied; null removes the option
 * @return 0; -1 for an unknown handle or a missing name, or when memory runs out, the options being unchanged
 */
OMBREL_API int ombrel_ctx_set_option(int ctx, const char* name, const char* value);
/** @brief ombrel_ctx_set_option() with null standing for the empty text. */
OMBREL_API int ombrel_ctx_set_option_string(int ctx, const char* name, const char* text);
/** @brief ombrel_ctx_set_option() with a text formatted by the rules of printf.h. */
OMBREL_API int ombrel_ctx_set_option_fstring(int ctx, const char* name, const char* format, ...)
    OMBREL_PRINTF_LIKE(3, 4);
/** @brief ombrel_ctx_set_option_fstring() with the arguments as a list. */
OMBREL_API int ombrel_ctx_set_option_vfstring(int ctx, const char* name, const char* format, va_list args)
    OMBREL_PRINTF_LIKE(3, 0);
/** @brief ombrel_ctx_set_option() with a number in decimal. */
OMBREL_API int ombrel_ctx_set_option_int_string(int ctx, const char* name, int number);

/** @brief The text of an option. @return the text, valid until the option is set again or the context is
 * closed or destroyed; null when it is not set */
OMBREL_API const char* ombrel_ctx_get_option(int ctx, const char* name);
/** @brief The same as ombrel_ctx_get_option(). */
OMBREL_API const char* ombrel_ctx_get_option_string(int ctx, const char* name);
/** @brief ombrel_ctx_get_option() with a default. @return `fallback` when the option is not set */
OMBREL_API const char* ombrel_ctx_get_option_string_ex(int ctx, const char* name, const char* fallback);
/** @} */

/**
 * @name Control
 * What has no operation of its own. The forms differ in how the command is named and what goes with it; the
 * plug-in's documentation, or the header of a built-in one, lists its commands.
 * @{
 */

/**
 * @brief A command by number, with one record: `ombrel_ctx_control(ctx, code, &record, sizeof(record))`.
 * @param ctx  the open context
 * @param code the command: codes below 0x10000 are the library's (0x100 to 0x1FF streams, 0x200 to 0x2FF
 * frame buffers, 0x300 to 0x3FF multi-call, 0x400 to 0x4FF databases), those above are the plug-in's own
 * @param ...  `void*`: the record, which the command reads or fills, or null; `size_t`: its bytes. Both are
 * always given. A plug-in refuses a size that is not its record's, and may report it as an assertion.
 * @return 0 or what the command documents; -1 on failure
 */
OMBREL_API int ombrel_ctx_control(int ctx, uint32_t code, ...);
/** @brief ombrel_ctx_control() with the arguments as a list. */
OMBREL_API int ombrel_ctx_vcontrol(int ctx, uint32_t code, va_list args);
/**
 * @brief An extended command, by name, with one record. Names are compared in either case.
 * @param ctx  the open context
 * @param name the command
 * @param ...  as ombrel_ctx_control()
 * @return 0 or what the command documents; -1 on failure
 */
OMBREL_API int ombrel_ctx_xcontrol(int ctx, const char* name, ...);
/** @brief ombrel_ctx_xcontrol() with the arguments as a list. */
OMBREL_API int ombrel_ctx_vxcontrol(int ctx, const char* name, va_list args);
/**
 * @brief A command by number that takes a block of bytes and answers with one:
 *        `ombrel_ctx_bcontrol(ctx, code, in, in_size, out, out_size)`.
 * @param ctx  the open context
 * @param code the command, from the same numbers as ombrel_ctx_control()
 * @param ...  `const void*`, `size_t`: the block and its bytes, null and 0 for none; `void*`, `size_t`: room
 * for the answer and its bytes, null and 0 for none. All four are always given.
 * @return bytes of the answer, of which no more were stored than there was room for; -1 on failure
 */
OMBREL_API int ombrel_ctx_bcontrol(int ctx, uint32_t code, ...);
/** @brief ombrel_ctx_bcontrol() with the arguments as a list. */
OMBREL_API int ombrel_ctx_vbcontrol(int ctx, uint32_t code, va_list args);
/** @} */

/**
 * @name Reading and writing
 * @{
 */

/** Position from the beginning. */
#define def_ombrel_ctx_seek_set 0
/** Position from where the stream stands. */
#define def_ombrel_ctx_seek_current 1
/** Position from the end. */
#define def_ombrel_ctx_seek_end 2

/**
 * @brief Whether a read would find bytes or the end at once.
 * @param ctx        the open context
 * @param timeout_ms milliseconds to wait for it; 0 only looks, a negative time has no limit
 * @return 1 when it would; 0 when the time ran out; -1 on failure
 */
OMBREL_API int ombrel_ctx_is_readable(int ctx, int timeout_ms);
/**
 * @brief Reads what there is.
 * @param ctx    the open context
 * @param buffer receives the bytes
 * @param size   room in bytes; above INT_MAX counts as INT_MAX
 * @return bytes read, which may be fewer than there is room for; 0 at the end; a negative number on failure
 */
OMBREL_API int ombrel_ctx_read(int ctx, void* buffer, size_t size);
/** @brief Whether a write would take bytes at once; see ombrel_ctx_is_readable(). */
OMBREL_API int ombrel_ctx_is_writable(int ctx, int timeout_ms);
/**
 * @brief Writes.
 * @param ctx    the open context
 * @param buffer the bytes
 * @param size   how many; above INT_MAX counts as INT_MAX
 * @return bytes written, which may be fewer; a negative number on failure
 */
OMBREL_API int ombrel_ctx_write(int ctx, const void* buffer, size_t size);
/** @brief Writes the whole of a text, without adding to it. @return its bytes; fewer when writing stopped on
 * the way; -1 when nothing could be written; null is the empty text */
OMBREL_API int ombrel_ctx_puts(int ctx, const char* text);
/** @brief ombrel_ctx_puts() with a text formatted by the rules of printf.h. Formatted texts of contexts may
 * have up to 1 GiB. @return as ombrel_ctx_puts(); -1 with the error "no memory" when the text is longer or
 * memory runs out */
OMBREL_API int ombrel_ctx_printf(int ctx, const char* format, ...) OMBREL_PRINTF_LIKE(2, 3);
/** @brief ombrel_ctx_printf() with the arguments as a list. */
OMBREL_API int ombrel_ctx_vprintf(int ctx, const char* format, va_list args) OMBREL_PRINTF_LIKE(2, 0);
/**
 * @brief Moves to a position.
 * @param ctx    the open context
 * @param offset bytes from there, possibly negative
 * @param whence ::def_ombrel_ctx_seek_set, ::def_ombrel_ctx_seek_current or ::def_ombrel_ctx_seek_end
 * @return the new position from the beginning; -1 on failure
 */
OMBREL_API int64_t ombrel_ctx_seek(int ctx, int64_t offset, int whence);
/** @brief Moves to the beginning. @return 0; -1 on failure */
OMBREL_API int ombrel_ctx_rewind(int ctx);
/** @brief Hands on what is held back: to the device, the file or the other side. @return 0; -1 on failure */
OMBREL_API int ombrel_ctx_sync(int ctx);
/** @} */

/**
 * @name Environment and errors
 * @{
 */

/**
 * @brief Asks the plug-in for a named property of the open context, such as "size" or "peer".
 * @param ctx  the open context
 * @param name the property; the plug-in documents its names, which are compared in either case
 * @param text receives the value, cut to the room and always terminated; may be null when `size` is 0
 * @param size room in bytes, with the terminator
 * @return bytes of the whole value without its terminator, however much of it was stored; -1 when there is no
 * such property
 */
OMBREL_API int ombrel_ctx_get_env(int ctx, const char* name, char* text, size_t size);
/** @brief Sets a property. @param ctx the open context @param name the property @param text its value; null
 * removes it or restores the default @return 0; -1 when there is no such property or it cannot be set so */
OMBREL_API int ombrel_ctx_set_env(int ctx, const char* name, const char* text);
/** @brief The code of the last failure. @return one of the error codes or a plug-in's own; -1 for an unknown
 *         handle */
OMBREL_API int ombrel_ctx_get_last_error(int ctx);
/** @brief Sets the code of the last failure. @return 0; -1 for an unknown handle */
OMBREL_API int ombrel_ctx_set_last_error(int ctx, int error);

/** Room for every text of ombrel_ctx_get_last_error_text(), with its terminator. */
#define def_ombrel_ctx_error_text_size 256

/**
 * @brief What is known of the last failure, for people: the words of the host, the server or the library that
 *        a plug-in uses, else those of the code.
 *
 * Asking changes nothing. The words hold one line of printable characters, some of which a peer may have
 * chosen.
 * @param ctx  the context, open or not
 * @param text receives the words, cut to the room and always terminated; may be null when `size` is 0
 * @param size room in bytes, with the terminator; #def_ombrel_ctx_error_text_size is always enough
 * @return bytes of the whole text without its terminator, 0 when nothing failed; -1 for an unknown handle
 */
OMBREL_API int ombrel_ctx_get_last_error_text(int ctx, char* text, size_t size);

/**
 * @brief The words of a code: "connection refused".
 * @param error one of the error codes
 * @return a static text; "" for ::def_ombrel_ctx_error_none, "it failed" for a code that is not one of the
 * library's
 */
OMBREL_API const char* ombrel_ctx_error_text(int error);
/** @} */

/**
 * @name Programs
 * @{
 */

/** @brief The main entry of the bound plug-in. @return the entry; null when there is none, which leaves the
 * error "not supported". A table too small for one is reported as an assertion. */
OMBREL_API ombrel_plugin_main_t ombrel_ctx_get_main_entry(int ctx);
/** @brief Whether the bound plug-in has a main entry. @return 1 or 0 */
OMBREL_API int ombrel_ctx_is_executable_main(int ctx);
/**
 * @brief Runs the bound plug-in's main entry.
 * @param ctx  the open context; it may be closed and destroyed meanwhile
 * @param argc number of arguments
 * @param argv the arguments, handed over as they are
 * @return the entry's result; 1 when there is none. The plug-in stays loaded while its entry runs.
 */
OMBREL_API int ombrel_ctx_execute_main(int ctx, int argc, char** argv);
/** @} */

/**
 * @name Databases
 *
 * Queries come as text, formatted or not. Values belong into parameters, which the functions with "_ex" take;
 * a format pastes its arguments into the query as they are.
 *
 * A result belongs to its context and is freed by ombrel_ctx_db_free_result(), at the latest by closing the
 * context. A context may have several results at a time unless its plug-in says otherwise.
 * @{
 */

/** What a value is. */
typedef enum {
    def_ombrel_ctx_db_null = 0,    /**< nothing */
    def_ombrel_ctx_db_integer = 1, /**< `m_integer` */
    def_ombrel_ctx_db_real = 2,    /**< `m_real` */
    def_ombrel_ctx_db_text = 3,    /**< `m_data`, UTF-8 unless the plug-in says otherwise */
    def_ombrel_ctx_db_blob = 4     /**< `m_data`, any bytes */
} ombrel_ctx_db_type_t;

/** A parameter of a query, or a column of a row. */
typedef struct {
    ombrel_ctx_db_type_t m_type; /**< what it is */
    int64_t m_integer;           /**< an integer's value, else 0 */
    double m_real;               /**< a real's value, else 0 */
    const void* m_data; /**< the bytes of a text or blob. In rows, integers and reals have their text here too
                           and a terminator follows that is not counted; null for null values. In parameters
                           it may be null where `m_size` is 0 */
    size_t m_size;      /**< bytes at `m_data` */
} ombrel_ctx_db_value_t;

/** A result; each plug-in has its own. */
typedef struct ombrel_ctx_db_result_ts ombrel_ctx_db_result_t;

/**
 * @brief Runs a query that gives rows.
 * @param ctx        the open context
 * @param query      its text, with the places of parameters marked as the database has it ("?" in most)
 * @param parameters their values, read during the call; may be null when `count` is 0
 * @param count      how many
 * @return the result, before its first row; null on failure
 */
OMBREL_API ombrel_ctx_db_result_t*
ombrel_ctx_db_get_query_ex(int ctx, const char* query, const ombrel_ctx_db_value_t* parameters, size_t count);
/** @brief ombrel_ctx_db_get_query_ex() with a text and no parameters. */
OMBREL_API ombrel_ctx_db_result_t* ombrel_ctx_db_get_query_puts(int ctx, const char* query);
/** @brief ombrel_ctx_db_get_query_puts() with a text formatted by the rules of printf.h. */
OMBREL_API ombrel_ctx_db_result_t* ombrel_ctx_db_get_query(int ctx, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);
/** @brief ombrel_ctx_db_get_query() with the arguments as a list. */
OMBREL_API ombrel_ctx_db_result_t* ombrel_ctx_db_get_vquery(int ctx, const char* format, va_list args)
    OMBREL_PRINTF_LIKE(2, 0);

/**
 * @brief Runs a query that gives no rows, or whose rows are not wanted.
 * @param ctx        the open context
 * @param query      its text
 * @param parameters as ombrel_ctx_db_get_query_ex()
 * @param count      how many
 * @return rows changed, 0 for queries that change none; -1 on failure
 */
OMBREL_API int64_t ombrel_ctx_db_set_query_ex(int ctx, const char* query,
                                              const ombrel_ctx_db_value_t* parameters, size_t count);
/** @brief ombrel_ctx_db_set_query_ex() with a text and no parameters. */
OMBREL_API int64_t ombrel_ctx_db_set_query_puts(int ctx, const char* query);
/** @brief ombrel_ctx_db_set_query_puts() with a text formatted by the rules of printf.h. */
OMBREL_API int64_t ombrel_ctx_db_set_query(int ctx, const char* format, ...) OMBREL_PRINTF_LIKE(2, 3);
/** @brief ombrel_ctx_db_set_query() with the arguments as a list. */
OMBREL_API int64_t ombrel_ctx_db_set_vquery(int ctx, const char* format, va_list args)
    OMBREL_PRINTF_LIKE(2, 0);

/** @brief Frees a result. @return 0, for null too; -1 on failure */
OMBREL_API int ombrel_ctx_db_free_result(int ctx, ombrel_ctx_db_result_t* result);
/**
 * @brief Takes the next row.
 * @return one value for each column, the plug-in's, valid until the result's next row is taken or the result
 * is freed; null at the end, with the last error 0, or on failure, with another
 */
OMBREL_API const ombrel_ctx_db_value_t* ombrel_ctx_db_fetch_row(int ctx, ombrel_ctx_db_result_t* result);
/** @brief Rows of the whole result. @return the number; -1 on failure, with the error "not supported" where
 * it cannot be told before all are taken */
OMBREL_API int64_t ombrel_ctx_db_get_row_count(int ctx, ombrel_ctx_db_result_t* result);
/** @brief Columns of a result. @return the number; -1 on failure */
OMBREL_API int ombrel_ctx_db_get_field_count(int ctx, ombrel_ctx_db_result_t* result);
/**
 * @brief The place of a column.
 * @param ctx    the open context
 * @param result the result
 * @param name   the column's name, compared in either case; the first of several with the name counts
 * @return the place, from 0; -1 when there is none
 */
OMBREL_API int ombrel_ctx_db_get_field_index(int ctx, ombrel_ctx_db_result_t* result, const char* name);
/** @brief ombrel_ctx_db_get_field_index() with a name formatted by the rules of printf.h. */
OMBREL_API int ombrel_ctx_db_get_field_index_f(int ctx, ombrel_ctx_db_result_t* result, const char* format,
                                               ...) OMBREL_PRINTF_LIKE(3, 4);
/** @brief ombrel_ctx_db_get_field_index_f() with the arguments as a list. */
OMBREL_API int ombrel_ctx_db_get_field_index_v(int ctx, ombrel_ctx_db_result_t* result, const char* format,
                                               va_list args) OMBREL_PRINTF_LIKE(3, 0);
/** @brief The name of a column. @param ctx the open context @param result the result @param index its place,
 * from 0
 *  @return the name, valid while the result is; null when there is no such column */
OMBREL_API const char* ombrel_ctx_db_get_field_name(int ctx, ombrel_ctx_db_result_t* result, int index);
/**
 * @brief Prints the rows that have not been taken as a table with aligned columns, by ombrel_printf().
 *
 * Numbers stand to the right, texts to the left, null values as "NULL", blobs as their size. Control
 * characters are shown as ".". The rows are taken from the result by this, and all are held in memory
 * meanwhile.
 * @return rows printed; -1 on failure or when memory runs out, with nothing printed
 */
OMBREL_API int64_t ombrel_ctx_db_dump_result(int ctx, ombrel_ctx_db_result_t* result);
/** @} */

/** What a frame-buffer context draws on. */
typedef struct {
    struct ombrel_fbmap_ts* m_root; /**< the root map, an `ombrel_fbmap_t`; the plug-in's, valid while the
                                       context is open */
    int m_resx;                     /**< pixels in a line */
    int m_resy;                     /**< lines */
    int m_bits_per_pixel;           /**< 8, 16, 24 or 32 */
    size_t m_line_length;           /**< bytes from one line to the next */
    void* m_memory;       /**< the pixels: `m_memory_size` bytes; null where they cannot be reached */
    size_t m_memory_size; /**< bytes at `m_memory` */
} ombrel_ctx_fbinfo_t;

/**
 * @brief What the open frame buffer is.
 * @param ctx  the open context
 * @param info receives it; zero-filled on failure
 * @return 0; -1 on failure
 */
OMBREL_API int ombrel_ctx_get_fbinfo(int ctx, ombrel_ctx_fbinfo_t* info);

/**
 * @brief Fetches a whole resource, as a stream of "application/tuk_stream" with the options "source", "mode"
 * ("rb"), "debug" and "httpheader".
 *
 * Addresses of the scheme http or https need a plug-in that serves them, such as ombrel_plugin_curl.
 * @param url    the address
 * @param header additional header lines, separated by a line feed; null for none
 * @param debug  0, or another number for messages
 * @param limit  the most bytes that are taken; 0 stands for ::def_ombrel_ctx_simple_http_get_limit, SIZE_MAX
 * for no limit
 * @param size   receives the bytes fetched, 0 on failure; may be null
 * @return the bytes, with a 0 byte after them that is not counted, freed by the caller with ombrel_free();
 * null when it cannot be fetched whole, when it has more than `limit` bytes, when nothing comes for 60
 * seconds, or memory runs out
 */
OMBREL_API void* ombrel_ctx_simple_http_get_ex(const char* url, const char* header, int debug, size_t limit,
                                               size_t* size);

/** The bytes that ombrel_ctx_simple_http_get() takes at most: 64 MiB. */
#define def_ombrel_ctx_simple_http_get_limit 0x4000000u

/** @brief ombrel_ctx_simple_http_get_ex() with the limit ::def_ombrel_ctx_simple_http_get_limit. */
OMBREL_API void* ombrel_ctx_simple_http_get(const char* url, const char* header, int debug, size_t* size);

/** @brief The bound plug-in's base name. @return the text, valid while the context is open; null when it is
 * not */
OMBREL_API const char* ombrel_get_ctx_plugin_name(int ctx);
/** @brief The bound plug-in's MIME-type hint. @return the text, valid while the context is open; null when it
 * is not, or the plug-in has none */
OMBREL_API const char* ombrel_get_ctx_mime_type_hint(int ctx);
/** @brief Whether the bound plug-in's hint covers a MIME type. @return 0 when it does; -1 when it does not or
 * the context is closed */
OMBREL_API int ombrel_check_ctx_mime_type(int ctx, const char* mime_type);
/** @brief The MIME type that the context was opened with. @return the text, valid while the context is open;
 * null when it is not, or was opened without one */
OMBREL_API const char* ombrel_get_ctx_mime_type(int ctx);

OMBREL_END_C

#endif
