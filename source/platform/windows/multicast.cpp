#include "platform/multicast.h"

#include <cerrno>
#include <cstring>

#include "platform/fault.h"
#include "platform/network_interface.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

template<typename Value>
bool set(int s, int level, int name, const Value& value) {
    if (setsockopt(socket_of(s), level, name, reinterpret_cast<const char*>(&value), sizeof value) == 0)
        return true;
    fail_by(static_cast<uint32_t>(WSAGetLastError()));
    return false;
}

bool copy_address(SOCKADDR_STORAGE& target, const sockaddr* address) {
    const size_t size = address->sa_family == AF_INET    ? sizeof(sockaddr_in)
                        : address->sa_family == AF_INET6 ? sizeof(sockaddr_in6)
                                                         : 0;
    memcpy(&target, address, size);
    if (size == 0)
        leave_fault({fault_code::not_supported, EAFNOSUPPORT});
    return size != 0;
}

in_addr ipv4_of(const sockaddr* address) {
    sockaddr_in copy;
    memcpy(&copy, address, sizeof copy);
    return copy.sin_addr;
}

int level_of(const sockaddr* group) {
    return group->sa_family == AF_INET6 ? IPPROTO_IPV6 : IPPROTO_IP;
}

int option_of(source_change change) {
    switch (change) {
    case source_change::join:
        return MCAST_JOIN_SOURCE_GROUP;
    case source_change::leave:
        return MCAST_LEAVE_SOURCE_GROUP;
    case source_change::block:
        return MCAST_BLOCK_SOURCE;
    default:
        return MCAST_UNBLOCK_SOURCE;
    }
}

bool set_interface_by_its_address(int s, uint32_t interface_index) {
    interface_list all;
    for (interface_entry one; all.next(one);)
        if (one.index == interface_index && one.address != nullptr && one.address->sa_family == AF_INET)
            return set(s, IPPROTO_IP, IP_MULTICAST_IF, ipv4_of(one.address));
    return false;
}

} // namespace

bool set_ipv4_multicast_interface(int s, const sockaddr* interface_address) {
    return set(s, IPPROTO_IP, IP_MULTICAST_IF, ipv4_of(interface_address));
}

// Among IPv4 addresses those of 0.0.0.0/8 stand for indexes; not every emulation knows that.
bool set_multicast_interface(int s, int family, uint32_t interface_index) {
    if (family == AF_INET6)
        return set(s, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<DWORD>(interface_index));
    return set(s, IPPROTO_IP, IP_MULTICAST_IF, static_cast<DWORD>(htonl(interface_index))) ||
           set_interface_by_its_address(s, interface_index);
}

// The system lets in only what the socket itself asked for.
void take_own_groups_only(int, int) {}

bool change_ipv4_membership(int s, const sockaddr* group, const sockaddr* interface_address, bool join) {
    ip_mreq request{};
    request.imr_multiaddr = ipv4_of(group);
    if (interface_address != nullptr)
        request.imr_interface = ipv4_of(interface_address);
    return set(s, IPPROTO_IP, join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP, request);
}

bool change_ipv6_membership(int s, const sockaddr* group, uint32_t interface_index, bool join) {
    sockaddr_in6 address;
    memcpy(&address, group, sizeof address);
    const ipv6_mreq request{address.sin6_addr, interface_index};
    return set(s, IPPROTO_IPV6, join ? IPV6_ADD_MEMBERSHIP : IPV6_DROP_MEMBERSHIP, request);
}

bool change_group(int s, const sockaddr* group, uint32_t interface_index, bool join) {
    GROUP_REQ request{};
    request.gr_interface = interface_index;
    return copy_address(request.gr_group, group) &&
           set(s, level_of(group), join ? MCAST_JOIN_GROUP : MCAST_LEAVE_GROUP, request);
}

bool change_source(int s, const sockaddr* group, const sockaddr* source, uint32_t interface_index,
                   source_change change) {
    GROUP_SOURCE_REQ request{};
    request.gsr_interface = interface_index;
    return copy_address(request.gsr_group, group) && copy_address(request.gsr_source, source) &&
           set(s, level_of(group), option_of(change), request);
}

} // namespace ombrel::platform
