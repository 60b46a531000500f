/**
 * @file http_server.h
 * @brief An HTTP/1.1 server on an event base: routes, bodies whole or in pieces, answers at once, later or
 * in pieces, limits on everything that a client sends, takes or leaves undone.
 *
 * A handler is called with an *exchange*: one request and the answer to it.
 *
 * @code
 * static int greet(ombrel_http_exchange_t* exchange, void* context) {
 *     char name[64];
 *     if (ombrel_http_exchange_get_parameter(exchange, "name", name, sizeof name) < 0) // /hello?name=Ann
 *         return ombrel_http_exchange_answer_error(exchange, 400, "say who you are");
 *     return ombrel_http_exchange_answer_printf(exchange, 200, "text/plain; charset=utf-8", "Hello, %s!\n",
 * name);
 * }
 *
 * ombrel_event_base_t* base = ombrel_new_event_base();
 * ombrel_http_server_t* server = ombrel_open_http_server(base, NULL);
 * ombrel_http_server_add_route(server, "GET", "/hello", greet, NULL);
 * if (ombrel_http_server_listen(server, "localhost", 8080) < 0)
 *     return complain(ombrel_fault_text());
 * ombrel_event_base_dispatch(base);
 * ombrel_close_http_server(server);
 * ombrel_free_event_base(base);
 * @endcode
 *
 * @par Routes
 * A route has a path, "/status", or "/files/" and a star for all paths that begin with it, "/files/"
 * included. The exact path comes before stars, a longer star before a shorter one; paths are compared
 * decoded, and upper and lower case differ. A route for GET serves HEAD as well: the answer's body is then
 * left out, whatever the handler writes. A path whose routes have other methods is answered 405 with Allow,
 * OPTIONS is answered with Allow, and a path without a route by the options' handler or 404. A path that
 * would lead to another route if "..", "." and empty names were resolved is answered 404, so that no path
 * evades a route's guard.
 *
 * @par Bodies
 * Normally the handler is called when the whole body has come, which is held in memory; above the limit the
 * answer is 413. The handler of a route with #def_ombrel_http_route_streamed is called when the head has
 * come, and takes the body in pieces by ombrel_http_exchange_read_body(). A client that waits to be asked for
 * its body ("Expect: 100-continue") is asked when the body is about to be read. After an answer to a request
 * whose body was not read to its end the connection closes, always.
 *
 * @par Answers
 * A handler answers before it returns, whole (ombrel_http_exchange_answer() and its kin) or in pieces
 * (ombrel_http_exchange_begin_answer()), or says by ombrel_http_exchange_defer() that the answer comes later.
 * When a handler returns 0 without any of these, or returns anything else, the request is answered 500; an
 * answer that is under way is then broken off. When memory runs out for an answer, 500 is sent in its place
 * and the connection closes; an incomplete answer of known length never looks complete.
 *
 * @par Guards
 * A guard is called for each request, or for those of a route, before its body is read, and answers those
 * that may not pass. The one of http_auth.h asks for passwords:
 *
 * @code
 * ombrel_http_auth_server_options_t auth;
 * ombrel_init_http_auth_server_options(&auth);
 * auth.m_secrets = ombrel_open_secret_list("passwords", NULL, NULL);
 * options.m_guard = ombrel_guard_http_exchange;
 * options.m_guard_context = ombrel_open_http_auth_server(&auth); // both live longer than the server
 * @endcode
 *
 * @par Clients that disconnect
 * A client that breaks the connection off is noticed at once, also while its answer is being made; the
 * exchange ends, and the end handler of ombrel_http_exchange_defer() or ombrel_http_exchange_begin_answer()
 * is told. A client that has only shut down its sending side still gets its answers. After the end handler,
 * and after the answer is complete, the exchange must not be used.
 *
 * @par Limits
 * All are fields of #ombrel_http_server_options_t. A request that comes too slowly is answered 408, a client
 * that takes nothing of its answer is cut off; one that takes it slowly but steadily is not.
 *
 * @par Threads
 * One: that of the base's loop. Handlers run on it; all functions are called on it, or while no loop runs.
 * Nothing here waits. A server may be closed by any handler but those of an exchange of its own.
 *
 * @par Failures
 * Functions give -1, 0 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, #def_ombrel_fault_no_memory, and what is named with the function.
 */
#ifndef OMBREL_HTTP_SERVER_H
#define OMBREL_HTTP_SERVER_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A server. Opaque. */
typedef struct ombrel_http_server_ts ombrel_http_server_t;
/** One request and its answer. Opaque; it lives until the answer is complete or the end handler was called.
 */
