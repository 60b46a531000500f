/**
 * @file http_client.h
 * @brief A client of HTTP/1.1 on an event base, and a call that waits for programs without a loop.
 *
 * A client makes any number of calls at once; none of them ever holds up the loop. A call is one request and
 * its answer, with everything in between: the name's look-up, the connection, redirects, authentication. It
 * ends by one handler, whatever happened:
 *
 * @code
 * static int on_end(ombrel_http_call_t* call, void* context) {
 *     const ombrel_transfer_error_t* error = ombrel_http_call_get_error(call);
 *     size_t size;
 *     const char* body = ombrel_http_call_get_body(call, &size);
 *     if (error->m_fault != def_ombrel_fault_none)
 *         ombrel_error_printf("%s: %s\n", ombrel_http_call_get_uri(call), error->m_text);
 *     else
 *         ombrel_printf("%d, %d bytes\n", ombrel_http_call_get_status(call), (int)size);
 *     return ombrel_event_base_break_loop(context);
 * }
 *
 * ombrel_http_client_t* client = ombrel_open_http_client(base, NULL);
 * if (ombrel_http_client_get(client, "http://127.0.0.1:8080/status.json", on_end, base) != NULL)
 *     ombrel_event_base_dispatch(base);
 * ombrel_close_http_client(client);
 * @endcode
 *
 * An answer that says that something went wrong (404, 500) is an answer like any other: the call succeeded,
 * and the status says what went wrong. A program without a loop uses ombrel_fetch_http().
 *
 * @par https
 * Not supported here: such a URI gives #def_ombrel_fault_not_supported, as does any scheme but "http". The
 * contexts speak https where the optional plug-in of libcurl is installed (plugin_curl.h).
 *
 * @par Requests
 * Method, URI, fields and a body: bytes that are there already, which the call copies, or bytes that a body
 * handler gives piece by piece, with a length given beforehand, or in chunks. The client writes Host,
 * Content-Length, Transfer-Encoding and Connection itself, and User-Agent and Accept unless they are given. A
 * Host that is given replaces its own; the other three and malformed fields are refused.
 *
 * @par Answers
 * The body is collected under a size limit, or handed to a data handler as it comes. ombrel_http_call_pause()
 * stops the flow: the client then reads no more of that connection, so that the server has to wait. Interim
 * answers (1xx) are passed over; the body is what was sent, no content coding is taken off. What HEAD, 204
 * and 304 mean for the body is known, and an answer may end with its connection.
 *
 * @par Redirects
 * 301, 302, 303, 307 and 308 with a Location are followed, up to a limit, to "http" URIs only. 303 turns
 * every method except HEAD into GET; 301 and 302 turn POST into GET; in all other cases method and body are
 * repeated. Where a body handler's bytes would have to be sent again and the request has no rewind handler,
 * the redirect itself is the answer. Credentials, Authorization, Cookie, a Host of the request's own and,
 * without a proxy, Proxy-Authorization are sent only to the origin (scheme, host and port) of the request's
 * URI.
 *
 * @par Authentication
 * A request's name and password, or those in its URI, answer a challenge (401) of the URI's origin; neither
 * is sent unasked. Digest is answered; Basic, which shows the password to everybody on the way, only with
 * #def_ombrel_http_client_basic. Once it has worked, further calls to that origin with the same name are
 * signed beforehand by Digest.
 *
 * @par Connections
 * They are kept and used again, within limits: one for all, and one for each host and port. Calls beyond
 * them wait in order, the hosts taking turns. A kept connection that the server closed just when it was used
 * again is replaced by a new one, once, where nothing can have happened twice: when nothing was sent, or for
 * methods that may be repeated (GET, HEAD, OPTIONS, TRACE, PUT, DELETE). A connection on which bytes came
 * that belong to no answer is never used again.
 *
 * @par Limits
 * Whatever a server sends, the memory and time that it costs are limited; each limit is an option with a
 * default. A server that breaks the rules of the protocol ends the call with #def_ombrel_fault_violation.
 *
 * @par Threads
 * A client, its calls and its handlers belong to the thread that runs the base's loop; before the loop runs
 * and after it has ended, to any one thread. Handlers may begin, pause and cancel calls, their own and
 * others, and close the client. ombrel_fetch_http() may be called from any thread.
 *
 * @par Failures
 * Functions give null or -1 with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, and what is named with the function. ombrel_http_call_get_error() says why a call that
 * was begun failed:
 *
 * | fault | what happened |
 * |---|---|
 * | unknown_host | the name has no address |
 * | refused, unreachable, reset | no connection, or it broke off |
 * | timed_out | one of the time limits passed; the text says which |
 * | too_large | a head, a body or the number of redirects is beyond its limit |
 * | closed | the server closed the connection before its answer was whole, or the client was closed |
 * | violation | the server breaks the rules of the protocol |
 * | not_supported | a redirect to a scheme other than "http" |
 * | no_memory, no_descriptor | on this side |
 */
