/*
 * status_service [ADDRESS [PORT]]: shows the library at work in one process with one event loop. It listens
 * on this machine's loop-back addresses, port 8080, unless an address is given.
 *
 *   /             a page that updates itself      /echo              POST: returns the body
 *   /status.json  the page's figures              /lookup?name=NAME  the addresses of a name
 *   /version.xml  the version document            /slow?ms=TIME      answers after a while
 *   /heap         the live allocations            /screen            a page with a live frame buffer
 *
 * SIGINT and SIGTERM end it; it prints then what is left on the heap.
 */
#include <signal.h>
#include <string.h>

#include "http_server.h"
#include "status_listen.h"
#include "status_report.h"
#include "status_screen.h"

enum {
    default_port = 8080,
    slow_limit_msec = 60000,
    lookup_limit_msec = 10000,
    lookups_at_once = 64, /* names that the resolver has in hand; more clients are asked to come again */
    name_limit = 253,
    names_kept_msec = 60000
};

typedef struct service {
    ombrel_event_base_t* base;
    http_server_t* server;
    ombrel_event_t interrupt_event;
    ombrel_event_t terminate_event;
    ombrel_event_t second_event;
    int ends;
    uint64_t start;
    heap_history_t history;
    status_screen_t screen;
    char* heap_text; /* the list of live allocations as it was at heap_text_time */
    size_t heap_text_size;
    uint64_t heap_text_time;
    ombrel_resolver_cache_t* cache;
    ombrel_lock_t lookup_lock; /* guards the marks of the lookups, which the resolver's thread sets */
    struct lookup* lookups;
    int lookup_count;
    ombrel_event_t lookup_event;
} service_t;

/* ---- answers out of a buffer ---- */

static void respond_buffer(http_connection_t* connection, const char* type, ombrel_buffer_t* buffer,
                           int failed) {
    const size_t size = ombrel_get_buffer_size(buffer);
    char* data = failed || size == 0 ? NULL : ombrel_alloc_pop_buffer_ex(buffer, size, 1);
    if (data != NULL)
        http_respond(connection, 200, type, data, size);
    else
        http_respond_text(connection, 503, "no memory for the answer");
    ombrel_check_free(data);
}

static void answer_page(service_t* service, http_connection_t* connection, const http_request_t* request) {
    (void)service;
    (void)request;
    http_respond(connection, 200, "text/html; charset=utf-8", status_page, status_page_size);
}

static void answer_screen(service_t* service, http_connection_t* connection, const http_request_t* request) {
    (void)service;
    (void)request;
    http_respond(connection, 200, "text/html; charset=utf-8", screen_page, screen_page_size);
}

static void answer_screen_picture(service_t* service, http_connection_t* connection,
                                  const http_request_t* request) {
    size_t size = 0;
    const unsigned char* picture = look_at_status_screen(&service->screen, &size);
    (void)request;
    if (picture != NULL)
        http_respond(connection, 200, "image/png", picture, size);
    else
        http_respond_text(connection, 503, "no memory for the picture");
}

static void answer_status(service_t* service, http_connection_t* connection, const http_request_t* request) {
    (void)request;
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed =
        out == NULL || report_status(out, &service->history, ombrel_time_stamp_msec() - service->start,
                                     http_server_counts(service->server), service->base) != 0;
    respond_buffer(connection, "application/json", out, failed);
    ombrel_close_buffer(out);
}

static void answer_version(service_t* service, http_connection_t* connection, const http_request_t* request) {
    (void)service;
    (void)request;
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed = out == NULL || ombrel_push_version_xml(out, "status_service") != 0;
    respond_buffer(connection, "application/xml", out, failed);
    ombrel_close_buffer(out);
}

/* The list is made anew when it is older than this, so that a crowd of readers costs no more than one. */
enum { heap_text_msec = 100 };

