#include <ombrel/socket_open.h>

#include <ombrel/multicast.h>
#include <ombrel/network.h>
#include <ombrel/resolver.h>
#include <ombrel/socket.h>

#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "platform/multicast.h"
#include "platform/socket.h"

using namespace ombrel;
using platform::socket_option;

namespace {

constexpr int any_family = 0;
constexpr int as_many_as_allowed = 0x7fffffff;

bool is_given(const char* text) {
    return text != nullptr && text[0] != 0;
}

/// The answers of the resolver for a scope, those of one family or all.
class answers {
public:
    answers(const char* host, int port, int family)
        : list_(ombrel_open_resolver(host, port)), family_(family) {}
    ~answers() {
        if (list_ != nullptr)
            ombrel_close_resolver(list_);
    }
    answers(const answers&) = delete;
    answers& operator=(const answers&) = delete;

    const ombrel_resolver_t* first() const { return wanted(list_); }
    const ombrel_resolver_t* after(const ombrel_resolver_t* answer) const { return wanted(answer->m_next); }

private:
    const ombrel_resolver_t* wanted(const ombrel_resolver_t* answer) const {
        while (answer != nullptr && family_ != any_family && answer->m_family != family_)
            answer = answer->m_next;
        return answer;
    }

    ombrel_resolver_t* list_;
    int family_;
};

/// The first socket that `open_for(answer)` makes, or -1.
template<typename Open>
int open_first(const answers& all, Open open_for) {
    for (const ombrel_resolver_t* answer = all.first(); answer != nullptr; answer = all.after(answer)) {
        const int s = open_for(*answer);
        if (s != def_ombrel_invalid_socket)
            return s;
    }
    return def_ombrel_invalid_socket;
}

/// An own address: a numeric text of the family, or the wildcard when there is none.
bool own_address(endpoint& own, int family, const char* text, int port) {
    return is_given(text) ? own.parse(family, text, port) : own.set_wildcard(family, port);
}

int open_stream(int family) {
    return ombrel_open_socket(family, SOCK_STREAM, ombrel_get_protocol_by_name("tcp"));
}

int connect_one(const ombrel_resolver_t& answer, const char* local_address, int local_port, int timeout_ms) {
    endpoint own;
    if (!own_address(own, answer.m_family, local_address, local_port) &&
        !own.set_wildcard(answer.m_family, local_port))
        return def_ombrel_invalid_socket;
    socket_guard s(open_stream(answer.m_family));
    if (!s)
        return def_ombrel_invalid_socket;
    if (answer.m_family == AF_INET6)
        platform::set_option(s.get(), socket_option::ipv6_only, 0);
    const bool connected = ombrel_bind(s.get(), own.get(), own.size()) == 0 &&
                           ombrel_connect(s.get(), answer.m_address, answer.m_address_size, timeout_ms) == 0;
    return connected ? s.release() : def_ombrel_invalid_socket;
}

int listen_one(int family, bool family_asked_for, const char* address, int port) {
    endpoint own;
    if (!own_address(own, family, address, port))
        return def_ombrel_invalid_socket;
    socket_guard s(open_stream(family));
    if (!s)
        return def_ombrel_invalid_socket;
    if (family == AF_INET6 && family_asked_for)
        platform::set_option(s.get(), socket_option::ipv6_only, 1);
    platform::claim_port(s.get());
    const bool listening =
        ombrel_bind(s.get(), own.get(), own.size()) == 0 && ombrel_listen(s.get(), as_many_as_allowed) == 0;
    return listening ? s.release() : def_ombrel_invalid_socket;
}

int bind_datagram_socket(int family, const char* address, int port) {
    endpoint own;
    if (!own_address(own, family, address, port))
        return def_ombrel_invalid_socket;
    socket_guard s(ombrel_open_socket(family, SOCK_DGRAM, ombrel_get_protocol_by_name("udp")));
    if (!s)
        return def_ombrel_invalid_socket;
    if (family == AF_INET6)
        platform::set_option(s.get(), socket_option::ipv6_only, 1);
    else
        platform::set_ipv4_multicast_interface(s.get(), own.get());
    ombrel_set_reuse_address_socket(s.get(), 1);
    return ombrel_bind(s.get(), own.get(), own.size()) == 0 ? s.release() : def_ombrel_invalid_socket;
}

/// A numeric multicast address whose family is the one asked for, if any.
bool parse_group(endpoint& group, const char* text, int family) {
    if (!group.parse(AF_INET, text, 0) && !group.parse(AF_INET6, text, 0))
        return false;
    return ombrel_is_multicast(group.get()) == 1 && (family == any_family || family == group.family());
}

/// A datagram and how it is to be sent.
struct packet {
    const char* local_address;
    int local_port;
    int hops;
    const void* data;
    size_t size;
    int timeout_ms;
};

/// Leaves `result` as it is when no socket could be had, so that nothing was sent.
void send_one(const ombrel_resolver_t& answer, const packet& what, int& result) {
    const bool multicast = ombrel_is_multicast(answer.m_address) == 1;
    const socket_guard s(ombrel_open_udp_socket_ex(answer.m_family, what.local_address, what.local_port,
                                                   multicast ? answer.m_address_text : nullptr));
    if (!s)
        return;
    ombrel_set_broadcast_socket(s.get(), 1);
    if (what.hops >= 0 && what.hops <= 255)
        ombrel_hops_socket(s.get(), what.hops, multicast);
    result = ombrel_sendto(s.get(), what.data, what.size, answer.m_address, answer.m_address_size,
                           what.timeout_ms);
}

} // namespace

