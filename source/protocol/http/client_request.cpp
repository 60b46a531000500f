// Requests of a client on their way out.
#include <algorithm>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>
#include <ombrel/http_writer.h>
#include <ombrel/socket.h>

#include "core/wipe.h"
#include "protocol/http/client_internal.h"
#include "text/digits.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

// Bodies up to this size go out with the head.
constexpr size_t small_body = 16 * 1024;

// Most bytes of a head.
constexpr size_t head_limit = 256 * 1024;

// Of one connection in one iteration.
constexpr int most_pieces = 8;

bool has_body_handler(const ombrel_http_call_t& call) {
    return call.sends_body && call.request.m_body_handler != nullptr;
}

bool is_chunked(const ombrel_http_call_t& call) {
    return has_body_handler(call) && call.request.m_body_length < 0;
}

// The body that is there already.
std::string_view collected_body(const ombrel_http_call_t& call) {
    if (!call.sends_body || has_body_handler(call))
        return {};
    return {static_cast<const char*>(call.request.m_body), call.request.m_body_size};
}

int64_t body_length(const ombrel_http_call_t& call) {
    return has_body_handler(call) ? call.request.m_body_length
                                  : static_cast<int64_t>(collected_body(call).size());
}

bool is_field(const ombrel_http_client_field_t& field, const char* name) {
    return ombrel_is_http_name(field.m_name, strlen(field.m_name), name) == 1;
}

bool describes_body(const ombrel_http_client_field_t& field) {
    return ombrel_is_http_name(field.m_name, std::min<size_t>(strlen(field.m_name), 8), "Content-") == 1;
}

/// Without a proxy what is meant for one goes to the origin.
bool is_for_origin(const ombrel_http_call_t& call, const ombrel_http_client_field_t& field) {
    return is_field(field, "Host") || is_field(field, "Authorization") || is_field(field, "Cookie") ||
           (call.client->proxy == nullptr && is_field(field, "Proxy-Authorization"));
}

// What was meant for the first origin stays there, and what describes a body goes with it.
bool is_sent(const ombrel_http_call_t& call, const ombrel_http_client_field_t& field) {
    if (call.method != call.request.m_method && describes_body(field))
        return false;
    return is_same_origin(origin_of(call), *call.target) || !is_for_origin(call, field);
}

bool is_given(const ombrel_http_call_t& call, const char* name) {
    for (size_t i = 0; i < call.request.m_field_count; i++)
        if (is_field(call.request.m_fields[i], name) && is_sent(call, call.request.m_fields[i]))
            return true;
    return false;
}

void write_given(ombrel_http_writer_t& head, const ombrel_http_call_t& call) {
    const http_target& target = *call.target;
    if (!is_given(call, "Host"))
        ombrel_http_writer_sized_field(&head, "Host", 4, target.host_field, target.host_field_size);
    for (size_t i = 0; i < call.request.m_field_count; i++)
        if (is_sent(call, call.request.m_fields[i]))
            ombrel_http_writer_field(&head, call.request.m_fields[i].m_name,
                                     call.request.m_fields[i].m_value);
    if (*call.client->agent != '\0' && !is_given(call, "User-Agent"))
        ombrel_http_writer_field(&head, "User-Agent", call.client->agent);
    if (!is_given(call, "Accept"))
        ombrel_http_writer_field(&head, "Accept", "*/*");
}

const char* request_target(const ombrel_http_call_t& call) {
    return call.client->proxy != nullptr ? call.target->uri : call.target->path;
}

// Whether there was something to write.
bool write_login(ombrel_http_writer_t& head, const ombrel_http_call_t& call, http_login* login,
                 const char* name) {
    char value[def_ombrel_http_auth_value_size];
    if (login == nullptr || is_given(call, name))
        return false;
    const int size =
        ombrel_http_auth_client_answer(login->client, call.method, request_target(call), value, sizeof value);
    if (size > 0)
        ombrel_http_writer_field(&head, name, value);
    wipe(value, sizeof value);
    return size > 0;
}

bool wants_length(std::string_view method) {
    return method == "POST" || method == "PUT" || method == "PATCH";
}

void write_framing(ombrel_http_writer_t& head, const ombrel_http_call_t& call) {
    if (is_chunked(call))
        ombrel_http_writer_field(&head, "Transfer-Encoding", "chunked");
    else if (call.sends_body || wants_length(call.method))
        ombrel_http_writer_number_field(&head, "Content-Length", body_length(call));
    if ((call.request.m_flags & def_ombrel_http_client_no_keep) != 0)
        ombrel_http_writer_field(&head, "Connection", "close");
}

