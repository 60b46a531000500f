// The hosts' numbers for options of sockets, which have the same names everywhere.
#pragma once

#if !defined(_WIN32)
#include <netinet/tcp.h>
#endif

#include "platform/socket.h"
#include "platform/socket_address.h"

namespace ombrel::platform {

struct option_place {
    int level, name;
};

inline option_place place_of(socket_option option) {
    switch (option) {
    case socket_option::keep_alive:
        return {SOL_SOCKET, SO_KEEPALIVE};
#if defined(TCP_KEEPIDLE) && defined(TCP_KEEPINTVL) // elsewhere the host's own times hold
    case socket_option::keep_alive_idle:
        return {IPPROTO_TCP, TCP_KEEPIDLE};
    case socket_option::keep_alive_interval:
        return {IPPROTO_TCP, TCP_KEEPINTVL};
#else
    case socket_option::keep_alive_idle:
    case socket_option::keep_alive_interval:
        break;
#endif
    case socket_option::pending_error:
        return {SOL_SOCKET, SO_ERROR};
    case socket_option::send_buffer:
        return {SOL_SOCKET, SO_SNDBUF};
    case socket_option::receive_buffer:
        return {SOL_SOCKET, SO_RCVBUF};
    case socket_option::reuse_address:
        return {SOL_SOCKET, SO_REUSEADDR};
    case socket_option::broadcast:
        return {SOL_SOCKET, SO_BROADCAST};
    case socket_option::ipv4_hops:
        return {IPPROTO_IP, IP_TTL};
    case socket_option::ipv4_multicast_hops:
        return {IPPROTO_IP, IP_MULTICAST_TTL};
    case socket_option::ipv6_hops:
        return {IPPROTO_IPV6, IPV6_UNICAST_HOPS};
    case socket_option::ipv6_multicast_hops:
        return {IPPROTO_IPV6, IPV6_MULTICAST_HOPS};
    case socket_option::ipv4_multicast_loop:
        return {IPPROTO_IP, IP_MULTICAST_LOOP};
    case socket_option::ipv6_multicast_loop:
        return {IPPROTO_IPV6, IPV6_MULTICAST_LOOP};
    case socket_option::ipv6_only:
        return {IPPROTO_IPV6, IPV6_V6ONLY};
    case socket_option::no_delay:
        return {IPPROTO_TCP, TCP_NODELAY};
    case socket_option::oob_inline:
        return {SOL_SOCKET, SO_OOBINLINE};
    }
    return {-1, -1};
}

} // namespace ombrel::platform
