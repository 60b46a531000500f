// Interfaces, cards, routes and neighbours of the host that the tests run on.
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/neighbour.h>
#include <ombrel/network.h>
#include <ombrel/network_interface.h>
#include <ombrel/network_watch.h>
#include <ombrel/nic.h>
#include <ombrel/route.h>

#include "network/loopback.h"

using namespace ombrel_test;

namespace {

class NetworkList : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, ombrel_init_network());
        all = ombrel_open_network_interface();
        ASSERT_NE(nullptr, all);
        loopback = ombrel_network_interface_find_address(all, ipv4.get());
        ASSERT_NE(nullptr, loopback) << "the loop-back interface is up";
    }
    void TearDown() override {
        ombrel_close_network_interface(all);
        ombrel_uninit_network();
    }

    socket_address ipv4{AF_INET, "127.0.0.1", 0};
    ombrel_network_interface_t* all = nullptr;
    const ombrel_network_interface_t* loopback = nullptr;
};

TEST_F(NetworkList, AnInterfaceIsFoundByNameIndexAndAddress) {
    EXPECT_EQ(loopback, ombrel_network_interface_find(all, loopback->m_name));
    EXPECT_EQ(loopback, ombrel_network_interface_find_index(all, loopback->m_index));
    EXPECT_EQ(nullptr, ombrel_network_interface_find(all, "no-such-interface"));
    EXPECT_EQ(nullptr, ombrel_network_interface_find(all, nullptr));
    EXPECT_EQ(nullptr, ombrel_network_interface_find(nullptr, "lo"));
    EXPECT_EQ(nullptr, ombrel_network_interface_find_index(all, 0));
    EXPECT_EQ(nullptr, ombrel_network_interface_find_address(all, nullptr));
    const ombrel_interface_address_t* const own = ombrel_network_interface_get_address(loopback, AF_INET);
    ASSERT_NE(nullptr, own);
    EXPECT_EQ(
        0, ombrel_compare_sockaddr_address(reinterpret_cast<const sockaddr*>(&own->m_address), ipv4.get()));
    EXPECT_EQ(8, own->m_prefix_length);
    EXPECT_EQ(def_ombrel_reach_host, own->m_reach);
    EXPECT_EQ(nullptr, ombrel_network_interface_get_address(nullptr, AF_INET));
    EXPECT_EQ(nullptr, ombrel_network_interface_get_address(loopback, AF_UNSPEC));
    EXPECT_EQ(def_ombrel_interface_type_loopback, loopback->m_type);
    EXPECT_LT(0u, loopback->m_mtu);
}

// The first of the family that may be used, a wider reach before a narrower one.
TEST(InterfaceAddress, IsTheOneOfWidestReachThatIsFitForUse) {
    const struct {
        const char* text;
        int reach;
        uint32_t flags;
    } rows[] = {{"10.0.0.1", def_ombrel_reach_host, 0},
                {"10.0.0.2", def_ombrel_reach_link, 0},
                {"10.0.0.3", def_ombrel_reach_link, def_ombrel_address_permanent},
                {"10.0.0.4", def_ombrel_reach_global, def_ombrel_address_tentative},
                {"10.0.0.5", def_ombrel_reach_global, def_ombrel_address_duplicate},
                {"10.0.0.6", def_ombrel_reach_global, def_ombrel_address_deprecated},
                {"::7", def_ombrel_reach_global, 0},
                {"10.0.0.8", def_ombrel_reach_site, def_ombrel_address_secondary},
                {"10.0.0.9", def_ombrel_reach_site, 0}};
    ombrel_interface_address_t addresses[std::size(rows)]{};
    ombrel_network_interface_t other{}, one{};
    other.m_next = &one;
    for (size_t count = 1; count <= std::size(rows); count++) {
        const auto& [text, reach, flags] = rows[count - 1];
        ombrel_interface_address_t& last = addresses[count - 1];
        EXPECT_EQ(0, ombrel_inet_ptos(0, text, 0, &last.m_address, sizeof last.m_address));
        last.m_reach = reach;
        last.m_flags = flags;
        (count == 1 ? one.m_address : addresses[count - 2].m_next) = &last;
        const size_t best = count == 1 ? 0 : count < 8 ? 1 : 7;
        EXPECT_EQ(&addresses[best], ombrel_network_interface_get_address(&one, AF_INET)) << text;
        EXPECT_EQ(count < 7 ? nullptr : &addresses[6], ombrel_network_interface_get_address(&one, AF_INET6));
        EXPECT_EQ(&one, ombrel_network_interface_find_address(
                            &other, reinterpret_cast<const sockaddr*>(&last.m_address)))
            << text;
    }
    socket_address nowhere(AF_INET, "10.0.0.7", 0);
    EXPECT_EQ(nullptr, ombrel_network_interface_find_address(&other, nowhere.get()));
}

