// Requests as they come in: taken apart, handed to their handlers.
#include <algorithm>

#include <new>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/http/auth_check.h"
#include "protocol/http/http_server_internal.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

const ombrel_http_route_t* route_of(const http_exchange& exchange) {
    return exchange.request.route != nullptr ? &exchange.request.route->told : nullptr;
}

bool is_streamed(const http_exchange& exchange) {
    const ombrel_http_route_t* const route = route_of(exchange);
    return route != nullptr && (route->m_flags & def_ombrel_http_route_streamed) != 0;
}

int64_t body_limit(const http_exchange& exchange) {
    const ombrel_http_route_t* const route = route_of(exchange);
    return route != nullptr && route->m_body_limit >= 0 ? route->m_body_limit
                                                        : exchange.server->options.m_body_limit;
}

void take_request_line(http_exchange& exchange, const ombrel_http_event_t& event) {
    http_request& request = exchange.request;
    if (!keep_request_line(exchange, event)) {
        refuse_request(exchange, 503, "no memory for the request");
        return;
    }
    if (!request.has_path) {
        refuse_request(exchange, 400, "the path is no proper one");
        return;
    }
    const char* const texts = request.texts.data;
    request.route = find_route(*exchange.server, texts, texts + request.path);
    // A handler that takes dots out of paths would serve there what the other route guards.
    if (find_route(*exchange.server, texts, texts + request.clean_path) != request.route) {
        refuse_request(exchange, 404, nullptr);
        return;
    }
    if (request.route != nullptr)
        request.path_rest = request.route->size;
    // Known now, so that a longer body is refused by the head that announces it.
    ombrel_http_parser_set_body_limit(exchange.parser, body_limit(exchange));
}

/// What no route takes: the default handler's, or another method's path.
void answer_without_route(http_exchange& exchange) {
    http_server& server = *exchange.server;
    const char* const method = exchange.request.texts.data;
    char methods[256];
    list_methods(server, exchange.request.texts.data + exchange.request.path, methods, sizeof methods);
    if (methods[0] == '\0' && server.options.m_handler != nullptr) {
        call_handler(exchange, server.options.m_handler, server.options.m_context);
        return;
    }
    if (methods[0] == '\0') {
        ombrel_http_exchange_answer_error(&exchange, 404, nullptr);
        return;
    }
    ombrel_http_exchange_add_field(&exchange, "Allow", methods);
    if (strcmp(method, "OPTIONS") == 0)
        ombrel_http_exchange_answer(&exchange, 204, nullptr, nullptr, 0);
    else
        ombrel_http_exchange_answer_error(&exchange, 405, nullptr);
}

void hand_over(http_exchange& exchange) {
    exchange.began_ms = exchange.server->now;
    if (const ombrel_http_route_t* const route = route_of(exchange))
        call_handler(exchange, route->m_handler, route->m_context);
    else
        answer_without_route(exchange);
}

/// The check of the request's password; null when memory has run out.
secret_check* check_of(http_exchange& exchange) {
    if (exchange.check != nullptr)
        return exchange.check;
    auto* const block = allocate_record<secret_check>(server_tag, __LINE__);
    if (block == nullptr)
        return nullptr;
    exchange.server->checks++;
    return exchange.check = new (block) secret_check;
}

/// A strong secret takes many turns of the loop, in which others are served; without memory, one long one.
int ask_for_password(http_exchange& exchange, void* auth) {
    secret_check* const check = check_of(exchange);
    if (check == nullptr)
        return ombrel_guard_http_exchange(&exchange, auth);
    const uint32_t most = secret_check::at_a_turn(exchange.server->checks);
    const int result = guard_in_steps(&exchange, auth, {*check, most}, exchange.awaits_guard);
    if (!exchange.awaits_guard)
        drop_check(exchange);
    return result;
}

/// Whether a guard lets the request pass.
bool passes(http_exchange& exchange, ombrel_http_handler_t guard, void* context) {
    if (guard == nullptr)
        return true;
    const handler_call counted(*exchange.server);
    const int result =
        guard == ombrel_guard_http_exchange ? ask_for_password(exchange, context) : guard(&exchange, context);
    if (result != 0 && is_open(exchange))
        judge_result(exchange, result, false);
    return is_open(exchange) && !exchange.is_deferred && !exchange.awaits_guard;
}

