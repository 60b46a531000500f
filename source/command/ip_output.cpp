#include "command/ip_output.h"

#include <ombrel/address.h>

#include "command/ip_words.h"

namespace ombrel::command {

namespace {

constexpr int64_t mega = 1000000;

/// An address as text, without the interface behind it, which stands beside.
class address_text {
public:
    explicit address_text(const sockaddr& address) {
        const bool is_ipv6 = address.sa_family == AF_INET6;
        const void* const raw =
            is_ipv6 ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr)
                    : &reinterpret_cast<const sockaddr_in&>(address).sin_addr;
        ombrel_inet_ntop(is_ipv6 ? AF_INET6 : AF_INET, raw, text_, sizeof text_);
    }
    explicit address_text(const ombrel_ip_address_t& address) : address_text(address.m_any) {}
    const char* get() const { return text_; }

private:
    char text_[64];
};

class hardware_text {
public:
    hardware_text(const uint8_t* bytes, int count) {
        ombrel_print_hardware_address(bytes, static_cast<size_t>(count), text_, sizeof text_);
    }
    const char* get() const { return text_; }

private:
    char text_[def_ombrel_hardware_address_size * 3];
};

bool is_set(const ombrel_ip_address_t& address) {
    return address.m_any.sa_family != 0;
}

const char* family_word(int family) {
    return family == AF_INET6 ? "inet6" : "inet";
}

/// "default", "192.0.2.0/24", or an address alone where all of its bits count.
class prefix_text {
public:
    prefix_text(const ombrel_ip_address_t& address, int length) {
        const int bits = address.m_any.sa_family == AF_INET6 ? 128 : 32;
        const address_text text(address);
        if (length == 0)
            ombrel_snprintf(text_, sizeof text_, "default");
        else if (length == bits)
            ombrel_snprintf(text_, sizeof text_, "%s", text.get());
        else
            ombrel_snprintf(text_, sizeof text_, "%s/%d", text.get(), length);
    }
    const char* get() const { return text_; }

private:
    char text_[72];
};

/// Up, but nobody is there to send to.
bool lacks_carrier(const ombrel_network_interface_t& one) {
    constexpr uint32_t both = def_ombrel_interface_up | def_ombrel_interface_running;
    return (one.m_flags & both) == def_ombrel_interface_up;
}

/// The parent's index says nothing to those who do not see it.
void put_parent(json_output& json, const ombrel_network_interface_t& one, interface_names& names) {
    if ((one.m_flags & def_ombrel_interface_parent_elsewhere) != 0)
        json.add_number("link_index", one.m_parent_index);
    else if (one.m_parent_index != 0)
        json.add_text("link", names.get(one.m_parent_index));
}

void put_link_speed(json_output& json, const ombrel_network_interface_t& one) {
    constexpr const char* duplex_words[] = {"unknown", "half", "full"};
    if (one.m_speed >= 0)
        json.add_number("speed_mbit", one.m_speed / mega);
    if (one.m_duplex != def_ombrel_duplex_unknown)
        json.add_text("duplex", word_at(duplex_words, one.m_duplex));
}

struct counter_name {
    const char* name;
    uint64_t ombrel_interface_statistics_t::*place;
};

constexpr counter_name received_names[] = {
    {"bytes", &ombrel_interface_statistics_t::m_received_bytes},
    {"packets", &ombrel_interface_statistics_t::m_received_packets},
    {"errors", &ombrel_interface_statistics_t::m_received_errors},
    {"dropped", &ombrel_interface_statistics_t::m_received_dropped},
    {"over_errors", &ombrel_interface_statistics_t::m_received_overruns},
    {"multicast", &ombrel_interface_statistics_t::m_received_multicast},
};
constexpr counter_name sent_names[] = {
    {"bytes", &ombrel_interface_statistics_t::m_sent_bytes},
    {"packets", &ombrel_interface_statistics_t::m_sent_packets},
    {"errors", &ombrel_interface_statistics_t::m_sent_errors},
    {"dropped", &ombrel_interface_statistics_t::m_sent_dropped},
    {"carrier_errors", &ombrel_interface_statistics_t::m_sent_carrier_errors},
    {"collisions", &ombrel_interface_statistics_t::m_collisions},
};

template<size_t count>
void put_counters(json_output& json, const char* name, const counter_name (&names)[count],
                  const ombrel_interface_statistics_t& statistics) {
    json.begin_object(name);
    for (const counter_name& one : names)
        json.add_number(one.name, static_cast<int64_t>(statistics.*one.place));
    json.end_object();
}

void put_statistics(json_output& json, const ombrel_interface_statistics_t& statistics) {
    json.begin_object("stats64");
    put_counters(json, "rx", received_names, statistics);
    put_counters(json, "tx", sent_names, statistics);
    json.end_object();
}

int64_t life_of(int64_t seconds) {
    constexpr int64_t for_ever = 0xFFFFFFFF;
    return seconds < 0 ? for_ever : seconds;
}

template<size_t count>
void put_words(json_output& json, const char* name, const flag_word (&table)[count], uint32_t flags) {
    json.begin_array(name);
    for_each_word(table, flags, [&json](const char* word) { json.add_item(word); });
    json.end_array();
}

/// A router of the other family is another member.
void put_gateway(json_output& json, const ombrel_ip_address_t& gateway, int family) {
    if (!is_set(gateway))
        return;
    const address_text text(gateway);
    if (gateway.m_any.sa_family == family)
        return json.add_text("gateway", text.get());
    json.begin_object("via");
    json.add_text("family", family_word(gateway.m_any.sa_family));
    json.add_text("host", text.get());
    json.end_object();
}

void put_hops(json_output& json, const ombrel_route_t& route, interface_names& names) {
    json.begin_array("nexthops");
    for (const ombrel_route_hop_t* one = route.m_hops; one != nullptr; one = one->m_next) {
        json.begin_object();
        put_gateway(json, one->m_gateway, route.m_family);
        if (one->m_interface != 0)
            json.add_text("dev", names.get(one->m_interface));
        json.add_number("weight", one->m_weight);
        put_words(json, "flags", route_words, one->m_flags);
        json.end_object();
    }
    json.end_array();
}

void put_route_origin(json_output& json, const ombrel_route_t& one) {
    if (one.m_table != def_ombrel_route_table_main && one.m_table != 0)
        json.add_text("table", number_word(table_words, one.m_table).get());
    if (one.m_protocol != def_ombrel_route_by_boot && one.m_protocol != def_ombrel_route_by_nobody)
        json.add_text("protocol", number_word(protocol_words, static_cast<uint32_t>(one.m_protocol)).get());
    if (one.m_reach != def_ombrel_reach_global)
        json.add_text("scope", number_word(reach_words, static_cast<uint32_t>(one.m_reach)).get());
    if (is_set(one.m_source))
        json.add_text("prefsrc", address_text(one.m_source).get());
    if (one.m_metric != 0 || one.m_family == AF_INET6)
        json.add_number("metric", one.m_metric);
    put_words(json, "flags", route_words, one.m_flags);
}

void put_route_extras(json_output& json, const ombrel_route_t& one) {
    if (one.m_expires_s >= 0)
        json.add_number("expires", one.m_expires_s);
    if (one.m_mtu != 0) {
        json.begin_array("metrics");
        json.begin_object();
        json.add_number("mtu", one.m_mtu);
        json.end_object();
        json.end_array();
    }
    if (one.m_family == AF_INET6)
        json.add_text("pref", one.m_preference > 0 ? "high" : one.m_preference < 0 ? "low" : "medium");
}

template<size_t count>
void print_words(const flag_word (&table)[count], uint32_t flags) {
    for_each_word(table, flags, [](const char* word) { ombrel_printf(" %s", word); });
}

void print_gateway(const ombrel_ip_address_t& gateway, uint32_t interface_index, interface_names& names) {
    if (is_set(gateway))
        ombrel_printf(" via %s", address_text(gateway).get());
    if (interface_index != 0)
        ombrel_printf(" dev %s", names.get(interface_index));
}

} // namespace