static void refresh_heap_text(service_t* service) {
    const uint64_t now = ombrel_time_stamp_msec();
    if (service->heap_text != NULL && now - service->heap_text_time < heap_text_msec)
        return;
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    if (out != NULL && ombrel_push_heap_report(out) == 0) {
        ombrel_check_free(service->heap_text);
        service->heap_text_size = ombrel_get_buffer_size(out);
        service->heap_text = ombrel_alloc_pop_buffer_ex(out, service->heap_text_size, 1);
        service->heap_text_time = now;
    }
    ombrel_close_buffer(out);
}

static void answer_heap(service_t* service, http_connection_t* connection, const http_request_t* request) {
    (void)request;
    refresh_heap_text(service);
    if (service->heap_text != NULL)
        http_respond(connection, 200, "text/plain; charset=utf-8", service->heap_text,
                     service->heap_text_size);
    else
        http_respond_text(connection, 503, "no memory for the list");
}

/* ---- answers after a while ---- */

/* A value out of the query, for the caller to free; null when the request has been answered for want of it.
 */
static char* take_query_value(http_connection_t* connection, const http_request_t* request,
                              const char* name) {
    char* value;
    const int failed = http_query_value(request->query, name, &value);
    if (failed)
        http_respond_text(connection, 503, "no memory for the query");
    else if (value == NULL)
        http_respond_text(connection, 400, "the query lacks a value");
    return value;
}

typedef struct {
    ombrel_event_t* timer;
    http_connection_t* connection;
    int msec;
} pause_t;

static void end_pause(void* context) {
    pause_t* pause = context;
    ombrel_free_event(pause->timer);
    ombrel_free(pause);
}

static void on_pause_over(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    pause_t* pause = context;
    char text[64];
    (void)event;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) == 0)
        return;
    http_connection_t* connection = pause->connection;
    const int size = ombrel_snprintf(text, sizeof text, "waited %d ms\n", pause->msec);
    end_pause(pause);
    http_respond(connection, 200, "text/plain; charset=utf-8", text, (size_t)size);
}

static void answer_slow(service_t* service, http_connection_t* connection, const http_request_t* request) {
    char* value = take_query_value(connection, request, "ms");
    if (value == NULL)
        return;
    const size_t digits = strspn(value, "0123456789");
    const int usable =
        digits > 0 && digits < 6 && value[digits] == '\0' && ombrel_atoi(value) <= slow_limit_msec;
    const int msec = usable ? ombrel_atoi(value) : 0;
    ombrel_free(value);
    if (!usable) {
        http_respond_text(connection, 400, "ms is a number of milliseconds, at most 60000");
        return;
    }
    pause_t* pause = ombrel_calloc(1, sizeof *pause);
    if (pause != NULL) {
        pause->connection = connection;
        pause->msec = msec;
        pause->timer = ombrel_new_event(service->base, -1, 0, on_pause_over, pause);
        if (pause->timer != NULL && ombrel_add_event(pause->timer, msec) == 0) {
            http_defer(connection, end_pause, pause);
            return;
        }
        if (pause->timer != NULL)
            ombrel_free_event(pause->timer);
        ombrel_free(pause);
    }
    http_respond_text(connection, 503, "no memory for a timer");
}

/* ---- names ---- */

typedef enum { lookup_waits, lookup_found, lookup_failed } lookup_state_t;

typedef struct lookup {
    struct lookup* next;
    http_connection_t* connection; /* null once the client is gone or has been answered */
    char* name;
    lookup_state_t state;
    uint64_t deadline;
} lookup_t;

static void respond_addresses(http_connection_t* connection, const ombrel_resolver_t* answers) {
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed = out == NULL || report_addresses(out, answers) != 0;
    respond_buffer(connection, "text/plain; charset=utf-8", out, failed);
    ombrel_close_buffer(out);
}

