#include "platform/windows/network_row.h"

#include <algorithm>
#include <cstring>

#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

constexpr ULONG for_ever = 0xFFFFFFFF;

int64_t seconds_of(ULONG life) {
    return life == for_ever ? int64_t{-1} : int64_t{life};
}

int64_t speed_of(const MIB_IF_ROW2& row) {
    constexpr ULONG64 unknown = ~ULONG64{0};
    const bool is_known = row.TransmitLinkSpeed != unknown && row.TransmitLinkSpeed != 0 &&
                          row.TransmitLinkSpeed <= static_cast<ULONG64>(INT64_MAX);
    return row.OperStatus == IfOperStatusUp && is_known ? static_cast<int64_t>(row.TransmitLinkSpeed) : -1;
}

int copy_hardware(uint8_t (&target)[def_ombrel_hardware_address_size], const UCHAR* bytes, ULONG count) {
    const size_t size = std::min<size_t>(count, sizeof target);
    memcpy(target, bytes, size);
    return static_cast<int>(size);
}

/// How far addresses of a kind reach.
int reach_of(const ombrel_ip_address_t& address) {
    if (address.m_any.sa_family == AF_INET6) {
        const IN6_ADDR& bytes = address.m_ipv6.sin6_addr;
        return IN6_IS_ADDR_LOOPBACK(&bytes)    ? def_ombrel_reach_host
               : IN6_IS_ADDR_LINKLOCAL(&bytes) ? def_ombrel_reach_link
               : IN6_IS_ADDR_SITELOCAL(&bytes) ? def_ombrel_reach_site
                                               : def_ombrel_reach_global;
    }
    constexpr uint32_t loopback = 127, link_local = 0xA9FE; // 169.254
    const uint32_t number = ntohl(address.m_ipv4.sin_addr.s_addr);
    return number >> 24 == loopback     ? def_ombrel_reach_host
           : number >> 16 == link_local ? def_ombrel_reach_link
                                        : def_ombrel_reach_global;
}

uint32_t flags_of(const address_properties& properties) {
    const bool is_permanent = properties.valid_s == for_ever && properties.is_by_hand;
    const uint32_t flags = is_permanent ? def_ombrel_address_permanent : 0;
    switch (properties.state) {
    case IpDadStateTentative:
        return flags | def_ombrel_address_tentative;
    case IpDadStateDuplicate:
        return flags | def_ombrel_address_duplicate;
    case IpDadStateDeprecated:
        return flags | def_ombrel_address_deprecated;
    default:
        return flags;
    }
}

uint32_t flags_of(const MIB_IF_ROW2& row) {
    const bool is_loopback = row.Type == IF_TYPE_SOFTWARE_LOOPBACK;
    const bool is_point_to_point = row.Type == IF_TYPE_PPP || row.Type == IF_TYPE_TUNNEL;
    return (row.OperStatus == IfOperStatusUp ? def_ombrel_interface_up | def_ombrel_interface_running : 0u) |
           (row.MediaConnectState == MediaConnectStateConnected ? def_ombrel_interface_carrier : 0u) |
           (row.OperStatus == IfOperStatusDormant ? def_ombrel_interface_dormant : 0u) |
           (is_loopback ? def_ombrel_interface_loopback : 0u) |
           (is_point_to_point ? def_ombrel_interface_point_to_point : 0u) |
           (!is_loopback && !is_point_to_point ? def_ombrel_interface_broadcast : 0u) |
           def_ombrel_interface_multicast;
}

bool is_unspecified(const ombrel_ip_address_t& address) {
    if (address.m_any.sa_family == AF_INET6)
        return IN6_IS_ADDR_UNSPECIFIED(&address.m_ipv6.sin6_addr) != 0;
    return address.m_ipv4.sin_addr.s_addr == 0;
}

int protocol_of(const MIB_IPFORWARD_ROW2& row) {
    if (row.Origin == NlroRouterAdvertisement)
        return def_ombrel_route_by_router;
    if (row.Origin == NlroDHCP)
        return def_ombrel_route_by_dhcp;
    switch (row.Protocol) {
    case RouteProtocolLocal:
        return def_ombrel_route_by_host;
    case RouteProtocolNetMgmt:
        return def_ombrel_route_by_static;
    case RouteProtocolIcmp:
        return def_ombrel_route_by_redirect;
    default:
        return def_ombrel_route_by_nobody;
    }
}