typedef struct ombrel_http_exchange_ts ombrel_http_exchange_t;

/**
 * Called for a request.
 * @param exchange the request, to be answered
 * @param context  the one of the route or of the options
 * @return 0; anything else has the request answered 500, or an answer under way broken off
 */
typedef int (*ombrel_http_handler_t)(ombrel_http_exchange_t* exchange, void* context);

/**
 * Called for each piece of a body that came.
 * @param exchange the request
 * @param data     the bytes, valid until it returns; null at the end
 * @param size     their count, at least 1; 0 at the end, which is told once
 * @param context  the one of ombrel_http_exchange_read_body()
 * @return as ombrel_http_handler_t. It may answer, also before the end
 */
typedef int (*ombrel_http_body_handler_t)(ombrel_http_exchange_t* exchange, const void* data, size_t size,
                                          void* context);

/** @name How an exchange ended
 * @{ */
#define def_ombrel_http_exchange_done 0 /**< the answer was handed to the host whole */
#define def_ombrel_http_exchange_abandoned                                                                   \
    1 /**< the client disconnected, or took or sent nothing for too long */
#define def_ombrel_http_exchange_failed                                                                      \
    2 /**< this side could not go on: a handler failed, memory ran out, the server was closed */
/** @} */

/**
 * Called once when an exchange is over. Of the exchange it may use only the getters of the request.
 * @param exchange the exchange
 * @param outcome  how it ended (def_ombrel_http_exchange_*)
 * @param context  the one given with it
 */
typedef void (*ombrel_http_end_handler_t)(ombrel_http_exchange_t* exchange, int outcome, void* context);

/**
 * Called for each answer with a line for a log, without a line end: "127.0.0.1 - ann [1994-11-06T08:49:37Z]
 * \"GET /a HTTP/1.1\" 200 1234" (the client, "-", its user, the time, the request, the status, the body's
 * bytes handed over). Bytes of the client's that cannot be shown stand as "\x1B"; a long request line is cut.
 * @param line    the text
 * @param context the one of the options
 * @return 0; the result is not looked at
 */
typedef int (*ombrel_http_log_handler_t)(const char* line, void* context);

/** How a server works. Texts are copied. Times are milliseconds, negative for no limit; sizes are bytes. */
typedef struct ombrel_http_server_options_ts {
    /** The value of the field Server; the default is "libombrel_tuk"; null or empty leaves the field out. */
    const char* m_name;
    /** Called for requests that no route takes; null, the default, answers 404. */
    ombrel_http_handler_t m_handler;
    /** Handed to it. */
    void* m_context;
    /** Called for each request before any other handler and before its body is read: 0 lets it pass unless it
     * has answered; null, the default, lets all pass. See ombrel_http_exchange_set_user(). */
    ombrel_http_handler_t m_guard;
    /** Handed to it. */
    void* m_guard_context;
    /** Given a line for each answer; null, the default, for none. */
    ombrel_http_log_handler_t m_log_handler;
    /** Handed to it. */
    void* m_log_context;
    /** The request line and all fields of a request, 128 to 1 MiB; the default is 8,192. More is answered
     * 431, or 414 for the line alone. */
    size_t m_head_limit;
    /** Fields of a request, and of a body's end, 1 to 1,000; the default is 100. More are answered 431. */
    size_t m_field_limit;
    /** A body; the default is 1 MiB; 0 takes none, negative takes any. Longer ones are answered 413. A route
     * may have its own. */
    int64_t m_body_limit;
    /** Bytes of answers that may wait for a client, at least 4,096; the default is 256 KiB. Above it
     * ombrel_http_exchange_write() takes no more, and no further request of the client is looked at. While
     * much of m_memory_limit is taken, the limit is lower, but no lower than 4,096. */
    size_t m_output_limit;
    /** What is kept of requests, bodies and waiting answers of all clients together (a line of a head that is
     * cut comes on top of it, at most m_head_limit bytes a client); the default is 64 MiB. Above it requests
     * are answered 503; bodies and answers leave an eighth of it for heads. */
    size_t m_memory_limit;
    /** Clients at a time, at least 1; the default is 10,000. Others are answered 503 at once, also when the
     * process has no descriptor left. */
    size_t m_client_limit;
    /** Clients of one address at a time (of one IPv6 /64); the default is 0, for no limit of its own. */
    size_t m_address_limit;
    /** Between two requests of a connection; the default is 30,000. */
    int m_idle_ms;
    /** From the first byte of a request, or the start of the connection, to the end of its head; the default
     * is 10,000. Then 408. */
    int m_request_ms;
    /** Bytes a second that a body must come with, on the whole, beyond a grace of m_request_ms; the default
     * is 1,024; 0 for no limit. Then 408. It does not run while this side holds the body back. */
    uint32_t m_body_rate;
    /** For how long a client may take nothing of what waits for it; the default is 30,000. It is cut off
     * then. On Linux the bytes that the host still holds for it count as well; elsewhere progress is when the
     * host takes more. */
    int m_progress_ms;
    /** From the end of a request, or the call of a streamed handler that takes no body, to the beginning of
     * the answer; the default is 60,000. Then 503, and the end handler is told. */
    int m_answer_ms;
} ombrel_http_server_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_server_options(ombrel_http_server_options_t* options);

