// Interfaces and their addresses.
#include <algorithm>
#include <iterator>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>

#include "platform/linux/netlink_address.h"
#include "platform/linux/netlink_record.h"

namespace ombrel::platform {

namespace {

/// A number of the kernel's and what it means here.
struct meaning {
    uint32_t host;
    uint32_t ours;
};

template<size_t count>
uint32_t bits_of(uint32_t host, const meaning (&table)[count]) {
    uint32_t bits = 0;
    for (const meaning& one : table)
        bits |= (host & one.host) != 0 ? one.ours : 0;
    return bits;
}

constexpr meaning link_flags[] = {
    {IFF_UP, def_ombrel_interface_up},
    {IFF_LOOPBACK, def_ombrel_interface_loopback},
    {IFF_BROADCAST, def_ombrel_interface_broadcast},
    {IFF_POINTOPOINT, def_ombrel_interface_point_to_point},
    {IFF_MULTICAST, def_ombrel_interface_multicast},
    {IFF_ALLMULTI, def_ombrel_interface_all_multicast},
    {IFF_RUNNING, def_ombrel_interface_running},
    {IFF_LOWER_UP, def_ombrel_interface_carrier},
    {IFF_DORMANT, def_ombrel_interface_dormant},
    {IFF_PROMISC, def_ombrel_interface_promiscuous},
    {IFF_NOARP, def_ombrel_interface_no_arp},
    {IFF_MASTER, def_ombrel_interface_master},
    {IFF_SLAVE, def_ombrel_interface_slave},
    {IFF_DEBUG, def_ombrel_interface_debug},
    {IFF_DYNAMIC, def_ombrel_interface_dynamic},
    {IFF_AUTOMEDIA, def_ombrel_interface_auto_media},
    {IFF_PORTSEL, def_ombrel_interface_port_select},
    {IFF_NOTRAILERS, def_ombrel_interface_no_trailers},
    {IFF_ECHO, def_ombrel_interface_echo},
};

constexpr meaning link_types[] = {
    {ARPHRD_ETHER, def_ombrel_interface_type_ethernet},
    {ARPHRD_LOOPBACK, def_ombrel_interface_type_loopback},
    {ARPHRD_PPP, def_ombrel_interface_type_ppp},
    {ARPHRD_NONE, def_ombrel_interface_type_none},
    {ARPHRD_RAWIP, def_ombrel_interface_type_none},
    {ARPHRD_TUNNEL, def_ombrel_interface_type_tunnel},
    {ARPHRD_TUNNEL6, def_ombrel_interface_type_tunnel},
    {ARPHRD_SIT, def_ombrel_interface_type_tunnel},
    {ARPHRD_IPGRE, def_ombrel_interface_type_tunnel},
    {ARPHRD_IP6GRE, def_ombrel_interface_type_tunnel},
    {ARPHRD_INFINIBAND, def_ombrel_interface_type_infiniband},
    {ARPHRD_IEEE1394, def_ombrel_interface_type_ieee1394},
    {ARPHRD_CAN, def_ombrel_interface_type_can},
    {ARPHRD_IEEE80211, def_ombrel_interface_type_wireless},
    {ARPHRD_IEEE80211_PRISM, def_ombrel_interface_type_wireless},
    {ARPHRD_IEEE80211_RADIOTAP, def_ombrel_interface_type_wireless},
};

int type_of(uint32_t host) {
    const meaning* const found = std::find_if(std::begin(link_types), std::end(link_types),
                                              [host](const meaning& one) { return one.host == host; });
    return found != std::end(link_types) ? static_cast<int>(found->ours) : def_ombrel_interface_type_other;
}

constexpr meaning address_flags[] = {
    {IFA_F_PERMANENT, def_ombrel_address_permanent},
    {IFA_F_DEPRECATED, def_ombrel_address_deprecated},
    {IFA_F_TENTATIVE, def_ombrel_address_tentative},
    {IFA_F_DADFAILED, def_ombrel_address_duplicate},
    {IFA_F_OPTIMISTIC, def_ombrel_address_optimistic},
    {IFA_F_NODAD, def_ombrel_address_no_detection},
    {IFA_F_HOMEADDRESS, def_ombrel_address_home},
    {IFA_F_MANAGETEMPADDR, def_ombrel_address_makes_temporary},
    {IFA_F_NOPREFIXROUTE, def_ombrel_address_no_prefix_route},
    {IFA_F_MCAUTOJOIN, def_ombrel_address_joins_groups},
    {IFA_F_STABLE_PRIVACY, def_ombrel_address_stable_privacy},
};

struct counter_place {
    __u64 rtnl_link_stats64::*host;
    uint64_t ombrel_interface_statistics_t::*ours;
};

constexpr counter_place counters[] = {
    {&rtnl_link_stats64::rx_bytes, &ombrel_interface_statistics_t::m_received_bytes},
    {&rtnl_link_stats64::rx_packets, &ombrel_interface_statistics_t::m_received_packets},
    {&rtnl_link_stats64::rx_errors, &ombrel_interface_statistics_t::m_received_errors},
    {&rtnl_link_stats64::rx_dropped, &ombrel_interface_statistics_t::m_received_dropped},
    {&rtnl_link_stats64::multicast, &ombrel_interface_statistics_t::m_received_multicast},
    {&rtnl_link_stats64::tx_bytes, &ombrel_interface_statistics_t::m_sent_bytes},
    {&rtnl_link_stats64::tx_packets, &ombrel_interface_statistics_t::m_sent_packets},
    {&rtnl_link_stats64::tx_errors, &ombrel_interface_statistics_t::m_sent_errors},
    {&rtnl_link_stats64::tx_dropped, &ombrel_interface_statistics_t::m_sent_dropped},
    {&rtnl_link_stats64::collisions, &ombrel_interface_statistics_t::m_collisions},
    {&rtnl_link_stats64::rx_length_errors, &ombrel_interface_statistics_t::m_received_length_errors},
    {&rtnl_link_stats64::rx_over_errors, &ombrel_interface_statistics_t::m_received_overruns},
    {&rtnl_link_stats64::rx_crc_errors, &ombrel_interface_statistics_t::m_received_crc_errors},
    {&rtnl_link_stats64::rx_frame_errors, &ombrel_interface_statistics_t::m_received_frame_errors},
    {&rtnl_link_stats64::rx_fifo_errors, &ombrel_interface_statistics_t::m_received_fifo_errors},
    {&rtnl_link_stats64::rx_missed_errors, &ombrel_interface_statistics_t::m_received_missed},
    {&rtnl_link_stats64::rx_nohandler, &ombrel_interface_statistics_t::m_received_no_handler},
    {&rtnl_link_stats64::tx_aborted_errors, &ombrel_interface_statistics_t::m_sent_aborted_errors},
    {&rtnl_link_stats64::tx_carrier_errors, &ombrel_interface_statistics_t::m_sent_carrier_errors},
    {&rtnl_link_stats64::tx_fifo_errors, &ombrel_interface_statistics_t::m_sent_fifo_errors},
    {&rtnl_link_stats64::tx_heartbeat_errors, &ombrel_interface_statistics_t::m_sent_heartbeat_errors},
    {&rtnl_link_stats64::tx_window_errors, &ombrel_interface_statistics_t::m_sent_window_errors},
};

void read_statistics(attribute_walk& attributes, netlink_link& link) {
    const auto host = attributes.record<rtnl_link_stats64>(offsetof(rtnl_link_stats64, rx_nohandler));
    for (const counter_place& one : counters)
        link.statistics.*one.ours = host.*one.host;
    link.has_statistics = true;
}

void read_kind(attribute_walk& outer, netlink_link& link) {
    attribute_walk inner(outer.content());
    while (inner.next())
        if (inner.type() == IFLA_INFO_KIND)
            inner.text(link.interface.m_kind);
    if (!inner.is_good())
        outer.refuse();
}

constexpr number_place<ombrel_network_interface_t> link_numbers[] = {
    {IFLA_MTU, &ombrel_network_interface_t::m_mtu},
    {IFLA_LINK, &ombrel_network_interface_t::m_parent_index},
    {IFLA_MASTER, &ombrel_network_interface_t::m_master_index},
    {IFLA_TXQLEN, &ombrel_network_interface_t::m_queue_length},
    {IFLA_GROUP, &ombrel_network_interface_t::m_group},
};

void read_link_attribute(attribute_walk& attributes, netlink_link& link) {
    ombrel_network_interface_t& one = link.interface;
    if (take_number(attributes, link_numbers, one))
        return;
    switch (attributes.type()) {
    case IFLA_IFNAME:
        return attributes.text(one.m_name);
    case IFLA_ADDRESS:
        return attributes.hardware(one.m_hardware, one.m_hardware_size);
    case IFLA_BROADCAST:
        return attributes.hardware(one.m_hardware_broadcast, one.m_hardware_broadcast_size);
    case IFLA_LINK_NETNSID:
        one.m_flags |= def_ombrel_interface_parent_elsewhere;
        return;
    case IFLA_OPERSTATE:
        one.m_state = attributes.number<uint8_t>();
        return;
    case IFLA_QDISC:
        return attributes.text(one.m_queue);
    case IFLA_IFALIAS:
        return attributes.text(one.m_description);
    case IFLA_LINKINFO:
        return read_kind(attributes, link);
    case IFLA_STATS64:
        return read_statistics(attributes, link);
    default:
        return;
    }
}

constexpr uint32_t for_ever = 0xFFFFFFFF;

int64_t seconds_of(uint32_t life) {
    return life == for_ever ? int64_t{-1} : int64_t{life};
}

/// The addresses of a message, whose roles depend on which of them are there.
struct address_parts {
    ombrel_ip_address_t address, local, broadcast;
};

void read_address_attribute(attribute_walk& attributes, netlink_address& found, address_parts& parts,
                            int family, uint32_t& flags) {
    ombrel_interface_address_t& one = found.address;
    switch (attributes.type()) {
    case IFA_ADDRESS:
        return read_ip_address(attributes, family, parts.address);
    case IFA_LOCAL:
        return read_ip_address(attributes, family, parts.local);
    case IFA_BROADCAST:
        return read_ip_address(attributes, family, parts.broadcast);
    case IFA_LABEL:
        return attributes.text(one.m_label);
    case IFA_FLAGS:
        flags = attributes.number<uint32_t>();
        return;
    case IFA_CACHEINFO: {
        const auto lives = attributes.record<ifa_cacheinfo>(sizeof(ifa_cacheinfo));
        one.m_preferred_s = seconds_of(lives.ifa_prefered);
        one.m_valid_s = seconds_of(lives.ifa_valid);
        return;
    }
    default:
        return;
    }
}

bool is_set(const ombrel_ip_address_t& address) {
    return address.m_any.sa_family != AF_UNSPEC;
}

bool is_same(const ombrel_ip_address_t& a, const ombrel_ip_address_t& b) {
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): of zeroed records
    return memcmp(&a, &b, sizeof a) == 0;
}

/// The own address is the local one, and the other is the peer's then; without a local one it is the other.
bool settle_address(netlink_address& found, address_parts& parts) {
    const bool has_local = is_set(parts.local);
    ombrel_ip_address_t own = has_local ? parts.local : parts.address;
    if (!is_set(own))
        return false;
    if (has_local && is_set(parts.address) && !is_same(parts.local, parts.address))
        found.address.m_peer = parts.address;
    found.address.m_broadcast = parts.broadcast;
    scope_to_interface(own, found.interface_index);
    scope_to_interface(found.address.m_peer, found.interface_index);
    found.address.m_address_size = ip_address_size(own);
    memcpy(&found.address.m_address, &own, sizeof own);
    return true;
}

uint32_t flags_of_address(uint32_t host, int family) {
    const uint32_t ours = bits_of(host, address_flags);
    // One bit with two meanings.
    if ((host & IFA_F_SECONDARY) == 0)
        return ours;
    return ours | (family == AF_INET6 ? def_ombrel_address_temporary : def_ombrel_address_secondary);
}

} // namespace

