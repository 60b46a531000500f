// What a request says: kept when its head comes, and told to handlers.
#include <ombrel/string.h>

#include "core/fault.h"
#include "protocol/http/http_server_internal.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

std::string_view view(const ombrel_http_text_t& text) {
    return {text.m_data, text.m_size};
}

/// Adds a terminated text, and tells where it begins.
bool keep_text(http_exchange& exchange, std::string_view text, size_t* at = nullptr) {
    counted_block& texts = exchange.request.texts;
    memory_budget& budget = exchange.server->budget;
    if (at != nullptr)
        *at = texts.size;
    return texts.reserve(budget, text.size() + 1, server_tag) &&
           texts.append(budget, text.data(), text.size(), server_tag) &&
           texts.append(budget, "", 1, server_tag);
}

/// The host as it stands in an absolute target.
std::string_view host_of(std::string_view target) {
    const std::string_view rest = slice(target, target.find("//") + 2);
    size_t size = 0;
    while (size < rest.size() && rest[size] != '/' && rest[size] != '?')
        size++;
    return slice(rest, 0, size);
}

/// Keeps the path once more, cleaned, where it has dots or empty names to be taken out.
bool keep_clean_path(http_exchange& exchange, std::string_view encoded) {
    http_request& request = exchange.request;
    counted_block& texts = request.texts;
    request.clean_path = request.path;
    const char* const path = texts.data + request.path;
    if (strstr(path, "//") == nullptr && strstr(path, "/.") == nullptr)
        return true;
    if (!texts.reserve(exchange.server->budget, encoded.size() + 2, server_tag))
        return false;
    char* const clean = texts.data + texts.size;
    const int64_t size =
        ombrel_clean_http_path(encoded.data(), encoded.size(), clean + 1, encoded.size() + 1);
    if (size < 0)
        return true; // what no handler of files takes
    clean[0] = '/';
    request.clean_path = texts.size;
    texts.size += static_cast<size_t>(size) + 2;
    return true;
}

bool keep_path(http_exchange& exchange, const ombrel_http_target_t& target) {
    http_request& request = exchange.request;
    counted_block& texts = request.texts;
    const std::string_view path =
        target.m_form == def_ombrel_http_target_asterisk ? "*" : view(target.m_path);
    if (!texts.reserve(exchange.server->budget, path.size() + 1, server_tag))
        return false;
    const int64_t size =
        ombrel_decode_http_text(path.data(), path.size(), 0, texts.data + texts.size, path.size() + 1);
    request.path = texts.size;
    request.has_path = size >= 0;
    texts.size += size >= 0 ? static_cast<size_t>(size) : 0;
    texts.data[texts.size++] = '\0';
    return keep_clean_path(exchange, path);
}

} // namespace

bool keep_request_line(http_exchange& exchange, const ombrel_http_event_t& event) {
    http_request& request = exchange.request;
    const std::string_view method = view(event.m_method), sent = view(event.m_target);
    ombrel_http_target_t target;
    request.minor_version = event.m_version % 10;
    request.is_head = method == "HEAD";
    if (!keep_text(exchange, method) || !keep_text(exchange, sent, &request.target))
        return false;
    if (ombrel_split_http_target(event.m_method, event.m_target, &target) != 0)
        return true; // a request without a path is refused
    const bool names_host = target.m_form == def_ombrel_http_target_absolute;
    if (!keep_path(exchange, target) || !keep_text(exchange, names_host ? host_of(sent) : "", &request.host))
        return false;
    request.fields = request.texts.size;
    return true;
}

bool keep_field(http_exchange& exchange, const ombrel_http_event_t& event) {
    if (!keep_text(exchange, view(event.m_name)) || !keep_text(exchange, view(event.m_value)))
        return false;
    exchange.request.field_count++;
    return true;
}

namespace {

/// What an exchange said, or null before a request is in hand.
const char* text_at(const http_exchange* exchange, size_t at) {
    if (exchange == nullptr || exchange->request.texts.data == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    return exchange->request.texts.data + at;
}

/// Calls `visit(name, value)` for each field until that gives true.
template<typename Visit>
bool find_field(const http_exchange& exchange, Visit visit) {
    const char* at = exchange.request.texts.data + exchange.request.fields;
    for (size_t i = 0; i < exchange.request.field_count; i++) {
        const char* const value = at + strlen(at) + 1;
        if (visit(at, value))
            return true;
        at = value + strlen(value) + 1;
    }
    return false;
}

/// Whether the encoded name of a parameter is the one asked for.
bool is_named(std::string_view encoded, const char* name) {
    char decoded[1024];
    const int64_t size = ombrel_decode_http_text(encoded.data(), encoded.size(), 1, decoded, sizeof decoded);
    return size >= 0 && strcmp(decoded, name) == 0;
}

/// The encoded value of the first parameter of that name.
bool find_parameter(std::string_view query, const char* name, std::string_view& value) {
    while (!query.empty()) {
        const std::string_view pair = slice(query, 0, query.find('&'));
        const size_t equals = pair.find('=');
        query = slice(query, pair.size() + 1);
        if (pair.empty() || !is_named(slice(pair, 0, equals), name))
            continue;
        value = equals != std::string_view::npos ? slice(pair, equals + 1) : std::string_view("", 0);
        return true;
    }
    return false;
}

int64_t fail(fault_code why) {
    leave_fault(why);
    return -1;
}

} // namespace

} // namespace ombrel::protocol