void write_head(ombrel_http_writer_t& head, ombrel_http_call_t& call) {
    ombrel_http_writer_request(&head, call.method, request_target(call));
    write_given(head, call);
    call.was_signed =
        is_same_origin(origin_of(call), *call.target) && write_login(head, call, call.login, "Authorization");
    call.was_proxy_signed = write_login(head, call, call.proxy_login, "Proxy-Authorization");
    write_framing(head, call);
    ombrel_http_writer_end_head(&head);
}

// Takes what the socket takes now off the front.
void send_now(http_connection& connection, std::string_view& data) {
    while (!data.empty() && !connection.cannot_send) {
        const int count = ombrel_send_now(connection.socket, data.data(), data.size());
        if (count == def_ombrel_socket_would_block)
            return;
        if (count < 0) {
            connection.cannot_send = true; // the server may have answered nevertheless
            return;
        }
        connection.has_sent = true;
        data.remove_prefix(static_cast<size_t>(count));
        note_progress(*connection.call);
    }
}

void send_or_keep(http_connection& connection, std::string_view data) {
    send_now(connection, data);
    if (data.empty() || connection.cannot_send)
        return;
    const call_site& caller = connection.client->caller;
    connection.unsent = static_cast<char*>(ombrel_alloc_tag(data.size(), caller.tag, caller.line));
    if (connection.unsent == nullptr) {
        fail_later(*connection.call, fault_code::no_memory, "no memory");
        return;
    }
    memcpy(connection.unsent, data.data(), data.size());
    connection.unsent_at = 0;
    connection.unsent_size = data.size();
}

void drop_unsent(http_connection& connection) {
    ombrel_check_free(std::exchange(connection.unsent, nullptr));
    connection.unsent_size = 0;
}

void send_unsent(http_connection& connection) {
    std::string_view left(connection.unsent + connection.unsent_at, connection.unsent_size);
    send_now(connection, left);
    connection.unsent_at += connection.unsent_size - left.size();
    connection.unsent_size = left.size();
    if (left.empty())
        drop_unsent(connection);
}

// Once all of it has gone.
void finish_request(http_connection& connection) {
    if (!connection.body_ended || connection.unsent_size > 0 || connection.is_sent)
        return;
    connection.is_sent = true;
    if (connection.call->stage == call_stage::sending)
        enter_stage(*connection.call, call_stage::asking, connection.client->options.m_head_ms);
}

// Head and small body in one go, so that they travel together.
void send_together(http_connection& connection, std::string_view head, std::string_view body) {
    const call_site& caller = connection.client->caller;
    const size_t size = head.size() + body.size();
    auto* whole = static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line));
    if (whole == nullptr) {
        fail_later(*connection.call, fault_code::no_memory, "no memory");
        return;
    }
    put_text(put_text(whole, head), body);
    send_or_keep(connection, {whole, size});
    wipe(whole, head.size());
    ombrel_free(whole);
    if (connection.is_gone)
        return;
    connection.call->sent = static_cast<int64_t>(body.size());
    connection.body_ended = true;
    finish_request(connection);
}

void send_head(http_connection& connection, std::string_view head) {
    ombrel_http_call_t& call = *connection.call;
    const std::string_view body = collected_body(call);
    if (!has_body_handler(call) && body.size() <= small_body) {
        send_together(connection, head, body);
        return;
    }
    send_or_keep(connection, head);
    if (!connection.is_gone)
        look_later(connection);
}

// False when the call has ended.
bool rewind_body(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    if (!std::exchange(call.needs_rewind, false))
        return true;
    call.is_in_handler = true;
    return settle_handler(call, call.request.m_rewind_handler(&call, call.request.m_context));
}

void send_collected(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    const std::string_view body = collected_body(call);
    std::string_view left = slice(body, static_cast<size_t>(call.sent));
    send_now(connection, left);
    call.sent = static_cast<int64_t>(body.size() - left.size());
    connection.body_ended = left.empty();
}

// Around a piece in chunks: its size and line end before it, its line end and the last chunk behind it.
constexpr size_t chunk_front = 10;
constexpr size_t chunk_back = 2;
constexpr std::string_view last_chunk = "0\r\n\r\n";

// The line of a chunk, right before its bytes.
char* put_chunk_line(char* before, size_t size) {
    *--before = '\n';
    *--before = '\r';
    for (; size > 0; size >>= 4)
        *--before = lower_digits[size & 15];
    return before;
}

