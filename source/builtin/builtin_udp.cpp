// Streams of datagrams: sending to any host, receiving multicast.
#include "builtin/builtin_kind.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <ombrel/builtin_stream.h>
#include <ombrel/multicast.h>
#include <ombrel/network_interface.h>
#include <ombrel/output.h>
#include <ombrel/resolver.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>
#include <ombrel/string.h>
#include <ombrel/time.h>

#include "builtin/descriptor_stream.h"
#include "core/deadline.h"
#include "core/fault.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "platform/multicast.h"
#include "platform/socket.h"
#include "text/number.h"

namespace ombrel::builtin {

namespace {

constexpr int default_missed_time_ms = 1000;

struct udp_state {
    int socket;
    bool is_multicast;
    bool is_receiving; ///< bound to the port and a member of the group
    int peer_size;
    sockaddr_storage peer;
};

const sockaddr* peer_of(const udp_state& state) {
    return reinterpret_cast<const sockaddr*>(&state.peer);
}

/// Takes the first address of the host.
bool resolve(builtin_ctx& ctx) {
    if (!is_given(ctx.uri->m_host) || ctx.uri->m_port <= 0) {
        fail(ctx, def_ombrel_ctx_error_syntax);
        return false;
    }
    ombrel_resolver_t* const answers = ombrel_open_resolver(ctx.uri->m_host, ctx.uri->m_port);
    if (answers == nullptr) {
        fail(ctx, def_ombrel_ctx_error_unknown_host);
        return false;
    }
    udp_state& state = state_of<udp_state>(ctx);
    state.peer_size = answers->m_address_size;
    memcpy(&state.peer, answers->m_address, static_cast<size_t>(state.peer_size));
    state.is_multicast = ombrel_is_multicast(answers->m_address) == 1;
    ombrel_close_resolver(answers);
    return true;
}

uint32_t interface_with_address(const char* text) {
    endpoint wanted;
    if (!wanted.parse(0, text, 0))
        return 0;
    ombrel_network_interface_t* const list = ombrel_open_network_interface();
    const ombrel_network_interface_t* const home = ombrel_network_interface_find_address(list, wanted.get());
    const uint32_t index = home != nullptr ? home->m_index : 0;
    ombrel_close_network_interface(list);
    return index;
}

/// The index of an interface that is given by its index, its name or one of its addresses; 0 when unknown.
uint32_t find_interface(const char* text) {
    uint32_t index;
    if (parse_number(text, 0u, unsigned{INT_MAX}, index))
        return index;
    index = ombrel_interface_name_to_index(text);
    return index != 0 ? index : interface_with_address(text);
}

/// The interfaces of this machine, as far as multicast is concerned.
struct multicast_interfaces {
    uint32_t loopback = 0; ///< its index; 0 for none
    bool has_others = false;
};

multicast_interfaces list_interfaces() {
    constexpr uint32_t wanted = def_ombrel_interface_up | def_ombrel_interface_multicast;
    multicast_interfaces found;
    ombrel_network_interface_t* const list = ombrel_open_network_interface();
    for (const auto* one = list; one != nullptr; one = one->m_next) {
        found.has_others = found.has_others || (one->m_flags & wanted) == wanted;
        if (found.loopback == 0 && (one->m_flags & def_ombrel_interface_loopback) != 0)
            found.loopback = one->m_index;
    }
    ombrel_close_network_interface(list);
    return found;
}

/// 0, for the system's choice; on a machine whose interfaces take no multicast the loop-back one, by which it
/// goes all the same.
uint32_t default_interface() {
    const multicast_interfaces found = list_interfaces();
    return found.has_others ? 0 : found.loopback;
}

/// What programs of this machine send by the loop-back interface is for the group too. It is not among those
/// that claim to take multicast, and may be joined already.
void join_loopback(const udp_state& state, int s) {
    const uint32_t loopback = list_interfaces().loopback;
    if (loopback != 0)
        ombrel_multicast_join(s, peer_of(state), loopback, nullptr, 1);
}

bool join(const udp_state& state, int s, uint32_t interface_index) {
    platform::take_own_groups_only(s, peer_of(state)->sa_family);
    if (interface_index != 0)
        return ombrel_multicast_join(s, peer_of(state), interface_index, nullptr, 1) == 0;
    join_loopback(state, s);
    return ombrel_multicast_join_all(s, peer_of(state), 1) == 0;
}

/// The interface that the options name, or the default one; false, with the error set, when there is none of
/// the name.
bool choose_interface(const builtin_ctx& ctx, uint32_t& index) {
    const char* const text = option_text(ctx, "interface");
    index = text != nullptr ? find_interface(text) : default_interface();
    if (text != nullptr && index == 0)
        fail(ctx, def_ombrel_ctx_error_not_found);
    return text == nullptr || index != 0;
}

bool prepare_multicast(const builtin_ctx& ctx, const udp_state& state, int s) {
    uint32_t index = 0;
    if (!choose_interface(ctx, index))
        return false;
    const bool is_set = index == 0 || platform::set_multicast_interface(s, peer_of(state)->sa_family, index);
    if (is_set && (!state.is_receiving || join(state, s, index)))
        return true;
    fail_by_system(ctx);
    return false;
}

/// Everything but opening the socket: hops, interface, membership.
bool prepare(const builtin_ctx& ctx, const udp_state& state, int s) {
    int hops = -1;
    if (!read_option(ctx, "ttl", hops, INT_MIN, 255))
        return false;
    ombrel_set_broadcast_socket(s, 1);
    if (hops >= 0 && ombrel_hops_socket(s, hops, state.is_multicast) != 0) {
        fail(ctx, def_ombrel_ctx_error_invalid_argument);
        return false;
    }
    return !state.is_multicast || prepare_multicast(ctx, state, s);
}

int open(builtin_ctx& ctx) {
    if (!resolve(ctx))
        return -1;
    udp_state& state = state_of<udp_state>(ctx);
    state.is_receiving = state.is_multicast && ctx.mode.read;
    constexpr int any_port = 0;
    socket_guard s(ombrel_open_udp_socket_ex(peer_of(state)->sa_family, nullptr,
                                             state.is_receiving ? ctx.uri->m_port : any_port, nullptr));
    if (!s)
        return fail_by_system(ctx);
    if (!prepare(ctx, state, s.get()))
        return -1;
    state.socket = s.release();
    return 0;
}

int close(builtin_ctx& ctx) {
    ombrel_close_socket(state_of<udp_state>(ctx).socket);
    return 0;
}

void report_unicast(const builtin_ctx& ctx) {
    ombrel_error_printf(
        "need multicast stream ! (mime_type=\"\x1b[1;37m%s\x1b[0m\", url=\"\x1b[1;32m%s\x1b[0m\")\n",
        ctx.mime_type, ctx.source);
}

/// Tells each time that as much as "missed_time" has passed.
class waiting_report {
public:
    explicit waiting_report(const builtin_ctx& ctx)
        : ctx_(ctx), interval_(ctx.missed_time > 0        ? ctx.missed_time
                               : ctx.debug || ctx.verbose ? default_missed_time_ms
                                                          : 0),
          next_(static_cast<uint64_t>(interval_)) {}