/** What a server has done since it was opened, and has now. The reserved words keep the record's size. */
typedef struct ombrel_http_server_counts_ts {
    uint64_t m_accepted;      /**< connections that were taken */
    uint64_t m_refused;       /**< connections answered 503 at once: no room for them */
    uint64_t m_requests;      /**< requests whose head was read */
    uint64_t m_late_requests; /**< requests answered 408 */
    uint64_t m_abandoned;     /**< exchanges whose client went before the end */
    uint64_t m_sent_bytes;    /**< bytes handed to the host */
    size_t m_clients;         /**< connections now */
    size_t m_memory;          /**< bytes of heads, bodies and waiting answers now */
    uint64_t m_reserved[4];   /**< receive 0 */
} ombrel_http_server_counts_t;

/**
 * @brief Makes a server that listens nowhere yet.
 * @param base     the base on which it works; it must outlive the server
 * @param options  how; null means ombrel_init_http_server_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the server, for ombrel_close_http_server(); null when that fails
 */
OMBREL_API ombrel_http_server_t* ombrel_open_http_server_tag(ombrel_event_base_t* base,
                                                             const ombrel_http_server_options_t* options,
                                                             const char* function, unsigned long line);
/** ombrel_open_http_server_tag() with the caller's own name and line. */
#define ombrel_open_http_server(base, options)                                                               \
    ombrel_open_http_server_tag((base), (options), __func__, __LINE__)

/**
 * @brief Closes all connections at once and frees the server. Exchanges under way end as failed. No handler
 * is called afterwards.
 * @param server the server; null gives 0
 * @return 0; -1 with #def_ombrel_fault_busy in a handler of an exchange, which changes nothing
 */
OMBREL_API int ombrel_close_http_server(ombrel_http_server_t* server);

/**
 * @brief Listens at one more address, at 8 at most.
 * @param server  the server
 * @param address a numeric address of this host ("127.0.0.1", "::1", "0.0.0.0" for all of IPv4, "::" for
 * all), or "localhost" for both loop-back addresses as far as the host has them; null is "localhost"
 * @param port    0 to 65535; 0 takes a free one
 * @return the port, or -1: #def_ombrel_fault_address_in_use, #def_ombrel_fault_address_not_available,
 * #def_ombrel_fault_access_denied, #def_ombrel_fault_invalid for a text that is no address
 */
OMBREL_API int ombrel_http_server_listen(ombrel_http_server_t* server, const char* address, int port);

/**
 * @brief The URL of a listener, such as "http://127.0.0.1:8080/" or "http://[::1]:8080/".
 *
 * What listens at all addresses has "localhost" for its host.
 * @param server   the server
 * @param index    0 for the first address listened at; "localhost" counts once
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return a text to be freed by ombrel_free(); null when there is no such listener
 */
OMBREL_API char* ombrel_alloc_http_server_url_tag(ombrel_http_server_t* server, size_t index,
                                                  const char* function, unsigned long line);
/** ombrel_alloc_http_server_url_tag() with the caller's own name and line. */
#define ombrel_alloc_http_server_url(server, index)                                                          \
    ombrel_alloc_http_server_url_tag((server), (index), __func__, __LINE__)

/** Called once when a server that was stopped has no clients any more, or its time ran out. It may close the
 * server. */
typedef void (*ombrel_http_stop_handler_t)(ombrel_http_server_t* server, void* context);