/* On the resolver's own thread: marks what was answered and wakes the loop. */
static void on_resolved(ombrel_resolver_cache_t* cache, int is_new, const char* name, int port,
                        void* context) {
    service_t* service = context;
    (void)cache;
    (void)port;
    if (ombrel_lock(&service->lookup_lock) != 0)
        return;
    for (lookup_t* lookup = service->lookups; lookup != NULL; lookup = lookup->next)
        if (lookup->state == lookup_waits && ombrel_strcmp(lookup->name, name) == 0)
            lookup->state = is_new < 0 ? lookup_failed : lookup_found;
    ombrel_unlock(&service->lookup_lock);
    ombrel_add_event(&service->lookup_event, 0);
}

/* Takes the first lookup out of the list that the resolver is through with. */
static lookup_t* take_finished_lookup(service_t* service) {
    if (ombrel_lock(&service->lookup_lock) != 0)
        return NULL;
    lookup_t** link = &service->lookups;
    while (*link != NULL && (*link)->state == lookup_waits)
        link = &(*link)->next;
    lookup_t* lookup = *link;
    if (lookup != NULL) {
        *link = lookup->next;
        service->lookup_count--;
    }
    ombrel_unlock(&service->lookup_lock);
    return lookup;
}

/* A client that has waited long enough. Its lookup stays until the resolver is through with it, so that the
 * names which the resolver has in hand are never more than the lookups. */
static http_connection_t* take_late_client(service_t* service, uint64_t now) {
    http_connection_t* late = NULL;
    if (ombrel_lock(&service->lookup_lock) != 0)
        return NULL;
    for (lookup_t* lookup = service->lookups; lookup != NULL && late == NULL; lookup = lookup->next)
        if (lookup->state == lookup_waits && now >= lookup->deadline) {
            late = lookup->connection;
            lookup->connection = NULL;
        }
    ombrel_unlock(&service->lookup_lock);
    return late;
}

static void finish_lookup(service_t* service, lookup_t* lookup) {
    http_connection_t* connection = lookup->connection;
    const lookup_state_t state = lookup->state;
    ombrel_resolver_t* answers = NULL;
    if (connection != NULL && state == lookup_found)
        answers = ombrel_get_resolver_cache(service->cache, lookup->name, -1, 0);
    ombrel_free(lookup->name);
    ombrel_free(lookup);
    if (connection == NULL)
        return;
    if (answers != NULL)
        respond_addresses(connection, answers);
    else
        http_respond_text(connection, 404, "the name has no address");
    ombrel_close_resolver(answers);
}

static void finish_lookups(service_t* service) {
    lookup_t* lookup;
    http_connection_t* late;
    while ((lookup = take_finished_lookup(service)) != NULL)
        finish_lookup(service, lookup);
    while ((late = take_late_client(service, ombrel_time_stamp_msec())) != NULL)
        http_respond_text(late, 504, "the name's servers do not answer");
}

static void on_lookup_event(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    (void)event;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) != 0)
        finish_lookups(context);
}

/* Only the loop's thread looks at the connection, so no lock is needed. */
static void abandon_lookup(void* context) {
    ((lookup_t*)context)->connection = NULL;
}

static lookup_t* queue_lookup(service_t* service, http_connection_t* connection, char* name) {
    lookup_t* lookup = ombrel_alloc(sizeof *lookup);
    if (lookup == NULL || ombrel_lock(&service->lookup_lock) != 0) {
        ombrel_check_free(lookup);
        return NULL;
    }
    const lookup_t fields = {service->lookups, connection, name, lookup_waits,
                             ombrel_time_stamp_msec() + lookup_limit_msec};
    *lookup = fields;
    service->lookups = lookup;
    service->lookup_count++;
    ombrel_unlock(&service->lookup_lock);
    return lookup;
}

