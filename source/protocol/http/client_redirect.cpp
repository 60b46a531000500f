// Answers after which a client asks again: redirects and challenges.
#include <cstring>
#include <iterator>
#include <utility>

#include <ombrel/http_field.h>

#include "protocol/http/client_internal.h"

namespace ombrel::protocol {

namespace {

// Signed requests that a call repeats: a challenge of the proxy, one of the server, and a stale one of each.
constexpr int most_challenges = 4;

// Fields with challenges that are looked at.
constexpr size_t most_challenge_fields = 16;

// Values of the fields of a name, as many as there is room for; gives how many there are.
size_t values_of(const ombrel_http_call_t& call, const char* name, const char** values, size_t room) {
    size_t count = 0;
    for (size_t i = 0; i < call.field_count; i++) {
        const ombrel_http_client_field_t& field = call.fields[i];
        if (ombrel_is_http_name(field.m_name, strlen(field.m_name), name) != 1)
            continue;
        if (count < room)
            values[count] = field.m_value;
        count++;
    }
    return count;
}

bool is_redirect(int status) {
    switch (status) {
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
        return true;
    default:
        return false;
    }
}

// Whether GET takes the place of the method.
bool becomes_get(const ombrel_http_call_t& call) {
    const std::string_view method = call.method;
    if (call.status == 303)
        return method != "HEAD" && method != "GET";
    return (call.status == 301 || call.status == 302) && method == "POST";
}

bool refuse_location(ombrel_http_call_t& call, fault_code why) {
    if (why == fault_code::not_supported)
        fail_call(call, why, "the redirect leads to another scheme than http");
    else if (why == fault_code::no_memory)
        fail_call(call, why, "no memory");
    else
        fail_call(call, fault_code::violation, "the redirect leads to what is no URI");
    return false;
}

bool choose_redirect(ombrel_http_call_t& call) {
    const char* location = nullptr;
    const size_t count = values_of(call, "Location", &location, 1);
    if (count == 0 || call.most_redirects == 0 || (!becomes_get(call) && !can_repeat(call)))
        return true;
    if (count > 1)
        return refuse_location(call, fault_code::violation);
    if (call.redirects >= call.most_redirects) {
        fail_call(call, fault_code::too_large, "too many redirects");
        return false;
    }
    call.next = resolve_reference(*call.target, location, call.client->caller);
    if (call.next == nullptr)
        return refuse_location(call, last_fault().code);
    call.use = answer_use::redirect;
    return true;
}

void follow(ombrel_http_call_t& call) {
    if (becomes_get(call)) {
        call.method = "GET";
        call.sends_body = false;
    }
    call.redirects++;
    http_target* const left = std::exchange(call.target, std::exchange(call.next, nullptr));
    if (call.first == nullptr)
        call.first = left;
    else
        free_target(left);
}

bool choose_challenge(ombrel_http_call_t& call) {
    const bool is_proxy = call.status == 407;
    http_login* const login = is_proxy ? call.proxy_login : call.login;
    if (login == nullptr || call.challenges >= most_challenges || !can_repeat(call) ||
        (!is_proxy && !is_same_origin(origin_of(call), *call.target)))
        return true;
    const char* values[most_challenge_fields];
    const size_t count =
        values_of(call, is_proxy ? "Proxy-Authenticate" : "WWW-Authenticate", values, std::size(values));
    const bool was_signed = is_proxy ? call.was_proxy_signed : call.was_signed;
    if (count > 0 && take_challenges(*login, values, std::min(count, std::size(values)), was_signed))
        call.use = answer_use::challenge;
    return true;
}

} // namespace

bool choose_use(ombrel_http_call_t& call) {
    if (is_redirect(call.status))
        return choose_redirect(call);
    return (call.status != 401 && call.status != 407) || choose_challenge(call);
}

void ask_again(ombrel_http_call_t& call) {
    if (call.use == answer_use::redirect)
        follow(call);
    else
        call.challenges++;
    prepare_request(call);
    place_call(call);
}

} // namespace ombrel::protocol
