// Reads any bytes as messages of the kernel's about interfaces, addresses, routes and neighbours.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/linux/netlink_record.h"
#include "support/require.h"

using namespace ombrel::platform;

namespace {

template<size_t room>
void check_text(const char (&text)[room]) {
    require(memchr(text, 0, room) != nullptr, "a text ends within its room");
}

void check_address(const ombrel_ip_address_t& address) {
    const int family = address.m_any.sa_family;
    require(family == AF_UNSPEC || family == AF_INET || family == AF_INET6, "an address has a known family");
}

void check_link(const netlink_link& link) {
    const ombrel_network_interface_t& one = link.interface;
    check_text(one.m_name);
    check_text(one.m_kind);
    check_text(one.m_queue);
    check_text(one.m_description);
    require(one.m_name[0] != '\0' && one.m_index != 0, "an interface has a name and an index");
    for (const int size : {one.m_hardware_size, one.m_hardware_broadcast_size})
        require(size >= 0 && size <= def_ombrel_hardware_address_size, "a hardware address fits");
}

void check_interface_address(const netlink_address& found) {
    const ombrel_interface_address_t& one = found.address;
    const bool is_ipv6 = one.m_address.ss_family == AF_INET6;
    require(is_ipv6 || one.m_address.ss_family == AF_INET, "an interface's address has a family");
    require(one.m_prefix_length >= 0 && one.m_prefix_length <= (is_ipv6 ? 128 : 32), "a prefix fits");
    require(one.m_valid_s >= -1 && one.m_preferred_s >= -1, "a life ends or does not");
    check_text(one.m_label);
    check_address(one.m_broadcast);
    check_address(one.m_peer);
}

void check_route(netlink_route found) {
    const ombrel_route_t& one = found.route;
    const int bits = one.m_family == AF_INET6 ? 128 : 32;
    require(one.m_destination.m_any.sa_family == one.m_family, "a destination is of the route's family");
    require(one.m_prefix_length >= 0 && one.m_prefix_length <= bits, "a prefix fits");
    for (const ombrel_ip_address_t* address : {&one.m_from, &one.m_gateway, &one.m_source})
        check_address(*address);
    ombrel_route_hop_t hop;
    int hops = 0;
    for (; found.hops.next(hop); hops++)
        require(hop.m_weight >= 1, "a hop weighs something");
    require(found.hops.is_good() && hops == one.m_hop_count, "there are as many hops as were counted");
}

void check_message(const nlmsghdr& head, netlink_bytes content) {
    netlink_link link;
    netlink_address address;
    netlink_route route;
    ombrel_neighbour_t neighbour;
    switch (head.nlmsg_type) {
    case RTM_NEWLINK:
        if (read_link(content, link) == netlink_reading::taken)
            check_link(link);
        break;
    case RTM_NEWADDR:
        if (read_address(content, address) == netlink_reading::taken)
            check_interface_address(address);
        break;
    case RTM_NEWROUTE:
        if (read_route(content, route) == netlink_reading::taken)
            check_route(route);
        break;
    default:
        if (read_neighbour(content, neighbour) == netlink_reading::taken)
            check_address(neighbour.m_address);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    message_walk messages({data, size});
    nlmsghdr head;
    netlink_bytes content;
    while (messages.next(head, content)) {
        require(content.size() <= size, "a message lies in what came");
        // A copy of its own size, so that a byte too far shows.
        const std::vector<uint8_t> alone(content.begin(), content.end());
        check_message(head, {alone.data(), alone.size()});
    }
    return 0;
}