/**
 * @brief Stops gracefully: listens no more, closes idle connections, lets requests under way be answered,
 * closes what is left when the time has run out, and then calls the handler from the loop.
 * @param server     the server
 * @param timeout_ms milliseconds until what is left is cut off; negative waits for ever, 0 cuts off at once
 * @param handler    called when that is done; null for none
 * @param context    handed to it
 * @return 0; -1 also when it was stopped already
 */
OMBREL_API int ombrel_http_server_stop(ombrel_http_server_t* server, int timeout_ms,
                                       ombrel_http_stop_handler_t handler, void* context);

/** @brief What the server has done. @return 0, or -1 for null */
OMBREL_API int ombrel_http_server_get_counts(ombrel_http_server_t* server,
                                             ombrel_http_server_counts_t* counts);

/** Flag of a route: its handler is called when the head has come, and takes the body in pieces or not at all.
 */
#define def_ombrel_http_route_streamed 1u

/** A route in its long form. Texts are copied. */
typedef struct ombrel_http_route_ts {
    const char* m_method;            /**< "GET" (serves HEAD too), "POST" or another; null for any */
    const char* m_path;              /**< decoded, "/status", or ending in a star */
    uint32_t m_flags;                /**< #def_ombrel_http_route_streamed or 0 */
    int64_t m_body_limit;            /**< of its requests' bodies; negative for the server's */
    ombrel_http_handler_t m_guard;   /**< called after the server's guard, likewise; null for none */
    void* m_guard_context;           /**< handed to it */
    ombrel_http_handler_t m_handler; /**< called for a request */
    void* m_context;                 /**< handed to it */
} ombrel_http_route_t;

/**
 * @brief Adds a route. One of the same method and path replaces the earlier.
 * @param server  the server
 * @param method  the method, or null for any
 * @param path    the path, as told above
 * @param handler called for requests
 * @param context handed to it
 * @return 0 or -1
 */
OMBREL_API int ombrel_http_server_add_route(ombrel_http_server_t* server, const char* method,
                                            const char* path, ombrel_http_handler_t handler, void* context);

/** @brief ombrel_http_server_add_route() with all fields of a route. @return 0 or -1 */
OMBREL_API int ombrel_http_server_add_route_ex(ombrel_http_server_t* server,
                                               const ombrel_http_route_t* route);

/** @name The request
 * Texts live as long as the exchange. A null exchange gives null, 0 or -1.
 * @{ */
/** @brief The method, such as "GET". */
OMBREL_API const char* ombrel_http_exchange_get_method(ombrel_http_exchange_t* exchange);
/** @brief Whether only the answer's head is sent: 1 for HEAD, else 0. Whatever is written for the body is
 * then dropped. */
OMBREL_API int ombrel_http_exchange_is_head(ombrel_http_exchange_t* exchange);
/** @brief The target as it was sent, such as "/a%20b?c=d". */
OMBREL_API const char* ombrel_http_exchange_get_target(ombrel_http_exchange_t* exchange);
/** @brief The path, decoded once: it begins with "/" (or is "*" of OPTIONS) and has no NUL; it may have "..",
 * "//" and control characters. */
OMBREL_API const char* ombrel_http_exchange_get_path(ombrel_http_exchange_t* exchange);
/** @brief The part of the path that stands for its route's star: nothing for a route without one, the
 * whole path for the options' handler. */
OMBREL_API const char* ombrel_http_exchange_get_path_rest(ombrel_http_exchange_t* exchange);
/** @brief What follows the "?", as sent; null when there is none. */
OMBREL_API const char* ombrel_http_exchange_get_query(ombrel_http_exchange_t* exchange);
/** @brief The host that the request is for, as sent in Host or in the target, with its port; empty when
 * HTTP/1.0 names none. */
OMBREL_API const char* ombrel_http_exchange_get_host(ombrel_http_exchange_t* exchange);
/** @brief The minor version: 1 for HTTP/1.1, 0 for HTTP/1.0. */
OMBREL_API int ombrel_http_exchange_get_version(ombrel_http_exchange_t* exchange);
/** @brief The client's numeric address. */
OMBREL_API const char* ombrel_http_exchange_get_peer(ombrel_http_exchange_t* exchange);
/** @brief The client's port. */
OMBREL_API int ombrel_http_exchange_get_peer_port(ombrel_http_exchange_t* exchange);
/** @brief Who a guard said the client is; null when none did. */
OMBREL_API const char* ombrel_http_exchange_get_user(ombrel_http_exchange_t* exchange);
/** @brief The server. */
OMBREL_API ombrel_http_server_t* ombrel_http_exchange_get_server(ombrel_http_exchange_t* exchange);
/** @} */

