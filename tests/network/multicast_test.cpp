#include <ombrel/multicast.h>

#include <cerrno>
#include <functional>
#include <string>

#include <ombrel/network_interface.h>
#include <ombrel/select.h>
#include <ombrel/socket_open.h>

#include "loopback.h"
#include "support/heap_balance.h"

using namespace ombrel_test;

namespace {

constexpr int quiet_limit = 20, limit = 1000;

std::string loopback_interface() {
    std::string name;
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    for (const auto* one = all; one != nullptr; one = one->m_next)
        if ((one->m_flags & def_ombrel_interface_loopback) != 0)
            name = one->m_name;
    ombrel_close_network_interface(all);
    return name;
}

/// An interface that can take IPv6 multicast: mostly not the loop-back one.
std::string multicast_interface() {
    std::string name = loopback_interface();
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    for (const auto* one = all; one != nullptr; one = one->m_next) {
        constexpr uint32_t wanted = def_ombrel_interface_up | def_ombrel_interface_multicast;
        if ((one->m_flags & wanted) == wanted && one->m_address != nullptr)
            name = one->m_name;
    }
    ombrel_close_network_interface(all);
    return name;
}

in_addr loopback_address() {
    in_addr address{};
    address.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Whether this machine hands its own multicast back: found out by the system alone.
bool host_delivers(socket_address group, uint32_t index) {
    const int family = group.storage.ss_family, level = family == AF_INET ? IPPROTO_IP : IPPROTO_IPV6;
    const owned_socket receiver(ombrel_open_socket(family, SOCK_DGRAM, 0));
    const owned_socket sender(ombrel_open_socket(family, SOCK_DGRAM, 0));
    socket_address own(family, family == AF_INET ? "0.0.0.0" : "::", 0);
    ombrel_bind(receiver, own.get(), own.size);
    const in_addr loopback = loopback_address();
    if (family == AF_INET) {
        const ip_mreq request{reinterpret_cast<const sockaddr_in&>(group.storage).sin_addr, loopback};
        ombrel_setsockopt(receiver, level, IP_ADD_MEMBERSHIP, &request, sizeof request);
        ombrel_setsockopt(sender, level, IP_MULTICAST_IF, &loopback, sizeof loopback);
    } else {
        const ipv6_mreq request{reinterpret_cast<const sockaddr_in6&>(group.storage).sin6_addr, index};
        ombrel_setsockopt(receiver, level, IPV6_JOIN_GROUP, &request, sizeof request);
        // An emulator may know no such request.
        if (ombrel_setsockopt(sender, level, IPV6_MULTICAST_IF, &index, sizeof index) != 0)
            return false;
    }
    ombrel_sockaddr_set_port(group.get(), own_port(receiver));
    ombrel_sys_sendto(sender, "x", 1, 0, group.get(), group.size);
    return ombrel_single_select(receiver, def_ombrel_select_read, limit) > 0;
}

/// A receiver and a sender of multicast that never leaves this machine: IPv4 goes by the loop-back interface,
/// IPv6 has the interface-local scope, and both have no hops.
class MulticastTest : public balanced_test, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        if (is_ipv6() && !has_ipv6())
            GTEST_SKIP() << "no IPv6";
        name = is_ipv6() ? multicast_interface() : loopback_interface();
        index = ombrel_interface_name_to_index(name.c_str());
        group = socket_address(GetParam(), is_ipv6() ? "ff01::4f4d" : "239.255.79.77", 0);
        if (!host_delivers(group, index))
            GTEST_SKIP() << "no multicast inside this machine";
        receiver = owned_socket(ombrel_open_udp_socket_ex(GetParam(), "", 0, nullptr));
        sender = owned_socket(ombrel_open_socket(GetParam(), SOCK_DGRAM, 0));
        ASSERT_EQ(0, ombrel_hops_socket(sender, 0, 1));
        ombrel_sockaddr_set_port(group.get(), own_port(receiver));
        if (is_ipv6()) {
            ASSERT_EQ(0, ombrel_setsockopt(sender, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index));
        } else {
            const in_addr loopback = loopback_address();
            ASSERT_EQ(0, ombrel_setsockopt(sender, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback));
        }
    }
    bool is_ipv6() const { return GetParam() == AF_INET6; }
    bool arrives(int wait = limit) {
        char text[8];
        if (ombrel_sendto(sender, "tick", 4, group.get(), group.size, limit) != 4)
            return false;
        socket_address from;
        if (ombrel_recvfrom(receiver, text, sizeof text, from.get(), &from.size, wait) != 4)
            return false;
        source = from;
        return true;
    }
    int join(int on) { return ombrel_multicast_join(receiver, group.get(), index, nullptr, on); }

    std::string name;
    uint32_t index = 0;
    owned_socket receiver, sender;
    socket_address group, source;
};

INSTANTIATE_TEST_SUITE_P(Families, MulticastTest, ::testing::Values(AF_INET, AF_INET6));