TEST_F(NetworkList, NamesAndIndexesLeadToOneAnother) {
    for (const auto* one = all; one != nullptr; one = one->m_next) {
        char name[64];
        EXPECT_EQ(0, ombrel_interface_index_to_name(one->m_index, name, sizeof name));
        EXPECT_STREQ(one->m_name, name);
    }
    const struct {
        uint32_t index;
        size_t size;
        int fault;
    } refused[] = {{0, 64, def_ombrel_fault_not_found},
                   {0x7ffffff0, 64, def_ombrel_fault_not_found},
                   {loopback->m_index, 2, def_ombrel_fault_too_large},
                   {loopback->m_index, 0, def_ombrel_fault_invalid}};
    for (const auto& [index, size, fault] : refused) {
        char name[64] = "left";
        EXPECT_EQ(-1, ombrel_interface_index_to_name(index, name, size));
        EXPECT_EQ(fault, ombrel_last_fault());
        EXPECT_STREQ(size != 0 ? "" : "left", name);
    }
    EXPECT_EQ(-1, ombrel_interface_index_to_name(1, nullptr, 64));
}

TEST(HardwareAddress, IsPrintedWholeOrNotAtAll) {
    const uint8_t bytes[33] = {0x52, 0x54, 0, 0xab, 0xcd, 0xef};
    char text[97];
    EXPECT_STREQ("52:54:00:ab:cd:ef", ombrel_print_hardware_address(bytes, 6, text, 18));
    EXPECT_STREQ("", ombrel_print_hardware_address(bytes, 0, text, 1));
    EXPECT_STREQ("52", ombrel_print_hardware_address(bytes, 1, text, 3));
    EXPECT_EQ(95u, strlen(ombrel_print_hardware_address(bytes, 32, text, 96)));
    EXPECT_EQ(nullptr, ombrel_print_hardware_address(bytes, 6, text, 17));
    EXPECT_EQ(nullptr, ombrel_print_hardware_address(bytes, 0, text, 0));
    EXPECT_EQ(nullptr, ombrel_print_hardware_address(bytes, 33, text, sizeof text));
    EXPECT_EQ(nullptr, ombrel_print_hardware_address(nullptr, 6, text, 18));
}