/**
 * @brief A value of the query by its name, decoded as forms encode it ("+" is a space).
 * @param exchange the exchange
 * @param name     the name, decoded; of several values the first is given
 * @param value    receives it with a terminator, or an empty text after a failure; null when `room` is 0
 * @param room     bytes there
 * @return the value's length, which has no NUL in it; -1 with #def_ombrel_fault_not_found when there is none,
 * #def_ombrel_fault_too_large when it does not fit, and #def_ombrel_fault_violation for a "%00" or a "%" that
 * two hexadecimal digits do not follow
 */
OMBREL_API int64_t ombrel_http_exchange_get_parameter(ombrel_http_exchange_t* exchange, const char* name,
                                                      char* value, size_t room);

/** @brief A field of the request by its name, in either case; of several the first. @return its value without
 * the space around it, which lives as long as the exchange; null when there is none */
OMBREL_API const char* ombrel_http_exchange_get_field(ombrel_http_exchange_t* exchange, const char* name);

/**
 * @brief A field of the request by its place.
 * @param exchange the exchange
 * @param index    from 0 on, in the order sent
 * @param name     receives its name as sent; may be null
 * @param value    receives its value; may be null
 * @return 1; 0 after the last one; -1 for null
 */
OMBREL_API int ombrel_http_exchange_get_field_at(ombrel_http_exchange_t* exchange, size_t index,
                                                 const char** name, const char** value);

/** @brief The length that the body was announced with: 0 without a body, -1 when it comes in chunks. */
OMBREL_API int64_t ombrel_http_exchange_get_body_size(ombrel_http_exchange_t* exchange);

/**
 * @brief The body of a request that was read whole.
 * @param exchange the exchange
 * @param size     receives its bytes
 * @return the bytes with a zero after them, valid as long as the exchange; null for a streamed route
 */
OMBREL_API const void* ombrel_http_exchange_get_body(ombrel_http_exchange_t* exchange, size_t* size);

/**
 * @brief Has the body read in pieces, in the handler of a streamed route. The answer comes by one of the body
 * handler's calls, or was deferred.
 *
 * The handler is called from the loop, also for an empty body.
 * @param exchange the exchange
 * @param handler  given the pieces
 * @param context  handed to it
 * @return 0; -1 also when the body was taken already
 */
OMBREL_API int ombrel_http_exchange_read_body(ombrel_http_exchange_t* exchange,
                                              ombrel_http_body_handler_t handler, void* context);

/** @brief Stops the pieces of a body, so that the client has to wait (`hold` 1), or lets them come again,
 * from the loop (0). @return 0 or -1 */
OMBREL_API int ombrel_http_exchange_hold_body(ombrel_http_exchange_t* exchange, int hold);

/** @brief For guards: says who the client is, for the log and for handlers; copied. @return 0 or -1 */
OMBREL_API int ombrel_http_exchange_set_user(ombrel_http_exchange_t* exchange, const char* name);

/** @name Answers
 * A status is 200 to 599. The server adds Date, Server, Content-Length or Transfer-Encoding, and Connection
 * itself.
 * @{ */
/**
 * @brief Adds a field to the answer that comes; those of one name stand in the order given.
 * @param exchange the exchange, not answered yet
 * @param name     a token
 * @param value    its value, which has no control character but tabs
 * @return 0; -1 for what is no name or value, for the fields that the server adds, and
 * #def_ombrel_fault_too_large above 16 KiB in all
 */
OMBREL_API int ombrel_http_exchange_add_field(ombrel_http_exchange_t* exchange, const char* name,
                                              const char* value);

/**
 * @brief Answers whole.
 *
 * Afterwards the exchange must not be used, unless it was deferred: then it may be used until the end handler
 * was called.
 * @param exchange the exchange
 * @param status   the status; 204 and 304 have no body
 * @param type     the body's type for Content-Type; null leaves the field out
 * @param data     the body, copied as far as the host does not take it at once
 * @param size     its bytes
 * @return 0, also when the client is gone; -1 for invalid arguments and when it is answered already, and with
 * #def_ombrel_fault_no_memory when 500 was sent in its place
 */
OMBREL_API int ombrel_http_exchange_answer(ombrel_http_exchange_t* exchange, int status, const char* type,
                                           const void* data, size_t size);

/** @brief ombrel_http_exchange_answer() with a text that the library's formatter makes, of 65,278 characters
 * at most.
 * @return as it; a longer one fails with #def_ombrel_fault_no_memory */
