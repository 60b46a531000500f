// Sending the packet: in a datagram, or in a frame of its own.
#include <ombrel/wake_on_lan.h>

#include <algorithm>
#include <cstring>

#include <ombrel/network.h>
#include <ombrel/network_interface.h>

#include "network/socket_guard.h"
#include "platform/packet_socket.h"
#include "platform/socket_address.h"
#include "protocol/patient_resolver.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr uint32_t known_flags = def_ombrel_wake_frame | def_ombrel_wake_frame_to_one;

struct wake_packet {
    uint8_t bytes[def_ombrel_wake_packet_max];
    size_t size;
};

/// False, with the fault left, to be returned at once.
bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// The own address of a family of an interface. False, with the fault left, where there is none.
bool find_own_address(const char* interface, int family, endpoint& own) {
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    if (all == nullptr)
        return refuse(fault_code::no_memory);
    const ombrel_interface_address_t* const at =
        ombrel_network_interface_get_address(ombrel_network_interface_find(all, interface), family);
    const bool is_found = at != nullptr;
    if (is_found)
        memcpy(own.get(), &at->m_address, static_cast<size_t>(at->m_address_size));
    ombrel_close_network_interface(all);
    return is_found || refuse(fault_code::address_not_available);
}

bool is_of_link(const sockaddr* address) {
    return address->sa_family == AF_INET6 && (ombrel_is_multicast(address) == 1 ||
                                              ombrel_sockaddr_scope(address) == def_ombrel_scope_link_local);
}

/// Has the datagram leave by the interface: an address of one link says so itself, others by where they come
/// from.
bool choose_interface(int s, const char* interface, endpoint& to) {
    if (is_of_link(to.get())) {
        reinterpret_cast<sockaddr_in6*>(to.get())->sin6_scope_id = ombrel_interface_name_to_index(interface);
        return true;
    }
    endpoint own;
    return find_own_address(interface, to.family(), own) && ombrel_bind(s, own.get(), own.size()) == 0;
}

bool send_datagram(const ombrel_resolver_t& answer, const ombrel_wake_options_t& options,
                   const wake_packet& packet, const deadline& limit) {
    endpoint to;
    memcpy(to.get(), answer.m_address, static_cast<size_t>(answer.m_address_size));
    const int s = ombrel_open_socket(answer.m_family, SOCK_DGRAM, 0);
    if (s == def_ombrel_invalid_socket)
        return false;
    ombrel_set_broadcast_socket(s, 1);
    int sent = -1;
    if (options.m_interface == nullptr || choose_interface(s, options.m_interface, to))
        sent = ombrel_sendto(s, packet.bytes, packet.size, to.get(), to.size(), limit.left());
    const fault_keeper kept;
    ombrel_close_socket(s);
    return sent == static_cast<int>(packet.size);
}

/// The host's sockets, in use for a scope.
struct network_use {
    bool is_ready = ombrel_init_network() == 0;
    ~network_use() {
        const fault_keeper kept;
        if (is_ready)
            ombrel_uninit_network();
    }
};

/// To the first address of the host that the system takes it for.
bool send_datagrams(const ombrel_wake_options_t& options, const wake_packet& packet) {
    const deadline limit(options.m_whole_ms);
    const network_use network;
    const char* const host = options.m_address != nullptr ? options.m_address : "255.255.255.255";
    const patient_answers answers(host, options.m_port, limit);
    transfer_error error;
    if (!network.is_ready)
        return false;
    if (answers.first() == nullptr)
        return answers.refuse(error) || refuse(error.fault());
    for (const ombrel_resolver_t* answer = answers.first(); answer != nullptr; answer = answer->m_next)
        if (send_datagram(*answer, options, packet, limit))
            return true;
    return limit.passed() ? refuse(fault_code::timed_out) : false;
}

bool send_frame(const uint8_t* mac, const ombrel_wake_options_t& options, const wake_packet& packet) {
    uint8_t to[platform::link_address_size];
    std::fill_n(to, sizeof to, uint8_t{0xff});
    if ((options.m_flags & def_ombrel_wake_frame_to_one) != 0)
        memcpy(to, mac, sizeof to);
    return platform::send_frame(ombrel_interface_name_to_index(options.m_interface), to,
                                def_ombrel_wake_ether_type, packet.bytes, packet.size);
}

bool check_options(const ombrel_wake_options_t& options) {
    constexpr int last_port = 65535;
    const bool is_frame = (options.m_flags & known_flags) != 0;
    if ((options.m_flags & ~known_flags) != 0 || options.m_port < 1 || options.m_port > last_port ||
        (is_frame && options.m_interface == nullptr))
        return refuse(fault_code::invalid);
    return options.m_interface == nullptr || ombrel_interface_name_to_index(options.m_interface) != 0 ||
           refuse(fault_code::not_found);
}

bool wake(const uint8_t* mac, const ombrel_wake_options_t& options) {
    wake_packet packet;
    const int64_t size = ombrel_make_wake_packet(mac, options.m_password, packet.bytes, sizeof packet.bytes);
    if (size < 0 || !check_options(options))
        return false;
    packet.size = static_cast<size_t>(size);
    return (options.m_flags & known_flags) != 0 ? send_frame(mac, options, packet)
                                                : send_datagrams(options, packet);
}

} // namespace

int ombrel_init_wake_options(ombrel_wake_options_t* options) {
    constexpr int usual_limit = 5000;
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {0, nullptr, def_ombrel_wake_port, nullptr, nullptr, usual_limit};
    return 0;
}

int ombrel_send_wake_packet(const uint8_t* mac, const ombrel_wake_options_t* options) {
    ombrel_wake_options_t chosen;
    ombrel_init_wake_options(&chosen);
    return wake(mac, options != nullptr ? *options : chosen) ? 0 : -1;
}
