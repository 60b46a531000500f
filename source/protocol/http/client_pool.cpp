// Hosts, the connections to them, and the calls that wait for one.
#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/resolver.h>
#include <ombrel/time.h>

#include "protocol/http/client_internal.h"

namespace ombrel::protocol {

namespace {

// How long a name's addresses are used without another look-up.
constexpr int answers_milliseconds = 30'000;

using host_list = node_list<http_host>;
using turn_list = node_list<http_host, &http_host::m_turn_prev, &http_host::m_turn_next>;

http_host* find_host(const ombrel_http_client_t& client, const http_target& target) {
    for (http_host* host = client.hosts; host != nullptr; host = host->m_next)
        if (host->port == target.port && strcmp(host->name, target.host) == 0)
            return host;
    return nullptr;
}

http_host* new_host(ombrel_http_client_t& client, const http_target& target) {
    const size_t size = strlen(target.host) + 1;
    auto* host = static_cast<http_host*>(
        ombrel_calloc_tag(1, sizeof(http_host) + size, client.caller.tag, client.caller.line));
    if (host == nullptr)
        return nullptr;
    host->name = reinterpret_cast<char*>(host + 1);
    memcpy(host->name, target.host, size);
    host->port = target.port;
    host->lookup.name = host->name;
    host->lookup.port = host->port;
    host_list(client.hosts).prepend(*host);
    client.has_idle_hosts = true; // unless it gets what it was made for
    return host;
}

void enqueue(ombrel_http_call_t& call, bool at_front) {
    ombrel_http_client_t& client = *call.client;
    http_host& host = *call.host;
    if (host.first_waiting == nullptr)
        turn_list(client.first_turn, &client.last_turn).append(host);
    const waiting_list waiting(host.first_waiting, &host.last_waiting);
    if (at_front)
        waiting.prepend(call);
    else
        waiting.append(call);
    call.is_queued = true;
    client.counts.m_waiting++;
    enter_stage(call, call_stage::waiting, -1);
}

http_connection* oldest_idle(const ombrel_http_client_t& client) {
    http_connection* oldest = nullptr;
    for (http_connection* kept = client.connections; kept != nullptr; kept = kept->m_next)
        if (kept->is_idle && (oldest == nullptr || kept->idle_end < oldest->idle_end))
            oldest = kept;
    return oldest;
}

// Whether one more connection may be opened; a host that has none may have a kept one of another closed.
bool make_room(ombrel_http_client_t& client, const http_host& host) {
    if (host.connections >= client.options.m_host_limit)
        return false;
    if (client.counts.m_connections < client.room)
        return true;
    http_connection* const oldest = host.connections == 0 ? oldest_idle(client) : nullptr;
    if (oldest != nullptr)
        close_connection(*oldest);
    return oldest != nullptr;
}

void use_again(http_connection& connection, ombrel_http_call_t& call) {
    leave_idle(connection);
    connection.call = &call;
    call.connection = &connection;
    begin_request(connection);
}

// False when the host has no kept connection that is still good.
bool use_idle(ombrel_http_call_t& call) {
    while (http_connection* const idle = call.host->idle) {
        if (is_quiet(*idle)) {
            use_again(*idle, call);
            return true;
        }
        close_connection(*idle);
    }
    return false;
}

// False when the call has to wait; else it has a connection or has failed.
bool serve(ombrel_http_call_t& call) {
    http_host& host = *call.host;
    if (!call.wants_fresh && use_idle(call))
        return true;
    // A kept connection that is not wanted makes room for one that is.
    if (call.wants_fresh && host.idle != nullptr && host.connections >= call.client->options.m_host_limit)
        close_connection(*host.idle);
    if (make_room(*call.client, host))
        open_connection(call);
    return call.connection != nullptr || call.has_failed;
}

// A host that was served goes behind the others.
bool serve_first(ombrel_http_client_t& client, http_host& host) {
    ombrel_http_call_t& call = *host.first_waiting;
    if (!serve(call))
        return false;
    leave_queue(call);
    if (host.first_waiting != nullptr) {
        const turn_list turns(client.first_turn, &client.last_turn);
        turns.unlink(host);
        turns.append(host);
    }
    return true;
}

// Serves a call of each host. False when none could be.
bool serve_round(ombrel_http_client_t& client) {
    bool has_served = false;
    for (http_host *host = client.first_turn, *next; host != nullptr; host = next) {
        next = host->m_turn_next;
        if (client.counts.m_idle == 0 && client.counts.m_connections >= client.room)
            return false;
        has_served |= serve_first(client, *host);
    }
    return has_served;
}

} // namespace

void place_call(ombrel_http_call_t& call) {
    ombrel_http_client_t& client = *call.client;
    const http_target& target = client.proxy != nullptr ? *client.proxy : *call.target;
    http_host* host = find_host(client, target);
    if (host == nullptr)
        host = new_host(client, target);
    call.host = host;
    if (host == nullptr)
        fail_later(call, fault_code::no_memory, "no memory");
    else if ((host->first_waiting != nullptr || !serve(call)) && !call.is_queued)
        enqueue(call, false);
}

void leave_queue(ombrel_http_call_t& call) {
    if (!call.is_queued)
        return;
    ombrel_http_client_t& client = *call.client;
    http_host& host = *call.host;
    waiting_list(host.first_waiting, &host.last_waiting).unlink(call);
    call.is_queued = false;
    client.counts.m_waiting--;
    if (host.first_waiting != nullptr)
        return;
    turn_list(client.first_turn, &client.last_turn).unlink(host);
    client.has_idle_hosts = true;
}

void wait_for_descriptor(ombrel_http_call_t& call) {
    ombrel_http_client_t& client = *call.client;
    close_connection(*call.connection);
    client.room = client.counts.m_connections;
    if (!call.is_queued)
        enqueue(call, true);
}

void leave_idle(http_connection& connection) {
    idle_list(connection.host->idle).unlink(connection);
    connection.is_idle = false;
    connection.client->counts.m_idle--;
}

void release_connection(http_connection& connection, bool is_usable) {
    ombrel_http_client_t& client = *connection.client;
    if (connection.call != nullptr)
        connection.call->connection = nullptr;
    connection.call = nullptr;
    client.wants_serving = true;
    if (!is_usable || client.options.m_idle_ms == 0 || client.is_closing) {
        close_connection(connection);
        return;
    }
    connection.idle_end = moment_after(client.options.m_idle_ms);
    idle_list(connection.host->idle).prepend(connection);
    connection.is_idle = true;
    client.counts.m_idle++;
    expect_moment(client, connection.idle_end);
}

void serve_waiting(ombrel_http_client_t& client) {
    while (serve_round(client))
        continue;
}

namespace {

void go_on_connecting(const ombrel_http_client_t& client, const http_host& host) {
    for (http_connection* waits = client.connections; waits != nullptr; waits = waits->m_next)
        if (waits->host == &host && waits->socket < 0)
            look_later(*waits);
}

} // namespace

void take_names(ombrel_http_client_t& client) {
    if (!has_lookups(client.names))
        return;
    for (http_host* host = client.hosts; host != nullptr; host = host->m_next) {
        const lookup_state state =
            host->is_asking ? look_at_name(client.names, host->lookup) : lookup_state::asked;
        if (state == lookup_state::asked)
            continue;
        host->is_asking = false;
        if (state == lookup_state::found)
            host->answers = take_answers(client.names, host->lookup);
        host->answers_end = moment_after(answers_milliseconds);
        go_on_connecting(client, *host);
    }
}

void forget_idle_hosts(ombrel_http_client_t& client) {
    client.has_idle_hosts = false;
    for (http_host *host = client.hosts, *next; host != nullptr; host = next) {
        next = host->m_next;
        if (host->connections == 0 && host->first_waiting == nullptr)
            forget_host(client, *host);
    }
}

void forget_host(ombrel_http_client_t& client, http_host& host) {
    drop_name(client.names, host.lookup);
    host_list(client.hosts).unlink(host);
    ombrel_close_resolver(host.answers);
    ombrel_free(&host);
}

void drop_idle(ombrel_http_client_t& client, uint64_t ended_by) {
    for (http_connection *kept = client.connections, *next; kept != nullptr; kept = next) {
        next = kept->m_next;
        if (kept->is_idle && kept->idle_end <= ended_by)
            close_connection(*kept);
    }
}

} // namespace ombrel::protocol
