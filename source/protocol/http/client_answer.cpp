// Answers to a client: events of the parser made into what calls tell.
#include <algorithm>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>

#include "protocol/http/client_internal.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

// Interim answers before the true one.
constexpr int most_interims = 32;

// Of the body of an answer that nobody reads; beyond it another connection is cheaper.
constexpr int64_t most_discarded = 64 * 1024;

constexpr size_t first_body_room = 4096;
constexpr size_t first_text_room = 1024;

bool refuse(ombrel_http_call_t& call, fault_code why, const char* text) {
    fail_call(call, why, text);
    return false;
}

bool refuse_memory(ombrel_http_call_t& call) {
    return refuse(call, fault_code::no_memory, "no memory");
}

// Has room for `more` bytes behind the first `size`; doubled, so that what grows is seldom copied.
bool make_room(const ombrel_http_call_t& call, char*& block, size_t size, size_t more, size_t& room,
               size_t first_room) {
    if (more > SIZE_MAX / 4 - size)
        return false;
    if (size + more <= room)
        return true;
    const size_t wanted = std::max({first_room, room * 2, size + more});
    const call_site& caller = call.client->caller;
    auto* const grown = static_cast<char*>(ombrel_realloc_tag(block, wanted, caller.tag, caller.line));
    if (grown == nullptr)
        return false;
    block = grown;
    room = wanted;
    return true;
}

bool begin_answer(ombrel_http_call_t& call, const ombrel_http_event_t& event) {
    call.status = event.m_status;
    call.texts_size = call.field_count = 0;
    return true;
}

bool take_field(ombrel_http_call_t& call, const ombrel_http_event_t& event) {
    const std::string_view name(event.m_name.m_data, event.m_name.m_size);
    const std::string_view value(event.m_value.m_data, event.m_value.m_size);
    const size_t more = name.size() + value.size() + 2;
    if (!make_room(call, call.texts, call.texts_size, more, call.texts_room, first_text_room))
        return refuse_memory(call);
    char* to = put_text(call.texts + call.texts_size, name);
    *to++ = '\0';
    *put_text(to, value) = '\0';
    call.texts_size += more;
    call.field_count++;
    call.head_bytes += more;
    if (call.head_bytes > call.client->options.m_head_limit)
        return refuse(call, fault_code::too_large, "the answer's heads are too large");
    return true;
}

// The texts do not move any more.
bool index_fields(ombrel_http_call_t& call) {
    const call_site& caller = call.client->caller;
    if (call.field_count == 0)
        return true;
    call.fields = static_cast<ombrel_http_client_field_t*>(
        ombrel_alloc_tag(call.field_count * sizeof *call.fields, caller.tag, caller.line));
    if (call.fields == nullptr)
        return refuse_memory(call);
    const char* text = call.texts;
    for (size_t i = 0; i < call.field_count; i++) {
        call.fields[i].m_name = text;
        call.fields[i].m_value = text + strlen(text) + 1;
        text = call.fields[i].m_value + strlen(call.fields[i].m_value) + 1;
    }
    return true;
}

int64_t body_limit(const ombrel_http_call_t& call) {
    const ombrel_http_client_options_t& options = call.client->options;
    return call.request.m_data_handler != nullptr ? options.m_streamed_limit : options.m_collected_limit;
}

bool is_too_large(const ombrel_http_call_t& call, int64_t size) {
    const int64_t limit = body_limit(call);
    return limit >= 0 && size > limit;
}

// The head of the answer that the user gets.
bool deliver_head(ombrel_http_call_t& call, const ombrel_http_event_t& event) {
    call.length = event.m_length;
    if (event.m_body == def_ombrel_http_body_length && is_too_large(call, event.m_length))
        return refuse(call, fault_code::too_large, "the answer's body is too large");
    if (call.request.m_head_handler == nullptr)
        return true;
    call.is_in_handler = true;
    return settle_handler(call, call.request.m_head_handler(&call, call.request.m_context));
}

bool pass_over_interim(ombrel_http_call_t& call) {
    call.status = 0;
    if (++call.interims > most_interims)
        return refuse(call, fault_code::violation, "too many interim answers");
    return true;
}

bool take_head(ombrel_http_call_t& call, const ombrel_http_event_t& event) {
    http_connection& connection = *call.connection;
    if ((event.m_flags & def_ombrel_http_head_interim) != 0)
        return pass_over_interim(call);
    if (event.m_body == def_ombrel_http_body_tunnel)
        return refuse(call, fault_code::violation, "the server changes to another protocol unasked");
    if (!index_fields(call) || !choose_use(call))
        return false;
    // A server that has refused will not read on.
    if (call.status >= 300 && !connection.is_sent)
        give_up_request(connection);
    enter_stage(call, call_stage::receiving, call.client->options.m_progress_ms);
    return call.use != answer_use::deliver || deliver_head(call, event);
}

bool collect(ombrel_http_call_t& call, const ombrel_http_text_t& data) {
    if (!make_room(call, call.body, call.body_size, data.m_size + 1, call.body_room, first_body_room))
        return refuse_memory(call);
    memcpy(call.body + call.body_size, data.m_data, data.m_size);
    call.body_size += data.m_size;
    call.body[call.body_size] = '\0';
    return true;
}