static void answer_lookup(service_t* service, http_connection_t* connection, const http_request_t* request) {
    char* name = take_query_value(connection, request, "name");
    if (name == NULL)
        return;
    if (*name == '\0' || strlen(name) > name_limit) {
        ombrel_free(name);
        http_respond_text(connection, 400, "name is the name to look up");
        return;
    }
    /* Looking into the cache asks the resolver for what is not there. */
    if (service->lookup_count >= lookups_at_once) {
        ombrel_free(name);
        http_respond_text(connection, 503, "too many look-ups at once, try again later");
        return;
    }
    ombrel_resolver_t* known = ombrel_get_resolver_cache(service->cache, name, -1, 0);
    if (known != NULL) {
        ombrel_free(name);
        respond_addresses(connection, known);
        ombrel_close_resolver(known);
        return;
    }
    /* The place in the list comes first, so that no answer can be missed. */
    lookup_t* lookup = queue_lookup(service, connection, name);
    if (lookup == NULL) {
        ombrel_free(name);
        http_respond_text(connection, 503, "no memory for a look-up");
        return;
    }
    http_defer(connection, abandon_lookup, lookup);
    if (ombrel_request_resolver_cache_with_handler(service->cache, name, -1, on_resolved, service) != 0)
        on_resolved(service->cache, -1, name, -1, service);
}

/* ---- routes ---- */

typedef void (*answer_t)(service_t* service, http_connection_t* connection, const http_request_t* request);

static const struct {
    const char* path;
    answer_t answer;
} routes[] = {{"/", answer_page},
              {"/status.json", answer_status},
              {"/version.xml", answer_version},
              {"/heap", answer_heap},
              {"/slow", answer_slow},
              {"/lookup", answer_lookup},
              {"/screen", answer_screen},
              {"/screen.png", answer_screen_picture}};

static void on_request(http_connection_t* connection, const http_request_t* request, const char* body,
                       size_t body_size, void* context) {
    if (strcmp(request->path, "/echo") == 0) {
        if (request->method == http_method_post)
            http_respond(connection, 200, "application/octet-stream", body, body_size);
        else
            http_respond_text(connection, 405, "POST something here");
        return;
    }
    for (size_t i = 0; i < sizeof routes / sizeof *routes; i++) {
        if (strcmp(request->path, routes[i].path) != 0)
            continue;
        if (request->method == http_method_get || request->method == http_method_head)
            routes[i].answer(context, connection, request);
        else
            http_respond_text(connection, 405, "this can only be read");
        return;
    }
    if (request->method == http_method_other)
        http_respond_text(connection, 405, "only GET, HEAD and POST are known here");
    else
        http_respond_text(connection, 404, "there is nothing here");
}

/* ---- life ---- */

static void on_signal(ombrel_event_t* event, int number, uint32_t ready, void* context) {
    service_t* service = context;
    (void)event;
    (void)number;
    if ((ready & def_ombrel_event_signal) == 0)
        return;
    service->ends = 1;
    ombrel_event_base_break_loop(service->base);
}

static void on_second(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    service_t* service = context;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) == 0)
        return;
    report_sample(&service->history);
    finish_lookups(service);
    ombrel_add_event(event, 1000);
}

static int begin_events(service_t* service) {
    const uint32_t signal_flags = def_ombrel_event_signal | def_ombrel_event_persist;
    ombrel_event_base_t* base = service->base;
    if (ombrel_assign_event(base, &service->interrupt_event, SIGINT, signal_flags, on_signal, service) != 0 ||
        ombrel_assign_event(base, &service->terminate_event, SIGTERM, signal_flags, on_signal, service) !=
            0 ||
        ombrel_assign_event(base, &service->second_event, -1, 0, on_second, service) != 0 ||
        ombrel_assign_event(base, &service->lookup_event, -1, 0, on_lookup_event, service) != 0 ||
        begin_status_screen(&service->screen, base, &service->history) != 0)
        return -1;
    report_sample(&service->history);
    return ombrel_add_event(&service->interrupt_event, -1) == 0 &&
                   ombrel_add_event(&service->terminate_event, -1) == 0 &&
                   ombrel_add_event(&service->second_event, 1000) == 0
               ? 0
               : -1;
}

/* Whether a look-up was still under way: the resolver may have left it behind, with the memory that it stands
 * on. */
