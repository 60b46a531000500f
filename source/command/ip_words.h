// Words for numbers, as tools of the network have them.
#pragma once

#include <cstdint>
#include <iterator>

#include <ombrel/host_socket.h>
#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/printf.h>
#include <ombrel/route.h>

namespace ombrel::command {

struct flag_word {
    uint32_t flag;
    const char* word;
};

inline constexpr flag_word interface_words[] = {
    {def_ombrel_interface_loopback, "LOOPBACK"},
    {def_ombrel_interface_broadcast, "BROADCAST"},
    {def_ombrel_interface_point_to_point, "POINTOPOINT"},
    {def_ombrel_interface_multicast, "MULTICAST"},
    {def_ombrel_interface_no_arp, "NOARP"},
    {def_ombrel_interface_all_multicast, "ALLMULTI"},
    {def_ombrel_interface_promiscuous, "PROMISC"},
    {def_ombrel_interface_master, "MASTER"},
    {def_ombrel_interface_slave, "SLAVE"},
    {def_ombrel_interface_debug, "DEBUG"},
    {def_ombrel_interface_dynamic, "DYNAMIC"},
    {def_ombrel_interface_auto_media, "AUTOMEDIA"},
    {def_ombrel_interface_port_select, "PORTSEL"},
    {def_ombrel_interface_no_trailers, "NOTRAILERS"},
    {def_ombrel_interface_up, "UP"},
    {def_ombrel_interface_carrier, "LOWER_UP"},
    {def_ombrel_interface_dormant, "DORMANT"},
    {def_ombrel_interface_echo, "ECHO"},
};

inline constexpr flag_word address_words[] = {
    {def_ombrel_address_secondary, "secondary"},        {def_ombrel_address_temporary, "temporary"},
    {def_ombrel_address_no_detection, "nodad"},         {def_ombrel_address_optimistic, "optimistic"},
    {def_ombrel_address_duplicate, "dadfailed"},        {def_ombrel_address_home, "home"},
    {def_ombrel_address_deprecated, "deprecated"},      {def_ombrel_address_tentative, "tentative"},
    {def_ombrel_address_makes_temporary, "mngtmpaddr"}, {def_ombrel_address_no_prefix_route, "noprefixroute"},
    {def_ombrel_address_joins_groups, "autojoin"},      {def_ombrel_address_stable_privacy, "stable-privacy"},
};

inline constexpr flag_word route_words[] = {
    {def_ombrel_route_dead, "dead"},
    {def_ombrel_route_on_link, "onlink"},
    {def_ombrel_route_pervasive, "pervasive"},
    {def_ombrel_route_offloaded, "offload"},
    {def_ombrel_route_trapped, "trap"},
    {def_ombrel_route_link_down, "linkdown"},
    {def_ombrel_route_unresolved, "unresolved"},
};

inline constexpr flag_word neighbour_flag_words[] = {
    {def_ombrel_neighbour_router, "router"},
    {def_ombrel_neighbour_proxy, "proxy"},
    {def_ombrel_neighbour_outside, "extern_learn"},
};

inline constexpr flag_word neighbour_state_words[] = {
    {def_ombrel_neighbour_incomplete, "INCOMPLETE"}, {def_ombrel_neighbour_reachable, "REACHABLE"},
    {def_ombrel_neighbour_stale, "STALE"},           {def_ombrel_neighbour_delay, "DELAY"},
    {def_ombrel_neighbour_probe, "PROBE"},           {def_ombrel_neighbour_failed, "FAILED"},
    {def_ombrel_neighbour_no_arp, "NOARP"},          {def_ombrel_neighbour_permanent, "PERMANENT"},
};

/// Calls `use(word)` for each flag that is set, in the table's order.
template<size_t count, typename Use>
void for_each_word(const flag_word (&table)[count], uint32_t flags, Use use) {
    for (const flag_word& one : table)
        if ((flags & one.flag) != 0)
            use(one.word);
}

/// A word for a number, or its digits.
class number_word {
public:
    template<size_t count>
    number_word(const flag_word (&table)[count], uint32_t number) {
        ombrel_snprintf(digits_, sizeof digits_, "%u", static_cast<unsigned>(number));
        for (const flag_word& one : table)
            if (one.flag == number)
                word_ = one.word;
    }
    number_word(const number_word&) = delete;
    number_word& operator=(const number_word&) = delete;

    const char* get() const { return word_ != nullptr ? word_ : digits_; }

private:
    const char* word_ = nullptr;
    char digits_[12];
};

inline constexpr flag_word reach_words[] = {
    {def_ombrel_reach_global, "global"},   {def_ombrel_reach_site, "site"},
    {def_ombrel_reach_link, "link"},       {def_ombrel_reach_host, "host"},
    {def_ombrel_reach_nowhere, "nowhere"},
};

inline constexpr flag_word table_words[] = {
    {def_ombrel_route_table_default, "default"},
    {def_ombrel_route_table_main, "main"},
    {def_ombrel_route_table_local, "local"},
};

/// Who makes routes; most of them are programs that have numbers by custom.
inline constexpr flag_word protocol_words[] = {
    {def_ombrel_route_by_nobody, "none"},
    {def_ombrel_route_by_redirect, "redirect"},
    {def_ombrel_route_by_host, "kernel"},
    {def_ombrel_route_by_boot, "boot"},
    {def_ombrel_route_by_static, "static"},
    {8, "gated"},
    {def_ombrel_route_by_router, "ra"},
    {10, "mrt"},
    {11, "zebra"},
    {12, "bird"},
    {13, "dnrouted"},
    {14, "xorp"},
    {15, "ntk"},
    {def_ombrel_route_by_dhcp, "dhcp"},
    {18, "keepalived"},
    {42, "babel"},
    {186, "bgp"},
    {187, "isis"},
    {188, "ospf"},
    {189, "rip"},
    {192, "eigrp"},
};

inline constexpr flag_word group_words[] = {{0, "default"}};

inline constexpr const char* state_words[] = {"UNKNOWN", "NOTPRESENT", "DOWN", "LOWERLAYERDOWN",
                                              "TESTING", "DORMANT",    "UP"};
inline constexpr const char* type_words[] = {"other", "none",   "loopback",   "ether",    "ieee802.11",
                                             "ppp",   "tunnel", "infiniband", "ieee1394", "can"};

template<size_t count>
const char* word_at(const char* const (&words)[count], int number) {
    return number >= 0 && number < static_cast<int>(count) ? words[number] : words[0];
}

} // namespace ombrel::command
