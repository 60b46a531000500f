// A server of HTTP as a whole.
#include <ombrel/http_server.h>

#include <new>

#include <ombrel/socket.h>
#include <ombrel/string.h>
#include <ombrel/time.h>

#include "core/fault.h"
#include "protocol/http/http_server_internal.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr std::string_view refusal =
    "HTTP/1.1 503 Service Unavailable\r\nServer: libombrel_tuk\r\nRetry-After: 1\r\n"
    "Content-Type: text/plain; charset=utf-8\r\nContent-Length: 51\r\nConnection: close\r\n\r\n"
    "503 Service Unavailable: there is no room just now\n";

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

bool is_within(size_t value, size_t least, size_t most) {
    return value >= least && value <= most;
}

bool is_sound(const ombrel_http_server_options_t& options) {
    constexpr size_t longest_name = 128;
    const char* const name = options.m_name;
    return (name == nullptr || (strlen(name) <= longest_name && ombrel_is_http_value(name, strlen(name)))) &&
           is_within(options.m_head_limit, 128, 1 << 20) && is_within(options.m_field_limit, 1, 1000) &&
           options.m_output_limit >= 4096 && options.m_client_limit >= 1;
}

void settle_parser_options(http_server& server) {
    ombrel_http_parser_options_t& parser = server.parser_options;
    ombrel_init_http_parser_options(&parser);
    parser.m_start_line_limit = parser.m_field_line_limit = parser.m_head_limit = parser.m_trailer_limit =
        server.options.m_head_limit;
    parser.m_field_count_limit = server.options.m_field_limit;
    parser.m_body_limit = server.options.m_body_limit;
}

void end_event(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

void close_all(http_server& server, int outcome) {
    while (server.connections != nullptr)
        close_connection(*server.connections, outcome);
}

/// Tells once that a stopped server has no clients any more. The handler may close it.
void end_stop(http_server& server) {
    if (!server.is_stopping || server.has_stopped || server.connections != nullptr)
        return;
    server.has_stopped = true;
    if (server.stop_handler != nullptr)
        server.stop_handler(&server, server.stop_context);
}

void on_sweep(http_server& server) {
    for (http_exchange *one = server.connections, *next; one != nullptr; one = next) {
        next = one->next;
        end_late(*one);
    }
    look_at_kicked(server);
    keep_sweeping(server);
    end_stop(server);
}

void on_kick(http_server& server) {
    look_at_kicked(server);
    end_stop(server);
}

void on_stop(http_server& server) {
    close_all(server, def_ombrel_http_exchange_failed);
    end_stop(server);
}

/// A timer of the server that calls a function.
template<void (*Function)(http_server&)>
bool assign_timer(http_server& server, ombrel_event_t& event) {
    return ombrel_assign_event(
               server.base, &event, -1, 0,
               [](ombrel_event_t*, int, uint32_t ready, void* context) {
                   auto& its = *static_cast<http_server*>(context);
                   if ((ready & def_ombrel_event_timeout) == 0)
                       return;
                   its.now = ombrel_time_stamp_msec();
                   Function(its);
               },
               &server) == 0;
}

/// False, with the fault left.
bool start(http_server& server) {
    const listener_settings settings{"http",
                                     refusal,
                                     server.options.m_client_limit,
                                     server.options.m_address_limit,
                                     [](int socket, const endpoint& peer, void* context) {
                                         add_connection(*static_cast<http_server*>(context), socket, peer);
                                     },
                                     &server};
    // In any case, as closing frees the name.
    server.options.m_name = ombrel_strdup_tag(server.options.m_name != nullptr ? server.options.m_name : "",
                                              server.tag, server.line);
    if (!server.listener.open(server.base, settings))
        return false;
    const bool has_all =
        server.options.m_name != nullptr && assign_timer<on_sweep>(server, server.sweep_event) &&
        assign_timer<on_kick>(server, server.kick_event) && assign_timer<on_stop>(server, server.stop_event);
    return has_all || refuse(fault_code::no_memory) == 0;
}

} // namespace

