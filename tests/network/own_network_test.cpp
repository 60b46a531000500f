// Interfaces, routes and neighbours of a network that a thread has for itself.
#if defined(__linux__)

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/multicast.h>
#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/nic.h>
#include <ombrel/route.h>

#include "network/own_network.h"

using namespace ombrel_test;

namespace {

void choose_default_routes() {
    if (!make_pair())
        GTEST_SKIP() << no_pairs;
    set_up("v0", true); // whose link is down, as v1 is
    for (const int family : {AF_INET, AF_INET6}) {
        const bool is_ipv4 = family == AF_INET;
        const std::string everywhere = is_ipv4 ? "0.0.0.0/0 unicast " : "::/0 unicast ";
        EXPECT_EQ("not_found", text_and_close(ombrel_open_default_route(family)));
        const route_entry not_meant[] = {{family, 2, by("lo"), is_ipv4 ? "0.0.0.0" : "::", 1},
                                         {family, 3, "", nullptr, 0, RTN_BLACKHOLE},
                                         {family, 4, by("lo"), nullptr, 0, RTN_UNICAST, 100},
                                         {family, 5, by("v0")}};
        for (const route_entry& one : not_meant) {
            ASSERT_TRUE(change_route(RTM_NEWROUTE, one)) << one.metric;
            EXPECT_EQ("not_found", text_and_close(ombrel_open_default_route(family))) << one.metric;
        }
        const route_entry of_service{family, 6, by("lo"), nullptr, 0, RTN_UNICAST, RT_TABLE_MAIN, 4};
        if (is_ipv4) {
            ASSERT_TRUE(change_route(RTM_NEWROUTE, of_service));
            EXPECT_EQ("not_found", text_and_close(ombrel_open_default_route(family)));
        }
        for (const auto& [metric, best] :
             {std::pair<uint32_t, const char*>{50, "lo 50"}, {30, "lo 30"}, {40, "lo 30"}}) {
            ASSERT_TRUE(change_route(RTM_NEWROUTE, {family, metric, by("lo")}));
            EXPECT_EQ(everywhere + best, text_and_close(ombrel_open_default_route(family)));
        }
    }
}

TEST(OwnNetwork, ItsDefaultRouteIsTheBestOfThoseThatAreUsed) {
    if (!in_own_network(choose_default_routes))
        GTEST_SKIP() << "no network of one's own may be made";
}

/// Each interface that is up, takes multicast and has an address is a member by itself; those of a source
/// too.
void join_on_all() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    if (knows_no_multicast_sources())
        GTEST_SKIP() << "this emulator knows no sources of multicast";
    set_up("v0", true, IFF_MULTICAST);
    set_up("v1", true, IFF_MULTICAST);
    socket_address group(AF_INET, "239.255.79.80", 0), source(AF_INET, "192.0.2.77", 0);
    const owned_socket s(ombrel_open_socket(AF_INET, SOCK_DGRAM, 0));
    const auto leave = [&](const char* interface, sockaddr* from) {
        return from != nullptr ? ombrel_multicast_join_source_group(s, group.get(), from, 0, interface, 0)
                               : ombrel_multicast_join(s, group.get(), 0, interface, 0);
    };
    for (sockaddr* const from : {static_cast<sockaddr*>(nullptr), source.get()}) {
        EXPECT_EQ(0, ombrel_multicast_join_source_group_all(s, group.get(), from, 1));
        for (const char* const interface : {"v0", "v1"}) {
            EXPECT_EQ(0, leave(interface, from)) << interface;
            EXPECT_EQ(-1, leave(interface, from)) << "it was a member once";
        }
    }
    const auto* const four = reinterpret_cast<const sockaddr_in*>(group.get());
    EXPECT_EQ(0, ombrel_inet_multicast_join(s, &four->sin_addr, nullptr, 1));
    EXPECT_EQ(0, ombrel_multicast_block_source_all(s, group.get(), source.get(), 1));
    EXPECT_EQ(0, leave("v1", nullptr));
    EXPECT_EQ(0, ombrel_inet_multicast_join(s, &four->sin_addr, nullptr, 0));
    EXPECT_EQ(-1, leave("v0", nullptr)) << "left on what there was";
}

