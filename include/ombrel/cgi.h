/**
 * @file cgi.h
 * @brief CGI (RFC 3875): programs that a web server runs, and an HTTP server that runs such programs.
 *
 * The program's side: the request is in the environment and on standard input, the response goes to standard
 * output:
 *
 * @code
 * int main(void) {
 *     ombrel_cgi_t* cgi = ombrel_open_cgi(NULL);
 *     if (cgi == NULL)
 *         return 1;
 *     ombrel_http_form_t* form = ombrel_cgi_read_form(cgi, NULL); // of the query or of the body
 *     const ombrel_http_form_part_t* name = ombrel_http_form_find(form, "name", 0);
 *     if (name == NULL)
 *         ombrel_cgi_set_status(cgi, 400);
 *     ombrel_cgi_add_field(cgi, "Content-Type", "text/plain; charset=utf-8");
 *     ombrel_cgi_printf(cgi, name != NULL ? "Hello, %s!\n" : "Who are you?\n", name != NULL ? name->m_data :
 * ""); ombrel_close_http_form(form); return ombrel_close_cgi(cgi) == 0 ? 0 : 1;
 * }
 * @endcode
 *
 * The server's side, over http_server.h. Requests for "/cgi-bin/NAME/REST" run the program NAME of a
 * directory:
 *
 * @code
 * ombrel_cgi_service_t* service = ombrel_open_cgi_service(base, "/srv/cgi-bin", NULL);
 * ombrel_http_server_add_cgi(server, "/cgi-bin", service);
 * @endcode
 *
 * @par What a program gets
 * The variables of RFC 3875 and those of the request's fields (`HTTP_*`), made anew for each request: of the
 * server's own environment it gets PATH alone (on Windows also SystemRoot), and what the options name. Fields
 * whose names have anything but letters, digits and "-" are left out, so that none can pass for another; so
 * are "Proxy", which would become HTTP_PROXY, and the fields of authentication and of the connection. Fields
 * with the same name are joined by ", ". It runs in its own directory and in a process group of its own,
 * without a command line.
 *
 * @par Bodies
 * The body of a request is handed on as it comes; a program that reads slowly holds up the client, and one
 * that reads none of it does no harm. A body that comes in chunks is gathered before the program starts,
 * which then gets its length: 1 MiB at most; more is answered 413.
 *
 * @par What becomes of its output
 * The head is read under a limit of size and time: `Status`, `Location` and all other fields except those
 * that the server writes itself. A `Location` with a path is answered 302 as well: the client asks again,
 * there is no redirection inside the server. The body is handed on as it comes, and the program waits when
 * the client is slow. A program whose name begins with "nph-" may begin its head with a status line of HTTP.
 * A malformed head is answered 502, one that does not come in time 504. What the program writes to standard
 * error goes line by line to a handler, or where the server's standard error goes.
 *
 * @par How a program ends
 * When its output has ended, or its client is gone, or a limit is passed, it is ended with its whole group by
 * force, at the latest after the grace. None of this blocks the server's loop. Requests for more programs
 * than the limit do not wait: they are answered 503.
 *
 * @par On Windows
 * Both sides are there. A program is an executable file; scripts need an interpreter in the options.
 *
 * @par Threads
 * A program's side: one thread at a time. A service works on its server's thread.
 *
 * @par Failures
 * -1 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and invalid
 * arguments, #def_ombrel_fault_no_memory, and what is named with the function.
 */
#ifndef OMBREL_CGI_H
#define OMBREL_CGI_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>
#include <ombrel/http_form.h>
#include <ombrel/http_server.h>

OMBREL_BEGIN_C

/**
 * @name The program's side: the request
 * @{
 */
/** A request and the response to it, as a program sees them. Opaque. */
typedef struct ombrel_cgi_ts ombrel_cgi_t;

/** Where a request comes from. */
typedef struct ombrel_cgi_options_ts {
    const char* const* m_environment; /**< "NAME=VALUE" each, ended by null; null, the default, for that of
                                         this process. It must stay until the request is closed */
    int m_input;                      /**< the body's descriptor; the default is 0, the standard input */
    int m_output;                     /**< the response's descriptor; the default is 1, the standard output */
    int64_t m_body_limit;             /**< bytes of a body; the default is 64 MiB; negative for none */
    int m_progress_ms; /**< milliseconds for each read and write to make progress; the default is 60,000;
                          negative for ever */
} ombrel_cgi_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_cgi_options(ombrel_cgi_options_t* options);

/**
 * @brief Takes the request that this program was started for.
 * @param options  where from; null means ombrel_init_cgi_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the request, for ombrel_close_cgi(); null when no server started this program
 *         (#def_ombrel_fault_not_found: there is no REQUEST_METHOD), when CONTENT_LENGTH is no length
 *         (#def_ombrel_fault_violation) or beyond the limit (#def_ombrel_fault_too_large)
 */