const char* interface_names::get(uint32_t index) {
    entry& one = place_of(index);
    if (one.index == index && index != 0)
        return one.name;
    char name[sizeof one.name];
    if (ombrel_interface_index_to_name(index, name, sizeof name) == 0) {
        note(index, name);
        return one.name;
    }
    ombrel_snprintf(unknown_.name, sizeof unknown_.name, "if%u", static_cast<unsigned>(index));
    return unknown_.name;
}

void interface_names::note(uint32_t index, const char* name) {
    entry& one = place_of(index);
    one.index = index;
    ombrel_snprintf(one.name, sizeof one.name, "%s", name);
}

void put_interface_members(json_output& json, const ombrel_network_interface_t& one, interface_names& names,
                           bool with_statistics) {
    json.add_number("ifindex", one.m_index);
    put_parent(json, one, names);
    json.add_text("ifname", one.m_name);
    json.begin_array("flags");
    if (lacks_carrier(one))
        json.add_item("NO-CARRIER");
    for_each_word(interface_words, one.m_flags, [&json](const char* word) { json.add_item(word); });
    json.end_array();
    json.add_number("mtu", one.m_mtu);
    if (one.m_queue[0] != '\0')
        json.add_text("qdisc", one.m_queue);
    if (one.m_master_index != 0)
        json.add_text("master", names.get(one.m_master_index));
    json.add_text("operstate", word_at(state_words, one.m_state));
    json.add_text("group", number_word(group_words, one.m_group).get());
    if (one.m_queue_length != 0)
        json.add_number("txqlen", one.m_queue_length);
    json.add_text("link_type", word_at(type_words, one.m_type));
    if (one.m_kind[0] != '\0')
        json.add_text("kind", one.m_kind);
    if (one.m_hardware_size != 0)
        json.add_text("address", hardware_text(one.m_hardware, one.m_hardware_size).get());
    if (one.m_hardware_broadcast_size != 0)
        json.add_text("broadcast",
                      hardware_text(one.m_hardware_broadcast, one.m_hardware_broadcast_size).get());
    if (one.m_description[0] != '\0')
        json.add_text("ifalias", one.m_description);
    put_link_speed(json, one);
    if (with_statistics && one.m_statistics != nullptr)
        put_statistics(json, *one.m_statistics);
}