#ifndef OMBREL_HTTP_CLIENT_H
#define OMBREL_HTTP_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>
#include <ombrel/transfer_error.h>

OMBREL_BEGIN_C

/** A client. Opaque. */
typedef struct ombrel_http_client_ts ombrel_http_client_t;

/** A call: a request on its way, and its answer. Opaque; it ends with the return of its end handler. */
typedef struct ombrel_http_call_ts ombrel_http_call_t;

/**
 * Called when the answer's head is there, and when a call has ended.
 * @param call    the call
 * @param context the one of the request
 * @return 0 to go on; anything else from a head handler ends the call, whose result it becomes. The result of
 * an end handler is not looked at
 */
typedef int (*ombrel_http_call_handler_t)(ombrel_http_call_t* call, void* context);

/**
 * Called for each piece of the answer's body.
 * @param call    the call
 * @param data    the bytes, until the handler returns
 * @param size    their count, at least 1
 * @param context the one of the request
 * @return 0 to go on; anything else ends the call, whose result it becomes
 */
typedef int (*ombrel_http_call_data_handler_t)(ombrel_http_call_t* call, const void* data, size_t size,
                                               void* context);

/** Result of a body handler that has nothing at the moment. */
#define def_ombrel_http_client_no_body_yet (-2)

/**
 * Called when more of the request's body can be sent.
 * @param call    the call
 * @param buffer  receives the next bytes
 * @param size    its room, at least 1
 * @param context the one of the request
 * @return the bytes given; 0 when the body is at its end; #def_ombrel_http_client_no_body_yet when there are
 *         none yet, in which case the handler is asked again after ombrel_http_call_resume(); -1 ends the
 *         call, with the fault that the handler left (ombrel_leave_fault())
 */
typedef int64_t (*ombrel_http_call_body_handler_t)(ombrel_http_call_t* call, void* buffer, size_t size,
                                                   void* context);

/** A field. Texts are terminated. */
typedef struct ombrel_http_client_field_ts {
    const char* m_name;  /**< a token; compared without regard to case */
    const char* m_value; /**< without white space around; may be empty */
} ombrel_http_client_field_t;

/** @name Flags of a request
 * @{
 */
#define def_ombrel_http_client_basic 1u /**< also answers a challenge of the scheme Basic */
#define def_ombrel_http_client_no_keep                                                                       \
    2u /**< the connection is not used for other calls, before or after                                      \
        */
/** @} */

