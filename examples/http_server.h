/*
 * A small HTTP/1.1 server on an event base: keep-alive, pipelining, bounded requests, deadlines.
 */
#ifndef HTTP_SERVER_H
#define HTTP_SERVER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel_tuk.h>

#include "http_request.h"

typedef struct http_server http_server_t;
typedef struct http_connection http_connection_t;

/*
 * Called for every complete request. It answers with http_respond(), at once or later; `body` lives until the
 * answer is given.
 */
typedef void (*http_handler_t)(http_connection_t* connection, const http_request_t* request, const char* body,
                               size_t body_size, void* context);

/* Called when a connection dies before its answer was given; the answer must not be given any more. */
typedef void (*http_abandoned_t)(void* context);

typedef struct {
    uint64_t requests;
    uint64_t accepted;
    uint64_t refused; /* answered 503: no descriptor was left */
    size_t open;      /* connections now */
} http_counts_t;

/* Listens on an address and serves on the base; null when that fails. */
http_server_t* http_open_server(ombrel_event_base_t* base, const char* address, int port,
                                http_handler_t handler, void* context);

/* Ends all connections and the server. */
void http_close_server(http_server_t* server);

/* The port it listens on, and its counts. */
int http_server_port(const http_server_t* server);
http_counts_t http_server_counts(const http_server_t* server);

/* Answers the request in hand. */
void http_respond(http_connection_t* connection, int status, const char* type, const void* data, size_t size);

/* An answer of one line of text that explains the status. */
void http_respond_text(http_connection_t* connection, int status, const char* text);

/* Says that the answer comes later, and who wants to know when nobody waits for it any more. */
void http_defer(http_connection_t* connection, http_abandoned_t abandoned, void* context);

#endif
