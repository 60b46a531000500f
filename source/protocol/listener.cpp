#include "protocol/listener.h"

#include <cstring>

#include <ombrel/network.h>
#include <ombrel/socket.h>

#include "core/fault.h"
#include "network/socket_guard.h"
#include "platform/socket.h"
#include "protocol/listen_address.h"

namespace ombrel::protocol {

using platform::socket_option;

namespace {

constexpr int accepts_at_once = 64;
constexpr int rest_ms = 250;
constexpr int longest_queue = 0x7fffffff; // the host has a limit of its own
constexpr int tries_for_a_free_port = 16;

bool refuse_argument() {
    leave_fault(fault_code::invalid);
    return false;
}

void put_network(uint8_t (&network)[ipv6_size], const endpoint& of) {
    static constexpr uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    constexpr size_t kept_of_ipv6 = 8;
    memset(network, 0, sizeof network);
    const address_layout* const layout = find_layout(of.get());
    if (layout == nullptr)
        return;
    const uint8_t* const bytes = address_bytes(of.get(), *layout);
    const bool is_ipv4 = layout->address_size == ipv4_size;
    if (is_ipv4)
        memcpy(network, mapped, sizeof mapped);
    if (is_ipv4)
        memcpy(network + sizeof mapped, bytes, ipv4_size);
    else
        memcpy(network, bytes, memcmp(bytes, mapped, sizeof mapped) == 0 ? ipv6_size : kept_of_ipv6);
}

/// Which list a client is in. That a stranger could fill one list costs little: limits bound its length.
size_t list_of(const uint8_t (&network)[ipv6_size], size_t lists) {
    uint32_t sum = 0;
    for (const uint8_t byte : network)
        sum = sum * 31 + byte;
    return (sum ^ sum >> 15) % lists;
}

/// A listening socket that does not block, or none with the fault left.
int open_listening(const endpoint& at) {
    socket_guard s(ombrel_open_socket(at.family(), SOCK_STREAM, 0));
    if (!s)
        return def_ombrel_invalid_socket;
    if (at.family() == AF_INET6) // "::" is all addresses on every host
        platform::set_option(s.get(), socket_option::ipv6_only, is_wildcard(at) ? 0 : 1);
    platform::claim_port(s.get());
    const bool listening = ombrel_bind(s.get(), at.get(), at.size()) == 0 &&
                           ombrel_listen(s.get(), longest_queue) == 0 &&
                           ombrel_set_non_block_socket(s.get(), 1) == 0;
    const fault_keeper kept;
    return listening ? s.release() : def_ombrel_invalid_socket;
}

void end_event(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

} // namespace

bool listener::open(ombrel_event_base_t* base, const listener_settings& settings) {
    base_ = base;
    settings_ = settings;
    reserve_ = def_ombrel_invalid_socket;
    network_ = ombrel_init_network() == 0;
    if (!network_)
        return false;
    keep_reserve();
    return ombrel_assign_event(
               base, &rest_event_, -1, 0,
               [](ombrel_event_t*, int, uint32_t ready, void* context) {
                   if ((ready & def_ombrel_event_timeout) != 0)
                       static_cast<listener*>(context)->resume();
               },
               this) == 0;
}

int listener::listen(const char* address, int port) {
    endpoint at;
    if (!is_port(port))
        return refuse_argument(), -1;
    if (address == nullptr || strcmp(address, "localhost") == 0)
        return listen_at_loopbacks(port);
    if (!at.parse(AF_UNSPEC, address, port))
        return refuse_argument(), -1;
    return open_door(at, true);
}

/// A stranger at the other loop-back address would be met by the same URL, so that both are needed, as far as
/// the host has them; a free port has to be free at both.
int listener::listen_at_loopbacks(int port) {
    endpoint four, six;
    for (int tries = port == 0 ? tries_for_a_free_port : 1; tries > 0; tries--) {
        four.set_loopback(AF_INET, port);
        const int taken = open_door(four, true);
        const bool has_ipv4 = taken > 0;
        if (!has_ipv4 && !failed_for_lack_of_host_support())
            return -1;
        six.set_loopback(AF_INET6, has_ipv4 ? taken : port);
        const int also_taken = open_door(six, !has_ipv4);
        if (also_taken > 0 || (has_ipv4 && failed_for_lack_of_host_support()))
            return has_ipv4 ? taken : also_taken;
        const fault_keeper kept;
        if (has_ipv4)
            shut_last_door();
    }
    return -1;
}

int listener::open_door(const endpoint& at, bool is_shown) {
    if (count_ == most_listeners)
        return refuse_argument(), -1;
    socket_guard s(open_listening(at));
    if (!s)
        return -1;
    door& added = doors_[count_];
    memset(static_cast<void*>(&added), 0, sizeof added);
    int size = endpoint::room();
    if (ombrel_getsockname(s.get(), added.own.get(), &size) != 0)
        return -1;
    added.owner = this;
    added.is_shown = is_shown;
    added.socket = s.release();
    count_++;
    if (watch(added))
        return added.own.port();
    shut_last_door();
    leave_fault(fault_code::no_memory);
    return -1;
}

bool listener::watch(door& added) {
    return ombrel_assign_event(
               base_, &added.event, added.socket, def_ombrel_event_read | def_ombrel_event_persist,
               [](ombrel_event_t*, int, uint32_t ready, void* context) {
                   door& opened = *static_cast<door*>(context);
                   if ((ready & def_ombrel_event_read) != 0)
                       opened.owner->accept_some(opened);
               },
               &added) == 0 &&
           ombrel_add_event(&added.event, -1) == 0;
}

void listener::shut_last_door() {
    door& last = doors_[--count_];
    end_event(last.event);
    ombrel_close_socket(last.socket);
}

void listener::stop() {
    while (count_ > 0)
        shut_last_door();
}

void listener::close() {
    stop();
    end_event(rest_event_);
    ombrel_close_socket(reserve_);
    if (network_)
        ombrel_uninit_network();
}

void listener::accept_some(door& from) {
    for (int i = 0; i < accepts_at_once && !from.rests && count_ > 0; i++)
        if (!accept_one(from))
            return;
}

/// False when nobody waits any more.
bool listener::accept_one(door& from) {
    endpoint peer;
    int size = endpoint::room();
    const int s = ombrel_accept_now(from.socket, peer.get(), &size);
    if (s == def_ombrel_socket_would_block)
        return false;
    if (s == def_ombrel_invalid_socket)
        return cope_with_failure(from);
    greet(s, peer);
    return true;
}

/// A client that has gone again is no matter. Without a descriptor the reserve is spent on telling one client
/// so; what else fails would fail again at once, and take the processor.
bool listener::cope_with_failure(door& from) {
    const fault_code code = last_fault().code;
    if (code == fault_code::aborted || code == fault_code::interrupted || code == fault_code::reset)
        return true;
    if (code != fault_code::no_descriptor || reserve_ == def_ombrel_invalid_socket) {
        rest(from);
        return false;
    }
    reserve_ = ombrel_close_socket(reserve_);
    const int s = ombrel_accept_now(from.socket, nullptr, nullptr);
    if (s >= 0)
        refuse(s);
    keep_reserve();
    return s >= 0;
}

void listener::greet(int socket, const endpoint& peer) {
    if (!has_room_for(peer)) {
        refuse(socket);
        return;
    }
    accepted_++;
    ombrel_set_non_block_socket(socket, 1);
    platform::set_option(socket, socket_option::no_delay, 1);
    settings_.on_client(socket, peer, settings_.context);
}

/// What came already is read, as closing with unread bytes would tear the words away from the client.
void listener::refuse(int socket) {
    char unread[4096];
    refused_++;
    ombrel_send_now(socket, settings_.refusal.data(), settings_.refusal.size());
    ombrel_shutdown_socket(socket, def_ombrel_shutdown_send);
    ombrel_recv_now(socket, unread, sizeof unread);
    ombrel_close_socket(socket);
}

bool listener::has_room_for(const endpoint& peer) const {
    if (clients_ >= settings_.client_limit)
        return false;
    if (settings_.address_limit == 0)
        return true;
    uint8_t network[ipv6_size];
    put_network(network, peer);
    size_t of_one = 0;
    for (const client_place* place = places_[list_of(network, place_lists)]; place != nullptr;
         place = place->next)
        of_one += memcmp(place->network, network, sizeof network) == 0;
    return of_one < settings_.address_limit;
}

void listener::take_place(client_place& place, const endpoint& peer) {
    put_network(place.network, peer);
    place.list = &places_[list_of(place.network, place_lists)];
    place.previous = nullptr;
    place.next = *place.list;
    if (place.next != nullptr)
        place.next->previous = &place;
    *place.list = &place;
    clients_++;
}

void listener::leave_place(client_place& place) {
    if (place.list == nullptr)
        return;
    (place.previous != nullptr ? place.previous->next : *place.list) = place.next;
    if (place.next != nullptr)
        place.next->previous = place.previous;
    place.list = nullptr;
    clients_--;
}

void listener::rest(door& tired) {
    ombrel_del_event(&tired.event);
    tired.rests = true;
    ombrel_add_event(&rest_event_, rest_ms);
}

void listener::resume() {
    keep_reserve();
    for (size_t i = 0; i < count_; i++)
        if (doors_[i].rests)
            doors_[i].rests = ombrel_add_event(&doors_[i].event, -1) != 0;
    for (size_t i = 0; i < count_; i++)
        if (doors_[i].rests)
            ombrel_add_event(&rest_event_, rest_ms);
}

void listener::keep_reserve() {
    if (reserve_ == def_ombrel_invalid_socket)
        reserve_ = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
}

char* listener::alloc_url(size_t index, const char* function, unsigned long line) const {
    for (size_t i = 0; i < count_; i++) {
        if (doors_[i].is_shown && index-- == 0)
            return alloc_listener_url(settings_.scheme, doors_[i].own, function, line);
    }
    leave_fault(fault_code::invalid);
    return nullptr;
}

} // namespace ombrel::protocol