// A body that nobody reads is read to its end, so that the connection can be used again, unless it is long.
bool discard(ombrel_http_call_t& call) {
    if (call.received <= most_discarded)
        return true;
    release_connection(*call.connection, false);
    ask_again(call);
    return false;
}

bool take_body(ombrel_http_call_t& call, const ombrel_http_event_t& event) {
    call.received += static_cast<int64_t>(event.m_data.m_size);
    if (call.use != answer_use::deliver)
        return discard(call);
    if (is_too_large(call, call.received))
        return refuse(call, fault_code::too_large, "the answer's body is too large");
    if (call.request.m_data_handler == nullptr)
        return collect(call, event.m_data);
    call.is_in_handler = true;
    return settle_handler(call, call.request.m_data_handler(&call, event.m_data.m_data, event.m_data.m_size,
                                                            call.request.m_context));
}

bool finish_answer(ombrel_http_call_t& call, const ombrel_http_event_t& event, bool has_more) {
    if (call.status == 0)
        return true; // an interim one
    http_connection& connection = *call.connection;
    const bool is_kept = (event.m_flags & def_ombrel_http_head_keep_alive) != 0 && !has_more &&
                         connection.is_sent && !connection.is_cut &&
                         (call.request.m_flags & def_ombrel_http_client_no_keep) == 0;
    release_connection(connection, is_kept);
    if (call.use == answer_use::deliver)
        end_call(call, 0);
    else
        ask_again(call);
    return false;
}

/// False when the call has left the connection, or has ended.
bool take_event(ombrel_http_call_t& call, const ombrel_http_event_t& event, bool has_more) {
    switch (event.m_kind) {
    case def_ombrel_http_event_response:
        return begin_answer(call, event);
    case def_ombrel_http_event_field:
        return take_field(call, event);
    case def_ombrel_http_event_head:
        return take_head(call, event);
    case def_ombrel_http_event_body:
        return take_body(call, event);
    case def_ombrel_http_event_end:
        return finish_answer(call, event, has_more);
    default:
        return true;
    }
}

bool is_limit(int reason) {
    switch (reason) {
    case def_ombrel_http_fault_long_start_line:
    case def_ombrel_http_fault_long_field:
    case def_ombrel_http_fault_many_fields:
    case def_ombrel_http_fault_large_head:
    case def_ombrel_http_fault_large_trailers:
        return true;
    default:
        return false;
    }
}

void refuse_answer(http_connection& connection) {
    const int reason = ombrel_http_parser_get_fault(connection.parser)->m_reason;
    if (reason == def_ombrel_http_fault_no_memory)
        refuse_memory(*connection.call);
    else
        refuse(*connection.call, is_limit(reason) ? fault_code::too_large : fault_code::violation,
               ombrel_http_fault_text(reason));
}

void hold(http_connection& connection, const char* data, size_t size) {
    connection.is_holding = true;
    if (size == 0)
        return;
    const call_site& caller = connection.client->caller;
    connection.held = static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line));
    if (connection.held == nullptr) {
        fail_later(*connection.call, fault_code::no_memory, "no memory");
        return;
    }
    memcpy(connection.held, data, size);
    connection.held_size = size;
}

// How many bytes were taken before a pause; the call may have left the connection.
size_t take_events(http_connection& connection, const char* data, size_t size) {
    ombrel_http_call_t& call = *connection.call;
    ombrel_http_event_t event;
    size_t at = 0;
    int step = 1;
    while (!call.is_paused && step > 0) {
        step = ombrel_http_parser_next(connection.parser, data, size, &at, &event);
        if (step > 0 && !take_event(call, event, at < size))
            return size;
    }
    if (step < 0)
        refuse_answer(connection);
    return at;
}

// A kept connection may have been closed by the server before it knew of the request.
bool try_again(http_connection& connection) {
    ombrel_http_call_t& call = *connection.call;
    const bool is_safe = !connection.has_sent || is_repeatable(call.method);
    if (connection.uses < 2 || connection.has_answer || call.was_retried || !is_safe || !can_repeat(call))
        return false;
    call.was_retried = call.wants_fresh = true;
    release_connection(connection, false);
    prepare_request(call);
    place_call(call);
    return true;
}

} // namespace

void take_bytes(http_connection& connection, const char* data, size_t size) {
    const ombrel_http_call_t& call = *connection.call;
    const size_t taken = take_events(connection, data, size);
    if (!connection.is_gone && connection.call == &call && call.is_paused)
        hold(connection, data + taken, size - taken);
}

void take_held(http_connection& connection) {
    if (connection.call->is_paused)
        return;
    char* const held = std::exchange(connection.held, nullptr);
    connection.is_holding = false;
    take_bytes(connection, held != nullptr ? held : "", std::exchange(connection.held_size, 0));
    ombrel_check_free(held);
}

void take_end(http_connection& connection, fault_code why) {
    ombrel_http_call_t& call = *connection.call;
    ombrel_http_event_t event;
    const int step = why == fault_code::closed ? ombrel_http_parser_end(connection.parser, &event) : -1;
    if (step > 0)
        take_event(call, event, true);
    else if (!try_again(connection))
        fail_call(call, why,
                  why == fault_code::closed ? "the server closed before its answer was whole"
                                            : "the connection broke off");
}

} // namespace ombrel::protocol
