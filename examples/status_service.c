/*
 * status_service [--user NAME --password-file FILE] [ADDRESS [PORT]]: shows the library at work in one
 * process with one event loop. It listens on this machine's loop-back addresses, port 8080, unless an address
 * is given.
 *
 *   /             a page that updates itself      /echo              POST: returns the body
 *   /status.json  the page's figures              /lookup?name=NAME  the addresses of a name
 *   /version.xml  the version document            /slow?ms=TIME      answers after a while
 *   /heap         the live allocations            /screen            a page with a live frame buffer
 *   /guide        the guide's chapters            /screen.png        its present frame
 *
 * SIGINT and SIGTERM end it; it prints then what is left on the heap.
 */
#include <signal.h>
#include <string.h>

#include "status_guide.h"
#include "status_listen.h"
#include "status_login.h"
#include "status_lookup.h"
#include "status_report.h"
#include "status_screen.h"
#include "whole_arguments.h"

enum { default_port = 8080, slow_limit_msec = 60000 };

typedef struct service {
    ombrel_event_base_t* base;
    ombrel_http_server_t* server;
    ombrel_event_t interrupt_event;
    ombrel_event_t terminate_event;
    ombrel_event_t second_event;
    int ends;
    uint64_t start;
    heap_history_t history;
    status_screen_t screen;
    status_login_t login;
    status_lookups_t lookups;
    char* heap_text; /* the list of live allocations as it was at heap_text_time */
    size_t heap_text_size;
    uint64_t heap_text_time;
} service_t;

/* ---- pages ---- */

/* What is answered is of this moment. */
static int respond(ombrel_http_exchange_t* exchange, const char* type, const void* data, size_t size) {
    return ombrel_http_exchange_answer(exchange, 200, type, data, size);
}

/* What the program was built with. */
typedef struct {
    const char* path;
    const char* type;
    const unsigned char* data;
    const size_t* size;
} document_t;

static document_t documents[] = {
    {"/", "text/html; charset=utf-8", status_page, &status_page_size},
    {"/screen", "text/html; charset=utf-8", screen_page, &screen_page_size},
    {"/guide", "text/html; charset=utf-8", guide_page, &guide_page_size},
    {"/page.css", "text/css; charset=utf-8", page_style, &page_style_size},
};

static int answer_document(ombrel_http_exchange_t* exchange, void* context) {
    const document_t* document = context;
    return respond(exchange, document->type, document->data, *document->size);
}

/* A client that has the present frame is told so. */
static int answer_screen_picture(ombrel_http_exchange_t* exchange, void* context) {
    service_t* service = context;
    char tag[screen_tag_size];
    size_t size = 0;
    if (look_at_status_screen(&service->screen, tag) != 0)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for the screen");
    const char* known = ombrel_http_exchange_get_field(exchange, "If-None-Match");
    const int has_it = known != NULL && ombrel_match_http_entity_tag(known, strlen(known), tag, 0) == 1;
    const unsigned char* picture = has_it ? NULL : take_status_picture(&service->screen, &size);
    if (picture == NULL && !has_it)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for the picture");
    ombrel_http_exchange_add_field(exchange, "ETag", tag);
    return has_it ? ombrel_http_exchange_answer(exchange, 304, NULL, NULL, 0)
                  : respond(exchange, "image/png", picture, size);
}

static int answer_status(ombrel_http_exchange_t* exchange, void* context) {
    service_t* service = context;
    ombrel_http_server_counts_t counts;
    ombrel_http_server_get_counts(service->server, &counts);
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed =
        out == NULL || report_status(out, &service->history, ombrel_time_stamp_msec() - service->start,
                                     &counts, service->base) != 0;
    const int result = respond_with_buffer(exchange, "application/json", out, failed);
    ombrel_close_buffer(out);
    return result;
}

