// What messages of the kernel say of interfaces, addresses, routes and neighbours.
#pragma once

#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

#include "platform/linux/netlink_message.h"

namespace ombrel::platform {

/// What a message was for its reader.
enum class netlink_reading {
    taken,
    passed_over, ///< it is of another family, as of bridges' ports, or tells nothing that is listed
    malformed,
};

/// An interface and what it has moved. Pointers in it stay null.
struct netlink_link {
    ombrel_network_interface_t interface;
    ombrel_interface_statistics_t statistics;
    bool has_statistics;
};

struct netlink_address {
    uint32_t interface_index;
    ombrel_interface_address_t address;
};

/// The ways of a route that has several.
class netlink_hops {
public:
    netlink_hops() = default;
    netlink_hops(netlink_bytes bytes, int family) : rest_(bytes), family_(family) {}

    bool next(ombrel_route_hop_t& hop);
    bool is_good() const { return is_good_; }

private:
    bool read(ombrel_route_hop_t& hop);

    netlink_bytes rest_;
    int family_ = 0;
    bool is_good_ = true;
};

struct netlink_route {
    ombrel_route_t route; ///< without its hops, which are counted
    netlink_hops hops;    ///< they lie in the message
};

netlink_reading read_link(netlink_bytes message, netlink_link& link);
netlink_reading read_address(netlink_bytes message, netlink_address& address);
netlink_reading read_route(netlink_bytes message, netlink_route& route);
netlink_reading read_neighbour(netlink_bytes message, ombrel_neighbour_t& neighbour);

} // namespace ombrel::platform
