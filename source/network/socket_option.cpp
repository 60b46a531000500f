#include <ombrel/socket.h>

#include "network/endpoint.h"
#include "platform/socket.h"

using namespace ombrel;
using platform::socket_option;

namespace {

constexpr int hops_limit = 255, hops_read = -1;

int set(int s, socket_option option, int value) {
    return s == def_ombrel_invalid_socket ? -1 : platform::set_option(s, option, value);
}

/// AF_INET or AF_INET6; 0 for other sockets.
int family_of(int s) {
    endpoint own;
    int size = endpoint::room();
    if (ombrel_getsockname(s, own.get(), &size) != 0)
        return 0;
    return ombrel_sockaddr_domain(own.get());
}

socket_option hops_option(int family, bool multicast) {
    if (family == AF_INET6)
        return multicast ? socket_option::ipv6_multicast_hops : socket_option::ipv6_hops;
    return multicast ? socket_option::ipv4_multicast_hops : socket_option::ipv4_hops;
}

} // namespace

int ombrel_set_tx_socket_buffer_size(int s, int bytes) {
    return set(s, socket_option::send_buffer, bytes);
}

int ombrel_set_rx_socket_buffer_size(int s, int bytes) {
    return set(s, socket_option::receive_buffer, bytes);
}

int ombrel_set_non_block_socket(int s, int on) {
    return s == def_ombrel_invalid_socket ? -1 : platform::set_non_blocking(s, on != 0);
}

int ombrel_set_reuse_address_socket(int s, int on) {
    return set(s, socket_option::reuse_address, on != 0);
}

int ombrel_set_broadcast_socket(int s, int on) {
    return set(s, socket_option::broadcast, on != 0);
}

int ombrel_set_linger_socket(int s, int on, int seconds) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return platform::set_linger(s, on != 0, on != 0 ? static_cast<uint16_t>(seconds) : uint16_t{0});
}

int ombrel_set_pmtud_socket(int s, int on) {
    const int family = family_of(s);
    return family == 0 ? -1 : platform::set_path_mtu_discovery(s, family, on != 0);
}

int ombrel_hops_socket(int s, int hops, int multicast) {
    if (hops < hops_read || hops > hops_limit)
        return -1;
    const int family = family_of(s);
    if (family == 0)
        return -1;
    const socket_option option = hops_option(family, multicast != 0);
    if (hops != hops_read)
        return platform::set_option(s, option, hops);
    int value = 0;
    return platform::get_option(s, option, value) == 0 ? value : 0;
}