netlink_reading read_link(netlink_bytes message, netlink_link& link) {
    ifinfomsg head;
    if (!take_record(message, head))
        return netlink_reading::malformed;
    if (head.ifi_family != AF_UNSPEC)
        return netlink_reading::passed_over;
    link = {};
    ombrel_network_interface_t& one = link.interface;
    one.m_index = static_cast<uint32_t>(head.ifi_index);
    one.m_flags = bits_of(head.ifi_flags, link_flags);
    one.m_host_type = head.ifi_type;
    one.m_type = type_of(head.ifi_type);
    one.m_speed = -1;
    attribute_walk attributes(message);
    while (attributes.next())
        read_link_attribute(attributes, link);
    return attributes.is_good() && head.ifi_index > 0 && one.m_name[0] != '\0' ? netlink_reading::taken
                                                                               : netlink_reading::malformed;
}

netlink_reading read_address(netlink_bytes message, netlink_address& found) {
    ifaddrmsg head;
    if (!take_record(message, head))
        return netlink_reading::malformed;
    const int bits = address_bits(head.ifa_family);
    if (bits == 0)
        return netlink_reading::passed_over;
    found = {};
    found.interface_index = head.ifa_index;
    found.address.m_prefix_length = head.ifa_prefixlen;
    found.address.m_reach = head.ifa_scope;
    found.address.m_valid_s = found.address.m_preferred_s = -1;
    uint32_t flags = head.ifa_flags;
    address_parts parts{};
    attribute_walk attributes(message);
    while (attributes.next())
        read_address_attribute(attributes, found, parts, head.ifa_family, flags);
    found.address.m_flags = flags_of_address(flags, head.ifa_family);
    return attributes.is_good() && head.ifa_prefixlen <= bits && head.ifa_index != 0 &&
                   settle_address(found, parts)
               ? netlink_reading::taken
               : netlink_reading::malformed;
}

} // namespace ombrel::platform