TEST_P(MulticastTest, JoinsAndLeavesByIndexByNameAndByRawAddresses) {
    const auto by_name = [&](int on) {
        return ombrel_multicast_join(receiver, group.get(), 0, name.c_str(), on);
    };
    const auto by_raw_address = [&](int on) {
        const in_addr loopback = loopback_address();
        const auto* const ipv4 = reinterpret_cast<const sockaddr_in*>(&group.storage);
        const auto* const ipv6 = reinterpret_cast<const sockaddr_in6*>(&group.storage);
        return is_ipv6()
                   ? ombrel_inet6_multicast_join(receiver, &ipv6->sin6_addr, static_cast<int>(index), on)
                   : ombrel_inet_multicast_join(receiver, &ipv4->sin_addr, &loopback, on);
    };
    const auto by_index = [&](int on) { return join(on); };
    for (const auto& change :
         std::initializer_list<std::function<int(int)>>{by_index, by_name, by_raw_address}) {
        ASSERT_EQ(0, change(1));
        ASSERT_TRUE(arrives());
        EXPECT_EQ(0, change(0));
        EXPECT_FALSE(arrives(quiet_limit));
        EXPECT_EQ(-1, change(0)) << "already left";
    }
    EXPECT_EQ(-1, ombrel_multicast_join(receiver, group.get(), 0, "no-such-interface", 1));
}

TEST_P(MulticastTest, SourcesAreJoinedAndBlocked) {
    group_req request{};
    request.gr_interface = index;
    request.gr_group = group.storage;
    if (ombrel_setsockopt(receiver, is_ipv6() ? IPPROTO_IPV6 : IPPROTO_IP, MCAST_LEAVE_GROUP, &request,
                          sizeof request) != 0 &&
        errno == ENOPROTOOPT)
        GTEST_SKIP() << "the system knows no requests about sources";
    ASSERT_EQ(0, join(1));
    ASSERT_TRUE(arrives());
    EXPECT_EQ(0, ombrel_multicast_block_source_group(receiver, group.get(), source.get(), index, nullptr, 1));
    EXPECT_FALSE(arrives(quiet_limit));
    EXPECT_EQ(0, ombrel_multicast_block_source_group(receiver, group.get(), source.get(), index, nullptr, 0));
    EXPECT_TRUE(arrives());
    EXPECT_EQ(0, ombrel_multicast_join_source_group(receiver, group.get(), nullptr, index, nullptr, 0));

    socket_address other(GetParam(), is_ipv6() ? "fe80::1" : "127.9.9.9", 0);
    EXPECT_EQ(0, ombrel_multicast_join_source_group(receiver, group.get(), other.get(), index, nullptr, 1));
    EXPECT_FALSE(arrives(quiet_limit)) << "not the sender that was joined";
    EXPECT_EQ(0, ombrel_multicast_join_source_group(receiver, group.get(), other.get(), index, nullptr, 0));

    for (const int on : {1, 0}) {
        EXPECT_EQ(
            0, ombrel_multicast_join_source_group(receiver, group.get(), source.get(), 0, name.c_str(), on));
        EXPECT_EQ(on == 1, arrives(on == 1 ? limit : quiet_limit));
    }
}

// Groups for which hosts send no reports: all systems, and one of the interface-local scope.
TEST_P(MulticastTest, JoiningAllFollowsTheInterfaceFlags) {
    bool suitable = false;
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    for (const auto* one = all; one != nullptr; one = one->m_next) {
        const auto* address = one->m_address;
        while (address != nullptr && address->m_address.ss_family != GetParam())
            address = address->m_next;
        suitable |= address != nullptr && (one->m_flags & def_ombrel_interface_up) != 0 &&
                    (one->m_flags & def_ombrel_interface_multicast) != 0;
    }
    ombrel_close_network_interface(all);
    socket_address silent(GetParam(), is_ipv6() ? "ff01::4f4e" : "224.0.0.1", 0);
    EXPECT_EQ(suitable ? 0 : -1, ombrel_multicast_join_all(receiver, silent.get(), 1));
    EXPECT_EQ(suitable ? 0 : -1, ombrel_multicast_join_source_group_all(receiver, silent.get(), nullptr, 0));
    EXPECT_EQ(-1, ombrel_multicast_join_all(receiver, silent.get(), 0)) << "nothing left to leave";
    owned_socket joined(ombrel_open_udp_socket_ex(0, "", 0, silent.text().c_str()));
    ASSERT_NE(-1, joined);
    EXPECT_EQ(GetParam(), own_address(joined).storage.ss_family) << "the group decides the family";
    EXPECT_EQ(suitable ? 0 : -1, ombrel_multicast_join_all(joined, silent.get(), 0)) << "joined when opened";
}

TEST(MulticastArguments, MissingAndForeignAddressesAreRefused) {
    heap_balance balance;
    owned_socket s(ombrel_open_socket(AF_INET, SOCK_DGRAM, 0));
    socket_address group(AF_INET, "239.255.79.77", 0), plain(AF_INET, "127.0.0.1", 0),
        other(AF_INET6, "::1", 0);
    socket_address unknown;
    const int results[] = {
        ombrel_multicast_join(-1, group.get(), 1, nullptr, 1),
        ombrel_multicast_join(s, unknown.get(), 1, nullptr, 1),
        ombrel_multicast_join(s, plain.get(), 1, nullptr, 1),
        ombrel_multicast_join_source_group(s, group.get(), other.get(), 1, nullptr, 1),
        ombrel_multicast_block_source_all(s, group.get(), nullptr, 1),
        ombrel_inet_multicast_join(s, nullptr, nullptr, 1),
        ombrel_inet6_multicast_join(s, nullptr, 1, 1),
    };
    for (const int& result : results)
        EXPECT_EQ(-1, result) << &result - results;
}

} // namespace