/** A request. What it points to need not live longer than the call that takes it; all is copied. */
typedef struct ombrel_http_client_request_ts {
    /** A token in capitals, such as "GET"; null, the default, for GET, or for POST when there is a body. */
    const char* m_method;
    /** "http://HOST[:PORT]/PATH[?QUERY]"; NAME:PASSWORD@ before the host means the same as m_user and
     * m_password; a fragment is not sent. Spaces and bytes above 0x7E are percent-encoded. */
    const char* m_uri;
    /** Further fields in order. */
    const ombrel_http_client_field_t* m_fields;
    size_t m_field_count; /**< their count */
    /** The body; null for none. */
    const void* m_body;
    size_t m_body_size; /**< its bytes */
    /** Gives the body in pieces; then m_body is null. */
    ombrel_http_call_body_handler_t m_body_handler;
    /** Bytes that the body handler gives in all; -1, the default, when that is not known: they go in chunks.
     * A handler that ends early or gives more ends the call as invalid. */
    int64_t m_body_length;
    /** Makes the body handler begin again; null, the default, when it cannot. A result other than 0 ends the
     * call, whose result it becomes. */
    ombrel_http_call_handler_t m_rewind_handler;
    /** The user's name, for servers that ask for one; null, the default, for none. */
    const char* m_user;
    const char* m_password; /**< the password; null counts as empty */
    uint32_t m_flags;       /**< def_ombrel_http_client_basic and the like */
    /** Redirects that are followed; -1, the default, for the client's number; 0 for none. */
    int m_redirect_limit;
    /** The whole call, in milliseconds; 0, the default, for the client's limit; negative for none. */
    int m_whole_ms;
    /** Called when the answer's head is there, but not for redirects that are followed or challenges that are
     * answered; null, the default, for none. */
    ombrel_http_call_handler_t m_head_handler;
    /** Given the answer's body as it comes; null, the default, has it collected. */
    ombrel_http_call_data_handler_t m_data_handler;
    /** Called once when the call has ended. Afterwards the call no longer exists. */
    ombrel_http_call_handler_t m_handler;
    void* m_context; /**< handed to all of them */
} ombrel_http_client_request_t;

/** How a client works. Texts are copied. */
typedef struct ombrel_http_client_options_ts {
    /** Milliseconds for look-up and connection; the default is 10,000; negative for no limit. */
    int m_connect_ms;
    /** Milliseconds from the request's end to the end of the answer's head; the default is 30,000; negative
     * for no limit.
     */
    int m_head_ms;
    /** Milliseconds without a byte in either direction, pauses not counted; the default is 30,000; negative
     * for no limit. */
    int m_progress_ms;
    /** Milliseconds for a whole call, its wait for a connection and redirects included; the default is
     * 600,000; negative for no limit. */
    int m_whole_ms;
    /** Milliseconds for which an unused connection is kept; the default is 15,000; 0 keeps none, negative
     * keeps them for ever. */
    int m_idle_ms;
    /** Connections in all, at least 1; the default is 64. */
    size_t m_connection_limit;
    /** Connections to one host and port, at least 1; the default is 6. */
    size_t m_host_limit;
    /** Calls that wait for a connection; the default is 10,000; with 0 a call begins at once or not at all.
     */
    size_t m_waiting_limit;
    /** Redirects that a call follows; the default is 10; 0 follows none. */
    int m_redirect_limit;
    /** Bytes of an answer's heads, interim ones included, and again of its trailers, at least 1; the default
     * is 65,536. */
    size_t m_head_limit;
    /** Fields of an answer, at least 1; the default is 128. */
    size_t m_field_limit;
    /** Bytes of a body that is collected; the default is 16 MiB; negative for no limit. */
    int64_t m_collected_limit;
    /** Bytes of a body for a data handler; the default is -1; negative for no limit. */
    int64_t m_streamed_limit;
    /** User-Agent; null, the default, for "libombrel_tuk"; "" for none. */
    const char* m_agent;
    /** A proxy for all requests: "http://[NAME:PASSWORD@]HOST:PORT"; null, the default, for none. */
    const char* m_proxy;
} ombrel_http_client_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_client_options(ombrel_http_client_options_t* options);

/**
 * @brief Sets a request to GET, or POST with a body, without fields and handlers.
 * @param request the record
 * @param uri     its URI, not copied; may be set later
 * @return 0, or -1 for a null record
 */
OMBREL_API int ombrel_init_http_client_request(ombrel_http_client_request_t* request, const char* uri);

/**
 * @brief Makes a client. It opens no connection before there is a call.
 * @param base     runs it; must outlive it
 * @param options  how; null means ombrel_init_http_client_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the client, for ombrel_close_http_client(); null for invalid arguments and when memory runs out
 */
OMBREL_API ombrel_http_client_t* ombrel_open_http_client_tag(ombrel_event_base_t* base,
                                                             const ombrel_http_client_options_t* options,
                                                             const char* function, unsigned long line);
/** ombrel_open_http_client_tag() with the caller's own name and line. */
#define ombrel_open_http_client(base, options)                                                               \
    ombrel_open_http_client_tag((base), (options), __func__, __LINE__)

