// Addresses at which servers listen: which are all of a family, how they stand in URLs, and why one may be
// missing.
#pragma once

#include "network/endpoint.h"

namespace ombrel::protocol {

/// Whether it stands for all addresses of its family.
bool is_wildcard(const endpoint& address);

/// Whether the last call failed as the host has no such family or loop-back.
bool failed_for_lack_of_host_support();

/// "SCHEME://HOST:PORT/", its host in brackets for IPv6 with a scope behind "%25"; "localhost" for all
/// addresses. Null with the fault left.
char* alloc_listener_url(const char* scheme, const endpoint& own, const char* function, unsigned long line);

} // namespace ombrel::protocol