TEST(OwnNetwork, IsJoinedOnAllItsInterfaces) {
    if (!in_own_network(join_on_all))
        GTEST_SKIP() << "no network of one's own may be made";
}

void follow_default_route() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    const route_entry first{AF_INET, 9, by("lo")}, second{AF_INET, 9, by("v1")};
    ASSERT_TRUE(change_route(RTM_NEWROUTE, first));
    ASSERT_TRUE(change_route(RTM_NEWROUTE, second, NLM_F_CREATE | NLM_F_APPEND));
    EXPECT_EQ("0.0.0.0/0 unicast lo 9", text_and_close(ombrel_open_default_route(AF_INET)))
        << "of two alike the first";
    ASSERT_TRUE(change_route(RTM_DELROUTE, first, 0));
    EXPECT_EQ("0.0.0.0/0 unicast v1 9", text_and_close(ombrel_open_default_route(AF_INET)));
    route_entry several{AF_INET, 8,
                        attribute(RTA_MULTIPATH, way("v1", "10.1.0.7", 2) + way("v0", "10.0.0.7", 1))};
    several.reach = far;
    ASSERT_TRUE(change_route(RTM_NEWROUTE, several));
    EXPECT_EQ("0.0.0.0/0 unicast v1 8 10.1.0.7%v1*2 10.0.0.7%v0*1",
              text_and_close(ombrel_open_default_route(AF_INET)));
}

TEST(OwnNetwork, ItsDefaultRouteComesWithItsWays) {
    if (!in_own_network(follow_default_route))
        GTEST_SKIP() << "no network of one's own may be made";
}

/// The routes that this test made, in their order.
std::string texts_of(const ombrel_route_list_t& list) {
    std::string all;
    int64_t count = 0;
    for (const ombrel_route_t* one = list.m_first; one != nullptr; one = one->m_next, count++)
        if (one->m_protocol == def_ombrel_route_by_static)
            all += text_of(*one) + "\n";
    EXPECT_EQ(list.m_count, count);
    return all;
}

