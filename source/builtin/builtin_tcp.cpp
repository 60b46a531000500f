// Streams over TCP: a client, or a server of one peer.
#include "builtin/builtin_kind.h"

#include <ombrel/builtin_stream.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "builtin/descriptor_stream.h"
#include "core/deadline.h"
#include "core/fault.h"
#include "network/endpoint.h"
#include "platform/file.h"

namespace ombrel::builtin {

namespace {

constexpr int none = def_ombrel_invalid_socket;

struct tcp_state {
    int listener; ///< waits for the peer, or none
    int socket;   ///< connected to the peer, or none
};

bool has_peer(const tcp_state& state) {
    return state.socket != none;
}

int listen(builtin_ctx& ctx) {
    const int port = ctx.uri->m_port;
    const char* const host = is_given(ctx.uri->m_host) ? ctx.uri->m_host : nullptr;
    if (port < 0)
        return fail(ctx, def_ombrel_ctx_error_syntax);
    tcp_state& state = state_of<tcp_state>(ctx);
    state.listener = ombrel_open_listen_socket(host, port);
    if (state.listener == none)
        return fail_by_system(ctx);
    // The one who was waited for may have gone again.
    ombrel_set_non_block_socket(state.listener, 1);
    return 0;
}

/// Whether the option "interface" is an address, if it is set at all.
bool is_own_address(const char* text) {
    return text == nullptr || endpoint().parse(0, text, 0);
}

int connect(builtin_ctx& ctx) {
    if (!is_given(ctx.uri->m_host) || ctx.uri->m_port <= 0 || !is_own_address(option_text(ctx, "interface")))
        return fail(ctx, def_ombrel_ctx_error_syntax);
    constexpr int any_family = 0, any_port = 0;
    // A resolver that knows no such host leaves no fault.
    leave_fault({});
    state_of<tcp_state>(ctx).socket = ombrel_open_connect_socket_ex(
        any_family, option_text(ctx, "interface"), any_port, ctx.uri->m_host, ctx.uri->m_port, ctx.timeout);
    if (has_peer(state_of<tcp_state>(ctx)))
        return 0;
    return last_fault() ? fail_by_system(ctx) : fail(ctx, def_ombrel_ctx_error_unknown_host);
}

int open(builtin_ctx& ctx) {
    state_of<tcp_state>(ctx) = {none, none};
    bool is_server = false;
    if (!read_switch(ctx, "listen", is_server))
        return -1;
    return is_server ? listen(ctx) : connect(ctx);
}

int close(builtin_ctx& ctx) {
    tcp_state& state = state_of<tcp_state>(ctx);
    ombrel_close_socket(state.listener);
    ombrel_close_socket(state.socket);
    return 0;
}

/// Takes the peer that waits and ends listening: 1, 0 when there is none, -1 with the error set.
int accept_waiting(builtin_ctx& ctx, tcp_state& state) {
    constexpr int leave_waiting = -1;
    const int peer = ombrel_accept(state.listener, nullptr, nullptr, leave_waiting);
    if (peer == none) {
        const bool has_gone = failed_for_now(peer) || failed_by(peer, fault_code::aborted);
        return has_gone ? 0 : fail_by_system(ctx);
    }
    // Some systems hand this property of the listener down.
    ombrel_set_non_block_socket(peer, 0);
    state.socket = peer;
    state.listener = ombrel_close_socket(state.listener);
    return 1;
}

/// Waits for the peer of a listening stream: 1, 0 when the time ran out, -1 with the error set.
int wait_for_peer(builtin_ctx& ctx, const deadline& limit) {
    tcp_state& state = state_of<tcp_state>(ctx);
    while (!has_peer(state)) {
        const int ready = wait_for(ctx, state.listener, platform::readiness::read, limit.left());
        const int accepted = ready > 0 ? accept_waiting(ctx, state) : ready;
        if (ready <= 0 || accepted < 0)
            return accepted;
    }
    return 1;
}

/// The peer's socket within the stream's time limit, or none with the error set.
int need_peer(builtin_ctx& ctx) {
    const int result = wait_for_peer(ctx, deadline(ctx.timeout));
    if (result == 0)
        fail(ctx, def_ombrel_ctx_error_timed_out);
    return result > 0 ? state_of<tcp_state>(ctx).socket : none;
}

int is_ready(builtin_ctx& ctx, platform::readiness kind, int timeout_ms) {
    const deadline limit(timeout_ms);
    const int result = wait_for_peer(ctx, limit);
    return result > 0 ? wait_for(ctx, state_of<tcp_state>(ctx).socket, kind, limit.left()) : result;
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    return is_ready(ctx, platform::readiness::read, timeout_ms);
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    return is_ready(ctx, platform::readiness::write, timeout_ms);
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    const int s = need_peer(ctx);
    return s != none ? read_some(ctx, s, platform::read_at_once, buffer, size) : -1;
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    const int s = need_peer(ctx);
    return s != none ? write_all(ctx, s, platform::write_at_once, data, size) : -1;
}

int sync(builtin_ctx&) {
    return 0;
}

int close_write(builtin_ctx& ctx, size_t size) {
    if (!is_control_record(ctx, size, 0))
        return -1;
    const int s = need_peer(ctx);
    if (s == none)
        return -1;
    return ombrel_shutdown_socket(s, def_ombrel_shutdown_send) == 0 ? 0 : fail_by_system(ctx);
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    const tcp_state& state = state_of<tcp_state>(ctx);
    const int s = has_peer(state) ? state.socket : state.listener;
    switch (code) {
    case def_ombrel_stream_control_get_fd:
        return give_descriptor(ctx, s, record, size);
    case def_ombrel_stream_control_get_local_address:
    case def_ombrel_stream_control_get_peer_address:
        return give_socket_address(ctx, s, code, record, size);
    case def_ombrel_stream_control_close_write:
        return close_write(ctx, size);
    default:
        return refuse_control(ctx);
    }
}

} // namespace

constinit const builtin_kind builtin_tcp{
    .state = state_type_of<tcp_state>,
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