const char* ombrel_http_exchange_get_method(ombrel_http_exchange_t* exchange) {
    return text_at(exchange, 0);
}

int ombrel_http_exchange_is_head(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr && exchange->request.is_head;
}

const char* ombrel_http_exchange_get_target(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? text_at(exchange, exchange->request.target) : nullptr;
}

const char* ombrel_http_exchange_get_path(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? text_at(exchange, exchange->request.path) : nullptr;
}

const char* ombrel_http_exchange_get_path_rest(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? text_at(exchange, exchange->request.path + exchange->request.path_rest)
                               : nullptr;
}

const char* ombrel_http_exchange_get_query(ombrel_http_exchange_t* exchange) {
    const char* const target = ombrel_http_exchange_get_target(exchange);
    const char* const mark = target != nullptr ? strchr(target, '?') : nullptr;
    return mark != nullptr ? mark + 1 : nullptr;
}

const char* ombrel_http_exchange_get_host(ombrel_http_exchange_t* exchange) {
    const char* const named = exchange != nullptr ? text_at(exchange, exchange->request.host) : nullptr;
    if (named == nullptr || named[0] != '\0')
        return named;
    const char* const field = ombrel_http_exchange_get_field(exchange, "Host");
    return field != nullptr ? field : named;
}

int ombrel_http_exchange_get_version(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->request.minor_version : -1;
}

const char* ombrel_http_exchange_get_peer(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->peer : nullptr;
}

int ombrel_http_exchange_get_peer_port(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->peer_port : -1;
}

const char* ombrel_http_exchange_get_user(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->user : nullptr;
}

ombrel_http_server_t* ombrel_http_exchange_get_server(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->server : nullptr;
}

int64_t ombrel_http_exchange_get_parameter(ombrel_http_exchange_t* exchange, const char* name, char* value,
                                           size_t room) {
    if (exchange == nullptr || name == nullptr || (value == nullptr && room > 0))
        return fail(fault_code::invalid);
    if (room > 0)
        value[0] = '\0';
    const char* const query = ombrel_http_exchange_get_query(exchange);
    std::string_view encoded;
    if (query == nullptr || !find_parameter(query, name, encoded))
        return fail(fault_code::not_found);
    if (room == 0)
        return fail(fault_code::too_large);
    return ombrel_decode_http_text(encoded.data(), encoded.size(), 1, value, room);
}

const char* ombrel_http_exchange_get_field(ombrel_http_exchange_t* exchange, const char* name) {
    const char* found = nullptr;
    if (name == nullptr || text_at(exchange, 0) == nullptr)
        return nullptr;
    const bool is_there = find_field(*exchange, [&](const char* its_name, const char* value) {
        found = value;
        return ombrel_strcasecmp(its_name, name) == 0;
    });
    if (!is_there)
        leave_fault(fault_code::not_found);
    return is_there ? found : nullptr;
}

int ombrel_http_exchange_get_field_at(ombrel_http_exchange_t* exchange, size_t index, const char** name,
                                      const char** value) {
    if (text_at(exchange, 0) == nullptr)
        return -1;
    return find_field(*exchange, [&](const char* its_name, const char* its_value) {
        if (index-- != 0)
            return false;
        if (name != nullptr)
            *name = its_name;
        if (value != nullptr)
            *value = its_value;
        return true;
    });
}

int64_t ombrel_http_exchange_get_body_size(ombrel_http_exchange_t* exchange) {
    return exchange != nullptr ? exchange->request.body_size : -1;
}

const void* ombrel_http_exchange_get_body(ombrel_http_exchange_t* exchange, size_t* size) {
    const bool is_whole = exchange != nullptr && exchange->answer != answer::none &&
                          exchange->body_handler == nullptr &&
                          (exchange->request.route == nullptr ||
                           (exchange->request.route->told.m_flags & def_ombrel_http_route_streamed) == 0);
    if (!is_whole || size == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    *size = exchange->body.size;
    return exchange->body.data != nullptr ? exchange->body.data : "";
}

int ombrel_http_exchange_set_user(ombrel_http_exchange_t* exchange, const char* name) {
    if (exchange == nullptr || name == nullptr)
        return static_cast<int>(fail(fault_code::invalid));
    char* const copy = ombrel_strdup_tag(name, "ombrel_http_exchange_set_user", __LINE__);
    if (copy == nullptr)
        return static_cast<int>(fail(fault_code::no_memory));
    ombrel_check_free(exchange->user);
    exchange->user = copy;
    return 0;
}
