#include "platform/common/multicast_option.h"

#include <cerrno>
#include <cstring>

#include "platform/fault.h"
#include "platform/multicast.h"

#if !defined(IPV6_ADD_MEMBERSHIP)
#define IPV6_ADD_MEMBERSHIP IPV6_JOIN_GROUP
#define IPV6_DROP_MEMBERSHIP IPV6_LEAVE_GROUP
#endif

namespace ombrel::platform {

namespace {

bool copy_address(sockaddr_storage& target, const sockaddr* address) {
    const size_t size = address->sa_family == AF_INET    ? sizeof(sockaddr_in)
                        : address->sa_family == AF_INET6 ? sizeof(sockaddr_in6)
                                                         : 0;
    memcpy(&target, address, size);
    if (size == 0)
        leave_fault({fault_code::not_supported, EAFNOSUPPORT});
    return size != 0;
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

} // namespace

in_addr ipv4_of(const sockaddr* address) {
    sockaddr_in copy;
    memcpy(&copy, address, sizeof copy);
    return copy.sin_addr;
}

bool set_ipv4_multicast_interface(int s, const sockaddr* interface_address) {
    return set_host_option(s, IPPROTO_IP, IP_MULTICAST_IF, ipv4_of(interface_address));
}

bool change_ipv4_membership(int s, const sockaddr* group, const sockaddr* interface_address, bool join) {
    ip_mreq request{};
    request.imr_multiaddr = ipv4_of(group);
    if (interface_address != nullptr)
        request.imr_interface = ipv4_of(interface_address);
    return set_host_option(s, IPPROTO_IP, join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP, request);
}

bool change_ipv6_membership(int s, const sockaddr* group, uint32_t interface_index, bool join) {
    sockaddr_in6 address;
    memcpy(&address, group, sizeof address);
    const ipv6_mreq request{address.sin6_addr, interface_index};
    return set_host_option(s, IPPROTO_IPV6, join ? IPV6_ADD_MEMBERSHIP : IPV6_DROP_MEMBERSHIP, request);
}

bool change_group(int s, const sockaddr* group, uint32_t interface_index, bool join) {
    group_req request{};
    request.gr_interface = interface_index;
    return copy_address(request.gr_group, group) &&
           set_host_option(s, level_of(group), join ? MCAST_JOIN_GROUP : MCAST_LEAVE_GROUP, request);
}

bool change_source(int s, const sockaddr* group, const sockaddr* source, uint32_t interface_index,
                   source_change change) {
    group_source_req request{};
    request.gsr_interface = interface_index;
    return copy_address(request.gsr_group, group) && copy_address(request.gsr_source, source) &&
           set_host_option(s, level_of(group), option_of(change), request);
}

} // namespace ombrel::platform
