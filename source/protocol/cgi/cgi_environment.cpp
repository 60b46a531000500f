#include "protocol/cgi/cgi_environment.h"

#include <algorithm>
#include <cstring>

#include <ombrel/environment.h>
#include <ombrel/http_field.h>
#include <ombrel/version.h>

#include "protocol/http/auth_parameters.h"
#include "protocol/http/http_character.h"
#include "text/integer_text.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// Not handed on: what has variables of its own, what belongs to the connection, what would give secrets
/// away, and "Proxy", which programs would take for the variable HTTP_PROXY.
constexpr std::string_view withheld[] = {
    "authorization",    "connection", "content-length", "content-type",
    "expect",           "keep-alive", "proxy",          "proxy-authorization",
    "proxy-connection", "te",         "trailer",        "transfer-encoding",
    "upgrade"};

/// Names with anything else could pass for others, as "-" and "_" become one.
bool is_handed_on(std::string_view name) {
    const auto is_good = [](char c) {
        return is_http(c, http_token) && (is_http(c, http_host) || c == '-') && c != '_' && c != '.';
    };
    return std::all_of(name.begin(), name.end(), is_good) &&
           std::none_of(std::begin(withheld), std::end(withheld),
                        [=](std::string_view each) { return is_http_word_like(name, each); });
}

bool is_same_name(std::string_view left, std::string_view right) {
    return ombrel_is_http_name(left.data(), left.size(), right.data()) == 1;
}

} // namespace

bool cgi_environment::fill(ombrel_http_exchange_t* exchange, const cgi_program& program, int64_t body_size,
                           const char* const* more) {
    const char* const query = ombrel_http_exchange_get_query(exchange);
    const char* const type = ombrel_http_exchange_get_field(exchange, "Content-Type");
    const char* const peer = ombrel_http_exchange_get_peer(exchange);
    put("GATEWAY_INTERFACE", "CGI/1.1");
    put("SERVER_SOFTWARE", "libombrel_tuk");
    put("SERVER_PROTOCOL", ombrel_http_exchange_get_version(exchange) == 1 ? "HTTP/1.1" : "HTTP/1.0");
    put("REQUEST_METHOD", ombrel_http_exchange_get_method(exchange));
    put("REQUEST_URI", ombrel_http_exchange_get_target(exchange));
    put("QUERY_STRING", query != nullptr ? query : "");
    put("SCRIPT_NAME", program.script_name);
    put("SCRIPT_FILENAME", program.path);
    if (*program.path_info != '\0')
        put("PATH_INFO", program.path_info);
    put("REMOTE_ADDR", peer);
    put("REMOTE_HOST", peer);
    put_number("REMOTE_PORT", ombrel_http_exchange_get_peer_port(exchange));
    put_host(exchange);
    put_log_in(exchange);
    if (body_size >= 0)
        put_number("CONTENT_LENGTH", body_size);
    if (body_size >= 0 && type != nullptr)
        put("CONTENT_TYPE", type);
    put_fields(exchange);
    put_inherited("PATH");
    put_inherited("SystemRoot");
    for (; more != nullptr && *more != nullptr; more++) {
        const std::string_view assignment = *more;
        const size_t equals = std::min(assignment.find('='), assignment.size());
        put(slice(assignment, 0, equals), slice(assignment, equals + 1));
    }
    return close();
}

void cgi_environment::put(std::string_view name, std::string_view value) {
    fits_ = fits_ && text_.append(name, caller_) && text_.append("=", caller_) &&
            text_.append(value, caller_) && text_.append({"", 1}, caller_);
    count_++;
}

void cgi_environment::put_number(std::string_view name, int64_t number) {
    char digits[24];
    text_sink sink(digits, sizeof digits);
    write_integer(sink, static_cast<uint64_t>(number), 10, 0, lower_digits);
    put(name, {digits, sizeof digits - sink.room()});
}

void cgi_environment::put_inherited(const char* name) {
    const heap_ptr<char> value(ombrel_alloc_getenv(name));
    if (value)
        put(name, value.get());
}

/// What the client calls this server.
void cgi_environment::put_host(ombrel_http_exchange_t* exchange) {
    const heap_ptr<char> url(ombrel_alloc_http_server_url(ombrel_http_exchange_get_server(exchange), 0));
    constexpr std::string_view start = "http://";
    std::string_view own = url ? url.get() : "";
    own = slice(own, start.size());
    own = slice(own, 0, own.find('/'));
    std::string_view host = ombrel_http_exchange_get_host(exchange);
    if (host.empty())
        host = own;
    const auto port_of = [](std::string_view authority) {
        const size_t colon = authority.rfind(':');
        const bool has_port = colon != std::string_view::npos && authority.back() != ']';
        return has_port ? colon : authority.size();
    };
    put("SERVER_NAME", slice(host, 0, port_of(host)));
    const std::string_view port = slice(own, port_of(own) + 1);
    put("SERVER_PORT", port.empty() ? "80" : port);
}

void cgi_environment::put_log_in(ombrel_http_exchange_t* exchange) {
    const char* const user = ombrel_http_exchange_get_user(exchange);
    const char* const value = ombrel_http_exchange_get_field(exchange, "Authorization");
    std::string_view scheme, rest;
    if (user == nullptr || value == nullptr || !split_scheme(value, scheme, rest))
        return;
    put("AUTH_TYPE", scheme);
    put("REMOTE_USER", user);
}

void cgi_environment::put_fields(ombrel_http_exchange_t* exchange) {
    const char *name, *value;
    for (size_t i = 0; ombrel_http_exchange_get_field_at(exchange, i, &name, &value) == 1; i++)
        if (is_handed_on(name))
            put_field(exchange, name, i);
}

/// All values of a name stand where the first of them does.
void cgi_environment::put_field(ombrel_http_exchange_t* exchange, std::string_view name, size_t index) {
    const char *each, *value;
    for (size_t i = 0; i < index; i++)
        if (ombrel_http_exchange_get_field_at(exchange, i, &each, &value) == 1 && is_same_name(each, name))
            return;
    fits_ = fits_ && text_.append("HTTP_", caller_);
    for (const char c : name) {
        const char upper = c == '-' ? '_' : static_cast<char>(to_upper(static_cast<unsigned char>(c)));
        fits_ = fits_ && text_.append({&upper, 1}, caller_);
    }
    std::string_view between = "=";
    for (size_t i = index; ombrel_http_exchange_get_field_at(exchange, i, &each, &value) == 1; i++) {
        if (!is_same_name(each, name))
            continue;
        fits_ = fits_ && text_.append(between, caller_) && text_.append(value, caller_);
        between = is_http_word_like(name, "cookie") ? "; " : ", ";
    }
    fits_ = fits_ && text_.append({"", 1}, caller_);
    count_++;
}

bool cgi_environment::close() {
    pointers_.reset(
        static_cast<const char**>(ombrel_alloc_tag((count_ + 1) * sizeof(char*), caller_.tag, caller_.line)));
    if (!fits_ || !pointers_)
        return false;
    const char* at = text_.data();
    for (size_t i = 0; i < count_; i++) {
        pointers_.get()[i] = at;
        at += strlen(at) + 1;
    }
    pointers_.get()[count_] = nullptr;
    return true;
}

} // namespace ombrel::protocol
