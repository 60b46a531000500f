#include <ombrel/http_auth.h>

#include "core/fault.h"
#include "protocol/http/auth_check.h"
#include "protocol/http/auth_parameters.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

/// The only value of the field; null when there is none, or more than one, of which nobody knows which
/// counts.
const char* only_value(ombrel_http_exchange_t* exchange, bool& is_single) {
    const char *name, *value, *found = nullptr;
    is_single = true;
    for (size_t i = 0; ombrel_http_exchange_get_field_at(exchange, i, &name, &value) == 1; i++) {
        if (!is_word(name, "Authorization"))
            continue;
        is_single = found == nullptr;
        if (!is_single)
            return nullptr;
        found = value;
    }
    return found;
}

} // namespace

int ombrel::protocol::guard_in_steps(ombrel_http_exchange_t* exchange, void* server, auth_steps steps,
                                     bool& goes_on) {
    auto* const auth = static_cast<ombrel_http_auth_server_t*>(server);
    const char *const method = ombrel_http_exchange_get_method(exchange), *const target =
                                                                              ombrel_http_exchange_get_target(
                                                                                  exchange);
    if (auth == nullptr || method == nullptr || target == nullptr)
        return leave_fault(fault_code::invalid), -1;
    bool is_single;
    const char* const value = only_value(exchange, is_single);
    ombrel_http_auth_result_t result;
    const int outcome = check_http_auth(*auth, value, method, target, steps, result);
    goes_on = result.m_outcome == auth_goes_on;
    if (goes_on)
        return 0;
    if (!is_single || result.m_outcome == def_ombrel_http_auth_malformed)
        return ombrel_http_exchange_answer_error(exchange, 400, "the log-in is malformed");
    if (outcome == 1) {
        if (result.m_info[0] != '\0' &&
            ombrel_http_exchange_add_field(exchange, "Authentication-Info", result.m_info) != 0)
            return -1;
        return ombrel_http_exchange_set_user(exchange, result.m_name);
    }
    char challenge[def_ombrel_http_auth_challenge_size];
    for (int i = 0; ombrel_http_auth_server_challenge(auth, i, &result, challenge, sizeof challenge) > 0; i++)
        if (ombrel_http_exchange_add_field(exchange, "WWW-Authenticate", challenge) != 0)
            return -1;
    return ombrel_http_exchange_answer_error(exchange, 401, nullptr);
}

int ombrel_guard_http_exchange(ombrel_http_exchange_t* exchange, void* server) {
    secret_check whole;
    bool goes_on;
    return guard_in_steps(exchange, server, {whole, UINT32_MAX}, goes_on);
}
