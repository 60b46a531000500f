// Connections: what the loop does for each, and for how long.
#include <new>
#include <utility>

#include <ombrel/socket.h>
#include <ombrel/time.h>

#include "core/fault.h"
#include "platform/socket.h"
#include "protocol/http/http_server_internal.h"

namespace ombrel::protocol {

namespace {

constexpr int writer_calls_at_once = 4;

void end_event(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

void unlink_kicked(http_exchange& connection) {
    http_server& server = *connection.server;
    http_exchange* before = nullptr;
    if (!connection.is_kicked)
        return;
    for (http_exchange* one = server.kicked; one != &connection; one = one->next_kicked)
        before = one;
    (before != nullptr ? before->next_kicked : server.kicked) = connection.next_kicked;
    if (server.last_kicked == &connection)
        server.last_kicked = before;
    connection.is_kicked = false;
}

void unlink(http_exchange& connection) {
    http_server& server = *connection.server;
    unlink_kicked(connection);
    (connection.previous != nullptr ? connection.previous->next : server.connections) = connection.next;
    if (connection.next != nullptr)
        connection.next->previous = connection.previous;
    server.listener.leave_place(connection.place);
}

void free_connection(http_exchange& connection) {
    memory_budget& budget = connection.server->budget;
    end_event(connection.event);
    drop_output(connection);
    drop_check(connection);
    unlink(connection);
    if (!connection.was_taken)
        ombrel_close_socket(connection.socket);
    for (counted_block* block :
         {&connection.held, &connection.request.texts, &connection.body, &connection.added_fields})
        block->clear(budget);
    ombrel_check_free(connection.user);
    ombrel_close_http_parser(connection.parser);
    ombrel_free(&connection);
}

bool is_under_way(const http_exchange& connection) {
    return connection.answer == answer::awaited || connection.answer == answer::begun;
}

/// Kinds that the connection waits for. That the client is gone is noticed whatever it is.
uint32_t wanted_kinds(const http_exchange& connection) {
    uint32_t wanted = def_ombrel_event_exception;
    const bool reads = connection.lingers || (connection.held.size == 0 && wants_input(connection));
    if (reads && !connection.saw_end)
        wanted |= def_ombrel_event_read;
    if (unsent(connection) > 0)
        wanted |= def_ombrel_event_write;
    return wanted;
}

void on_ready(ombrel_event_t*, int, uint32_t ready, void* context);

void watch(http_exchange& connection) {
    const uint32_t wanted = wanted_kinds(connection);
    if (wanted == connection.watched)
        return;
    if (connection.watched != 0)
        ombrel_del_event(&connection.event);
    const bool watched = ombrel_assign_event(connection.server->base, &connection.event, connection.socket,
                                             wanted | def_ombrel_event_persist, on_ready, &connection) == 0 &&
                         ombrel_add_event(&connection.event, -1) == 0;
    connection.watched = watched ? wanted : 0;
    connection.is_broken = connection.is_broken || !watched;
}

/// Answered for the last time. Closing with unread bytes would tear the answer away from the client: it is
/// told first, and given time to read.
void say_goodbye(http_exchange& connection) {
    if (connection.said_goodbye || unsent(connection) > 0 || connection.saw_end)
        return;
    connection.said_goodbye = true;
    connection.began_ms = connection.server->now;
    ombrel_shutdown_socket(connection.socket, def_ombrel_shutdown_send);
}

bool is_idle(const http_exchange& connection) {
    return connection.intake == intake::head && !connection.has_begun && connection.held.size == 0;
}

/// Whether nothing is left to be done for it.
bool is_over(const http_exchange& connection) {
    if (connection.is_broken || connection.was_taken)
        return true;
    if (unsent(connection) > 0)
        return false;
    if (connection.server->is_stopping && is_idle(connection))
        return true;
    return connection.saw_end && (connection.lingers || is_idle(connection));
}

void call_writer(http_exchange& connection) {
    connection.wants_room = false;
    call_handler(connection, connection.writer, connection.writer_context);
    flush_output(connection);
}

/// Bytes that came while the request before them was in hand, or its body was held; the body's end needs
/// none.
void take_held(http_exchange& connection) {
    counted_block& held = connection.held;
    if ((held.size == 0 && connection.intake != intake::body) || !wants_input(connection))
        return;
    held.drop_front(take_input(connection, held.data != nullptr ? held.data : "", held.size));
    if (held.size == 0 || hears_no_more(connection))
        held.clear(connection.server->budget);
}

bool writer_is_due(const http_exchange& connection) {
    return connection.wants_room && connection.answer == answer::begun && !connection.is_broken &&
           has_room(connection);
}

/// Does what can be done without waiting.
void go_on(http_exchange& connection) {
    connection.is_busy = true;
    if (ombrel_get_buffer_size(connection.output) > 0)
        flush_output(connection);
    for (int calls = 0; writer_is_due(connection) && calls < writer_calls_at_once; calls++)
        call_writer(connection);
    tell_end_of_body(connection);
    go_on_judging(connection);
    finish_answer(connection);
    take_held(connection);
    if (connection.saw_end && connection.held.size == 0)
        take_end(connection);
    flush_output(connection);
    finish_answer(connection);
    connection.is_busy = false;
    if (writer_is_due(connection) || connection.awaits_guard ||
        (connection.held.size > 0 && wants_input(connection)))
        kick(connection);
}

/// After something happened: goes on, then waits or ends.
void settle(http_exchange& connection) {
    go_on(connection);
    if (connection.lingers)
        say_goodbye(connection);
    if (!is_over(connection))
        watch(connection);
    const bool failed = connection.outcome == def_ombrel_http_exchange_failed;
    if (is_over(connection))
        close_connection(connection,
                         failed ? def_ombrel_http_exchange_failed : def_ombrel_http_exchange_abandoned);
}

void receive(http_exchange& connection) {
    http_server& server = *connection.server;
    const int count = ombrel_recv_now(connection.socket, server.input, sizeof server.input);
    if (count == def_ombrel_socket_would_block)
        return;
    connection.saw_end = count == 0;
    connection.is_broken = connection.is_broken || count < 0;
    if (count <= 0 || connection.lingers)
        return;
    connection.is_busy = true;
    const size_t size = static_cast<size_t>(count);
    const size_t used = take_input(connection, server.input, size);
    if (!hears_no_more(connection) &&
        !connection.held.append(server.budget, server.input + used, size - used, server_tag))
        refuse_request(connection, 503, "no memory for the request");
    connection.is_busy = false;
}

void on_ready(ombrel_event_t*, int, uint32_t ready, void* context) {
    auto& connection = *static_cast<http_exchange*>(context);
    if (ready == def_ombrel_event_assigned)
        return;
    connection.server->now = ombrel_time_stamp_msec();
    // The client is gone, or sends what has no place in HTTP.
    if ((ready & def_ombrel_event_exception) != 0)
        connection.is_broken = true;
    else if ((ready & def_ombrel_event_read) != 0)
        receive(connection);
    settle(connection);
}

/// Whether a limit has passed.
bool has_passed(const http_exchange& connection, uint64_t since, int64_t limit_ms) {
    return limit_ms >= 0 && connection.server->now - since >= static_cast<uint64_t>(limit_ms);
}

int64_t body_ms(const http_exchange& connection) {
    const ombrel_http_server_options_t& options = connection.server->options;
    if (options.m_body_rate == 0 || options.m_request_ms < 0)
        return -1;
    return options.m_request_ms + static_cast<int64_t>(connection.body_came / options.m_body_rate) * 1000;
}

/// A slow client takes bytes of which the host has many, so that there is no room for more for a long time;
/// or just so many as it is handed meanwhile.
void look_for_progress(http_exchange& connection) {
    const int64_t left = unsent(connection) > 0 ? platform::unacknowledged_bytes(connection.socket) : -1;
    if (left < 0)
        return;
    const uint64_t taken = connection.handed_over - static_cast<uint64_t>(left);
    if (taken != std::exchange(connection.taken, taken))
        connection.moved_ms = connection.server->now;
}

void end_late_request(http_exchange& connection) {
    connection.server->counts.m_late_requests++;
    refuse_request(connection, 408, "the request did not come in time");
    settle(connection);
}

void end_late_head(http_exchange& connection) {
    const ombrel_http_server_options_t& options = connection.server->options;
    if (!wants_input(connection) || connection.held.size > 0)
        connection.began_ms = connection.server->now; // its bytes wait for this side
    else if (connection.has_begun && has_passed(connection, connection.began_ms, options.m_request_ms))
        end_late_request(connection);
    else if (!connection.has_begun &&
             has_passed(connection, connection.began_ms,
                        connection.is_new ? options.m_request_ms : options.m_idle_ms))
        close_connection(connection, def_ombrel_http_exchange_abandoned);
}

} // namespace

void kick(http_exchange& connection) {
    http_server& server = *connection.server;
    if (connection.is_busy || connection.is_kicked)
        return;
    connection.is_kicked = true;
    connection.next_kicked = nullptr;
    (server.kicked != nullptr ? server.last_kicked->next_kicked : server.kicked) = &connection;
    server.last_kicked = &connection;
    ombrel_add_event(&server.kick_event, 0); // a failure is made good by the sweep
}

/// Each has one turn; those that are kicked meanwhile have theirs in the next iteration of the loop.
void look_at_kicked(http_server& server) {
    http_exchange* const last = server.kicked != nullptr ? server.last_kicked : nullptr;
    for (bool goes_on = last != nullptr; goes_on;) {
        http_exchange& first = *server.kicked;
        goes_on = &first != last;
        unlink_kicked(first);
        settle(first);
    }
    if (server.kicked != nullptr)
        ombrel_add_event(&server.kick_event, 0);
}

void end_exchange(http_exchange& exchange, int outcome) {
    const ombrel_http_end_handler_t handler = std::exchange(exchange.end_handler, nullptr);
    if (handler == nullptr)
        return;
    const handler_call counted(*exchange.server);
    handler(&exchange, outcome, exchange.end_context);
}

void finish_answer(http_exchange& exchange) {
    if (exchange.answer != answer::complete || exchange.lingers)
        return;
    if (exchange.end_handler != nullptr) {
        flush_output(exchange);
        if (unsent(exchange) > 0)
            return;
    }
    // What came of the request behind its answer's end belongs to it.
    if (!exchange.is_last && exchange.intake != intake::done)
        return;
    end_exchange(exchange, exchange.outcome);
    if (exchange.is_last)
        exchange.lingers = true;
    else
        begin_request(exchange);
}

void close_connection(http_exchange& connection, int outcome) {
    if (is_under_way(connection) && !connection.was_taken) {
        connection.server->counts.m_abandoned += outcome == def_ombrel_http_exchange_abandoned;
        if (connection.answer == answer::begun)
            log_answer(connection);
    }
    end_exchange(connection, outcome);
    http_server& server = *connection.server;
    free_connection(connection);
    if (server.is_stopping && server.connections == nullptr)
        ombrel_add_event(&server.kick_event, 0); // which tells that the server has stopped
}

void end_late(http_exchange& connection) {
    const ombrel_http_server_options_t& options = connection.server->options;
    look_for_progress(connection);
    // What is only gathered was not offered yet.
    if (ombrel_get_buffer_size(connection.output) > 0 &&
        has_passed(connection, connection.moved_ms, options.m_progress_ms))
        close_connection(connection, def_ombrel_http_exchange_abandoned);
    else if (connection.lingers && connection.said_goodbye &&
             has_passed(connection, connection.began_ms, linger_ms))
        close_connection(connection, def_ombrel_http_exchange_done);
    else if (!connection.lingers && connection.intake == intake::head)
        end_late_head(connection);
    else if (!connection.lingers && wants_input(connection)) {
        if (has_passed(connection, connection.began_ms, body_ms(connection)))
            end_late_request(connection);
    } else if (is_open(connection) && !connection.holds_body &&
               has_passed(connection, connection.began_ms, options.m_answer_ms)) {
        refuse_request(connection, 503, "the answer takes too long");
        settle(connection);
    }
}

void add_connection(http_server& server, int socket, const endpoint& peer) {
    auto* const block = ombrel_calloc_tag(1, sizeof(http_exchange), server.tag, server.line);
    ombrel_http_parser_t* const parser =
        block != nullptr ? ombrel_open_http_parser_tag(def_ombrel_http_requests, &server.parser_options,
                                                       server.tag, server.line)
                         : nullptr;
    if (parser == nullptr) {
        ombrel_check_free(block);
        ombrel_close_socket(socket);
        return;
    }
    auto& connection = *new (block) http_exchange();
    connection.server = &server;
    connection.socket = socket;
    connection.parser = parser;
    connection.is_new = true;
    server.now = ombrel_time_stamp_msec();
    ombrel_inet_stopp(peer.get(), connection.peer, sizeof connection.peer, &connection.peer_port);
    server.listener.take_place(connection.place, peer);
    connection.next = server.connections;
    if (connection.next != nullptr)
        connection.next->previous = &connection;
    server.connections = &connection;
    begin_request(connection);
    keep_sweeping(server);
    settle(connection);
}

} // namespace ombrel::protocol

using namespace ombrel;
using namespace ombrel::protocol;

int ombrel_http_exchange_take_socket(ombrel_http_exchange_t* exchange, void* data, size_t room,
                                     size_t* size) {
    const bool is_sound = exchange != nullptr && size != nullptr && (data != nullptr || room == 0) &&
                          is_open(*exchange) &&
                          (exchange->intake == intake::done || exchange->request.has_no_body);
    if (!is_sound)
        return leave_fault(fault_code::invalid), -1;
    flush_output(*exchange);
    if (unsent(*exchange) > 0 || exchange->is_broken)
        return leave_fault(fault_code::busy), -1;
    const std::string_view came =
        exchange->is_busy ? exchange->rest : std::string_view(exchange->held.data, exchange->held.size);
    if (came.size() > room)
        return leave_fault(fault_code::too_large), -1;
    if (!came.empty())
        memcpy(data, came.data(), came.size());
    *size = came.size();
    end_event(exchange->event);
    exchange->watched = 0;
    exchange->was_taken = exchange->is_last = true;
    exchange->answer = answer::none;
    exchange->end_handler = nullptr;
    kick(*exchange);
    return exchange->socket;
}
