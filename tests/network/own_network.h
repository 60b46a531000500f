// Networks that a thread has for itself, and what a test makes in them.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <netinet/in.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

#include "network/loopback.h"
#include "network/netlink_message.h"

namespace ombrel_test {

/// Runs a piece in a network that has a loop-back interface alone, which is down; false where none may be
/// made.
inline bool in_own_network(const std::function<void()>& piece) {
    bool is_own = false;
    std::thread([&] {
        is_own = unshare(CLONE_NEWNET) == 0;
        if (is_own)
            piece();
    }).join();
    return is_own;
}

/// Up or not, with other flags and no more.
inline void set_up(const char* interface, bool up, int others = 0) {
    const owned_socket s(socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    request.ifr_flags = static_cast<short>((up ? IFF_UP : 0) | others);
    EXPECT_EQ(0, ioctl(s, SIOCSIFFLAGS, &request)) << interface;
}

inline void set_loopback(bool up) {
    set_up("lo", up);
}

inline constexpr unsigned create = NLM_F_CREATE | NLM_F_EXCL;

/// Whether the kernel did what a message says.
inline bool change_network(unsigned type, unsigned flags, const std::string& content) {
    const owned_socket kernel(socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE));
    const auto size = static_cast<uint32_t>(content.size() + sizeof(nlmsghdr));
    const std::string message = word(size, 4) + word(type, 2) + word(NLM_F_REQUEST | NLM_F_ACK | flags, 2) +
                                word(1, 4) + word(0, 4) + content;
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    if (sendto(kernel, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) <
        0)
        return false;
    struct {
        nlmsghdr head;
        nlmsgerr told;
        char rest[4096];
    } answer;
    return recv(kernel, &answer, sizeof answer, 0) > 0 && answer.head.nlmsg_type == NLMSG_ERROR &&
           answer.told.error == 0;
}

inline uint32_t index_of(const char* interface) {
    return ombrel_interface_name_to_index(interface);
}

inline std::string name_of(uint32_t index) {
    char name[64];
    return ombrel_interface_index_to_name(index, name, sizeof name) == 0 ? name : "none";
}

inline constexpr char no_pairs[] = "the kernel makes no pairs of interfaces, or has no IPv6";

inline std::string text_attribute(unsigned type, const char* text) {
    return attribute(type, std::string(text, strlen(text) + 1));
}

/// Two interfaces, v0 and v1, that lead to one another; down. False where the kernel makes none, or has no
/// IPv6.
inline bool make_pair() {
    set_loopback(true);
    if (!has_ipv6())
        return false;
    constexpr uint32_t always = 77; // so that it comes back as the one that it was
    const auto head = [](uint32_t index) { return word(0, 4) + word(index, 4) + word(0, 4) + word(0, 4); };
    const std::string other = attribute(1, head(0) + text_attribute(IFLA_IFNAME, "v1"));
    return change_network(RTM_NEWLINK, create,
                          head(always) + text_attribute(IFLA_IFNAME, "v0") +
                              attribute(IFLA_LINKINFO, text_attribute(IFLA_INFO_KIND, "veth") +
                                                           attribute(IFLA_INFO_DATA, other)));
}

inline bool change_address(unsigned type, unsigned flags, const char* interface, const char* address,
                           int bits, int reach) {
    const std::string bytes = raw(address);
    return change_network(type, flags,
                          word(bytes.size() == 4 ? AF_INET : AF_INET6, 1) +
                              word(static_cast<uint32_t>(bits), 1) + word(IFA_F_NODAD, 1) +
                              word(static_cast<uint32_t>(reach), 1) + word(index_of(interface), 4) +
                              attribute(IFA_LOCAL, bytes) + attribute(IFA_ADDRESS, bytes));
}

inline bool add_address(const char* interface, const char* address, int bits, int reach = RT_SCOPE_UNIVERSE) {
    return change_address(RTM_NEWADDR, create, interface, address, bits, reach);
}

inline bool remove_address(const char* interface, const char* address, int bits) {
    return change_address(RTM_DELADDR, 0, interface, address, bits, RT_SCOPE_UNIVERSE);
}

/// A route, to everywhere unless it says something else.
struct route_entry {
    int family = AF_INET;
    uint32_t metric = 0;
    std::string ways; ///< interfaces, gateways and the like
    const char* to = nullptr;
    unsigned bits = 0, type = RTN_UNICAST, table = RT_TABLE_MAIN, service = 0, reach = RT_SCOPE_LINK;
};

inline std::string by(const char* interface) {
    return attribute(RTA_OIF, word(index_of(interface), 4));
}

inline std::string via(const char* gateway) {
    return attribute(RTA_GATEWAY, raw(gateway));
}

/// One of several ways.
inline std::string way(const char* interface, const char* gateway, unsigned weight) {
    const std::string router = gateway != nullptr ? via(gateway) : "";
    return word(static_cast<uint32_t>(router.size() + sizeof(rtnexthop)), 2) + word(0, 1) +
           word(weight - 1, 1) + word(index_of(interface), 4) + router;
}

inline bool change_route(unsigned type, const route_entry& one, unsigned flags = create) {
    return change_network(
        type, flags,
        word(static_cast<uint32_t>(one.family), 1) + word(one.bits, 1) + word(0, 1) + word(one.service, 1) +
            word(one.table, 1) + word(RTPROT_STATIC, 1) + word(one.reach, 1) + word(one.type, 1) +
            word(0, 4) + (one.to != nullptr ? attribute(RTA_DST, raw(one.to)) : "") +
            (one.metric != 0 ? attribute(RTA_PRIORITY, word(one.metric, 4)) : "") + one.ways);
}

inline std::string text_of(const ombrel_route_t& one) {
    std::string text = shown(one.m_destination) + "/" + std::to_string(one.m_prefix_length) + " " +
                       ombrel_route_type_name(one.m_type) + " " + name_of(one.m_interface) + " " +
                       std::to_string(one.m_metric);
    int hops = 0;
    for (const ombrel_route_hop_t* hop = one.m_hops; hop != nullptr; hop = hop->m_next, hops++)
        text += " " + shown(hop->m_gateway) + "%" + name_of(hop->m_interface) + "*" +
                std::to_string(hop->m_weight);
    EXPECT_EQ(one.m_hop_count, hops) << text;
    return text;
}

/// The text of a route that was opened; of none the reason.
inline std::string text_and_close(ombrel_route_t* route) {
    const std::string text = route != nullptr ? text_of(*route) : ombrel_fault_name(ombrel_last_fault());
    ombrel_close_route(route);
    return text;
}

/// A pair whose two ends are up, each with an address.
inline bool make_working_pair() {
    if (!make_pair())
        return false;
    set_up("v0", true);
    set_up("v1", true);
    return add_address("v0", "10.0.0.1", 24) && add_address("v1", "10.1.0.1", 24);
}

inline constexpr unsigned far = RT_SCOPE_UNIVERSE; ///< of a route by a router

inline bool change_neighbour(unsigned type, const char* interface, const char* address, unsigned state,
                             unsigned flags) {
    const std::string bytes = raw(address);
    return change_network(type, flags,
                          word(bytes.size() == 4 ? AF_INET : AF_INET6, 1) + std::string(3, '\0') +
                              word(index_of(interface), 4) + word(state, 2) + word(0, 1) +
                              word(RTN_UNICAST, 1) + attribute(NDA_DST, bytes) +
                              attribute(NDA_LLADDR, "mac123"));
}

/// Emulators of other processors know groups, but no sources of them.
inline bool knows_no_multicast_sources() {
    const owned_socket s(socket(AF_INET, SOCK_DGRAM, 0));
    return setsockopt(s, IPPROTO_IP, MCAST_JOIN_SOURCE_GROUP, nullptr, 0) != 0 && errno == ENOPROTOOPT;
}

/// Emulators of other processors do not hand questions about neighbours on.
inline bool lists_no_neighbours() {
    ombrel_neighbour_list_t* const list = ombrel_open_neighbour_list(nullptr);
    const bool refused = list == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported;
    ombrel_close_neighbour_list(list);
    return refused;
}

} // namespace ombrel_test
