// Multicast membership, in the platform's three forms of request. All give whether the request succeeded.
#pragma once

#include <cstdint>

struct sockaddr;

namespace ombrel::platform {

/// Sets the interface by which an IPv4 socket's multicast leaves, by its address.
bool set_ipv4_multicast_interface(int s, const sockaddr* interface_address);

/// Sets the interface by which multicast of an IPv4 or IPv6 socket leaves, by its index.
bool set_multicast_interface(int s, int family, uint32_t interface_index);

/// Keeps away multicast that only other sockets of this machine asked for, where the system would let it in.
void take_own_groups_only(int s, int family);

/// A null interface address leaves the choice to the system. Both addresses are IPv4.
bool change_ipv4_membership(int s, const sockaddr* group, const sockaddr* interface_address, bool join);

/// Index 0 leaves the choice to the system. The group is IPv6.
bool change_ipv6_membership(int s, const sockaddr* group, uint32_t interface_index, bool join);

/// The request that serves both families.
bool change_group(int s, const sockaddr* group, uint32_t interface_index, bool join);

enum class source_change { join, leave, block, unblock };
bool change_source(int s, const sockaddr* group, const sockaddr* source, uint32_t interface_index,
                   source_change change);

} // namespace ombrel::platform