void list_routes() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    const std::string ways = attribute(RTA_MULTIPATH, way("v0", "10.0.0.7", 1) + way("v1", "10.1.0.7", 3)),
                      others = attribute(RTA_MULTIPATH, way("v0", "10.0.0.8", 2) + way("v0", "10.0.0.9", 1));
    const route_entry entries[] = {
        {AF_INET, 1, ways, "10.20.0.0", 16, RTN_UNICAST, RT_TABLE_MAIN, 0, far},
        {AF_INET, 1, others, "10.21.0.0", 16, RTN_UNICAST, RT_TABLE_MAIN, 0, far},
        {AF_INET, 1, by("lo"), "10.22.0.0", 16},
        {AF_INET, 1, "", "10.23.0.0", 16, RTN_PROHIBIT},
        {AF_INET, 1, by("lo"), "10.24.0.0", 16, RTN_UNICAST, 100},
        {AF_INET, 1, by("v1") + via("10.1.0.7"), "10.25.0.0", 16, RTN_UNICAST, RT_TABLE_MAIN, 0, far},
        {AF_INET6, 1, by("lo"), "2001:db8::", 32},
    };
    for (const route_entry& one : entries)
        ASSERT_TRUE(change_route(RTM_NEWROUTE, one)) << one.to;
    const std::string both = "10.20.0.0/16 unicast v0 1 10.0.0.7%v0*1 10.1.0.7%v1*3\n",
                      one_side = "10.21.0.0/16 unicast v0 1 10.0.0.8%v0*2 10.0.0.9%v0*1\n",
                      direct = "10.22.0.0/16 unicast lo 1\n", none = "10.23.0.0/16 prohibit none 1\n",
                      aside = "10.24.0.0/16 unicast lo 1\n", routed = "10.25.0.0/16 unicast v1 1\n",
                      ipv6 = "2001:db8::/32 unicast lo 1\n";
    const struct {
        ombrel_route_options_t options;
        std::string expected;
    } cases[] = {
        {{AF_INET, def_ombrel_route_table_main, 0, 1000}, both + one_side + direct + none + routed},
        {{AF_INET6, def_ombrel_route_table_main, index_of("lo"), 1000}, ipv6},
        {{0, def_ombrel_route_table_main, index_of("lo"), 1000}, direct + ipv6},
        {{0, def_ombrel_route_table_main, index_of("v1"), 1000}, both + routed},
        {{AF_INET, def_ombrel_route_table_main, index_of("v0"), 1000}, both + one_side},
        {{AF_INET, 100, 0, 1}, aside},
        {{AF_INET, 100, index_of("v0"), 1}, ""},
        {{AF_INET, def_ombrel_route_table_all, index_of("lo"), 1000}, aside + direct},
    };
    for (const auto& [options, expected] : cases) {
        ombrel_route_list_t* const list = ombrel_open_route_list(&options);
        ASSERT_NE(nullptr, list) << ombrel_fault_text();
        EXPECT_EQ(expected, texts_of(*list)) << &options - &cases[0].options;
        const ombrel_route_options_t exactly{options.m_family, options.m_table, options.m_interface,
                                             list->m_count},
            less{options.m_family, options.m_table, options.m_interface, list->m_count - 1};
        ombrel_close_route_list(list);
        // Of IPv6 the host goes on making routes of its own.
        if (options.m_family != AF_INET || exactly.m_limit < 2)
            continue;
        ombrel_route_list_t* const again = ombrel_open_route_list(&exactly);
        EXPECT_NE(nullptr, again);
        ombrel_close_route_list(again);
        EXPECT_EQ(nullptr, ombrel_open_route_list(&less));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
    ombrel_route_list_t* const usual = ombrel_open_route_list(nullptr);
    ASSERT_NE(nullptr, usual);
    EXPECT_EQ(cases[0].expected + ipv6, texts_of(*usual));
    ombrel_close_route_list(usual);
}

TEST(OwnNetwork, ItsRoutesAreListedByFamilyTableAndInterface) {
    if (!in_own_network(list_routes))
        GTEST_SKIP() << "no network of one's own may be made";
}

void look_routes_up() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    const std::pair<const char*, unsigned> drops[] = {{"10.30.0.0", RTN_BLACKHOLE},
                                                      {"10.31.0.0", RTN_UNREACHABLE},
                                                      {"10.32.0.0", RTN_PROHIBIT},
                                                      {"10.33.0.0", RTN_THROW}};
    for (const auto& [to, type] : drops)
        ASSERT_TRUE(change_route(RTM_NEWROUTE, {AF_INET, 0, "", to, 16, type}));
    ASSERT_TRUE(change_route(RTM_NEWROUTE, {AF_INET6, 0, "", "2001:db8::", 32, RTN_PROHIBIT}));
    const struct {
        const char *to, *interface, *expected;
    } cases[] = {
        {"10.0.0.9", nullptr, "10.0.0.9/32 unicast v0 0"},
        {"10.1.0.9", nullptr, "10.1.0.9/32 unicast v1 0"},
        {"10.1.0.9", "v0", "10.1.0.9/32 unicast v0 0"},
        {"10.0.0.1", nullptr, "10.0.0.1/32 local lo 0"},
        {"10.30.1.1", nullptr, "unreachable"},
        {"10.31.1.1", nullptr, "unreachable"},
        {"10.32.1.1", nullptr, "access_denied"},
        {"10.33.1.1", nullptr, "unreachable"},
        {"10.34.1.1", nullptr, "unreachable"},
        {"2001:db8::1", nullptr, "access_denied"},
    };
    for (const auto& [to, interface, expected] : cases) {
        socket_address destination(strchr(to, ':') != nullptr ? AF_INET6 : AF_INET, to, 0);
        const uint32_t index = interface != nullptr ? index_of(interface) : 0;
        EXPECT_EQ(expected, text_and_close(ombrel_open_route_to(destination.get(), nullptr, index))) << to;
    }
    socket_address near(AF_INET, "10.0.0.9", 0), own(AF_INET, "10.1.0.1", 0),
        foreign(AF_INET, "10.77.0.1", 0);
    EXPECT_EQ("10.0.0.9/32 unicast v0 0", text_and_close(ombrel_open_route_to(near.get(), own.get(), 0)));
    EXPECT_EQ("unreachable", text_and_close(ombrel_open_route_to(near.get(), foreign.get(), 0)))
        << "from an address that the host does not have";
}