OMBREL_API ombrel_cgi_t* ombrel_open_cgi_tag(const ombrel_cgi_options_t* options, const char* function,
                                             unsigned long line);
/** @brief ombrel_open_cgi_tag() with the caller's own name and line. */
#define ombrel_open_cgi(options) ombrel_open_cgi_tag((options), __func__, __LINE__)

/** @brief A variable of the request, such as "REMOTE_ADDR". @return its value; an empty text when it is not
 * there; null for null. Texts are valid until the request is closed */
OMBREL_API const char* ombrel_cgi_get_variable(const ombrel_cgi_t* cgi, const char* name);
/** @brief A field of the request by its name, such as "User-Agent", in either case. @return its value; null
 * when it is not there and for null */
OMBREL_API const char* ombrel_cgi_get_field(const ombrel_cgi_t* cgi, const char* name);
/** @brief The method, such as "GET". @return a text; null for null */
OMBREL_API const char* ombrel_cgi_get_method(const ombrel_cgi_t* cgi);
/** @brief The rest of the path after the program's, decoded. @return a text, empty for nothing; null for
 * null */
OMBREL_API const char* ombrel_cgi_get_path(const ombrel_cgi_t* cgi);
/** @brief What follows "?", as sent. @return a text, empty for nothing; null for null */
OMBREL_API const char* ombrel_cgi_get_query(const ombrel_cgi_t* cgi);
/** @brief The type of the body. @return a text, empty for none; null for null */
OMBREL_API const char* ombrel_cgi_get_content_type(const ombrel_cgi_t* cgi);
/** @brief The body's length. @return bytes, 0 without a body; -1 for null */
OMBREL_API int64_t ombrel_cgi_get_content_length(const ombrel_cgi_t* cgi);

/**
 * @brief Reads a piece of the body.
 * @param cgi    the request
 * @param buffer receives the bytes
 * @param size   its room
 * @return bytes, at least 1 unless `size` is 0; 0 at the end of the body; -1 on failure:
 *         #def_ombrel_fault_closed when the input ends before the body's length, #def_ombrel_fault_timed_out
 */
OMBREL_API int64_t ombrel_cgi_read(ombrel_cgi_t* cgi, void* buffer, size_t size);

/**
 * @brief Reads the form that the request brings: that of the body for POST and PUT, else that of the query.
 * @param cgi      the request
 * @param options  limits, and a handler for uploads; null means ombrel_init_http_form_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the form, for ombrel_close_http_form(): with the reason and the offset in it when it is malformed
 * (ombrel_http_form_get_fault()); null for a body that is no form (#def_ombrel_fault_not_supported), and as
 * ombrel_cgi_read() fails
 */
OMBREL_API ombrel_http_form_t* ombrel_cgi_read_form_tag(ombrel_cgi_t* cgi,
                                                        const ombrel_http_form_options_t* options,
                                                        const char* function, unsigned long line);
/** @brief ombrel_cgi_read_form_tag() with the caller's own name and line. */
#define ombrel_cgi_read_form(cgi, options) ombrel_cgi_read_form_tag((cgi), (options), __func__, __LINE__)
/** @} */

/**
 * @name The program's side: the response
 * Its head goes out before the first byte of its body, or when the request is closed. The status is 200 and
 * the type `text/html; charset=utf-8` unless something else was said.
 * @{
 */
/** @brief Sets the status, 200 to 599. @return 0; -1 also when the head has gone out */
OMBREL_API int ombrel_cgi_set_status(ombrel_cgi_t* cgi, int status);
/** @brief Adds a field. @return 0; -1 for an invalid name or value, for "Status", and when the
 * head has gone out */
OMBREL_API int ombrel_cgi_add_field(ombrel_cgi_t* cgi, const char* name, const char* value);
/** @brief Sends the client elsewhere, by the status 302 unless another 3xx is set. @param cgi the request
 * @param target a URI, or a path that begins with "/" @return 0 or -1 as ombrel_cgi_add_field() */
OMBREL_API int ombrel_cgi_redirect(ombrel_cgi_t* cgi, const char* target);
/** @brief Writes bytes of the body, which are gathered into larger pieces. @return 0; -1 when the server does
 * not take them
 * (#def_ombrel_fault_closed, #def_ombrel_fault_timed_out) */
OMBREL_API int ombrel_cgi_write(ombrel_cgi_t* cgi, const void* data, size_t size);
/** @brief Writes a text made by the library's formatter. @return as ombrel_cgi_write() */
OMBREL_API int ombrel_cgi_printf(ombrel_cgi_t* cgi, const char* format, ...) OMBREL_PRINTF_LIKE(2, 3);
/** @brief The same with an argument list. @return as ombrel_cgi_write() */
OMBREL_API int ombrel_cgi_vprintf(ombrel_cgi_t* cgi, const char* format, va_list arguments)
    OMBREL_PRINTF_LIKE(2, 0);
/** @brief Hands over what was gathered. @return as ombrel_cgi_write() */
OMBREL_API int ombrel_cgi_flush(ombrel_cgi_t* cgi);