void ombrel::protocol::keep_sweeping(http_server& server) {
    if (server.connections != nullptr &&
        ombrel_event_pending(&server.sweep_event, def_ombrel_event_timeout, nullptr) == 0)
        ombrel_add_event(&server.sweep_event, sweep_ms);
}

int ombrel_init_http_server_options(ombrel_http_server_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {};
    options->m_name = "libombrel_tuk";
    options->m_head_limit = 8192;
    options->m_field_limit = 100;
    options->m_body_limit = 1 << 20;
    options->m_output_limit = 256 << 10;
    options->m_memory_limit = 64 << 20;
    options->m_client_limit = 10000;
    options->m_idle_ms = 30000;
    options->m_request_ms = 10000;
    options->m_body_rate = 1024;
    options->m_progress_ms = 30000;
    options->m_answer_ms = 60000;
    return 0;
}

ombrel_http_server_t* ombrel_open_http_server_tag(ombrel_event_base_t* base,
                                                  const ombrel_http_server_options_t* options,
                                                  const char* function, unsigned long line) {
    ombrel_http_server_options_t settled;
    ombrel_init_http_server_options(&settled);
    if (options != nullptr)
        settled = *options;
    if (base == nullptr || !is_sound(settled))
        return refuse(fault_code::invalid), nullptr;
    void* const block = ombrel_calloc_tag(1, sizeof(http_server), function, line);
    if (block == nullptr)
        return refuse(fault_code::no_memory), nullptr;
    auto& server = *new (block) http_server();
    server.base = base;
    server.options = settled;
    server.budget.limit = settled.m_memory_limit;
    server.tag = function;
    server.line = line;
    settle_parser_options(server);
    if (start(server))
        return &server;
    const fault_keeper kept;
    ombrel_close_http_server(&server);
    return nullptr;
}

int ombrel_close_http_server(ombrel_http_server_t* server) {
    if (server == nullptr)
        return 0;
    if (server->depth > 0)
        return refuse(fault_code::busy);
    close_all(*server, def_ombrel_http_exchange_failed);
    server->listener.close();
    for (ombrel_event_t* event : {&server->sweep_event, &server->kick_event, &server->stop_event})
        end_event(*event);
    free_routes(*server);
    if (server->options.m_name != nullptr)
        ombrel_free(const_cast<char*>(server->options.m_name));
    ombrel_free(server);
    return 0;
}

int ombrel_http_server_listen(ombrel_http_server_t* server, const char* address, int port) {
    if (server == nullptr || server->is_stopping)
        return refuse(fault_code::invalid);
    return server->listener.listen(address, port);
}

char* ombrel_alloc_http_server_url_tag(ombrel_http_server_t* server, size_t index, const char* function,
                                       unsigned long line) {
    if (server == nullptr)
        return refuse(fault_code::invalid), nullptr;
    return server->listener.alloc_url(index, function, line);
}

int ombrel_http_server_stop(ombrel_http_server_t* server, int timeout_ms, ombrel_http_stop_handler_t handler,
                            void* context) {
    if (server == nullptr || server->is_stopping)
        return refuse(fault_code::invalid);
    server->is_stopping = true;
    server->stop_handler = handler;
    server->stop_context = context;
    server->listener.stop();
    for (http_exchange* one = server->connections; one != nullptr; one = one->next)
        kick(*one);
    if (timeout_ms >= 0)
        ombrel_add_event(&server->stop_event, timeout_ms);
    ombrel_add_event(&server->kick_event, 0);
    return 0;
}

int ombrel_http_server_get_counts(ombrel_http_server_t* server, ombrel_http_server_counts_t* counts) {
    if (server == nullptr || counts == nullptr)
        return refuse(fault_code::invalid);
    *counts = server->counts;
    counts->m_accepted = server->listener.accepted();
    counts->m_refused = server->listener.refused();
    counts->m_clients = server->listener.clients();
    counts->m_memory = server->budget.used;
    return 0;
}