static int end_lookups(service_t* service) {
    int was_waiting = 0;
    ombrel_close_resolver_cache(service->cache);
    for (lookup_t* lookup = service->lookups; lookup != NULL; lookup = lookup->next) {
        was_waiting |= lookup->state == lookup_waits;
        lookup->state = lookup_failed;
    }
    finish_lookups(service);
    return was_waiting;
}

/* What end_lookups() tells. */
static int end_service(service_t* service) {
    http_close_server(service->server);
    const int was_waiting = service->cache != NULL && end_lookups(service);
    ombrel_event_t* events[] = {&service->interrupt_event, &service->terminate_event, &service->second_event,
                                &service->lookup_event};
    for (size_t i = 0; i < sizeof events / sizeof *events; i++)
        if ((events[i]->m_flags & def_ombrel_event_assigned) != 0)
            ombrel_unassign_event(events[i]);
    end_status_screen(&service->screen);
    if (service->base != NULL)
        ombrel_free_event_base(service->base);
    ombrel_check_free(service->heap_text);
    ombrel_uninit_lock(&service->lookup_lock);
    return was_waiting;
}

static int run_service(service_t* service, const char* address, int port) {
    service->start = ombrel_time_stamp_msec();
    ombrel_init_lock(&service->lookup_lock);
    service->base = ombrel_new_event_base();
    service->cache = ombrel_open_resolver_cache_ex(names_kept_msec);
    if (service->base == NULL || service->cache == NULL || begin_events(service) != 0) {
        ombrel_error_printf("status_service: [ERROR] not enough memory or descriptors\n");
        return 1;
    }
    service->server = http_open_server(service->base, on_request, service);
    if (service->server == NULL) {
        ombrel_error_printf("status_service: [ERROR] not enough memory or descriptors\n");
        return 1;
    }
    if (listen_and_tell(service->server, address, port) != 0)
        return 1;
    /* A signal that is none of ours interrupts the loop: it goes on. */
    while (!service->ends && ombrel_event_base_dispatch(service->base) != 0)
        ombrel_load_balance_short();
    return 0;
}

static const ombrel_argument_option_t options[] = {
    {.m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {0},
};

static const ombrel_argument_table_t table = {
    .m_name = "status_service",
    .m_operands = "[ADDRESS [PORT]]",
    .m_most_operands = 2,
    .m_summary = "Shows over HTTP how this machine and the library are.",
    .m_notes =
        "ADDRESS is a numeric address of this machine; 0.0.0.0 or :: opens the service to other machines "
        "(default localhost: both loop-back addresses). PORT is 0 (any that is free) to 65535 (default "
        "8080).",
    .m_options = options,
};

static const ombrel_argument_option_t port_operand = {.m_kind = def_ombrel_argument_integer, .m_most = 65535};

int main(int argc, char** argv) {
    static service_t service;
    int port = default_port;
    ombrel_arguments_t arguments;
    if (ombrel_take_arguments(&table, argc, argv, NULL, &arguments) != 0)
        return arguments.m_exit_code;
    const char* address = arguments.m_operand_count > 0 ? arguments.m_operands[0] : NULL;
    if (arguments.m_operand_count > 1 &&
        ombrel_parse_argument_value(&port_operand, arguments.m_operands[1], &port) != 0)
        return ombrel_refuse_arguments(&table, "\"%s\" is no port", arguments.m_operands[1]);
    if (ombrel_init_network() != 0)
        return 1;
    const int result = run_service(&service, address, port);
    const int was_waiting = end_service(&service);
    ombrel_uninit_network();
    const size_t live = ombrel_get_alloc_count();
    const size_t peak = ombrel_get_alloc_peak_size();
    ombrel_printf("heap: %llu live blocks, peak %llu bytes\n", (unsigned long long)live,
                  (unsigned long long)peak);
    if (live > 0)
        ombrel_dump_exception(1);
    return result != 0 || live == 0 || was_waiting ? result : 2;
}
