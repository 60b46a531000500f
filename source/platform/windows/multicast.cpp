#include "platform/multicast.h"

#include "platform/common/multicast_option.h"
#include "platform/network_interface.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

bool set_interface_by_its_address(int s, uint32_t interface_index) {
    interface_list all;
    uint32_t index = 0;
    ombrel_interface_address_t one;
    while (all.is_open() && all.next_address(index, one) == 1)
        if (index == interface_index && one.m_address.ss_family == AF_INET)
            return set_host_option(s, IPPROTO_IP, IP_MULTICAST_IF,
                                   ipv4_of(reinterpret_cast<const sockaddr*>(&one.m_address)));
    return false;
}

} // namespace

bool set_host_option(int s, int level, int name, const void* value, int size) {
    if (setsockopt(socket_of(s), level, name, static_cast<const char*>(value), size) == 0)
        return true;
    fail_by(static_cast<uint32_t>(WSAGetLastError()));
    return false;
}

// Among IPv4 addresses those of 0.0.0.0/8 stand for indexes; not every emulation knows that.
bool set_multicast_interface(int s, int family, uint32_t interface_index) {
    if (family == AF_INET6)
        return set_host_option(s, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<DWORD>(interface_index));
    return set_host_option(s, IPPROTO_IP, IP_MULTICAST_IF, static_cast<DWORD>(htonl(interface_index))) ||
           set_interface_by_its_address(s, interface_index);
}

// The system lets in only what the socket itself asked for.
void take_own_groups_only(int, int) {}

} // namespace ombrel::platform