uint32_t state_of(NL_NEIGHBOR_STATE host) {
    switch (host) {
    case NlnsUnreachable:
        return def_ombrel_neighbour_failed;
    case NlnsIncomplete:
        return def_ombrel_neighbour_incomplete;
    case NlnsProbe:
        return def_ombrel_neighbour_probe;
    case NlnsDelay:
        return def_ombrel_neighbour_delay;
    case NlnsStale:
        return def_ombrel_neighbour_stale;
    case NlnsReachable:
        return def_ombrel_neighbour_reachable;
    case NlnsPermanent:
        return def_ombrel_neighbour_permanent;
    default:
        return def_ombrel_neighbour_none;
    }
}

const sockaddr& plain(const SOCKADDR_INET& address) {
    return reinterpret_cast<const sockaddr&>(address);
}

} // namespace

ombrel_ip_address_t ip_address_of(const sockaddr& address) {
    ombrel_ip_address_t result{};
    if (address.sa_family == AF_INET) {
        result.m_ipv4.sin_family = AF_INET;
        result.m_ipv4.sin_addr = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    } else if (address.sa_family == AF_INET6) {
        const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address);
        result.m_ipv6.sin6_family = AF_INET6;
        result.m_ipv6.sin6_addr = ipv6.sin6_addr;
        result.m_ipv6.sin6_scope_id = ipv6.sin6_scope_id;
    }
    return result;
}

void describe_address(const sockaddr& address, const address_properties& properties,
                      ombrel_interface_address_t& one) {
    one = {};
    const ombrel_ip_address_t own = ip_address_of(address);
    const bool is_ipv6 = address.sa_family == AF_INET6;
    one.m_address_size = static_cast<int>(is_ipv6 ? sizeof own.m_ipv6 : sizeof own.m_ipv4);
    memcpy(&one.m_address, &own, sizeof own);
    one.m_prefix_length = std::min(properties.prefix_length, is_ipv6 ? 128 : 32);
    one.m_reach = reach_of(own);
    one.m_flags = flags_of(properties);
    one.m_valid_s = seconds_of(properties.valid_s);
    one.m_preferred_s = seconds_of(properties.preferred_s);
}

void add_broadcast(ombrel_interface_address_t& one) {
    constexpr int longest_network = 30;
    if (one.m_address.ss_family != AF_INET || one.m_prefix_length > longest_network)
        return;
    const auto& own = reinterpret_cast<const sockaddr_in&>(one.m_address);
    one.m_broadcast.m_ipv4.sin_family = AF_INET;
    one.m_broadcast.m_ipv4.sin_addr.s_addr =
        own.sin_addr.s_addr | htonl(static_cast<uint32_t>(~uint64_t{0} >> (32 + one.m_prefix_length)));
}

int state_of(IF_OPER_STATUS host) {
    switch (host) {
    case IfOperStatusUp:
        return def_ombrel_interface_state_up;
    case IfOperStatusDown:
        return def_ombrel_interface_state_down;
    case IfOperStatusTesting:
        return def_ombrel_interface_state_testing;
    case IfOperStatusDormant:
        return def_ombrel_interface_state_dormant;
    case IfOperStatusNotPresent:
        return def_ombrel_interface_state_not_present;
    case IfOperStatusLowerLayerDown:
        return def_ombrel_interface_state_lower_layer_down;
    default:
        return def_ombrel_interface_state_unknown;
    }
}

int type_of(IFTYPE host) {
    switch (host) {
    case IF_TYPE_ETHERNET_CSMACD:
        return def_ombrel_interface_type_ethernet;
    case IF_TYPE_SOFTWARE_LOOPBACK:
        return def_ombrel_interface_type_loopback;
    case IF_TYPE_IEEE80211:
        return def_ombrel_interface_type_wireless;
    case IF_TYPE_PPP:
        return def_ombrel_interface_type_ppp;
    case IF_TYPE_TUNNEL:
        return def_ombrel_interface_type_tunnel;
    case IF_TYPE_IEEE1394:
        return def_ombrel_interface_type_ieee1394;
    default:
        return def_ombrel_interface_type_other;
    }
}