/// None that let it pass is asked again.
bool passes_guards(http_exchange& exchange) {
    const ombrel_http_server_options_t& options = exchange.server->options;
    const ombrel_http_route_t* const route = route_of(exchange);
    if (exchange.guards_passed == 0 && passes(exchange, options.m_guard, options.m_guard_context))
        exchange.guards_passed++;
    return exchange.guards_passed == 1 &&
           (route == nullptr || passes(exchange, route->m_guard, route->m_guard_context));
}

void judge(http_exchange& exchange) {
    exchange.began_ms = exchange.server->now;
    if (passes_guards(exchange) && is_streamed(exchange))
        hand_over(exchange);
    else if (is_open(exchange) && !exchange.request.has_no_body && !exchange.awaits_guard)
        ask_for_body(exchange);
}

void take_head(http_exchange& exchange, const ombrel_http_event_t& event) {
    http_request& request = exchange.request;
    exchange.server->counts.m_requests++;
    request.is_chunked = event.m_body == def_ombrel_http_body_chunked;
    request.body_size = request.is_chunked ? -1 : std::max<int64_t>(event.m_length, 0);
    request.has_no_body = request.body_size == 0;
    request.keeps_alive = (event.m_flags & def_ombrel_http_head_keep_alive) != 0;
    request.expects_continue = (event.m_flags & def_ombrel_http_head_continue) != 0;
    exchange.intake = intake::body;
    exchange.answer = answer::awaited;
    if ((event.m_flags & def_ombrel_http_head_expect_other) != 0)
        ombrel_http_exchange_answer_error(&exchange, 417, nullptr);
    else
        judge(exchange);
}

void take_piece(http_exchange& exchange, const ombrel_http_text_t& piece) {
    exchange.body_came += piece.m_size;
    if (!is_open(exchange) && exchange.answer != answer::begun)
        return;
    if (exchange.body_handler != nullptr) {
        const handler_call counted(*exchange.server);
        judge_result(exchange,
                     exchange.body_handler(&exchange, piece.m_data, piece.m_size, exchange.body_context),
                     true);
        return;
    }
    memory_budget& budget = exchange.server->budget;
    // A zero stands behind it.
    if (!budget.leaves_spare(piece.m_size) || !exchange.body.reserve(budget, piece.m_size + 1, server_tag)) {
        refuse_request(exchange, 503, "no memory for the body");
        return;
    }
    exchange.body.append(budget, piece.m_data, piece.m_size, server_tag);
    exchange.body.data[exchange.body.size] = '\0';
}

void take_end_of_request(http_exchange& exchange) {
    exchange.intake = intake::done;
    if (!is_streamed(exchange) && is_open(exchange) && !exchange.is_deferred)
        hand_over(exchange);
    else
        tell_end_of_body(exchange);
}

void take_event(http_exchange& exchange, const ombrel_http_event_t& event) {
    switch (event.m_kind) {
    case def_ombrel_http_event_request:
        take_request_line(exchange, event);
        break;
    case def_ombrel_http_event_field:
        if (!keep_field(exchange, event))
            refuse_request(exchange, 503, "no memory for the request");
        break;
    case def_ombrel_http_event_head:
        take_head(exchange, event);
        break;
    case def_ombrel_http_event_body:
        take_piece(exchange, event.m_data);
        break;
    case def_ombrel_http_event_end:
        take_end_of_request(exchange);
        break;
    default: // trailers are nobody's
        break;
    }
}

/// A message that is none, or longer than the limits. A body's fault comes after its request was handed over,
/// and may find the answer begun.
void refuse_message(http_exchange& connection) {
    const ombrel_http_fault_t* const fault = ombrel_http_parser_get_fault(connection.parser);
    refuse_request(connection, fault->m_status >= 400 ? fault->m_status : 400,
                   ombrel_http_fault_text(fault->m_reason));
}

} // namespace

