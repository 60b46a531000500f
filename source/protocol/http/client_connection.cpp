// Connections of a client: how they come to be, what they wait for, how they end.
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/socket.h>
#include <ombrel/time.h>

#include "core/heap_ptr.h"
#include "network/endpoint.h"
#include "platform/socket.h"
#include "protocol/http/client_internal.h"

namespace ombrel::protocol {

namespace {

// Of one connection in one iteration, so that none holds up the others.
constexpr int most_receives = 8;

void on_event(ombrel_event_t*, int, uint32_t ready, void* context) {
    if (ready == def_ombrel_event_assigned)
        return;
    auto& connection = *static_cast<http_connection*>(context);
    const client_scope scope(*connection.client);
    look_at(connection);
}

uint32_t kinds_of_interest(const http_connection& connection) {
    if (!connection.is_connected)
        return def_ombrel_event_write | def_ombrel_event_exception;
    const ombrel_http_call_t* const call = connection.call;
    const bool reads = !connection.is_holding && (call == nullptr || !call->is_paused);
    const bool writes =
        call != nullptr && !connection.is_sent && (connection.unsent_size > 0 || !connection.body_waits);
    return (reads ? def_ombrel_event_read : 0u) | (writes ? def_ombrel_event_write : 0u);
}

void unwatch(http_connection& connection) {
    if ((connection.event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&connection.event);
    connection.watched = 0;
}

void drop_socket(http_connection& connection) {
    unwatch(connection);
    connection.socket = ombrel_close_socket(connection.socket);
}

} // namespace

void watch(http_connection& connection) {
    const uint32_t wanted = connection.socket < 0 ? 0 : kinds_of_interest(connection);
    if (wanted == connection.watched || connection.is_gone)
        return;
    unwatch(connection);
    if (wanted == 0)
        return;
    if (ombrel_assign_event(connection.client->base, &connection.event, connection.socket,
                            wanted | def_ombrel_event_persist, on_event, &connection) == 0 &&
        ombrel_add_event(&connection.event, -1) == 0)
        connection.watched = wanted;
    else if (connection.call != nullptr)
        fail_later(*connection.call, fault_code::no_memory, "the connection cannot be watched");
    else
        close_connection(connection);
}

void look_later(http_connection& connection) {
    if (std::exchange(connection.is_ready, true))
        return;
    connection.m_ready_next = std::exchange(connection.client->first_ready, &connection);
    wake_client(*connection.client);
}

namespace {

http_connection* new_connection(ombrel_http_call_t& call) {
    ombrel_http_client_t& client = *call.client;
    const call_site& caller = client.caller;
    heap_ptr<http_connection> made(static_cast<http_connection*>(
        ombrel_calloc_tag(1, sizeof(http_connection), caller.tag, caller.line)));
    if (!made)
        return nullptr;
    ombrel_http_parser_options_t limits;
    ombrel_init_http_parser_options(&limits);
    limits.m_head_limit = client.options.m_head_limit;
    limits.m_start_line_limit = limits.m_field_line_limit = limits.m_trailer_limit = limits.m_head_limit;
    limits.m_field_count_limit = client.options.m_field_limit;
    limits.m_body_limit = -1; // the calls' own
    made->parser = ombrel_open_http_parser_tag(def_ombrel_http_responses, &limits, caller.tag, caller.line);
    return made->parser != nullptr ? made.release() : nullptr;
}

void fail_connecting(http_connection& connection, fault_code why, const char* text) {
    connection.host->answers_end = 0; // the addresses may have changed
    fail_later(*connection.call, why, text);
}

void on_connected(http_connection& connection) {
    connection.is_connected = true;
    ombrel_close_resolver(std::exchange(connection.answers, nullptr));
    connection.answer = nullptr;
    platform::set_option(connection.socket, platform::socket_option::no_delay, 1);
    char byte;
    const int count = ombrel_recv_now(connection.socket, &byte, 1);
    if (count == def_ombrel_socket_would_block)
        begin_request(connection);
    else if (count > 0)
        fail_later(*connection.call, fault_code::violation, "the server did not wait for the request");
    else
        fail_later(*connection.call, fault_code::closed, "the server closed before the request");
}

// Addresses that are left share the time that is left.
void limit_attempt(http_connection& connection) {
    int left = 0;
    for (const ombrel_resolver_t* answer = connection.answer; answer != nullptr; answer = answer->m_next)
        left++;
    const uint64_t now = ombrel_time_stamp_msec();
    uint64_t end = connection.connect_end;
    if (end != never && end > now)
        end = now + (end - now) / static_cast<uint64_t>(left);
    connection.call->stage_end = end;
    expect_moment(*connection.client, end);
}

/// What came of an attempt, the last included that failed.
enum class attempt { done, failed, no_descriptor };

attempt try_address(http_connection& connection) {
    const ombrel_resolver_t& answer = *connection.answer;
    connection.socket = ombrel_open_socket(answer.m_family, SOCK_STREAM, 0);
    if (connection.socket < 0)
        return last_fault().code == fault_code::no_descriptor ? attempt::no_descriptor : attempt::failed;
    switch (platform::start_connect(connection.socket, answer.m_address, answer.m_address_size)) {
    case platform::connect_state::connected:
        on_connected(connection);
        break;
    case platform::connect_state::failed:
        return attempt::failed;
    default:
        limit_attempt(connection);
    }
    watch(connection);
    return attempt::done;
}

// Without a descriptor a call waits for one of the client's own, if there are others.
void do_without_descriptor(http_connection& connection) {
    if (connection.client->counts.m_connections > 1)
        wait_for_descriptor(*connection.call);
    else
        fail_connecting(connection, fault_code::no_descriptor, "no descriptor is left");
}

const char* connect_fault_text(fault_code why) {
    return why == fault_code::refused ? "nobody listens there" : "the host cannot be reached";
}

void try_addresses(http_connection& connection) {
    fault_code why = fault_code::unreachable;
    for (; connection.answer != nullptr; connection.answer = connection.answer->m_next) {
        const attempt outcome = try_address(connection);
        if (outcome == attempt::done)
            return;
        if (outcome == attempt::no_descriptor) {
            do_without_descriptor(connection);
            return;
        }
        why = last_fault().code;
        drop_socket(connection);
    }
    fail_connecting(connection, why, connect_fault_text(why));
}

void finish_connecting(http_connection& connection) {
    int error = 0;
    platform::get_option(connection.socket, platform::socket_option::pending_error, error);
    if (error == 0 && platform::is_connected(connection.socket)) {
        on_connected(connection);
        return;
    }
    const fault_code why = error != 0 ? platform::fault_of(error).code : fault_code::unreachable;
    if (!try_next_address(connection))
        fail_connecting(connection, why, connect_fault_text(why));
}

// Whether the addresses of the host are known, or will be told later; else the call has failed.
bool ask_for_addresses(http_connection& connection) {
    http_host& host = *connection.host;
    if (host.answers != nullptr && host.answers_end > ombrel_time_stamp_msec())
        return true;
    ombrel_close_resolver(std::exchange(host.answers, nullptr));
    if (endpoint().parse(AF_UNSPEC, host.name, host.port)) {
        host.answers = ombrel_open_resolver(host.name, host.port);
        host.answers_end = never;
        return host.answers != nullptr;
    }
    if (!host.is_asking)
        host.is_asking = ask_name(connection.client->names, host.lookup);
    return host.is_asking;
}

} // namespace

bool try_next_address(http_connection& connection) {
    if (connection.answer == nullptr || connection.answer->m_next == nullptr)
        return false;
    drop_socket(connection);
    connection.answer = connection.answer->m_next;
    try_addresses(connection);
    return true;
}

void begin_connecting(http_connection& connection) {
    if (connection.host->answers == nullptr)
        return;
    connection.answers = ombrel_duplicate_resolver(connection.host->answers);
    connection.answer = connection.answers;
    if (connection.answers == nullptr)
        fail_later(*connection.call, fault_code::no_memory, "no memory");
    else
        try_addresses(connection);
}

void open_connection(ombrel_http_call_t& call) {
    ombrel_http_client_t& client = *call.client;
    http_connection* const connection = new_connection(call);
    if (connection == nullptr) {
        fail_later(call, fault_code::no_memory, "no memory");
        return;
    }
    connection->client = &client;
    connection->host = call.host;
    connection->call = &call;
    connection->socket = def_ombrel_invalid_socket;
    connection_list(client.connections).prepend(*connection);
    client.counts.m_connections++;
    client.counts.m_opened++;
    call.host->connections++;
    call.connection = connection;
    enter_stage(call, call_stage::connecting, client.options.m_connect_ms);
    connection->connect_end = call.stage_end;
    if (ask_for_addresses(*connection))
        begin_connecting(*connection);
    else
        fail_later(call, fault_code::no_memory, "no memory");
}

bool is_quiet(const http_connection& connection) {
    char byte;
    return ombrel_recv_now(connection.socket, &byte, 1) == def_ombrel_socket_would_block;
}

namespace {

// Gives whether more may be there.
bool receive_once(http_connection& connection) {
    char* const area = connection.client->area;
    const int count = ombrel_recv_now(connection.socket, area, area_size);
    if (count == def_ombrel_socket_would_block)
        return false;
    if (connection.call == nullptr) {
        close_connection(connection); // nothing is awaited on a kept connection but its end
        return false;
    }
    if (count <= 0) {
        take_end(connection, count == 0 ? fault_code::closed : fault_code::reset);
        return false;
    }
    connection.has_answer = true;
    note_progress(*connection.call);
    take_bytes(connection, area, static_cast<size_t>(count));
    return static_cast<size_t>(count) == area_size;
}

bool wants_bytes(const http_connection& connection) {
    return !connection.is_gone && !connection.is_holding &&
           (connection.call == nullptr || (!connection.call->is_paused && !connection.call->has_failed));
}

void receive(http_connection& connection) {
    for (int i = 0; i < most_receives && wants_bytes(connection) && receive_once(connection); i++)
        continue;
}

void look_at_open(http_connection& connection) {
    if (connection.is_holding)
        take_held(connection);
    if (!connection.is_gone && connection.call != nullptr && !connection.is_sent)
        send_more(connection);
    if (wants_bytes(connection))
        receive(connection);
}

// The host's name has been answered, or not found.
void look_at_name_of(http_connection& connection) {
    if (connection.host->answers != nullptr)
        begin_connecting(connection);
    else if (!connection.host->is_asking)
        fail_connecting(connection, fault_code::unknown_host, "the host has no address");
}

} // namespace

void look_at(http_connection& connection) {
    if (connection.call != nullptr && connection.call->has_failed)
        return;
    if (connection.is_connected)
        look_at_open(connection);
    else if (connection.socket < 0)
        look_at_name_of(connection);
    else
        finish_connecting(connection);
    if (!connection.is_gone)
        watch(connection);
}

void close_connection(http_connection& connection) {
    ombrel_http_client_t& client = *connection.client;
    if (std::exchange(connection.is_gone, true))
        return;
    drop_socket(connection);
    if (connection.call != nullptr)
        std::exchange(connection.call, nullptr)->connection = nullptr;
    if (connection.is_idle)
        leave_idle(connection);
    connection_list(client.connections).unlink(connection);
    connection.m_next = std::exchange(client.gone_connections, &connection);
    connection.host->connections--;
    client.counts.m_connections--;
    client.room = client.options.m_connection_limit;
    client.wants_serving = client.has_idle_hosts = true;
}

void free_connection(http_connection* connection) {
    ombrel_close_http_parser(connection->parser);
    ombrel_close_resolver(connection->answers);
    ombrel_check_free(connection->unsent);
    ombrel_check_free(connection->held);
    ombrel_free(connection);
}

} // namespace ombrel::protocol