OMBREL_API int ombrel_http_exchange_answer_printf(ombrel_http_exchange_t* exchange, int status,
                                                  const char* type, const char* format, ...)
    OMBREL_PRINTF_LIKE(4, 5);

/** @brief The same with an argument list. @return as ombrel_http_exchange_answer() */
OMBREL_API int ombrel_http_exchange_answer_vprintf(ombrel_http_exchange_t* exchange, int status,
                                                   const char* type, const char* format, va_list args)
    OMBREL_PRINTF_LIKE(4, 0);

/**
 * @brief Answers with a line of text for people: "404 Not Found: there is no such device".
 * @param exchange the exchange
 * @param status   the status
 * @param text     what to add to the name of the status; null for nothing
 * @return as ombrel_http_exchange_answer()
 */
OMBREL_API int ombrel_http_exchange_answer_error(ombrel_http_exchange_t* exchange, int status,
                                                 const char* text);

/**
 * @brief Says that the answer comes later, after the handler has returned.
 * @param exchange the exchange
 * @param handler  told when the exchange ends, in whatever way; what was made for it can go then
 * @param context  handed to it
 * @return 0; -1 when there is an end handler already
 */
OMBREL_API int ombrel_http_exchange_defer(ombrel_http_exchange_t* exchange, ombrel_http_end_handler_t handler,
                                          void* context);

/**
 * @brief Begins an answer whose body is written in pieces.
 *
 * It defers as ombrel_http_exchange_defer() does, which must not be called for it as well unless it was
 * before.
 * @param exchange the exchange
 * @param status   the status
 * @param type     as ombrel_http_exchange_answer() has it
 * @param size     the body's bytes when they are known; negative sends it in chunks, to HTTP/1.0 until the
 * connection closes
 * @param handler  called when at least half of the server's output limit is free again after
 *                 ombrel_http_exchange_write() did not take all; and once from the loop after this call; null
 * for none
 * @param end_handler told when the exchange ends; null for none, which is allowed only if nothing else refers
 * to the exchange
 * @param context  handed to both
 * @return 0, also when the client is gone; -1
 */
OMBREL_API int ombrel_http_exchange_begin_answer(ombrel_http_exchange_t* exchange, int status,
                                                 const char* type, int64_t size,
                                                 ombrel_http_handler_t handler,
                                                 ombrel_http_end_handler_t end_handler, void* context);

/**
 * @brief Writes a piece of the body.
 * @param exchange the exchange
 * @param data     the bytes, copied as far as the host does not take them at once
 * @param size     how many; 0 changes nothing
 * @return how many were taken: fewer, or 0, when the limit of waiting bytes is reached; the handler is then
 * called when there is room again. -1 beyond the announced size (#def_ombrel_fault_too_large); for want of
 * memory, which breaks the answer off; and when nothing was begun
 */
OMBREL_API int64_t ombrel_http_exchange_write(ombrel_http_exchange_t* exchange, const void* data,
                                              size_t size);

/**
 * @brief Ends an answer that was begun. Fewer bytes than were announced break the connection off, so that
 * they are not taken for the whole.
 * @return 0; -1 when nothing was begun, and with #def_ombrel_fault_invalid when bytes are missing
 */
OMBREL_API int ombrel_http_exchange_end_answer(ombrel_http_exchange_t* exchange);

/** @brief Breaks the connection off, without a further byte. The end handler is told before it returns.
 * @return 0 or -1 */
OMBREL_API int ombrel_http_exchange_abort(ombrel_http_exchange_t* exchange);
/** @} */

/**
 * @brief Takes the connection out of the server, for another protocol on it (after "Upgrade", or CONNECT).
 *
 * The caller answers on the socket itself (101 or 200), and closes it. For handlers, before they answer; the
 * exchange and its texts are gone afterwards, and the end handler is not called.
 * @param exchange the exchange, whose body was read
 * @param data     receives what the client sent after the request
 * @param room     bytes there; the options' m_head_limit is always enough
 * @param size     receives how many came
 * @return the socket, which does not block; -1 while earlier answers wait to be sent
 * (#def_ombrel_fault_busy), and when the room is too small
 * (#def_ombrel_fault_too_large)
 */
OMBREL_API int ombrel_http_exchange_take_socket(ombrel_http_exchange_t* exchange, void* data, size_t room,
                                                size_t* size);

OMBREL_END_C

#endif