int ombrel_open_connect_socket_ex(int family, const char* local_address, int local_port, const char* host,
                                  int port, int timeout_ms) {
    if (!is_port(local_port) || host == nullptr || !is_port(port) || port == 0)
        return def_ombrel_invalid_socket;
    const answers all(host, port, family);
    return open_first(all, [&](const ombrel_resolver_t& answer) {
        return connect_one(answer, local_address, local_port, timeout_ms);
    });
}

int ombrel_open_connect_socket(const char* host, int port, int timeout_ms) {
    return ombrel_open_connect_socket_ex(any_family, nullptr, 0, host, port, timeout_ms);
}

int ombrel_open_listen_socket_ex(int family, const char* address, int port) {
    if (!is_port(port))
        return def_ombrel_invalid_socket;
    const answers all(address, port, family);
    return open_first(all, [&](const ombrel_resolver_t& answer) {
        return listen_one(answer.m_family, family != any_family, address, port);
    });
}

int ombrel_open_listen_socket(const char* address, int port) {
    return ombrel_open_listen_socket_ex(any_family, address, port);
}

int ombrel_open_udp_socket_ex(int family, const char* address, int port, const char* multicast_group) {
    if (port == -1)
        port = 0;
    if (!is_port(port))
        return def_ombrel_invalid_socket;
    endpoint group;
    if (multicast_group != nullptr) {
        if (!parse_group(group, multicast_group, family))
            return def_ombrel_invalid_socket;
        family = group.family();
    }
    const answers all(address, port, family);
    const int s = open_first(all, [&](const ombrel_resolver_t& answer) {
        return bind_datagram_socket(answer.m_family, address, port);
    });
    // The socket is of use without the group, so by design a join that fails is not reported.
    if (s != def_ombrel_invalid_socket && multicast_group != nullptr)
        ombrel_multicast_join_all(s, group.get(), 1);
    return s;
}

int ombrel_open_udp_socket(const char* address, int port) {
    return ombrel_open_udp_socket_ex(any_family, address, port, nullptr);
}

int ombrel_send_udp_packet_ex(int family, const char* local_address, int local_port, const char* host,
                              int port, int hops, const void* data, size_t size, int timeout_ms) {
    if (host == nullptr || !is_port(port) || port == 0)
        return -1;
    const packet what{local_address, local_port, hops, data, size, timeout_ms};
    const answers all(host, port, family);
    int result = -1;
    for (const ombrel_resolver_t* answer = all.first(); answer != nullptr; answer = all.after(answer))
        send_one(*answer, what, result);
    return result;
}

int ombrel_send_udp_packet(const char* host, int port, const void* data, size_t size, int timeout_ms) {
    return ombrel_send_udp_packet_ex(any_family, nullptr, 0, host, port, -1, data, size, timeout_ms);
}