void begin_request(http_exchange& connection) {
    http_server& server = *connection.server;
    constexpr size_t kept_room = 1024; // what is larger is not kept for the next one
    counted_block texts = connection.request.texts;
    if (texts.room > kept_room)
        texts.clear(server.budget);
    texts.size = 0;
    connection.request = {};
    connection.request.texts = texts;
    connection.body.clear(server.budget);
    connection.added_fields.clear(server.budget);
    ombrel_check_free(connection.user);
    connection.user = nullptr;
    connection.intake = intake::head;
    connection.answer = answer::none;
    drop_check(connection);
    connection.guards_passed = 0;
    connection.has_begun = connection.awaits_guard = connection.is_deferred = connection.holds_body =
        connection.end_was_told = false;
    connection.is_bare = connection.is_chunked = connection.wants_room = false;
    connection.body_handler = nullptr;
    connection.writer = nullptr;
    connection.end_handler = nullptr;
    connection.status = 0;
    connection.outcome = def_ombrel_http_exchange_done;
    connection.body_sent = connection.body_came = 0;
    connection.began_ms = server.now;
}

// An answer may begin before the body has come whole, and be made of it.
bool hears_no_more(const http_exchange& connection) {
    const bool takes_body = connection.intake == intake::body && connection.answer == answer::begun &&
                            connection.body_handler != nullptr;
    return connection.is_broken || (connection.is_last && !takes_body);
}

void go_on_judging(http_exchange& exchange) {
    if (!exchange.awaits_guard)
        return;
    exchange.awaits_guard = false;
    if (is_open(exchange))
        judge(exchange);
    else
        drop_check(exchange);
}

void drop_check(http_exchange& exchange) {
    if (exchange.check == nullptr)
        return;
    exchange.server->checks--;
    exchange.check->~secret_check();
    ombrel_free_tag(std::exchange(exchange.check, nullptr), server_tag, __LINE__);
}

bool wants_input(const http_exchange& connection) {
    if (hears_no_more(connection) || connection.awaits_guard)
        return false;
    switch (connection.intake) {
    case intake::head:
        return unsent(connection) < connection.server->options.m_output_limit;
    case intake::body:
        if (connection.request.has_no_body)
            return true;
        return connection.answer != answer::complete && !connection.holds_body &&
               (connection.body_handler != nullptr || !is_streamed(connection));
    default:
        return false;
    }
}

size_t take_input(http_exchange& connection, const char* data, size_t size) {
    size_t at = 0;
    ombrel_http_event_t event;
    while (wants_input(connection)) {
        if (!connection.has_begun && at < size) {
            connection.has_begun = true;
            connection.is_new = false;
            connection.began_ms = connection.server->now;
        }
        const int step = ombrel_http_parser_next(connection.parser, data, size, &at, &event);
        if (step < 0)
            refuse_message(connection);
        if (step <= 0)
            break;
        connection.rest = {data + at, size - at};
        take_event(connection, event);
        finish_answer(connection);
    }
    connection.rest = {};
    return at;
}

void take_end(http_exchange& connection) {
    ombrel_http_event_t event;
    const bool is_unfinished =
        connection.intake == intake::head ? connection.has_begun : connection.intake == intake::body;
    if (!is_unfinished || !wants_input(connection))
        return;
    if (ombrel_http_parser_end(connection.parser, &event) < 0)
        refuse_message(connection);
    else
        connection.has_begun = false; // they were empty lines
}

void tell_end_of_body(http_exchange& exchange) {
    if (exchange.intake != intake::done || exchange.body_handler == nullptr || exchange.end_was_told ||
        exchange.holds_body || exchange.is_broken ||
        (exchange.answer != answer::awaited && exchange.answer != answer::begun))
        return;
    exchange.end_was_told = true;
    exchange.began_ms = exchange.server->now;
    const handler_call counted(*exchange.server);
    judge_result(exchange, exchange.body_handler(&exchange, nullptr, 0, exchange.body_context),
                 exchange.is_deferred || exchange.answer == answer::begun);
}

} // namespace ombrel::protocol