/**
 * @brief Ends all calls, whose end handlers find #def_ombrel_fault_closed, and frees the client.
 *
 * A look-up that hangs may be left behind for a while; see ombrel_close_resolver_cache().
 * @param client the client; null gives 0. A handler may close it; only the end handlers are called afterwards
 * @return 0
 */
OMBREL_API int ombrel_close_http_client(ombrel_http_client_t* client);

/**
 * @brief Begins a call. No handler is called before this has returned.
 * @param client  the client
 * @param request the request with its handlers; m_handler must be set
 * @return the call; null when it cannot begin, and then no handler is called: #def_ombrel_fault_invalid;
 * #def_ombrel_fault_not_supported for a scheme other than "http"; #def_ombrel_fault_busy when too many wait
 * already; #def_ombrel_fault_closed when the client is being closed; when memory runs out
 */
OMBREL_API ombrel_http_call_t* ombrel_http_client_call(ombrel_http_client_t* client,
                                                       const ombrel_http_client_request_t* request);

/** @brief ombrel_http_client_call() of GET, whose body is collected. @return as there */
OMBREL_API ombrel_http_call_t* ombrel_http_client_get(ombrel_http_client_t* client, const char* uri,
                                                      ombrel_http_call_handler_t handler, void* context);

/** What a client has and did. */
typedef struct ombrel_http_client_counts_ts {
    size_t m_calls;       /**< under way, those that wait included */
    size_t m_waiting;     /**< of these, calls that wait for a connection */
    size_t m_connections; /**< open, or being opened */
    size_t m_idle;        /**< of these, connections kept for the next call */
    uint64_t m_opened;    /**< connections opened since the beginning */
    uint64_t m_ended;     /**< calls that ended since the beginning, cancelled ones not */
    size_t m_reserved[4]; /**< receive 0 */
} ombrel_http_client_counts_t;

/** @brief What a client has and has done. @return 0, or -1 for null of either */
OMBREL_API int ombrel_http_client_get_counts(const ombrel_http_client_t* client,
                                             ombrel_http_client_counts_t* counts);

/** @brief Closes the connections that are not in use. @return 0, or -1 for null */
OMBREL_API int ombrel_http_client_drop_idle(ombrel_http_client_t* client);

/**
 * @brief Cancels a call: none of its handlers is called any more, and the call is freed.
 *
 * In a handler of the call itself it may be used until that handler returns; in an end handler it has ended
 * already.
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_http_call_cancel(ombrel_http_call_t* call);

/**
 * @brief Stops the answer's flow: the data handler is not called any more, and no more is read.
 *
 * The time of a pause counts only towards the limit of the whole call.
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_http_call_pause(ombrel_http_call_t* call);

/**
 * @brief Lets the answer flow again, and asks a body handler that had nothing again. Handlers are not called
 * before this has returned.
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_http_call_resume(ombrel_http_call_t* call);

/** @brief The context of its request. @return it; null for null */
OMBREL_API void* ombrel_http_call_get_context(const ombrel_http_call_t* call);

/**
 * @brief How the call ended.
 * @return 0 when the answer is whole, or when the call has not ended; -1 when it failed: see the error; else
 *         what a handler returned
 */
OMBREL_API int ombrel_http_call_get_result(const ombrel_http_call_t* call);

/** @brief Why the call failed; its m_peer_code is the status if there was one. @return it; null for null */
OMBREL_API const ombrel_transfer_error_t* ombrel_http_call_get_error(const ombrel_http_call_t* call);

/** @brief The answer's status, 200 to 999. @return it; 0 before there is an answer; -1 for null */
OMBREL_API int ombrel_http_call_get_status(const ombrel_http_call_t* call);

/** @brief The URI that was asked for last, after redirects, without name and password. @return it; null for
 * null */
OMBREL_API const char* ombrel_http_call_get_uri(const ombrel_http_call_t* call);

/** @brief The number of redirects that were followed. @return their number, or -1 for null */
OMBREL_API int ombrel_http_call_get_redirects(const ombrel_http_call_t* call);

/**
 * @brief The value of the answer's first field of a name. Fields stay until the call has ended.
 * @return the value; null when there is none
 */
OMBREL_API const char* ombrel_http_call_get_field(const ombrel_http_call_t* call, const char* name);