static int answer_version(ombrel_http_exchange_t* exchange, void* context) {
    (void)context;
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed = out == NULL || ombrel_push_version_xml(out, "status_service") != 0;
    const int result = respond_with_buffer(exchange, "application/xml", out, failed);
    ombrel_close_buffer(out);
    return result;
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

static int answer_heap(ombrel_http_exchange_t* exchange, void* context) {
    service_t* service = context;
    refresh_heap_text(service);
    if (service->heap_text == NULL)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for the list");
    return respond(exchange, "text/plain; charset=utf-8", service->heap_text, service->heap_text_size);
}

static int answer_echo(ombrel_http_exchange_t* exchange, void* context) {
    size_t size = 0;
    const void* body = ombrel_http_exchange_get_body(exchange, &size);
    (void)context;
    return respond(exchange, "application/octet-stream", body, size);
}

/* ---- answers after a while ---- */

typedef struct {
    ombrel_event_t* timer;
    ombrel_http_exchange_t* exchange;
    int msec;
} pause_t;

static void free_pause(pause_t* pause) {
    if (pause->timer != NULL)
        ombrel_free_event(pause->timer);
    ombrel_free(pause);
}

static void end_pause(ombrel_http_exchange_t* exchange, int outcome, void* context) {
    (void)exchange;
    (void)outcome;
    free_pause(context);
}

static void on_pause_over(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    const pause_t* pause = context;
    (void)event;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) != 0)
        ombrel_http_exchange_answer_printf(pause->exchange, 200, "text/plain; charset=utf-8",
                                           "waited %d ms\n", pause->msec);
}

static int begin_pause(service_t* service, ombrel_http_exchange_t* exchange, int msec) {
    pause_t* pause = ombrel_calloc(1, sizeof *pause);
    if (pause == NULL)
        return -1;
    pause->exchange = exchange;
    pause->msec = msec;
    pause->timer = ombrel_new_event(service->base, -1, 0, on_pause_over, pause);
    if (pause->timer != NULL && ombrel_add_event(pause->timer, msec) == 0 &&
        ombrel_http_exchange_defer(exchange, end_pause, pause) == 0)
        return 0;
    free_pause(pause);
    return -1;
}

/* -1 for what is no number of milliseconds up to the limit. */
static int parse_milliseconds(const char* text) {
    size_t digits = 0;
    while (text[digits] >= '0' && text[digits] <= '9')
        digits++;
    if (digits == 0 || digits > 5 || text[digits] != '\0' || ombrel_atoi(text) > slow_limit_msec)
        return -1;
    return ombrel_atoi(text);
}

static int answer_slow(ombrel_http_exchange_t* exchange, void* context) {
    char value[16];
    const int64_t size = ombrel_http_exchange_get_parameter(exchange, "ms", value, sizeof value);
    const int msec = size > 0 ? parse_milliseconds(value) : -1;
    if (msec < 0)
        return ombrel_http_exchange_answer_error(exchange, 400,
                                                 "ms is a number of milliseconds, at most 60000");
    if (begin_pause(context, exchange, msec) != 0)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for a timer");
    return 0;
}

static int answer_lookup(ombrel_http_exchange_t* exchange, void* context) {
    service_t* service = context;
    char name[name_limit + 1];
    if (ombrel_http_exchange_get_parameter(exchange, "name", name, sizeof name) <= 0)
        return ombrel_http_exchange_answer_error(exchange, 400, "name is the name to look up");
    return answer_with_addresses(&service->lookups, exchange, name);
}

/* ---- the server ---- */

static const struct {
    const char* method;
    const char* path;
    ombrel_http_handler_t handler;
} routes[] = {{"GET", "/status.json", answer_status},
              {"GET", "/version.xml", answer_version},
              {"GET", "/heap", answer_heap},
              {"GET", "/slow", answer_slow},
              {"GET", "/lookup", answer_lookup},
              {"GET", "/guide/*", answer_guide_file},
              {"GET", "/screen.png", answer_screen_picture},
              {"POST", "/echo", answer_echo}};

/* Pages are of the moment; and whoever has to log in does so before anything else. */
static int guard(ombrel_http_exchange_t* exchange, void* context) {
    service_t* service = context;
    ombrel_http_exchange_add_field(exchange, "Cache-Control", "no-store");
    return service->login.auth != NULL ? ombrel_guard_http_exchange(exchange, service->login.auth) : 0;
}

static int add_routes(service_t* service) {
    for (size_t i = 0; i < sizeof documents / sizeof *documents; i++)
        if (ombrel_http_server_add_route(service->server, "GET", documents[i].path, answer_document,
                                         &documents[i]) != 0)
            return -1;
    for (size_t i = 0; i < sizeof routes / sizeof *routes; i++)
        if (ombrel_http_server_add_route(service->server, routes[i].method, routes[i].path, routes[i].handler,
                                         service) != 0)
            return -1;
    return 0;
}

static int begin_server(service_t* service) {
    ombrel_http_server_options_t options;
    ombrel_init_http_server_options(&options);
    options.m_guard = guard;
    options.m_guard_context = service;
    options.m_answer_ms = slow_limit_msec + 10000;
    service->server = ombrel_open_http_server(service->base, &options);
    return service->server != NULL ? add_routes(service) : -1;
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
    end_late_lookups(&service->lookups);
    ombrel_add_event(event, 1000);
}

