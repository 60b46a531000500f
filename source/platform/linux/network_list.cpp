// Interfaces, routes and neighbours, as the kernel lists them.
#include <cstdlib>
#include <new>

#include <linux/ethtool.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>

#include "platform/fault.h"
#include "platform/linux/ethtool_socket.h"
#include "platform/linux/netlink_address.h"
#include "platform/linux/netlink_record.h"
#include "platform/linux/netlink_socket.h"
#include "platform/network_interface.h"
#include "platform/route.h"

namespace ombrel::platform {

namespace {

/// Answers of one kind, walked.
class record_walk {
public:
    explicit record_walk(uint16_t type) : type_(type) {}

    byte_pile& pile() { return pile_; }
    void rewind() { messages_ = message_walk(pile_.bytes()); }

    /// The next record that the reader takes: 1, 0 at the end, -1 with the fault.
    template<typename Record>
    int next(netlink_reading (&read)(netlink_bytes, Record&), Record& record) {
        nlmsghdr head;
        netlink_bytes content;
        while (messages_.next(head, content)) {
            if (head.nlmsg_type != type_)
                continue;
            const netlink_reading how = read(content, record);
            if (how == netlink_reading::taken)
                return 1;
            if (how == netlink_reading::malformed)
                return leave_fault(fault_code::violation), -1;
        }
        return messages_.is_malformed() ? (leave_fault(fault_code::violation), -1) : 0;
    }

private:
    uint16_t type_;
    byte_pile pile_;
    message_walk messages_{netlink_bytes{}};
};

template<typename Head>
bool list_family(netlink_socket& kernel, uint16_t type, const Head& head, byte_pile& answer, size_t most) {
    netlink_request request(type, NLM_F_DUMP, head);
    return kernel.ask(request, answer, most);
}

/// The listings of one family, or of both behind each other.
template<typename Head>
bool list_families(uint16_t type, uint8_t Head::*place, int family, byte_pile& answer, size_t most) {
    netlink_socket kernel;
    if (!kernel.open())
        return false;
    for (const int one : {AF_INET, AF_INET6}) {
        Head head{};
        head.*place = static_cast<uint8_t>(one);
        if ((family == AF_UNSPEC || family == one) && !list_family(kernel, type, head, answer, most))
            return false;
    }
    return true;
}

/// A record of the C library's memory, made and unmade.
template<typename State>
State* new_state() {
    void* const memory = malloc(sizeof(State));
    return memory != nullptr ? new (memory) State : nullptr;
}

template<typename State>
void end_state(State* state) {
    if (state == nullptr)
        return;
    state->~State();
    free(state);
}

} // namespace

struct interface_list::state {
    record_walk links{RTM_NEWLINK}, addresses{RTM_NEWADDR};
    netlink_link link;
    netlink_address address;
    ethtool_socket cards;

    bool list() {
        netlink_socket kernel;
        return kernel.open() &&
               list_family(kernel, RTM_GETLINK, ifinfomsg{}, links.pile(), most_interfaces) &&
               list_family(kernel, RTM_GETADDR, ifaddrmsg{}, addresses.pile(), most_interface_addresses);
    }
};

interface_list::interface_list() : state_(new_state<state>()) {
    if (state_ != nullptr && !state_->list()) {
        const fault_keeper kept;
        end_state(state_);
        state_ = nullptr;
    }
    rewind();
}

interface_list::~interface_list() {
    const fault_keeper kept;
    end_state(state_);
}

void interface_list::rewind() {
    if (state_ == nullptr)
        return;
    state_->links.rewind();
    state_->addresses.rewind();
}

int interface_list::next(ombrel_network_interface_t& one, ombrel_interface_statistics_t& statistics,
                         bool& has_statistics) {
    const int step = state_->links.next(read_link, state_->link);
    if (step == 1) {
        one = state_->link.interface;
        statistics = state_->link.statistics;
        has_statistics = state_->link.has_statistics;
    }
    return step;
}

int interface_list::next_address(uint32_t& index, ombrel_interface_address_t& address) {
    const int step = state_->addresses.next(read_address, state_->address);
    if (step == 1) {
        index = state_->address.interface_index;
        address = state_->address.address;
    }
    return step;
}

void interface_list::ask_for_speed(ombrel_network_interface_t& one) {
    if ((one.m_flags & def_ombrel_interface_running) != 0 && one.m_type == def_ombrel_interface_type_ethernet)
        state_->cards.ask_for_speed(one.m_name, one.m_speed, one.m_duplex);
}

struct route_list::state {
    record_walk routes{RTM_NEWROUTE};
    netlink_route route;

