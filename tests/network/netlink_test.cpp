// Messages of the kernel's.
#if defined(__linux__)

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <gtest/gtest.h>

#include "network/netlink_message.h"
#include "platform/linux/netlink_record.h"

using namespace ombrel::platform;
using namespace ombrel_test;

namespace {

const std::string link_head = word(0, 4) + word(7, 4) + word(0x1043, 4) + word(0, 4);
const std::string route_head = std::string("\x02\x18\0\0\xfe\x03\0\x01", 8) + word(0, 4);
const std::string name = attribute(3, std::string("v0\0", 3)), four(4, 'x');

std::string hop(unsigned length, const std::string& attributes) {
    return word(length, 2) + std::string(2, '\0') + word(9, 4) + attributes;
}

template<typename Record>
netlink_reading read(netlink_reading (&reader)(netlink_bytes, Record&), const std::string& bytes) {
    // Of its own size, so that sanitizers see a step too far.
    const std::vector<uint8_t> alone(bytes.begin(), bytes.end());
    Record record;
    return reader({alone.data(), alone.size()}, record);
}

TEST(Netlink, NoLengthIsBelieved) {
    const struct {
        bool is_good;
        std::string message;
    } links[] = {
        {true, link_head + name},
        {true, link_head + name + attribute(4, word(1500, 4)) + attribute(999, four)},
        {true, link_head + name + attribute(1, std::string(32, 'm'))},
        {false, link_head.substr(0, 15)},
        {false, link_head},
        {false, link_head + attribute(3, "v0")},
        {false, link_head + attribute(3, "")},
        {false, link_head + attribute(3, std::string(1, '\0'))},
        {false, link_head + name + attribute(4, word(1500, 2))},
        {false, link_head + name + attribute(1, std::string(33, 'm'))},
        {false, link_head + name + attribute(4, four, 3)},
        {false, link_head + name + attribute(4, four, 9)},
        {false, link_head + name + attribute(4, four, 65535)},
        {false, link_head + name + four.substr(0, 3)},
        {false, link_head + name + attribute(23, std::string(100, '\0'))},
        {false, link_head + name + attribute(18, attribute(1, "veth"))},
        {false, link_head + name + attribute(18, attribute(1, "", 400))},
    };
    for (const auto& [is_good, message] : links)
        EXPECT_EQ(is_good ? netlink_reading::taken : netlink_reading::malformed, read(read_link, message))
            << &message - &links[0].message;
    const std::string gateway = attribute(5, four);
    const struct {
        bool is_good;
        std::string message;
    } routes[] = {
        {true, route_head + attribute(1, four)},
        {true, route_head + attribute(9, hop(16, gateway) + hop(8, ""))},
        {true,
         route_head +
             attribute(
                 9, hop(30, attribute(18, std::string("\x0a\0", 2) + std::string(16, 'g')).substr(0, 22)))},
        {false, route_head + attribute(1, four + "x")},
        {false, route_head + attribute(5, four.substr(0, 3))},
        {false, route_head + attribute(9, hop(0, gateway))},
        {false, route_head + attribute(9, hop(7, gateway))},
        {false, route_head + attribute(9, hop(17, gateway))},
        {false, route_head + attribute(9, hop(16, gateway) + "abc")},
        {false, route_head + attribute(9, hop(13, gateway))},
        {false, route_head + attribute(18, "x")},
        {false, route_head + attribute(18, std::string("\x0a\0", 2) + four)},
        {false, std::string("\x02\x21", 2) + route_head.substr(2)},
    };
    for (const auto& [is_good, message] : routes)
        EXPECT_EQ(is_good ? netlink_reading::taken : netlink_reading::malformed, read(read_route, message));
    EXPECT_EQ(netlink_reading::passed_over, read(read_route, "\x1c" + route_head.substr(1)));
    EXPECT_EQ(netlink_reading::passed_over, read(read_link, "\x07" + link_head.substr(1)))
        << "a bridge's port";
    EXPECT_EQ(netlink_reading::malformed,
              read(read_neighbour, std::string("\x02\0\0\0", 4) + word(3, 4) + four));
}

template<typename Record>
Record taken(netlink_reading (&reader)(netlink_bytes, Record&), const std::string& bytes) {
    Record record{};
    EXPECT_EQ(netlink_reading::taken,
              reader({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, record));
    return record;
}

std::string facts_of(const ombrel_route_t& one) {
    return facts({one.m_family == AF_INET6 ? 6 : 4, one.m_type, one.m_prefix_length, one.m_from_prefix_length,
                  one.m_service, one.m_table, one.m_protocol, one.m_reach, one.m_flags},
                 {"by"}) +
           facts({one.m_interface, one.m_input_interface, one.m_metric, one.m_mtu, one.m_preference,
                  one.m_expires_s, one.m_hop_object, one.m_hop_count},
                 {shown(one.m_destination), shown(one.m_from), shown(one.m_gateway), shown(one.m_source)});
}

TEST(Netlink, ARouteIsWhatItsMessageSays) {
    // Family, lengths, service, table, maker, reach and type; then flags.
    const std::string ipv6_head("\x0a\x40\x30\x08\x07\x10\xfd\x01", 8),
        ipv4_head("\x02\0\0\0\xfe\x04\0\x01", 8);
    const std::string hops = word(16, 2) + "\x04\x02" + word(11, 4) +
                             attribute(RTA_GATEWAY, raw("10.0.0.1")) + word(8, 2) + std::string(2, '\0') +
                             word(12, 4);
    const std::string three = word(RTM_F_CLONED | RTNH_F_ONLINK | 0x80, 4);
    const auto expiry = [](uint32_t ticks) {
        return attribute(RTA_CACHEINFO, word(7, 4) + word(8, 4) + word(ticks, 4) + std::string(20, 'x'));
    };
    const struct {
        std::string message;
        const char* expected;
    } cases[] = {
        {ipv6_head + three + attribute(RTA_DST, raw("2001:db8::")) + attribute(RTA_SRC, raw("2001:db8:1::")) +
             attribute(RTA_GATEWAY, raw("fe80::1")) + attribute(RTA_PREFSRC, raw("fe80::2")) +
             attribute(RTA_OIF, word(9, 4)) + attribute(RTA_IIF, word(8, 4)) +
             attribute(RTA_PRIORITY, word(1024, 4)) + attribute(RTA_NH_ID, word(5, 4)) +
             attribute(RTA_METRICS,
                       attribute(RTAX_MTU, word(1400, 4)) + attribute(RTAX_HOPLIMIT, word(3, 4))) +
             attribute(RTA_PREF, word(3, 1)) + expiry(12345),
         "6 1 64 48 8 7 16 253 260 by 9 8 1024 1400 -1 123 5 0 2001:db8:: 2001:db8:1:: fe80::1%9 fe80::2%9 "},
        {ipv6_head + word(0, 4) + attribute(RTA_TABLE, word(1000, 4)) + attribute(RTA_PREF, word(1, 1)) +
             attribute(RTA_GATEWAY, raw("ff02::1")) + attribute(RTA_PREFSRC, raw("fec0::1")) +
             attribute(RTA_OIF, word(9, 4)) + expiry(0),
         "6 1 64 48 8 1000 16 253 0 by 9 0 0 0 1 -1 0 0 :: none ff02::1%9 fec0::1 "},
        {ipv4_head + word(0, 4) + attribute(RTA_PREF, word(2, 1)) + expiry(1),
         "4 1 0 0 0 254 4 0 0 by 0 0 0 0 0 0 0 0 0.0.0.0 none none none "},
        {ipv4_head + word(0, 4) + attribute(RTA_VIA, word(AF_INET6, 2) + raw("fe80::1")) +
             attribute(RTA_OIF, word(9, 4)),
         "4 1 0 0 0 254 4 0 0 by 9 0 0 0 0 -1 0 0 0.0.0.0 none fe80::1%9 none "},
        {ipv4_head + word(0, 4) + attribute(RTA_MULTIPATH, hops),
         "4 1 0 0 0 254 4 0 0 by 11 0 0 0 0 -1 0 2 0.0.0.0 none 10.0.0.1 none "},
    };
    for (const auto& [message, expected] : cases)
        EXPECT_EQ(expected, facts_of(taken(read_route, message).route));
    netlink_route several = taken(read_route, cases[4].message);
    ombrel_route_hop_t hop;
    for (const char* const expected : {"11 3 4 10.0.0.1 ", "12 1 0 none "}) {
        EXPECT_TRUE(several.hops.next(hop));
        EXPECT_EQ(expected, facts({hop.m_interface, hop.m_weight, hop.m_flags}, {shown(hop.m_gateway)}));
    }
    EXPECT_FALSE(several.hops.next(hop));
    EXPECT_TRUE(several.hops.is_good());
}

TEST(Netlink, AnAddressIsWhatItsMessageSays) {
    const auto of = [](const char* head, const std::string& attributes) {
        return std::string(head, 4) + word(7, 4) + attributes;
    };
    const auto lives = [](uint32_t preferred, uint32_t valid) {
        return attribute(IFA_CACHEINFO, word(preferred, 4) + word(valid, 4) + std::string(8, 'x'));
    };
    const std::string local = attribute(IFA_LOCAL, raw("10.0.0.1")),
                      other = attribute(IFA_ADDRESS, raw("10.0.0.2"));
    const struct {
        std::string message;
        const char* expected;
    } cases[] = {
        {of("\x02\x18\x01\xfd", local + other + attribute(IFA_BROADCAST, raw("10.0.0.255")) +
                                    attribute(IFA_LABEL, std::string("e:1\0", 4)) + lives(60, 0xFFFFFFFF)),
         "7 24 253 4 60 -1 16 10.0.0.1 10.0.0.2 10.0.0.255 e:1 "},
        {of("\x02\x20\x81\0", other + attribute(IFA_FLAGS, word(IFA_F_PERMANENT | IFA_F_NOPREFIXROUTE, 4))),
         "7 32 0 1025 -1 -1 16 10.0.0.2 none none  "},
        {of("\x02\x08\0\0", local + attribute(IFA_ADDRESS, raw("10.0.0.1"))),
         "7 8 0 0 -1 -1 16 10.0.0.1 none none  "},
        {of("\x0a\x40\x01\xfd",
            attribute(IFA_LOCAL, raw("fe80::1")) + attribute(IFA_ADDRESS, raw("fe80::2")) + lives(0, 5)),
         "7 64 253 2 0 5 28 fe80::1%7 fe80::2%7 none  "},
    };
    for (const auto& [message, expected] : cases) {
        const netlink_address found = taken(read_address, message);
        const ombrel_interface_address_t& one = found.address;
        EXPECT_EQ(expected,
                  facts({found.interface_index, one.m_prefix_length, one.m_reach, one.m_flags,
                         one.m_preferred_s, one.m_valid_s, one.m_address_size},
                        {shown(one.m_address), shown(one.m_peer), shown(one.m_broadcast), one.m_label}));
    }
    for (const std::string& message :
         {of("\x02\x21\0\0", local), of("\x02\x20\0\0", ""), std::string("\x02\x20\0\0\0\0\0\0", 8) + local})
        EXPECT_EQ(netlink_reading::malformed, read(read_address, message));
}

TEST(Netlink, ALinkAndANeighbourAreWhatTheirMessagesSay) {
    std::string counters;
    for (uint32_t i = 1; i <= 24; i++)
        counters +=
            std::endian::native == std::endian::big ? word(0, 4) + word(i, 4) : word(i, 4) + word(0, 4);
    // Up, and running on a link.
    const netlink_link link = taken(
        read_link, word(0, 2) + word(1, 2) + word(7, 4) + word(0x10041, 4) + word(0, 4) + name +
                       attribute(IFLA_MTU, word(1500, 4)) + attribute(IFLA_LINK, word(3, 4)) +
                       attribute(IFLA_MASTER, word(4, 4)) + attribute(IFLA_TXQLEN, word(1000, 4)) +
                       attribute(IFLA_GROUP, word(2, 4)) + attribute(IFLA_ADDRESS, "mac123") +
                       attribute(IFLA_BROADCAST, "bro") + attribute(IFLA_LINK_NETNSID, word(0, 4)) +
                       attribute(IFLA_OPERSTATE, word(6, 1)) + attribute(IFLA_QDISC, std::string("fq\0", 3)) +
                       attribute(IFLA_IFALIAS, std::string("up\0", 3)) + attribute(IFLA_STATS64, counters) +
                       attribute(IFLA_LINKINFO, attribute(IFLA_INFO_KIND, std::string("veth\0", 5))));
    const ombrel_network_interface_t& one = link.interface;
    EXPECT_EQ("7 1500 3 4 1000 2 6 3 6 3 524481 1 -1 v0 fq up veth mac bro ",
              facts({one.m_index, one.m_mtu, one.m_parent_index, one.m_master_index, one.m_queue_length,
                     one.m_group, one.m_hardware_size, one.m_hardware_broadcast_size, one.m_state, one.m_type,
                     one.m_flags, one.m_host_type, one.m_speed},
                    {one.m_name, one.m_queue, one.m_description, one.m_kind,
                     std::string(one.m_hardware, one.m_hardware + 3),
                     std::string(one.m_hardware_broadcast, one.m_hardware_broadcast + 3)}));
    const uint64_t order[] = {3, 1, 5, 7, 9, 4, 2, 6, 8, 10, 11, 12, 13, 14, 15, 16, 24, 17, 18, 19, 20, 21};
    static_assert(sizeof order == sizeof link.statistics);
    EXPECT_TRUE(link.has_statistics);
    EXPECT_EQ(0, memcmp(order, &link.statistics, sizeof order));
    for (const auto& [flags, ours] : {std::pair<uint32_t, uint32_t>{NTF_ROUTER, def_ombrel_neighbour_router},
                                      {NTF_PROXY, def_ombrel_neighbour_proxy},
                                      {NTF_EXT_LEARNED, def_ombrel_neighbour_outside}}) {
        const ombrel_neighbour_t found =
            taken(read_neighbour, std::string("\x0a\0\0\0", 4) + word(9, 4) + word(NUD_STALE, 2) +
                                      word(flags, 1) + word(1, 1) + attribute(NDA_DST, raw("fe80::1")) +
                                      attribute(NDA_LLADDR, "mac1"));
        EXPECT_EQ(facts({9, def_ombrel_neighbour_stale, ours, 4}, {"fe80::1%9"}),
                  facts({found.m_interface, found.m_state, found.m_flags, found.m_hardware_size},
                        {shown(found.m_address)}));
        EXPECT_EQ(0, memcmp("mac1", found.m_hardware, 4));
    }
}

} // namespace

#endif
