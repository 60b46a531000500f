// Log-ins that are checked in steps, so that the loop of a server serves others meanwhile.
#pragma once

#include <cstdint>

#include <ombrel/http_auth.h>

#include "protocol/secret/secret_check.h"

namespace ombrel::protocol {

/// An outcome beside the public ones: the same check is to be made again, and goes on then.
constexpr int auth_goes_on = -1;

/// How a request is checked.
struct auth_steps {
    secret_check& check; ///< of a password, begun by the first call and gone on with by further ones
    uint32_t most;       ///< iterations of a call
};

/// ombrel_http_auth_server_check() in steps.
int check_http_auth(ombrel_http_auth_server_t& server, const char* value, const char* method,
                    const char* target, auth_steps steps, ombrel_http_auth_result_t& result);

/// ombrel_guard_http_exchange() in steps; `goes_on` tells that it is to be called again, and answered
/// nothing.
int guard_in_steps(ombrel_http_exchange_t* exchange, void* server, auth_steps steps, bool& goes_on);

} // namespace ombrel::protocol