void put_address_members(json_output& json, const ombrel_interface_address_t& one) {
    json.add_text("family", family_word(one.m_address.ss_family));
    json.add_text("local", address_text(reinterpret_cast<const sockaddr&>(one.m_address)).get());
    if (is_set(one.m_peer))
        json.add_text("address", address_text(one.m_peer).get());
    if (one.m_prefix_length >= 0)
        json.add_number("prefixlen", one.m_prefix_length);
    if (is_set(one.m_broadcast))
        json.add_text("broadcast", address_text(one.m_broadcast).get());
    json.add_text("scope", number_word(reach_words, static_cast<uint32_t>(one.m_reach)).get());
    if ((one.m_flags & def_ombrel_address_permanent) == 0)
        json.add_true("dynamic");
    for_each_word(address_words, one.m_flags, [&json](const char* word) { json.add_true(word); });
    if (one.m_label[0] != '\0')
        json.add_text("label", one.m_label);
    json.add_number("valid_life_time", life_of(one.m_valid_s));
    json.add_number("preferred_life_time", life_of(one.m_preferred_s));
}

void put_route_members(json_output& json, const ombrel_route_t& one, interface_names& names) {
    if (one.m_type != def_ombrel_route_unicast)
        json.add_text("type", ombrel_route_type_name(one.m_type));
    json.add_text("dst", prefix_text(one.m_destination, one.m_prefix_length).get());
    if (one.m_from_prefix_length != 0 && is_set(one.m_from))
        json.add_text("from", prefix_text(one.m_from, one.m_from_prefix_length).get());
    if (one.m_service != 0) {
        char service[8];
        ombrel_snprintf(service, sizeof service, "0x%02x", static_cast<unsigned>(one.m_service));
        json.add_text("tos", service);
    }
    if (one.m_hops == nullptr) {
        put_gateway(json, one.m_gateway, one.m_family);
        if (one.m_interface != 0)
            json.add_text("dev", names.get(one.m_interface));
    }
    put_route_origin(json, one);
    put_route_extras(json, one);
    if (one.m_hops != nullptr)
        put_hops(json, one, names);
}

void put_neighbour_members(json_output& json, const ombrel_neighbour_t& one, interface_names& names) {
    json.add_text("dst", address_text(one.m_address).get());
    json.add_text("dev", names.get(one.m_interface));
    if (one.m_hardware_size != 0)
        json.add_text("lladdr", hardware_text(one.m_hardware, one.m_hardware_size).get());
    for_each_word(neighbour_flag_words, one.m_flags, [&json](const char* word) { json.add_null(word); });
    json.begin_array("state");
    if (one.m_state == def_ombrel_neighbour_none)
        json.add_item("NONE");
    for_each_word(neighbour_state_words, one.m_state, [&json](const char* word) { json.add_item(word); });
    json.end_array();
}