TEST_F(NetworkList, ACardIsOneOfTheInterfaces) {
    ombrel_nic_t nic;
    ASSERT_EQ(0, ombrel_get_nic(loopback->m_name, &nic)) << ombrel_fault_text();
    EXPECT_STREQ(loopback->m_name, nic.m_name);
    EXPECT_EQ(loopback->m_index, nic.m_index);
    for (const std::string& name : {std::string("no-such-interface"), std::string(200, 'x'), std::string()}) {
        EXPECT_EQ(-1, ombrel_get_nic(name.c_str(), &nic));
        EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
        EXPECT_EQ(0u, nic.m_index);
    }
    EXPECT_EQ(-1, ombrel_get_nic(nullptr, &nic));
    EXPECT_EQ(-1, ombrel_get_nic("lo", nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST_F(NetworkList, RoutesAreChosenByFamilyTableAndInterface) {
    ombrel_route_options_t options;
    ASSERT_EQ(0, ombrel_init_route_options(&options));
    EXPECT_EQ(0, options.m_family);
    EXPECT_EQ(uint32_t{def_ombrel_route_table_main}, options.m_table);
    EXPECT_EQ(0u, options.m_interface);
    EXPECT_EQ(4'194'304, options.m_limit);
    options.m_table = def_ombrel_route_table_all;
    options.m_interface = loopback->m_index;
    options.m_family = AF_INET;
    ombrel_route_list_t* const list = ombrel_open_route_list(&options);
    ASSERT_NE(nullptr, list) << ombrel_fault_text();
    int64_t count = 0;
    for (const ombrel_route_t* one = list->m_first; one != nullptr; one = one->m_next, count++) {
        EXPECT_EQ(AF_INET, one->m_family);
        EXPECT_EQ(AF_INET, one->m_destination.m_any.sa_family);
        EXPECT_EQ(loopback->m_index, one->m_interface);
        EXPECT_STRNE("unknown", ombrel_route_type_name(one->m_type));
    }
    EXPECT_EQ(list->m_count, count);
    options.m_limit = 1;
    if (count > 1) {
        EXPECT_EQ(nullptr, ombrel_open_route_list(&options));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
    EXPECT_EQ(0, ombrel_close_route_list(list));
    const struct {
        int family;
        int64_t limit;
    } refused[] = {{-1, 1}, {77, 1}, {AF_INET, 0}, {AF_INET6, -1}};
    for (const auto& [family, limit] : refused) {
        options.m_family = family;
        options.m_limit = limit;
        EXPECT_EQ(nullptr, ombrel_open_route_list(&options));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(-1, ombrel_init_route_options(nullptr));
    EXPECT_EQ(0, ombrel_close_route_list(nullptr));
    int type = def_ombrel_route_unspecified;
    for (const char* const name : {"unspecified", "unicast", "local", "broadcast", "anycast", "multicast",
                                   "blackhole", "unreachable", "prohibit", "throw", "nat", "xresolve"})
        EXPECT_STREQ(name, ombrel_route_type_name(type++));
    for (const int unknown : {-1, type, 255})
        EXPECT_STREQ("unknown", ombrel_route_type_name(unknown));
}

TEST_F(NetworkList, ThisMachineIsReachedByItsLoopBack) {
    ombrel_route_t* const route = ombrel_open_route_to(ipv4.get(), nullptr, 0);
    if (route == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported)
        GTEST_SKIP() << "this host looks up no routes";
    ASSERT_NE(nullptr, route) << ombrel_fault_text();
    EXPECT_EQ(loopback->m_index, route->m_interface);
    EXPECT_EQ(0, ombrel_compare_sockaddr_address(&route->m_destination.m_any, ipv4.get()));
    EXPECT_EQ(32, route->m_prefix_length);
    EXPECT_EQ(0, ombrel_compare_sockaddr_address(&route->m_source.m_any, ipv4.get()));
    EXPECT_EQ(0, ombrel_close_route(route));
    EXPECT_EQ(0, ombrel_close_route(nullptr));
    socket_address ipv6(AF_INET6, "::1", 0);
    EXPECT_EQ(nullptr, ombrel_open_route_to(ipv4.get(), ipv6.get(), 0)) << "of two families";
    EXPECT_EQ(nullptr, ombrel_open_route_to(nullptr, nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_open_default_route(AF_UNSPEC));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST_F(NetworkList, NeighboursAreThoseOfAnInterface) {
    ombrel_neighbour_options_t options;
    ASSERT_EQ(0, ombrel_init_neighbour_options(&options));
    EXPECT_EQ(0, options.m_family);
    EXPECT_EQ(0u, options.m_interface);
    EXPECT_EQ(uint32_t{def_ombrel_neighbour_usual}, options.m_states);
    EXPECT_EQ(1'048'576, options.m_limit);
    options.m_interface = loopback->m_index;
    options.m_states = def_ombrel_neighbour_reachable;
    ombrel_neighbour_list_t* list = ombrel_open_neighbour_list(&options);
    if (list == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported)
        GTEST_SKIP() << "this emulator lists no neighbours";
    ASSERT_NE(nullptr, list) << ombrel_fault_text();
    EXPECT_EQ(0, list->m_count) << "nobody is behind the loop-back interface";
    EXPECT_EQ(nullptr, list->m_first);
    EXPECT_EQ(0, ombrel_close_neighbour_list(list));
    list = ombrel_open_neighbour_list(nullptr);
    ASSERT_NE(nullptr, list) << ombrel_fault_text();
    for (const ombrel_neighbour_t* one = list->m_first; one != nullptr; one = one->m_next)
        EXPECT_STRNE("unknown", ombrel_neighbour_state_name(one->m_state));
    ombrel_close_neighbour_list(list);
    for (const auto& [family, limit] : {std::pair<int, int64_t>{77, 1}, {AF_INET, 0}, {AF_INET6, -1}}) {
        options.m_family = family;
        options.m_limit = limit;
        EXPECT_EQ(nullptr, ombrel_open_neighbour_list(&options));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(0, ombrel_close_neighbour_list(nullptr));
    EXPECT_EQ(-1, ombrel_init_neighbour_options(nullptr));
    EXPECT_STREQ("none", ombrel_neighbour_state_name(0));
    uint32_t state = 1;
    for (const char* const name :
         {"incomplete", "reachable", "stale", "delay", "probe", "failed", "noarp", "permanent", "unknown"}) {
        EXPECT_STREQ(name, ombrel_neighbour_state_name(state));
        state *= 2;
    }
    EXPECT_STREQ("unknown", ombrel_neighbour_state_name(3));
}

TEST_F(NetworkList, AWatchRefusesWhatMakesNoSense) {
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_network_watch_options_t usual, options;
    EXPECT_EQ(0, ombrel_init_network_watch_options(&usual));
    EXPECT_EQ(def_ombrel_network_all, usual.m_kinds);
    EXPECT_EQ(size_t{1} << 20, usual.m_queue_size);
    EXPECT_EQ(65536u, usual.m_known_limit);
    usual.m_kinds = def_ombrel_network_interfaces | def_ombrel_network_addresses | def_ombrel_network_routes;
    usual.m_handler = [](ombrel_network_watch_t*, const ombrel_network_change_t*, void*) { return 0; };
    ombrel_network_watch_t* const watch = ombrel_open_network_watch(base, &usual);
    ASSERT_NE(nullptr, watch) << ombrel_fault_text();
    EXPECT_EQ(def_ombrel_network_interfaces,
              ombrel_network_watch_get_kinds(watch) & def_ombrel_network_interfaces);
    EXPECT_EQ(0, ombrel_close_network_watch(watch));
    for (const size_t size : {size_t{4096}, size_t{16} << 20}) {
        options = usual;
        options.m_queue_size = size;
        ombrel_network_watch_t* const sized = ombrel_open_network_watch(base, &options);
        EXPECT_NE(nullptr, sized) << size;
        ombrel_close_network_watch(sized);
    }
    const std::function<void()> wrong[] = {
        [&] { options.m_kinds = 0; },         [&] { options.m_kinds = 0x10; },
        [&] { options.m_queue_size = 4095; }, [&] { options.m_queue_size = (size_t{16} << 20) + 1; },
        [&] { options.m_known_limit = 0; },   [&] { options.m_handler = nullptr; },
    };
    for (const auto& make : wrong) {
        options = usual;
        make();
        EXPECT_EQ(nullptr, ombrel_open_network_watch(base, &options));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_open_network_watch(nullptr, &usual));
    EXPECT_EQ(nullptr, ombrel_open_network_watch(base, nullptr));
    EXPECT_EQ(-1, ombrel_init_network_watch_options(nullptr));
    EXPECT_EQ(0u, ombrel_network_watch_get_kinds(nullptr));
    EXPECT_EQ(0, ombrel_close_network_watch(nullptr));
    ombrel_free_event_base(base);
}

} // namespace