/** @brief Writes what is left, and frees the request; null gives 0. @return 0; -1 when any of the response
 * could not be written */
OMBREL_API int ombrel_close_cgi(ombrel_cgi_t* cgi);
/** @} */

/**
 * @name The server's side
 * @{
 */
/** A service, which runs programs for a server. Opaque. */
typedef struct ombrel_cgi_service_ts ombrel_cgi_service_t;

/**
 * Called for each line that a program writes to standard error.
 * @param program the program's name
 * @param text    the line, without its end and with control characters made visible; long ones come in pieces
 * of 1,023 bytes
 * @param context the one of the options
 * @return 0; anything else ends the program, and a request without an answer yet is answered 500
 */
typedef int (*ombrel_cgi_error_handler_t)(const char* program, const char* text, void* context);

/** How programs are run. Texts are copied. Times are milliseconds, negative for no limit; sizes are bytes. */
typedef struct ombrel_cgi_service_options_ts {
    /** The interpreter that programs are handed to, and arguments before the program's path, ended by null;
     * null, the default, to run them themselves. */
    const char* const* m_interpreter;
    /** Further variables, "NAME=VALUE" each, ended by null; null, the default, for none. */
    const char* const* m_environment;
    size_t m_program_limit; /**< programs at a time; the default is 32 */
    int64_t m_body_limit;   /**< of a request's body; the default is 64 MiB; negative for none */
    size_t m_head_limit;    /**< of a response's head; the default is 16 KiB */
    int64_t m_output_limit; /**< of a response's body, which is broken off there; the default is -1: none */
    int m_head_ms;          /**< from the start to the end of the head; the default is 30,000 */
    int m_progress_ms; /**< without a byte of output after the head; the default is 60,000. The time that a
                        * slow client takes does not count */
    int m_whole_ms;    /**< for the whole request; the default is 600,000 */
    int m_grace_ms;    /**< from the end of the output to the end of the program; the default is 1,000 */
    ombrel_cgi_error_handler_t m_error_handler; /**< given standard error; null, the default, for none: it
                                                 * goes where the server's goes */
    void* m_error_context;                      /**< handed to it */
} ombrel_cgi_service_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_cgi_service_options(ombrel_cgi_service_options_t* options);

/**
 * @brief Makes a service that runs the programs of a directory.
 *
 * A program is a file directly in the directory, whose name does not begin with ".". Whoever can reach the
 * route can run every file there: keep nothing else there.
 * @param base      the event base of the server
 * @param directory the directory; copied
 * @param options   how; null means ombrel_init_cgi_service_options()
 * @param function  the calling function's name, for the heap's reports
 * @param line      the calling line
 * @return the service, for ombrel_close_cgi_service(); null when that fails, also when there is no such
 * directory
 */
OMBREL_API ombrel_cgi_service_t* ombrel_open_cgi_service_tag(ombrel_event_base_t* base, const char* directory,
                                                             const ombrel_cgi_service_options_t* options,
                                                             const char* function, unsigned long line);
/** @brief ombrel_open_cgi_service_tag() with the caller's own name and line. */
#define ombrel_open_cgi_service(base, directory, options)                                                    \
    ombrel_open_cgi_service_tag((base), (directory), (options), __func__, __LINE__)

/**
 * @brief Ends all programs by force and frees the service. Close the server, or all servers, before it.
 * @return 0, also for null
 */
OMBREL_API int ombrel_close_cgi_service(ombrel_cgi_service_t* service);

/**
 * @brief Serves all paths below one by the programs of a service. What stands after a program's name is told
 * to it decoded, as PATH_INFO; if it contains the name "." or "..", or control characters, the request is
 * answered 404.
 * @param server  the server
 * @param path    the path, such as "/cgi-bin", without a "/" at the end
 * @param service the service
 * @return 0, or -1
 */
OMBREL_API int ombrel_http_server_add_cgi(ombrel_http_server_t* server, const char* path,
                                          ombrel_cgi_service_t* service);

/**
 * @brief Answers one request by a program of the caller's choice, in the handler of a route with
 * #def_ombrel_http_route_streamed.
 * @param service     the service, whose directory is not looked at
 * @param exchange    the request
 * @param program     path of the program
 * @param script_name the program's own path as it is told to it, such as "/cgi-bin/NAME"
 * @param path_info   what stands after that, such as "/REST" or empty
 * @return 0 when the request is answered or will be, also with an error; -1 for null and invalid arguments
 */
OMBREL_API int ombrel_cgi_service_run(ombrel_cgi_service_t* service, ombrel_http_exchange_t* exchange,
                                      const char* program, const char* script_name, const char* path_info);

/** @brief How many programs run. @return the number; 0 for null */
OMBREL_API size_t ombrel_cgi_service_get_count(const ombrel_cgi_service_t* service);
/** @} */

OMBREL_END_C

#endif