TEST(OwnNetwork, TellsWhichWayPacketsWouldTakeAndWhyNone) {
    if (!in_own_network(look_routes_up))
        GTEST_SKIP() << "no network of one's own may be made";
}

/// In the order of their addresses, as the host has none.
std::string texts_of(const ombrel_neighbour_list_t& list) {
    std::vector<std::string> all;
    for (const ombrel_neighbour_t* one = list.m_first; one != nullptr; one = one->m_next)
        all.push_back(name_of(one->m_interface) + " " +
                      shown(one->m_address).substr(0, shown(one->m_address).find('%')) + " " +
                      ombrel_neighbour_state_name(one->m_state));
    EXPECT_EQ(list.m_count, static_cast<int64_t>(all.size()));
    std::sort(all.begin(), all.end());
    std::string text;
    for (const std::string& one : all)
        text += one + "\n";
    return text;
}

void list_neighbours() {
    if (lists_no_neighbours())
        GTEST_SKIP() << "this emulator lists no neighbours";
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    const struct {
        const char *interface, *address;
        unsigned state;
    } entries[] = {{"v0", "10.0.0.7", NUD_PERMANENT},
                   {"v0", "10.0.0.8", NUD_STALE},
                   {"v1", "10.1.0.7", NUD_PERMANENT},
                   {"v0", "2001:db8::7", NUD_PERMANENT},
                   {"v1", "2001:db8::8", NUD_PERMANENT}};
    for (const auto& [interface, address, state] : entries)
        ASSERT_TRUE(change_neighbour(RTM_NEWNEIGH, interface, address, state, create)) << address;
    constexpr uint32_t lasting = def_ombrel_neighbour_permanent, stale = def_ombrel_neighbour_stale;
    const struct {
        ombrel_neighbour_options_t options;
        const char* expected;
    } cases[] = {
        {{AF_INET, 0, lasting | stale, 100},
         "v0 10.0.0.7 permanent\nv0 10.0.0.8 stale\nv1 10.1.0.7 permanent\n"},
        {{AF_INET, 0, lasting, 100}, "v0 10.0.0.7 permanent\nv1 10.1.0.7 permanent\n"},
        {{AF_INET, 0, stale, 100}, "v0 10.0.0.8 stale\n"},
        {{AF_INET6, 0, lasting, 100}, "v0 2001:db8::7 permanent\nv1 2001:db8::8 permanent\n"},
        {{0, index_of("v1"), lasting, 100}, "v1 10.1.0.7 permanent\nv1 2001:db8::8 permanent\n"},
        {{0, index_of("v0"), lasting, 2}, "v0 10.0.0.7 permanent\nv0 2001:db8::7 permanent\n"},
    };
    for (const auto& [options, expected] : cases) {
        ombrel_neighbour_list_t* const list = ombrel_open_neighbour_list(&options);
        ASSERT_NE(nullptr, list) << ombrel_fault_text();
        EXPECT_EQ(expected, texts_of(*list));
        ombrel_close_neighbour_list(list);
    }
    const ombrel_neighbour_options_t too_few{0, index_of("v0"), lasting, 1};
    EXPECT_EQ(nullptr, ombrel_open_neighbour_list(&too_few));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
}