/**
 * @brief All fields of the answer's head in order.
 * @param call  the call
 * @param count receives their number
 * @return the fields; null when there is none
 */
OMBREL_API const ombrel_http_client_field_t* ombrel_http_call_get_fields(const ombrel_http_call_t* call,
                                                                         size_t* count);

/** @brief The length of the body that the answer's head gives. @return bytes, or -1 when it gives none */
OMBREL_API int64_t ombrel_http_call_get_length(const ombrel_http_call_t* call);

/** @brief Bytes of the answer's body that came so far. @return them, or -1 for null */
OMBREL_API int64_t ombrel_http_call_get_received(const ombrel_http_call_t* call);

/** @brief Bytes of the request's body that were sent so far. @return them, or -1 for null */
OMBREL_API int64_t ombrel_http_call_get_sent(const ombrel_http_call_t* call);

/**
 * @brief What was collected of the body so far.
 * @param call the call
 * @param size receives its bytes; may be null
 * @return the bytes and a zero after them, the call's; null when there are none
 */
OMBREL_API const char* ombrel_http_call_get_body(const ombrel_http_call_t* call, size_t* size);

/**
 * @brief Takes what was collected out of the call, as ombrel_http_call_get_body().
 * @return the bytes and a zero after them, freed by the caller with ombrel_free(); null when there are none
 */
OMBREL_API char* ombrel_http_call_take_body(ombrel_http_call_t* call, size_t* size);

/** An answer of ombrel_fetch_http(): one block. */
typedef struct ombrel_http_answer_ts {
    int m_status;                               /**< 200 to 999 */
    const char* m_uri;                          /**< the URI that was asked for last, after redirects */
    const ombrel_http_client_field_t* m_fields; /**< the head's fields in order */
    size_t m_field_count;                       /**< their number */
    const char* m_body;                         /**< the body and a zero after it; never null */
    size_t m_body_size;                         /**< its bytes */
} ombrel_http_answer_t;

/**
 * @brief Makes a call and waits for its end, on an event base of its own.
 * @param request    what is asked; its handlers, of which none is needed, are called by this function. A head
 *                   or data handler that ends the call makes the function fail as interrupted
 * @param options    how; null means ombrel_init_http_client_options()
 * @param timeout_ms milliseconds for all of it; negative for only the limits of the options
 * @param error      receives why it failed; may be null
 * @param function   the calling function's name, for the heap's reports
 * @param line       the calling line
 * @return the answer, whatever its status, for ombrel_free_http_answer(); null when there is none, with the
 *         fault of the error
 */
OMBREL_API ombrel_http_answer_t* ombrel_fetch_http_ex_tag(const ombrel_http_client_request_t* request,
                                                          const ombrel_http_client_options_t* options,
                                                          int timeout_ms, ombrel_transfer_error_t* error,
                                                          const char* function, unsigned long line);
/** ombrel_fetch_http_ex_tag() with the caller's own name and line. */
#define ombrel_fetch_http_ex(request, options, timeout_ms, error)                                            \
    ombrel_fetch_http_ex_tag((request), (options), (timeout_ms), (error), __func__, __LINE__)

/**
 * @brief Gets what a URI names, and waits for it: ombrel_fetch_http_ex_tag() of GET.
 *
 * @code
 * ombrel_http_answer_t* answer = ombrel_fetch_http("http://127.0.0.1:8080/heap", 5000, NULL);
 * if (answer != NULL && answer->m_status == 200)
 *     ombrel_puts(answer->m_body);
 * ombrel_free_http_answer(answer);
 * @endcode
 * @return as ombrel_fetch_http_ex_tag()
 */
OMBREL_API ombrel_http_answer_t* ombrel_fetch_http_tag(const char* uri, int timeout_ms,
                                                       ombrel_transfer_error_t* error, const char* function,
                                                       unsigned long line);
/** ombrel_fetch_http_tag() with the caller's own name and line. */
#define ombrel_fetch_http(uri, timeout_ms, error)                                                            \
    ombrel_fetch_http_tag((uri), (timeout_ms), (error), __func__, __LINE__)

/** @brief Frees an answer; null is accepted. @return 0 */
OMBREL_API int ombrel_free_http_answer(ombrel_http_answer_t* answer);

OMBREL_END_C

#endif
