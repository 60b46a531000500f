// What a look-up of names is asked for: the hosts' records have fields of the same names.
#pragma once

#include "platform/resolver.h"
#include "platform/socket_address.h"

#if !defined(_WIN32)
#include <netdb.h>
#endif

namespace ombrel::platform {

/// @tparam Hints the host's addrinfo or the like
template<typename Hints>
Hints hints_for(const name_query& query) {
    Hints hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = query.socket_type;
    hints.ai_protocol = query.protocol;
    hints.ai_flags = ((query.flags & query_passive) != 0 ? AI_PASSIVE : 0) |
                     ((query.flags & query_canonical_name) != 0 ? AI_CANONNAME : 0);
    return hints;
}

} // namespace ombrel::platform