static int begin_events(service_t* service) {
    const uint32_t signal_flags = def_ombrel_event_signal | def_ombrel_event_persist;
    ombrel_event_base_t* base = service->base;
    if (ombrel_assign_event(base, &service->interrupt_event, SIGINT, signal_flags, on_signal, service) != 0 ||
        ombrel_assign_event(base, &service->terminate_event, SIGTERM, signal_flags, on_signal, service) !=
            0 ||
        ombrel_assign_event(base, &service->second_event, -1, 0, on_second, service) != 0 ||
        begin_status_lookups(&service->lookups, base) != 0 ||
        begin_status_screen(&service->screen, base, &service->history) != 0)
        return -1;
    report_sample(&service->history);
    return ombrel_add_event(&service->interrupt_event, -1) == 0 &&
                   ombrel_add_event(&service->terminate_event, -1) == 0 &&
                   ombrel_add_event(&service->second_event, 1000) == 0
               ? 0
               : -1;
}

/* What end_status_lookups() tells. */
static int end_service(service_t* service) {
    ombrel_close_http_server(service->server);
    const int was_waiting = end_status_lookups(&service->lookups);
    ombrel_event_t* events[] = {&service->interrupt_event, &service->terminate_event, &service->second_event};
    for (size_t i = 0; i < sizeof events / sizeof *events; i++)
        if ((events[i]->m_flags & def_ombrel_event_assigned) != 0)
            ombrel_unassign_event(events[i]);
    end_status_screen(&service->screen);
    end_status_login(&service->login);
    if (service->base != NULL)
        ombrel_free_event_base(service->base);
    ombrel_check_free(service->heap_text);
    return was_waiting;
}

typedef struct {
    const char* address; /* null for the default */
    int port;
    const char* user; /* null for everybody */
    const char* password_file;
} choice_t;

static int run_service(service_t* service, const choice_t* choice) {
    service->start = ombrel_time_stamp_msec();
    service->base = ombrel_new_event_base();
    if (service->base == NULL || begin_events(service) != 0 || begin_server(service) != 0) {
        ombrel_error_printf("status_service: [ERROR] not enough memory or descriptors\n");
        return 1;
    }
    if (choice->user != NULL && begin_status_login(&service->login, choice->user, choice->password_file) != 0)
        return 1;
    if (listen_and_tell(service->server, choice->address, choice->port) != 0)
        return 1;
    /* A signal that is none of ours interrupts the loop: it goes on. */
    while (!service->ends && ombrel_event_base_dispatch(service->base) != 0)
        ombrel_load_balance_short();
    return 0;
}

static choice_t choice = {.port = default_port};

static const ombrel_argument_option_t options[] = {
    {.m_letter = 'u',
     .m_name = "user",
     .m_kind = def_ombrel_argument_text,
     .m_target = &choice.user,
     .m_value = "NAME",
     .m_help = "show nothing to anybody else, by HTTP Digest"},
    {.m_letter = 'P',
     .m_name = "password-file",
     .m_kind = def_ombrel_argument_text,
     .m_target = &choice.password_file,
     .m_value = "FILE",
     .m_help = "where the line NAME:SECRET stands, as \"ombrel_tuk secret NAME\" prints it"},
    {.m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"},
    {.m_name = "manual", .m_kind = def_ombrel_argument_manual, .m_flags = def_ombrel_argument_hidden},
    {.m_name = "completion", .m_kind = def_ombrel_argument_completion, .m_flags = def_ombrel_argument_hidden},
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
    ombrel_arguments_t arguments;
    if (ombrel_take_arguments(&table, argc, whole_arguments(argv), NULL, &arguments) != 0)
        return arguments.m_exit_code;
    if (arguments.m_operand_count > 0)
        choice.address = arguments.m_operands[0];
    if (arguments.m_operand_count > 1 &&
        ombrel_parse_argument_value(&port_operand, arguments.m_operands[1], &choice.port) != 0)
        return ombrel_refuse_arguments(&table, "\"%s\" is no port", arguments.m_operands[1]);
    if ((choice.user == NULL) != (choice.password_file == NULL))
        return ombrel_refuse_arguments(&table, "--user and --password-file go together");
    if (ombrel_init_network() != 0)
        return 1;
    const int result = run_service(&service, &choice);
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
