// Routes and neighbours.
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include "platform/linux/netlink_address.h"
#include "platform/linux/netlink_record.h"

namespace ombrel::platform {

namespace {

// What the kernel says is what the public records say.
static_assert(RTN_UNICAST == def_ombrel_route_unicast && RTN_XRESOLVE == def_ombrel_route_resolve &&
              RT_SCOPE_LINK == def_ombrel_reach_link && RT_TABLE_LOCAL == def_ombrel_route_table_local &&
              NUD_PERMANENT == def_ombrel_neighbour_permanent && NUD_STALE == def_ombrel_neighbour_stale);

constexpr uint32_t hop_flags = def_ombrel_route_dead | def_ombrel_route_pervasive | def_ombrel_route_on_link |
                               def_ombrel_route_offloaded | def_ombrel_route_link_down |
                               def_ombrel_route_unresolved | def_ombrel_route_trapped;
static_assert(RTNH_F_DEAD == def_ombrel_route_dead && RTNH_F_PERVASIVE == def_ombrel_route_pervasive &&
              RTNH_F_ONLINK == def_ombrel_route_on_link && RTNH_F_OFFLOAD == def_ombrel_route_offloaded &&
              RTNH_F_LINKDOWN == def_ombrel_route_link_down &&
              RTNH_F_UNRESOLVED == def_ombrel_route_unresolved && RTNH_F_TRAP == def_ombrel_route_trapped);

/// A router of either family: the family and the address.
void read_via(attribute_walk& attributes, ombrel_ip_address_t& gateway) {
    netlink_bytes content = attributes.content();
    uint16_t family = 0;
    if (content.size() < sizeof family)
        return attributes.refuse();
    memcpy(&family, content.data(), sizeof family);
    if (!make_ip_address(family, content.subspan(sizeof family), gateway))
        attributes.refuse();
}

uint32_t read_own_mtu(attribute_walk& outer) {
    uint32_t mtu = 0;
    attribute_walk metrics(outer.content());
    while (metrics.next())
        if (metrics.type() == RTAX_MTU)
            mtu = metrics.number<uint32_t>();
    if (!metrics.is_good())
        outer.refuse();
    return mtu;
}

int preference_of(uint8_t host) {
    enum : uint8_t { high = 1, low = 3 };
    return host == high ? 1 : host == low ? -1 : 0;
}

/// Seconds that are left; ticks are hundredths.
int64_t expiry_of(int32_t ticks) {
    return ticks > 0 ? ticks / 100 : -1;
}

void read_hops(attribute_walk& attributes, netlink_route& found) {
    found.hops = netlink_hops(attributes.content(), found.route.m_family);
    netlink_hops counted = found.hops;
    ombrel_route_hop_t hop;
    for (found.route.m_hop_count = 0; counted.next(hop); found.route.m_hop_count++)
        if (found.route.m_hop_count == 0) {
            found.route.m_gateway = hop.m_gateway;
            found.route.m_interface = hop.m_interface;
        }
    if (!counted.is_good())
        attributes.refuse();
}

constexpr number_place<ombrel_route_t> route_numbers[] = {
    {RTA_OIF, &ombrel_route_t::m_interface},    {RTA_IIF, &ombrel_route_t::m_input_interface},
    {RTA_PRIORITY, &ombrel_route_t::m_metric},  {RTA_TABLE, &ombrel_route_t::m_table},
    {RTA_NH_ID, &ombrel_route_t::m_hop_object},
};

void read_route_attribute(attribute_walk& attributes, netlink_route& found) {
    ombrel_route_t& one = found.route;
    if (take_number(attributes, route_numbers, one))
        return;
    switch (attributes.type()) {
    case RTA_DST:
        return read_ip_address(attributes, one.m_family, one.m_destination);
    case RTA_SRC:
        return read_ip_address(attributes, one.m_family, one.m_from);
    case RTA_GATEWAY:
        return read_ip_address(attributes, one.m_family, one.m_gateway);
    case RTA_VIA:
        return read_via(attributes, one.m_gateway);
    case RTA_PREFSRC:
        return read_ip_address(attributes, one.m_family, one.m_source);
    case RTA_METRICS:
        one.m_mtu = read_own_mtu(attributes);
        return;
    case RTA_PREF:
        one.m_preference = preference_of(attributes.number<uint8_t>());
        return;
    case RTA_CACHEINFO:
        one.m_expires_s = expiry_of(attributes.record<rta_cacheinfo>(sizeof(rta_cacheinfo)).rta_expires);
        return;
    case RTA_MULTIPATH:
        return read_hops(attributes, found);
    default:
        return;
    }
}

uint32_t flags_of_route(uint32_t host) {
    return (host & hop_flags) | ((host & RTM_F_CLONED) != 0 ? def_ombrel_route_cached : 0);
}

/// A destination that the kernel does not name is everywhere.
void name_destination(ombrel_route_t& one) {
    if (one.m_destination.m_any.sa_family != AF_UNSPEC)
        return;
    if (one.m_family == AF_INET6)
        one.m_destination.m_ipv6.sin6_family = AF_INET6;
    else
        one.m_destination.m_ipv4.sin_family = AF_INET;
}

/// What is reached by a link says by which.
void settle_scopes(ombrel_route_t& one) {
    scope_to_interface(one.m_gateway, one.m_interface);
    scope_to_interface(one.m_source, one.m_interface);
}

ombrel_route_t begin_route(const rtmsg& head) {
    ombrel_route_t one{};
    one.m_family = head.rtm_family;
    one.m_type = head.rtm_type;
    one.m_prefix_length = head.rtm_dst_len;
    one.m_from_prefix_length = head.rtm_src_len;
    one.m_table = head.rtm_table;
    one.m_protocol = head.rtm_protocol;
    one.m_reach = head.rtm_scope;
    one.m_service = head.rtm_tos;
    one.m_flags = flags_of_route(head.rtm_flags);
    one.m_expires_s = -1;
    return one;
}

} // namespace

bool netlink_hops::next(ombrel_route_hop_t& hop) {
    if (rest_.empty() || !is_good_)
        return false;
    hop = {};
    is_good_ = read(hop);
    return is_good_;
}

bool netlink_hops::read(ombrel_route_hop_t& hop) {
    rtnexthop head;
    if (rest_.size() < sizeof head)
        return false;
    memcpy(&head, rest_.data(), sizeof head);
    if (head.rtnh_len < sizeof head || head.rtnh_len > rest_.size())
        return false;
    attribute_walk attributes(rest_.subspan(sizeof head, head.rtnh_len - sizeof head));
    while (attributes.next()) {
        if (attributes.type() == RTA_GATEWAY)
            read_ip_address(attributes, family_, hop.m_gateway);
        else if (attributes.type() == RTA_VIA)
            read_via(attributes, hop.m_gateway);
    }
    hop.m_interface = static_cast<uint32_t>(head.rtnh_ifindex);
    hop.m_weight = head.rtnh_hops + 1u;
    hop.m_flags = head.rtnh_flags & hop_flags;
    scope_to_interface(hop.m_gateway, hop.m_interface);
    const size_t whole = netlink_aligned(head.rtnh_len);
    rest_ = rest_.subspan(whole < rest_.size() ? whole : rest_.size());
    return attributes.is_good();
}

netlink_reading read_route(netlink_bytes message, netlink_route& found) {
    rtmsg head;
    if (!take_record(message, head))
        return netlink_reading::malformed;
    const int bits = address_bits(head.rtm_family);
    if (bits == 0)
        return netlink_reading::passed_over;
    found.route = begin_route(head);
    found.hops = {};
    attribute_walk attributes(message);
    while (attributes.next())
        read_route_attribute(attributes, found);
    name_destination(found.route);
    settle_scopes(found.route);
    return attributes.is_good() && head.rtm_dst_len <= bits && head.rtm_src_len <= bits
               ? netlink_reading::taken
               : netlink_reading::malformed;
}

netlink_reading read_neighbour(netlink_bytes message, ombrel_neighbour_t& found) {
    ndmsg head;
    if (!take_record(message, head))
        return netlink_reading::malformed;
    if (address_bits(head.ndm_family) == 0)
        return netlink_reading::passed_over;
    found = {};
    found.m_interface = static_cast<uint32_t>(head.ndm_ifindex);
    found.m_state = head.ndm_state & 0xFFu;
    found.m_flags = ((head.ndm_flags & NTF_ROUTER) != 0 ? def_ombrel_neighbour_router : 0u) |
                    ((head.ndm_flags & NTF_EXT_LEARNED) != 0 ? def_ombrel_neighbour_outside : 0u) |
                    ((head.ndm_flags & NTF_PROXY) != 0 ? def_ombrel_neighbour_proxy : 0u);
    attribute_walk attributes(message);
    while (attributes.next()) {
        if (attributes.type() == NDA_DST)
            read_ip_address(attributes, head.ndm_family, found.m_address);
        else if (attributes.type() == NDA_LLADDR)
            attributes.hardware(found.m_hardware, found.m_hardware_size);
    }
    scope_to_interface(found.m_address, found.m_interface);
    return attributes.is_good() && found.m_address.m_any.sa_family != AF_UNSPEC ? netlink_reading::taken
                                                                                : netlink_reading::malformed;
}

} // namespace ombrel::platform
