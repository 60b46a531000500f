// What the hosts' multicast calls share: they are options of sockets.
#pragma once

#include "platform/socket_address.h"

namespace ombrel::platform {

/// Sets an option of a socket by the host's numbers.
bool set_host_option(int s, int level, int name, const void* value, int size);

template<typename Value>
bool set_host_option(int s, int level, int name, const Value& value) {
    return set_host_option(s, level, name, &value, static_cast<int>(sizeof value));
}

in_addr ipv4_of(const sockaddr* address);

} // namespace ombrel::platform
