/*
 * What the status service tells about the library and its process, as text.
 */
#ifndef STATUS_REPORT_H
#define STATUS_REPORT_H

#include <ombrel_tuk.h>

enum { history_size = 300 };

/* The heap's figures, taken once a second. */
typedef struct {
    size_t count[history_size];
    size_t size[history_size];
    size_t taken; /* samples so far; the newest stands at (taken - 1) % history_size */
} heap_history_t;

void report_sample(heap_history_t* history);

/* The status as JSON into a buffer; -1 when memory runs out. */
int report_status(ombrel_buffer_t* out, const heap_history_t* history, uint64_t uptime_msec,
                  const ombrel_http_server_counts_t* counts, ombrel_event_base_t* base);

/* The addresses of a name as text, one a line; -1 when memory runs out. */
int report_addresses(ombrel_buffer_t* out, const ombrel_resolver_t* answers);

/* Answers with what was put into a buffer, or with 503 when that failed. */
int respond_with_buffer(ombrel_http_exchange_t* exchange, const char* type, ombrel_buffer_t* buffer,
                        int failed);

/* The page that shows the status, and the style of all pages. */
extern const unsigned char status_page[], page_style[];
extern const size_t status_page_size, page_style_size;

#endif