    bool look_up(const sockaddr& destination, const sockaddr* source, uint32_t interface_index);
};

route_list::~route_list() {
    const fault_keeper kept;
    end_state(state_);
}

bool route_list::list(int family, size_t most) {
    state_ = new_state<state>();
    if (state_ == nullptr ||
        !list_families(RTM_GETROUTE, &rtmsg::rtm_family, family, state_->routes.pile(), most))
        return false;
    rewind();
    return true;
}

namespace {

const void* raw_address(const sockaddr& address) {
    return address.sa_family == AF_INET
               ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr)
               : &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
}

uint32_t scope_of(const sockaddr& address) {
    return address.sa_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_scope_id : 0;
}

} // namespace

bool route_list::state::look_up(const sockaddr& destination, const sockaddr* source,
                                uint32_t interface_index) {
    const auto bits = static_cast<uint8_t>(address_bits(destination.sa_family));
    rtmsg head{};
    head.rtm_family = static_cast<uint8_t>(destination.sa_family);
    head.rtm_dst_len = bits;
    head.rtm_src_len = source != nullptr ? bits : uint8_t{0};
    head.rtm_flags = RTM_F_LOOKUP_TABLE;
    netlink_request request(RTM_GETROUTE, 0, head);
    request.add(RTA_DST, raw_address(destination), bits / 8u);
    if (source != nullptr)
        request.add(RTA_SRC, raw_address(*source), bits / 8u);
    const uint32_t index = interface_index != 0 ? interface_index : scope_of(destination);
    if (index != 0)
        request.add(RTA_OIF, &index, sizeof index);
    netlink_socket kernel;
    return kernel.open() && kernel.ask(request, routes.pile(), 1);
}

bool route_list::look_up(const sockaddr& destination, const sockaddr* source, uint32_t interface_index) {
    state_ = new_state<state>();
    if (state_ == nullptr)
        return false;
    const bool is_found = state_->look_up(destination, source, interface_index);
    // By these the kernel says that a route drops the packets, or throws the look-up out of the last table.
    if (failed_by(is_found ? 0 : -1, fault_code::invalid) ||
        failed_by(is_found ? 0 : -1, fault_code::would_block))
        leave_fault(fault_code::unreachable);
    rewind();
    return is_found;
}

void route_list::rewind() {
    state_->routes.rewind();
}

int route_list::next(ombrel_route_t& route) {
    const int step = state_->routes.next(read_route, state_->route);
    if (step == 1)
        route = state_->route.route;
    return step;
}

bool route_list::next_hop(ombrel_route_hop_t& hop) {
    return state_->route.hops.next(hop);
}

bool route_list::has_hop_by(uint32_t interface_index) const {
    netlink_hops hops = state_->route.hops;
    ombrel_route_hop_t hop{};
    while (hops.next(hop) && hop.m_interface != interface_index)
        hop = {};
    return hop.m_interface == interface_index;
}

struct neighbour_list::state {
    record_walk neighbours{RTM_NEWNEIGH};
};

neighbour_list::~neighbour_list() {
    const fault_keeper kept;
    end_state(state_);
}

bool neighbour_list::list(int family, size_t most) {
    state_ = new_state<state>();
    if (state_ == nullptr ||
        !list_families(RTM_GETNEIGH, &ndmsg::ndm_family, family, state_->neighbours.pile(), most))
        return false;
    rewind();
    return true;
}

void neighbour_list::rewind() {
    state_->neighbours.rewind();
}

int neighbour_list::next(ombrel_neighbour_t& neighbour) {
    return state_->neighbours.next(read_neighbour, neighbour);
}

} // namespace ombrel::platform
