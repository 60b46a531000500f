/*
 * ombrel_fetch [OPTION...] URI...: asks HTTP servers, all at once from one event loop, and prints a line for
 * each answer: its status, its bytes, their SHA-256, and where it came from in the end. Exits with 1 when a
 * call failed.
 */
#include <string.h>

#include <ombrel_tuk.h>

#include "whole_arguments.h"

static struct {
    int copies, connections, of_host, seconds, takes_basic;
    const char *method, *body, *user, *password, *proxy;
} choice = {.copies = 1, .connections = 64, .of_host = 6, .seconds = 60};

static ombrel_event_base_t* base;
static int under_way, failures;

/* A body is not kept, only digested: that of a large file costs no memory. */
static int take_data(ombrel_http_call_t* call, const void* data, size_t size, void* context) {
    (void)call;
    ombrel_sha256_push(context, data, size);
    return 0;
}

static void show(const ombrel_http_call_t* call, ombrel_sha256_t* digest) {
    unsigned char bytes[def_ombrel_sha256_size];
    const char* text = ombrel_sha256_digest(digest, bytes);
    const ombrel_transfer_error_t* error = ombrel_http_call_get_error(call);
    if (error->m_fault == def_ombrel_fault_none) {
        ombrel_printf("%d %lld %s %s\n", ombrel_http_call_get_status(call),
                      (long long)ombrel_http_call_get_received(call), text, ombrel_http_call_get_uri(call));
        return;
    }
    failures++;
    ombrel_error_printf("ombrel_fetch: %s: %s\n", ombrel_http_call_get_uri(call), error->m_text);
}

static int on_end(ombrel_http_call_t* call, void* context) {
    show(call, context);
    ombrel_free(context);
    if (--under_way == 0)
        ombrel_event_base_break_loop(base);
    return 0;
}

static int complain(const char* what) {
    ombrel_error_printf("ombrel_fetch: %s: %s\n", what, ombrel_fault_text());
    failures++;
    return -1;
}

static int begin(ombrel_http_client_t* client, const char* uri) {
    ombrel_http_client_request_t request;
    ombrel_sha256_t* digest = ombrel_alloc(sizeof *digest);
    if (digest == NULL)
        return complain(uri);
    ombrel_init_sha256(digest);
    ombrel_init_http_client_request(&request, uri);
    request.m_method = choice.method;
    request.m_body = choice.body;
    request.m_body_size = choice.body != NULL ? strlen(choice.body) : 0;
    request.m_user = choice.user;
    request.m_password = choice.password;
    request.m_flags = choice.takes_basic ? def_ombrel_http_client_basic : 0;
    request.m_data_handler = take_data;
    request.m_handler = on_end;
    request.m_context = digest;
    if (ombrel_http_client_call(client, &request) == NULL) {
        complain(uri);
        ombrel_free(digest);
        return -1;
    }
    under_way++;
    return 0;
}

static void fetch_all(int count, char** uris) {
    ombrel_http_client_options_t options;
    ombrel_init_http_client_options(&options);
    options.m_connection_limit = (size_t)choice.connections;
    options.m_host_limit = (size_t)choice.of_host;
    options.m_whole_ms = choice.seconds * 1000;
    options.m_waiting_limit = 1000000;
    options.m_proxy = choice.proxy;
    ombrel_http_client_t* client = ombrel_open_http_client(base, &options);
    if (client == NULL) {
        complain("client");
        return;
    }
    for (int copy = 0; copy < choice.copies; copy++)
        for (int i = 0; i < count; i++)
            begin(client, uris[i]);
    /* A signal interrupts the loop: it goes on. */
    while (under_way > 0)
        ombrel_event_base_dispatch(base);
    ombrel_close_http_client(client);
}

#define COUNT_OPTION(letter, name, target, text, most)                                                       \
    {                                                                                                        \
        .m_letter = letter, .m_name = name, .m_kind = def_ombrel_argument_integer, .m_target = target,       \
        .m_value = "COUNT", .m_help = text, .m_least = 1, .m_most = most                                     \
    }
#define WORD_OPTION(letter, name, target, value, text)                                                       \
    {                                                                                                        \
        .m_letter = letter, .m_name = name, .m_kind = def_ombrel_argument_text, .m_target = target,          \
        .m_value = value, .m_help = text                                                                     \
    }

static const ombrel_argument_option_t options[] = {
    COUNT_OPTION('n', "copies", &choice.copies, "ask for each URI so often (default 1)", 1000000),
    COUNT_OPTION('c', "connections", &choice.connections, "open so many connections (default 64)", 100000),
    COUNT_OPTION('h', "of-host", &choice.of_host, "of them to one host (default 6)", 100000),
    COUNT_OPTION('t', "seconds", &choice.seconds, "give up after so many seconds (default 60)", 86400),
    WORD_OPTION('X', "method", &choice.method, "METHOD", "instead of GET, or of POST with a body"),
    WORD_OPTION('d', "body", &choice.body, "TEXT", "send this"),
    WORD_OPTION('u', "user", &choice.user, "NAME", "log in by Digest"),
    WORD_OPTION('p', "password", &choice.password, "WORD",
                "the password, which others may see in the list of processes"),
    WORD_OPTION('x', "proxy", &choice.proxy, "URI", "ask this proxy for all"),
    {.m_letter = 'b',
     .m_name = "basic",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &choice.takes_basic,
     .m_help = "log in by Basic, too"},
    {0},
};

static const ombrel_argument_table_t table = {
    .m_name = "ombrel_fetch",
    .m_operands = "URI...",
    .m_least_operands = 1,
    .m_summary = "Asks HTTP servers, and prints status, bytes and SHA-256 of each answer.",
    .m_options = options,
};

int main(int argc, char** argv) {
    ombrel_arguments_t arguments;
    if (ombrel_take_arguments(&table, argc, whole_arguments(argv), NULL, &arguments) != 0)
        return arguments.m_exit_code;
    base = ombrel_new_event_base();
    if (base == NULL)
        return 1;
    fetch_all(arguments.m_operand_count, arguments.m_operands);
    ombrel_free_event_base(base);
    return failures > 0;
}