void send_given(http_connection& connection, char* data, size_t size) {
    ombrel_http_call_t& call = *connection.call;
    call.sent += static_cast<int64_t>(size);
    if (!is_chunked(call)) {
        send_or_keep(connection, {data, size});
        return;
    }
    char* const begin = put_chunk_line(data, size);
    char* const end = put_text(data + size, "\r\n");
    send_or_keep(connection, {begin, static_cast<size_t>(end - begin)});
}

// The body handler has given its last byte.
void end_given(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    if (is_chunked(call))
        send_or_keep(connection, last_chunk);
    else if (call.sent != call.request.m_body_length)
        fail_later(call, fault_code::invalid, "the body is shorter than was told");
    connection.body_ended = true;
}

void take_given(http_connection& connection, int64_t count, size_t room) {
    ombrel_http_call_t& call = *connection.call;
    if (count == def_ombrel_http_client_no_body_yet)
        return; // unless the handler has asked for another call already
    connection.body_waits = false;
    if (count == 0)
        end_given(connection);
    else if (count > 0 && static_cast<uint64_t>(count) <= room)
        send_given(connection, connection.client->area + chunk_front, static_cast<size_t>(count));
    else if (count == -1)
        fail_later(call, last_fault().code, "the body cannot be had");
    else
        fail_later(call, fault_code::invalid, "the body handler gave more than there was room for");
}

void ask_for_body(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    size_t room = area_size - chunk_front - chunk_back;
    if (!is_chunked(call))
        room = static_cast<size_t>(
            std::min<uint64_t>(room, static_cast<uint64_t>(call.request.m_body_length - call.sent)));
    if (room == 0) {
        connection.body_ended = true;
        return;
    }
    leave_fault(fault_code::invalid);
    connection.body_waits = true;
    call.is_in_handler = true;
    const int64_t count = call.request.m_body_handler(&call, connection.client->area + chunk_front, room,
                                                      call.request.m_context);
    if (settle_handler(call, 0))
        take_given(connection, count, room);
}

// Whether more of the body can be sent now.
bool can_send(const http_connection& connection) {
    return !connection.is_gone && !connection.body_ended && !connection.body_waits &&
           !connection.cannot_send && connection.unsent_size == 0;
}

} // namespace

void begin_request(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    const call_site& caller = connection.client->caller;
    connection.uses++;
    connection.cannot_send = connection.body_waits = connection.body_ended = connection.is_sent =
        connection.is_cut = connection.has_answer = connection.has_sent = false;
    enter_stage(call, call_stage::sending, connection.client->options.m_progress_ms);
    const bool is_head = std::string_view(call.method) == "HEAD";
    ombrel_http_parser_expect(connection.parser,
                              is_head ? def_ombrel_http_answer_head : def_ombrel_http_answer_any);
    ombrel_http_writer_t head;
    ombrel_init_http_writer_block_tag(&head, head_limit, caller.tag, caller.line);
    write_head(head, call);
    const int64_t size = ombrel_http_writer_get_size(&head);
    if (size < 0)
        fail_later(call, last_fault().code, "the request's head cannot be written");
    else
        send_head(connection, {ombrel_http_writer_get_data(&head), static_cast<size_t>(size)});
    ombrel_uninit_http_writer(&head);
    watch(connection);
}

void send_more(http_connection& connection) {
    if (!rewind_body(connection) || connection.is_gone)
        return;
    if (connection.unsent_size > 0)
        send_unsent(connection);
    for (int i = 0; i < most_pieces && can_send(connection); i++) {
        if (has_body_handler(*connection.call)) {
            ask_for_body(connection);
            continue;
        }
        send_collected(connection);
        break;
    }
    if (connection.is_gone)
        return;
    if (connection.cannot_send)
        give_up_request(connection);
    finish_request(connection);
}

void give_up_request(http_connection& connection) {
    drop_unsent(connection);
    connection.is_sent = connection.is_cut = true;
}

bool is_repeatable(std::string_view method) {
    for (const char* repeatable : {"GET", "HEAD", "OPTIONS", "TRACE", "PUT", "DELETE"})
        if (method == repeatable)
            return true;
    return false;
}

bool can_repeat(const ombrel_http_call_t& call) {
    return !has_body_handler(call) || call.sent == 0 || call.request.m_rewind_handler != nullptr;
}

void prepare_request(ombrel_http_call_t& call) {
    call.needs_rewind = has_body_handler(call) && call.sent > 0;
    call.sent = call.received = 0;
    call.status = call.interims = 0;
    call.length = -1;
    call.head_bytes = call.texts_size = call.field_count = 0;
    ombrel_check_free(std::exchange(call.fields, nullptr));
    call.use = answer_use::deliver;
}

} // namespace ombrel::protocol
