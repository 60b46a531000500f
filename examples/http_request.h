/*
 * Parsing of HTTP/1.1 requests: no input or output here, bytes in and a request out.
 */
#ifndef HTTP_REQUEST_H
#define HTTP_REQUEST_H

#include <stddef.h>

enum { http_head_limit = 8192, http_body_limit = 1024 * 1024 };

typedef enum { http_method_get, http_method_head, http_method_post, http_method_other } http_method_t;

typedef struct {
    http_method_t method;
    char* path;  /* percent-decoded, without the query; points into the parsed head */
    char* query; /* as sent, "" when there is none; points into the parsed head */
    int keep_alive;
    int expects_continue;
    int chunked;           /* the body comes in chunks */
    size_t content_length; /* of a body that does not */
} http_request_t;

/* The length of the head that `data` begins with, its empty line included; 0 when it is not complete. */
size_t http_find_head_end(const char* data, size_t size);

/*
 * Parses a head of `size` bytes in place; the byte after it is overwritten. Returns 0, or the status code of
 * the answer: 400 for what is no request, 413 for an announced body over the limit, 505 for another version.
 */
int http_parse_head(char* head, size_t size, http_request_t* request);

/* State of a body in chunks. */
typedef struct {
    enum { chunk_size_line, chunk_data, chunk_data_end, chunk_trailer, chunk_done } state;
    size_t left; /* bytes of this chunk still to come */
    char line[64];
    size_t line_size;
} http_chunks_t;

/*
 * Decodes what is there: moves body bytes from `data` to `body` (room for `*room` bytes; reduced by what was
 * stored). Returns the bytes of `data` that were used, or -1 for what is no chunked body, or -2 when the body
 * is larger than the room. The body is complete when the state is chunk_done.
 */
long http_decode_chunks(http_chunks_t* chunks, const char* data, size_t size, char* body, size_t* room);

/* A copy of a query's value, decoded, on the tagged heap; null when the name is not there. -1 without memory.
 */
int http_query_value(const char* query, const char* name, char** value);

#endif
