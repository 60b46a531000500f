#include <ombrel/socket.h>

#include <ombrel/assert.h>
#include <ombrel/network.h>
#include <ombrel/select.h>

#include "core/fault.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "platform/socket.h"

using namespace ombrel;
using platform::connect_state;

namespace {

constexpr int pair_limit_ms = 60000;

/// The first half of a connect; with a time limit it does not wait.
connect_state begin_connect(int s, const sockaddr* address, int size, bool limited) {
    if (limited)
        platform::set_non_blocking(s, true);
    const connect_state state = platform::connect_socket(s, address, ombrel_sockaddr_size(address, size));
    if (limited) {
        const fault_keeper why;
        platform::set_non_blocking(s, false);
    }
    return state;
}

/// How an attempt in progress ends.
int finish_connect(int s, int timeout_ms) {
    constexpr int any_change = def_ombrel_select_read | def_ombrel_select_write | def_ombrel_select_exception;
    if (ombrel_single_select(s, any_change, timeout_ms) <= 0)
        return -1;
    int error = 0;
    if (platform::get_option(s, platform::socket_option::pending_error, error) != 0)
        return -1;
    if (error != 0)
        leave_fault(platform::fault_of(error));
    return error == 0 ? 0 : -1;
}

bool open_pair(int family, int type, int protocol, int pair[2]) {
    endpoint listening;
    if (!listening.set_loopback(family, 0))
        return false;
    const socket_guard listener(ombrel_open_socket(family, type, protocol));
    int size = endpoint::room();
    if (ombrel_bind(listener.get(), listening.get(), listening.size()) != 0 ||
        ombrel_getsockname(listener.get(), listening.get(), &size) != 0 ||
        ombrel_listen(listener.get(), 1) != 0)
        return false;

    socket_guard connecting(ombrel_open_socket(family, type, protocol));
    if (ombrel_connect(connecting.get(), listening.get(), listening.size(), pair_limit_ms) != 0)
        return false;
    endpoint own, peer;
    int own_size = endpoint::room(), peer_size = endpoint::room();
    socket_guard accepted(ombrel_accept(listener.get(), peer.get(), &peer_size, pair_limit_ms));
    // Anyone on this machine could have connected first.
    if (!accepted || ombrel_getsockname(connecting.get(), own.get(), &own_size) != 0 || !(own == peer))
        return false;
    pair[0] = accepted.release();
    pair[1] = connecting.release();
    return true;
}

void report_missing(int s, unsigned long line, const char* condition) {
    if (s == def_ombrel_invalid_socket)
        ombrel_assert_fail_tag("source/socket", "ombrel_socket_pipe", line, condition);
}

} // namespace

int ombrel_connect(int s, const struct sockaddr* addr, int size, int timeout_ms) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    switch (begin_connect(s, addr, size, timeout_ms >= 0)) {
    case connect_state::connected:
        return 0;
    case connect_state::in_progress:
        return timeout_ms < 1 ? -1 : finish_connect(s, timeout_ms);
    default:
        return -1;
    }
}

int ombrel_socket_pair(int family, int type, int protocol, int pair_out[2]) {
    if (pair_out == nullptr)
        return -1;
    pair_out[0] = pair_out[1] = def_ombrel_invalid_socket;
    return open_pair(family, type, protocol, pair_out) ? 0 : -1;
}

int ombrel_socket_pipe(int pair_out[2]) {
    if (pair_out == nullptr)
        return -1;
    const int protocol = ombrel_get_protocol_by_name("tcp");
    for (const int family : {AF_INET, AF_INET6}) {
        if (ombrel_socket_pair(family, SOCK_STREAM, protocol, pair_out) == 0)
            return 0;
    }
    report_missing(pair_out[0], __LINE__, "s_socket[0] != def_ombrel_invalid_socket");
    report_missing(pair_out[1], __LINE__, "s_socket[1] != def_ombrel_invalid_socket");
    return -1;
}