void print_interface(const ombrel_network_interface_t& one, interface_names& names) {
    ombrel_printf("%u %s %s mtu %u", static_cast<unsigned>(one.m_index), one.m_name,
                  word_at(state_words, one.m_state), static_cast<unsigned>(one.m_mtu));
    if (one.m_hardware_size != 0)
        ombrel_printf(" %s %s", word_at(type_words, one.m_type),
                      hardware_text(one.m_hardware, one.m_hardware_size).get());
    if (one.m_speed >= 0)
        ombrel_printf(" %lld Mbit/s", static_cast<long long>(one.m_speed / mega));
    if (one.m_kind[0] != '\0')
        ombrel_printf(" kind %s", one.m_kind);
    if (one.m_parent_index != 0 && (one.m_flags & def_ombrel_interface_parent_elsewhere) == 0)
        ombrel_printf(" link %s", names.get(one.m_parent_index));
    if (one.m_master_index != 0)
        ombrel_printf(" master %s", names.get(one.m_master_index));
    if (lacks_carrier(one))
        ombrel_puts(" NO-CARRIER");
    print_words(interface_words, one.m_flags);
}

void print_statistics(const ombrel_interface_statistics_t& statistics) {
    ombrel_printf("received %llu bytes in %llu packets (%llu errors, %llu dropped), "
                  "sent %llu bytes in %llu packets (%llu errors, %llu dropped)",
                  static_cast<unsigned long long>(statistics.m_received_bytes),
                  static_cast<unsigned long long>(statistics.m_received_packets),
                  static_cast<unsigned long long>(statistics.m_received_errors),
                  static_cast<unsigned long long>(statistics.m_received_dropped),
                  static_cast<unsigned long long>(statistics.m_sent_bytes),
                  static_cast<unsigned long long>(statistics.m_sent_packets),
                  static_cast<unsigned long long>(statistics.m_sent_errors),
                  static_cast<unsigned long long>(statistics.m_sent_dropped));
}

void print_address(const ombrel_interface_address_t& one) {
    ombrel_printf("%s/%d %s", address_text(reinterpret_cast<const sockaddr&>(one.m_address)).get(),
                  one.m_prefix_length, number_word(reach_words, static_cast<uint32_t>(one.m_reach)).get());
    if (is_set(one.m_peer))
        ombrel_printf(" peer %s", address_text(one.m_peer).get());
    if (is_set(one.m_broadcast))
        ombrel_printf(" broadcast %s", address_text(one.m_broadcast).get());
    if (one.m_valid_s >= 0)
        ombrel_printf(" valid %lld s", static_cast<long long>(one.m_valid_s));
    print_words(address_words, one.m_flags);
}

void print_route(const ombrel_route_t& one, interface_names& names) {
    if (one.m_type != def_ombrel_route_unicast)
        ombrel_printf("%s ", ombrel_route_type_name(one.m_type));
    ombrel_puts(prefix_text(one.m_destination, one.m_prefix_length).get());
    if (one.m_hops == nullptr)
        print_gateway(one.m_gateway, one.m_interface, names);
    if (is_set(one.m_source))
        ombrel_printf(" from %s", address_text(one.m_source).get());
    if (one.m_metric != 0)
        ombrel_printf(" metric %u", static_cast<unsigned>(one.m_metric));
    if (one.m_table != def_ombrel_route_table_main)
        ombrel_printf(" table %s", number_word(table_words, one.m_table).get());
    ombrel_printf(" by %s", number_word(protocol_words, static_cast<uint32_t>(one.m_protocol)).get());
    print_words(route_words, one.m_flags);
    for (const ombrel_route_hop_t* hop = one.m_hops; hop != nullptr; hop = hop->m_next) {
        ombrel_printf(" hop");
        print_gateway(hop->m_gateway, hop->m_interface, names);
        ombrel_printf(" weight %u", static_cast<unsigned>(hop->m_weight));
        print_words(route_words, hop->m_flags);
    }
}

void print_neighbour(const ombrel_neighbour_t& one, interface_names& names) {
    ombrel_printf("%s dev %s", address_text(one.m_address).get(), names.get(one.m_interface));
    if (one.m_hardware_size != 0)
        ombrel_printf(" %s", hardware_text(one.m_hardware, one.m_hardware_size).get());
    ombrel_printf(" %s", ombrel_neighbour_state_name(one.m_state));
    print_words(neighbour_flag_words, one.m_flags);
}

} // namespace ombrel::command