void copy_name(const wchar_t* text, char* name, size_t size) {
    const narrow_text narrow(text);
    *name = '\0';
    if (!narrow)
        return;
    size_t length = std::min(narrow.size(), size - 1);
    constexpr int continuation = 0x80, mask = 0xC0;
    while (length > 0 && length < narrow.size() && (narrow.get()[length] & mask) == continuation)
        length--;
    memcpy(name, narrow.get(), length);
    name[length] = '\0';
}

bool find_row(uint32_t index, MIB_IF_ROW2& row) {
    row = {};
    row.InterfaceIndex = index;
    return GetIfEntry2(&row) == NO_ERROR;
}

void add_row(const MIB_IF_ROW2& row, ombrel_network_interface_t& one) {
    one.m_speed = speed_of(row);
    if (row.MediaConnectState == MediaConnectStateConnected)
        one.m_flags |= def_ombrel_interface_carrier;
}

void describe_row(const MIB_IF_ROW2& row, ombrel_network_interface_t& one) {
    one = {};
    one.m_index = row.InterfaceIndex;
    one.m_flags = flags_of(row);
    copy_name(row.Alias, one.m_name, sizeof one.m_name);
    copy_name(row.Description, one.m_description, sizeof one.m_description);
    one.m_mtu = row.Mtu == for_ever ? 0 : row.Mtu;
    one.m_state = state_of(row.OperStatus);
    one.m_type = type_of(static_cast<IFTYPE>(row.Type));
    one.m_host_type = row.Type;
    one.m_hardware_size = copy_hardware(one.m_hardware, row.PhysicalAddress, row.PhysicalAddressLength);
    one.m_speed = speed_of(row);
}

ombrel_interface_statistics_t statistics_of(const MIB_IF_ROW2& row) {
    ombrel_interface_statistics_t one{};
    one.m_received_bytes = row.InOctets;
    one.m_received_packets = row.InUcastPkts + row.InNUcastPkts;
    one.m_received_errors = row.InErrors;
    one.m_received_dropped = row.InDiscards;
    one.m_received_no_handler = row.InUnknownProtos;
    one.m_sent_bytes = row.OutOctets;
    one.m_sent_packets = row.OutUcastPkts + row.OutNUcastPkts;
    one.m_sent_errors = row.OutErrors;
    one.m_sent_dropped = row.OutDiscards;
    return one;
}

ombrel_route_t route_of(const MIB_IPFORWARD_ROW2& row) {
    ombrel_route_t one{};
    one.m_destination = ip_address_of(plain(row.DestinationPrefix.Prefix));
    one.m_family = one.m_destination.m_any.sa_family;
    one.m_type = row.Loopback ? def_ombrel_route_local : def_ombrel_route_unicast;
    one.m_prefix_length =
        std::min<int>(row.DestinationPrefix.PrefixLength, one.m_family == AF_INET6 ? 128 : 32);
    one.m_gateway = ip_address_of(plain(row.NextHop));
    one.m_reach = def_ombrel_reach_global;
    if (is_unspecified(one.m_gateway)) {
        one.m_gateway = {};
        one.m_reach = def_ombrel_reach_link;
    }
    one.m_interface = row.InterfaceIndex;
    one.m_metric = row.Metric;
    one.m_table = def_ombrel_route_table_main;
    one.m_protocol = protocol_of(row);
    one.m_expires_s = seconds_of(row.ValidLifetime);
    return one;
}

ombrel_neighbour_t neighbour_of(const MIB_IPNET_ROW2& row) {
    ombrel_neighbour_t one{};
    one.m_address = ip_address_of(plain(row.Address));
    one.m_interface = row.InterfaceIndex;
    one.m_state = state_of(row.State);
    one.m_flags = row.IsRouter ? def_ombrel_neighbour_router : 0u;
    one.m_hardware_size = copy_hardware(one.m_hardware, row.PhysicalAddress, row.PhysicalAddressLength);
    return one;
}

} // namespace ombrel::platform
