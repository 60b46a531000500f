// IP addresses in attributes.
#pragma once

#include <netinet/in.h>

#include <ombrel/network_interface.h>

#include "platform/linux/netlink_message.h"

namespace ombrel::platform {

/// How many bits an address of a family has; 0 for other families.
inline int address_bits(int family) {
    return family == AF_INET ? 32 : family == AF_INET6 ? 128 : 0;
}

/// Makes an address of raw bytes; false when they are not as many as its family has.
inline bool make_ip_address(int family, netlink_bytes raw, ombrel_ip_address_t& address) {
    if (raw.size() * 8 != static_cast<size_t>(address_bits(family)) || raw.empty())
        return false;
    address = {};
    if (family == AF_INET) {
        address.m_ipv4.sin_family = AF_INET;
        memcpy(&address.m_ipv4.sin_addr, raw.data(), raw.size());
    } else {
        address.m_ipv6.sin6_family = AF_INET6;
        memcpy(&address.m_ipv6.sin6_addr, raw.data(), raw.size());
    }
    return true;
}

inline void read_ip_address(attribute_walk& attributes, int family, ombrel_ip_address_t& address) {
    if (!make_ip_address(family, attributes.content(), address))
        attributes.refuse();
}

/// An IPv6 address that one link alone knows says by which interface it is reached.
inline void scope_to_interface(ombrel_ip_address_t& address, uint32_t index) {
    if (address.m_any.sa_family != AF_INET6)
        return;
    const uint8_t* const bytes = address.m_ipv6.sin6_addr.s6_addr;
    const bool is_link_unicast = bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80;
    const bool is_link_multicast = bytes[0] == 0xFF && (bytes[1] & 0x0F) == 0x02;
    if (is_link_unicast || is_link_multicast)
        address.m_ipv6.sin6_scope_id = index;
}

inline int ip_address_size(const ombrel_ip_address_t& address) {
    return address.m_any.sa_family == AF_INET6 ? static_cast<int>(sizeof address.m_ipv6)
                                               : static_cast<int>(sizeof address.m_ipv4);
}

} // namespace ombrel::platform
