#include "status_report.h"

#include <stdarg.h>
#include <string.h>

enum { site_limit = 128 };

/* The call sites of all live blocks; one more for those that the table has no room for. */
typedef struct {
    size_t count;
    ombrel_heap_site_t sites[site_limit + 1];
} sites_t;

static void take_sites(sites_t* sites) {
    ombrel_heap_site_t others;
    sites->count = ombrel_get_heap_sites(sites->sites, site_limit, &others);
    if (others.m_blocks > 0)
        sites->sites[sites->count++] = others;
}

void report_sample(heap_history_t* history) {
    const size_t at = history->taken++ % history_size;
    ombrel_get_alloc_info(&history->count[at], &history->size[at], NULL);
}

/* A document in the making: whole, or failed from the first piece on that could not be queued. */
typedef struct {
    ombrel_buffer_t* out;
    int failed;
} document_t;

static void add(document_t* document, const char* format, ...) {
    va_list arguments;
    if (document->failed)
        return;
    va_start(arguments, format);
    char* text = ombrel_alloc_vsprintf(format, arguments);
    va_end(arguments);
    const size_t size = text != NULL ? strlen(text) : 0;
    document->failed = text == NULL || ombrel_push_buffer_ex(document->out, text, size, 0) != size;
    ombrel_check_free(text);
}

static void add_history(document_t* document, const char* name, const size_t* values, size_t taken) {
    const size_t first = taken > history_size ? taken - history_size : 0;
    add(document, "\"%s\":[", name);
    for (size_t i = first; i < taken; i++)
        add(document, "%s%llu", i > first ? "," : "", (unsigned long long)values[i % history_size]);
    add(document, "],");
}

static void add_sites(document_t* document, const sites_t* sites) {
    add(document, "\"sites\":[");
    for (size_t i = 0; i < sites->count; i++)
        add(document, "%s{\"site\":\"%s:%lu\",\"blocks\":%llu,\"bytes\":%llu}", i > 0 ? "," : "",
            sites->sites[i].m_tag, sites->sites[i].m_line, (unsigned long long)sites->sites[i].m_blocks,
            (unsigned long long)sites->sites[i].m_size);
    add(document, "],");
}

static void add_build(document_t* document) {
    const uint32_t compiler = ombrel_get_compiler_version();
    add(document,
        "\"version\":\"%s\",\"profile\":\"%s\",\"built\":\"%s %s\",\"host\":\"%s\","
        "\"compiler\":\"%s %lu.%lu.%lu\",\"libc\":\"%s\",\"os\":\"%s %s\",",
        ombrel_get_tuk_version_string(), ombrel_get_target_build_profile(), ombrel_get_tuk_build_date(),
        ombrel_get_tuk_build_time(), ombrel_get_build_hostname(), ombrel_get_compiler_name(),
        (unsigned long)(compiler >> 24), (unsigned long)(compiler >> 16 & 255),
        (unsigned long)(compiler >> 8 & 255), ombrel_get_libc_name(), ombrel_get_os_name(),
        ombrel_get_os_version_string());
}

int report_status(ombrel_buffer_t* out, const heap_history_t* history, uint64_t uptime_msec,
                  const ombrel_http_server_counts_t* counts, ombrel_event_base_t* base) {
    static sites_t sites; /* one loop, one thread */
    document_t document = {out, 0};
    size_t blocks, bytes, peak;
    ombrel_event_counts_t events;
    /* The figures and the sites come before the first addition, which may allocate. */
    take_sites(&sites);
    ombrel_get_alloc_info(&blocks, &bytes, &peak);
    ombrel_event_base_get_counts(base, &events);
    add(&document, "{");
    add_build(&document);
    add(&document, "\"uptime\":%llu,\"blocks\":%llu,\"bytes\":%llu,\"peak\":%llu,",
        (unsigned long long)uptime_msec, (unsigned long long)blocks, (unsigned long long)bytes,
        (unsigned long long)peak);
    add(&document, "\"requests\":%llu,\"accepted\":%llu,\"refused\":%llu,\"open\":%llu,",
        (unsigned long long)counts->m_requests, (unsigned long long)counts->m_accepted,
        (unsigned long long)counts->m_refused, (unsigned long long)counts->m_clients);
    add_sites(&document, &sites);
    add_history(&document, "count_history", history->count, history->taken);
    add_history(&document, "size_history", history->size, history->taken);
    add(&document, "\"events\":%llu,\"timers\":%llu,\"active\":%llu}\n", (unsigned long long)events.m_events,
        (unsigned long long)events.m_timers, (unsigned long long)events.m_active);
    return document.failed ? -1 : 0;
}

int report_addresses(ombrel_buffer_t* out, const ombrel_resolver_t* answers) {
    document_t document = {out, 0};
    for (; answers != NULL; answers = answers->m_next)
        add(&document, "%s\n", answers->m_address_text);
    return document.failed ? -1 : 0;
}

int respond_with_buffer(ombrel_http_exchange_t* exchange, const char* type, ombrel_buffer_t* buffer,
                        int failed) {
    const size_t size = ombrel_get_buffer_size(buffer);
    char* data = failed || size == 0 ? NULL : ombrel_alloc_pop_buffer_ex(buffer, size, 1);
    if (data == NULL)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for the answer");
    const int result = ombrel_http_exchange_answer(exchange, 200, type, data, size);
    ombrel_free(data);
    return result;
}