TEST(OwnNetwork, ItsNeighboursAreListedByFamilyInterfaceAndState) {
    if (!in_own_network(list_neighbours))
        GTEST_SKIP() << "no network of one's own may be made";
}

void list_interfaces() {
    if (!make_pair())
        GTEST_SKIP() << no_pairs;
    ASSERT_TRUE(add_address("v0", "169.254.0.1", 16, RT_SCOPE_LINK));
    ASSERT_TRUE(add_address("v0", "10.0.0.1", 24));
    ASSERT_TRUE(add_address("v0", "10.0.0.2", 24));
    ASSERT_TRUE(add_address("v0", "2001:db8::1", 64));
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    socket_address itself = own_address(s);
    EXPECT_EQ(1, ombrel_sendto(s, "x", 1, itself.get(), itself.size, 1000));
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    ASSERT_NE(nullptr, all);
    std::string text;
    for (const ombrel_network_interface_t* one = all; one != nullptr; one = one->m_next) {
        ASSERT_NE(nullptr, one->m_statistics);
        text += std::string(one->m_name) + (one->m_statistics->m_sent_packets != 0 ? " sends" : "");
        for (const auto* address = one->m_address; address != nullptr; address = address->m_next)
            text += " " + shown(address->m_address);
        text += "\n";
    }
    const std::string lo = "lo sends 127.0.0.1 ::1\n";
    EXPECT_EQ(lo, text.substr(0, lo.size()));
    EXPECT_NE(std::string::npos, text.find("\nv0 169.254.0.1 10.0.0.1 10.0.0.2 2001:db8::1\n")) << text;
    EXPECT_NE(std::string::npos, text.find("\nv1\n")) << text;
    const ombrel_network_interface_t* const v0 = ombrel_network_interface_find(all, "v0");
    const ombrel_network_interface_t* const v1 = ombrel_network_interface_find(all, "v1");
    ASSERT_NE(nullptr, v0);
    ASSERT_NE(nullptr, v1);
    EXPECT_EQ(v0->m_index, v1->m_parent_index);
    EXPECT_EQ("10.0.0.1", shown(ombrel_network_interface_get_address(v0, AF_INET)->m_address))
        << "one of wider reach before the first";
    EXPECT_EQ("2001:db8::1", shown(ombrel_network_interface_get_address(v0, AF_INET6)->m_address));
    ombrel_close_network_interface(all);
}

TEST(OwnNetwork, ItsInterfacesHaveTheirAddressesAndNumbers) {
    if (!in_own_network(list_interfaces))
        GTEST_SKIP() << "no network of one's own may be made";
}

std::string text_of(const char* name) {
    ombrel_nic_t nic;
    if (ombrel_get_nic(name, &nic) != 0)
        return ombrel_fault_name(ombrel_last_fault());
    EXPECT_EQ(index_of(name), nic.m_index);
    return facts({nic.m_link, nic.m_speed, nic.m_duplex, nic.m_negotiates, nic.m_port, nic.m_permanent_size},
                 {nic.m_driver, nic.m_name});
}

void describe_cards() {
    set_loopback(true);
    ombrel_nic_t nic;
    if (ombrel_get_nic("lo", &nic) == 0 && nic.m_link == -1)
        GTEST_SKIP() << "this emulator does not hand questions about cards on";
    EXPECT_EQ("1 -1 0 -1 0 0  lo ", text_of("lo"));
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    EXPECT_EQ("1 10000000000 2 0 1 0 veth v0 ", text_of("v0"));
    set_up("v1", false);
    EXPECT_EQ("0 -1 0 0 1 0 veth v0 ", text_of("v0"))
        << "what the link was set to is not told of one that does not work";
}

TEST(OwnNetwork, ItsCardsAreDescribedAsFarAsTheyWork) {
    if (!in_own_network(describe_cards))
        GTEST_SKIP() << "no network of one's own may be made";
}

} // namespace

#endif