    /// Reports if it is time to, and shortens a wait to the next report.
    int pace(uint64_t waited, int left) {
        if (interval_ == 0)
            return left;
        if (waited >= next_) {
            print(waited);
            next_ = waited + static_cast<uint64_t>(interval_);
        }
        const int until_next = static_cast<int>(next_ - waited);
        return left < 0 ? until_next : std::min(left, until_next);
    }

private:
    void print(uint64_t waited) const {
        ombrel_error_printf("wait udp stream ! (mime_type=\"\x1b[1;37m%s\x1b[0m\", "
                            "url=\"\x1b[1;32m%s\x1b[0m\", %lu.%03lu sec)\n",
                            ctx_.mime_type, ctx_.source, static_cast<unsigned long>(waited / 1000),
                            static_cast<unsigned long>(waited % 1000));
    }

    const builtin_ctx& ctx_;
    int interval_;
    uint64_t next_;
};

/// Waits for a datagram and reports that: 1 when there is one, 0 when the time ran out, -1 with the error
/// set.
int wait_for_datagram(const builtin_ctx& ctx, int s, int timeout_ms) {
    const uint64_t start = ombrel_time_stamp_msec();
    const deadline limit(timeout_ms);
    waiting_report report(ctx);
    while (true) {
        const int left = limit.left();
        const uint64_t waited = ombrel_time_stamp_msec() - start;
        const int ready = wait_for(ctx, s, platform::readiness::read, report.pace(waited, left));
        if (ready != 0 || left == 0)
            return ready;
    }
}

/// An empty datagram would look like the end of the stream, so it is passed over.
int receive_datagram(builtin_ctx& ctx, void* buffer, size_t size) {
    const int s = state_of<udp_state>(ctx).socket;
    const deadline limit(ctx.timeout);
    while (true) {
        const int result = platform::receive_at_once(s, buffer, size, nullptr, nullptr);
        if (result > 0)
            return result;
        if (result == -1 && !failed_for_now(result))
            return fail_by_system(ctx);
        const int left = limit.left();
        const int ready = wait_for_datagram(ctx, s, left);
        if (ready < 0)
            return -1;
        // Empty ones that keep coming hold nobody longer than that.
        if (ready == 0 || left == 0)
            return fail(ctx, def_ombrel_ctx_error_timed_out);
    }
}

bool is_receiving(builtin_ctx& ctx) {
    const bool receiving = state_of<udp_state>(ctx).is_receiving;
    if (!receiving)
        fail(ctx, def_ombrel_ctx_error_not_supported);
    return receiving;
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    if (!state_of<udp_state>(ctx).is_multicast)
        report_unicast(ctx);
    return is_receiving(ctx) ? receive_datagram(ctx, buffer, size) : -1;
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    return is_receiving(ctx) ? wait_for_datagram(ctx, state_of<udp_state>(ctx).socket, timeout_ms) : -1;
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    return wait_for(ctx, state_of<udp_state>(ctx).socket, platform::readiness::write, timeout_ms);
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    const udp_state& state = state_of<udp_state>(ctx);
    const int ready = wait_for(ctx, state.socket, platform::readiness::write, ctx.timeout);
    if (ready <= 0)
        return ready == 0 ? fail(ctx, def_ombrel_ctx_error_timed_out) : -1;
    const int sent = ombrel_sys_sendto(state.socket, data, size, 0, peer_of(state), state.peer_size);
    return sent >= 0 ? sent : fail_by_system(ctx);
}

int sync(builtin_ctx&) {
    return 0;
}

int give_peer(const builtin_ctx& ctx, const udp_state& state, void* record, size_t size) {
    auto* const answer = control_record<ombrel_stream_address_t>(ctx, record, size);
    if (answer == nullptr)
        return -1;
    ombrel_inet_stopp(peer_of(state), answer->m_address, sizeof answer->m_address, &answer->m_port);
    return 0;
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    const udp_state& state = state_of<udp_state>(ctx);
    switch (code) {
    case def_ombrel_stream_control_get_fd:
        return give_descriptor(ctx, state.socket, record, size);
    case def_ombrel_stream_control_get_local_address:
        return give_socket_address(ctx, state.socket, code, record, size);
    case def_ombrel_stream_control_get_peer_address:
        return give_peer(ctx, state, record, size);
    default:
        return refuse_control(ctx);
    }
}

} // namespace

constinit const builtin_kind builtin_udp{
    .state = state_type_of<udp_state>,
    .timeout = network_timeout_ms,
    .needs_uri = true,
    .open = open,
    .close = close,
    .is_readable = is_readable,
    .read = read,
    .is_writable = is_writable,
    .write = write,
    .sync = sync,
    .control = control,
};

} // namespace ombrel::builtin
