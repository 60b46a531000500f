#include "protocol/ssdp/ssdp_channel.h"

#include <cstring>

#include <ombrel/multicast.h>
#include <ombrel/network_interface.h>
#include <ombrel/printf.h>
#include <ombrel/socket.h>

#include "core/fault.h"
#include "network/socket_guard.h"
#include "platform/multicast.h"
#include "platform/socket.h"

namespace ombrel::protocol {

using platform::socket_option;

namespace {

bool refuse(fault_code fault) {
    leave_fault(fault);
    return false;
}

void end_event(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

/// The index of the interface that has an address; 0 for none.
uint32_t interface_of(const endpoint& address) {
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    const ombrel_network_interface_t* const home = ombrel_network_interface_find_address(all, address.get());
    const uint32_t index = home != nullptr ? home->m_index : 0;
    ombrel_close_network_interface(all);
    return index;
}

void set_loop(int s, int family, bool on) {
    platform::set_option(
        s, family == AF_INET6 ? socket_option::ipv6_multicast_loop : socket_option::ipv4_multicast_loop, on);
}

int open_datagram_socket(int family) {
    const int s = ombrel_open_socket(family, SOCK_DGRAM, 0);
    if (s != -1 && family == AF_INET6)
        platform::set_option(s, socket_option::ipv6_only, 1);
    return s;
}

} // namespace

bool ssdp_channel::open(ombrel_event_base_t* base, const ssdp_place& place, handler on_packet,
                        void* context) {
    on_packet_ = on_packet;
    context_ = context;
    uint32_t index = 0;
    if (place.interface_name != nullptr) {
        index = ombrel_interface_name_to_index(place.interface_name);
        if (index == 0)
            return refuse(fault_code::not_found);
    }
    if (place.address != nullptr ? !own_address_.parse(place.family, place.address, 0)
                                 : !own_address_.set_wildcard(place.family, 0))
        return refuse(fault_code::invalid);
    if (index == 0 && place.address != nullptr && place.family == AF_INET6)
        index = interface_of(own_address_);
    const auto on_own = [](ombrel_event_t*, int fd, uint32_t flags, void* self) {
        auto& channel = *static_cast<ssdp_channel*>(self);
        if ((flags & def_ombrel_event_read) != 0)
            channel.on_packet_(channel, true, fd, channel.context_);
    };
    const auto on_group = [](ombrel_event_t*, int fd, uint32_t flags, void* self) {
        auto& channel = *static_cast<ssdp_channel*>(self);
        if ((flags & def_ombrel_event_read) != 0)
            channel.on_packet_(channel, false, fd, channel.context_);
    };
    const bool opened = read_groups(place) && open_own(place, index) &&
                        (!place.listen || open_listening(place, index)) &&
                        watch(base, own_event_, own_, on_own) &&
                        (!place.listen || watch(base, listening_event_, listening_, on_group));
    const fault_keeper kept;
    if (!opened)
        close();
    return opened;
}

bool ssdp_channel::watch(ombrel_event_base_t* base, ombrel_event_t& event, int s,
                         ombrel_event_handler_t on_event) {
    return (ombrel_assign_event(base, &event, s, def_ombrel_event_read | def_ombrel_event_persist, on_event,
                                this) == 0 &&
            ombrel_add_event(&event, -1) == 0) ||
           refuse(fault_code::no_memory);
}

bool ssdp_channel::read_groups(const ssdp_place& place) {
    const char* text = place.groups;
    while (*text != '\0') {
        char one[address_text_size];
        const size_t length = strcspn(text, " ");
        if (group_count_ == most_groups || length >= sizeof one)
            return refuse(fault_code::invalid);
        ombrel_snprintf(one, sizeof one, "%.*s", static_cast<int>(length), text);
        endpoint& group = groups_[group_count_++];
        if (!group.parse(place.family, one, place.port) || ombrel_is_multicast(group.get()) != 1)
            return refuse(fault_code::invalid);
        text += length + strspn(text + length, " ");
    }
    if (group_count_ == 0)
        return refuse(fault_code::invalid);
    group_ = groups_[0];
    char address[address_text_size];
    ombrel_inet_stop(group_.get(), address, sizeof address);
    address[strcspn(address, "%")] = '\0';
    ombrel_snprintf(group_text_, sizeof group_text_, place.family == AF_INET6 ? "[%s]:%d" : "%s:%d", address,
                    place.port);
    return true;
}

bool ssdp_channel::open_own(const ssdp_place& place, uint32_t index) {
    socket_guard s(open_datagram_socket(place.family));
    if (!s || ombrel_bind(s.get(), own_address_.get(), own_address_.size()) != 0)
        return false;
    if (index != 0 && !platform::set_multicast_interface(s.get(), place.family, index))
        return false;
    if (index == 0 && place.address != nullptr && place.family == AF_INET &&
        !platform::set_ipv4_multicast_interface(s.get(), own_address_.get()))
        return false;
    ombrel_hops_socket(s.get(), place.hops, 1);
    ombrel_hops_socket(s.get(), place.answer_hops, 0);
    set_loop(s.get(), place.family, place.loop);
    own_ = s.release();
    return true;
}

/// Others on this host listen at the port as well.
bool ssdp_channel::open_listening(const ssdp_place& place, uint32_t index) {
    socket_guard s(open_datagram_socket(place.family));
    endpoint at;
    at.set_wildcard(place.family, place.port);
    if (!s)
        return false;
    platform::set_option(s.get(), socket_option::reuse_address, 1);
    if (ombrel_bind(s.get(), at.get(), at.size()) != 0)
        return false;
    platform::take_own_groups_only(s.get(), place.family);
    set_loop(s.get(), place.family, place.loop);
    size_t joined = 0;
    for (size_t i = 0; i < group_count_; i++)
        joined += join(s.get(), place, index, groups_[i]) ? 1 : 0;
    if (joined == 0)
        return refuse(fault_code::not_supported);
    listening_ = s.release();
    return true;
}

bool ssdp_channel::join(int s, const ssdp_place& place, uint32_t index, const endpoint& group) const {
    if (index != 0)
        return ombrel_multicast_join(s, group.get(), index, place.interface_name, 1) == 0;
    if (place.address != nullptr && place.family == AF_INET)
        return platform::change_ipv4_membership(s, group.get(), own_address_.get(), true);
    return ombrel_multicast_join_all(s, group.get(), 1) == 0 ||
           ombrel_multicast_join(s, group.get(), 0, nullptr, 1) == 0;
}

void ssdp_channel::close() {
    end_event(own_event_);
    end_event(listening_event_);
    own_ = ombrel_close_socket(own_);
    listening_ = ombrel_close_socket(listening_);
    group_count_ = 0;
}

bool ssdp_channel::send(std::span<const char> packet, const endpoint& to) const {
    return is_open() && !packet.empty() &&
           ombrel_sendto_now(own_, packet.data(), packet.size(), to.get(), to.size()) > 0;
}

} // namespace ombrel::protocol
