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

/* Makes a server on the base that listens nowhere yet; null when that fails. */
http_server_t* http_open_server(ombrel_event_base_t* base, http_handler_t handler, void* context);

enum { http_listener_limit = 4, http_address_size = 64 };

/*
 * Lets the server listen on one more numeric address, on http_listener_limit of them at most; port 0 takes a
 * free one. Gives the port, and in `numeric`, unless that is null, the address as it is written. -1 when it
 * fails: `errno` then tells why, as far as the host told; else it is 0.
 */
int http_listen(http_server_t* server, const char* address, int port, char numeric[http_address_size]);

/* Ends all connections and the server. */
void http_close_server(http_server_t* server);

/* What it has done since it was opened. */
http_counts_t http_server_counts(const http_server_t* server);

/* Answers the request in hand. */
void http_respond(http_connection_t* connection, int status, const char* type, const void* data, size_t size);

/* An answer of one line of text that explains the status. */
void http_respond_text(http_connection_t* connection, int status, const char* text);

/* Says that the answer comes later, and who wants to know when nobody waits for it any more. */
void http_defer(http_connection_t* connection, http_abandoned_t abandoned, void* context);

#endif
