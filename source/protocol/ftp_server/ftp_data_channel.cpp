#include "protocol/ftp_server/ftp_data_channel.h"

#include <algorithm>
#include <utility>

#include <ombrel/event.h>
#include <ombrel/socket.h>

#include "core/fault.h"
#include "network/socket_guard.h"
#include "platform/socket.h"

namespace ombrel::protocol {

namespace {

constexpr int strangers_at_once = 16;
constexpr int ports_at_once = 1000; // that are tried, so that a large range does not hold up the loop

bool is_same_host(const endpoint& a, const endpoint& b) {
    return ombrel_compare_sockaddr_address(a.get(), b.get()) == 0;
}

} // namespace

bool ftp_data_channel::await(const endpoint& own, const endpoint& client, passive_ports& ports) {
    close();
    own_ = own;
    client_ = client;
    if (!listen_at_one_of(ports))
        return false;
    kind_ = kind::passive;
    return true;
}

bool ftp_data_channel::listen_at_one_of(passive_ports& ports) {
    if (ports.first == 0)
        return listen(0);
    const int tries = std::min(ports.last - ports.first + 1, ports_at_once);
    for (int i = 0; i < tries; i++) {
        ports.next = ports.next < ports.first || ports.next >= ports.last ? ports.first : ports.next + 1;
        if (listen(ports.next))
            return true;
    }
    return false;
}

bool ftp_data_channel::listen(int port) {
    socket_guard opened(ombrel_open_socket(own_.family(), SOCK_STREAM, 0));
    if (!opened)
        return false;
    if (port != 0)
        platform::claim_port(opened.get());
    ombrel_sockaddr_set_port(own_.get(), port);
    int size = endpoint::room();
    const bool listens = ombrel_bind(opened.get(), own_.get(), own_.size()) == 0 &&
                         ombrel_listen(opened.get(), strangers_at_once) == 0 &&
                         ombrel_getsockname(opened.get(), own_.get(), &size) == 0;
    const fault_keeper kept;
    if (listens)
        listener_ = opened.release();
    return listens;
}

void ftp_data_channel::aim(const endpoint& own, const endpoint& client) {
    close();
    own_ = own;
    ombrel_sockaddr_set_port(own_.get(), 0);
    client_ = client;
    kind_ = kind::active;
}

/// What the client sent against the rules is read, as closing with unread bytes would take from it what was
/// sent.
void ftp_data_channel::close() {
    char unread[4096];
    if (is_connected_)
        ombrel_recv_now(socket_, unread, sizeof unread);
    stop_listening();
    ombrel_close_socket(std::exchange(socket_, def_ombrel_invalid_socket));
    is_connected_ = is_connecting_ = false;
    kind_ = kind::none;
}

uint32_t ftp_data_channel::wanted(int& descriptor) const {
    const bool listens = listener_ != def_ombrel_invalid_socket;
    descriptor = listens ? listener_ : socket_;
    if (listens)
        return def_ombrel_event_read;
    return is_connecting_ ? def_ombrel_event_write | def_ombrel_event_exception : 0;
}

ftp_data_channel::step ftp_data_channel::advance() {
    if (is_connected_)
        return step::connected;
    const step made = kind_ == kind::passive ? accept() : connect();
    is_connected_ = made == step::connected;
    return made;
}

/// Strangers are let go without a word, and are no reason for the client's connection to fail.
ftp_data_channel::step ftp_data_channel::accept() {
    for (int i = 0; i < strangers_at_once; i++) {
        if (!accept_one())
            return failed_for_now(-1) || failed_by(-1, fault_code::aborted) ? step::waits : step::failed;
        if (socket_ != def_ombrel_invalid_socket)
            return step::connected;
    }
    return step::waits;
}

/// False, with the fault left, when nobody came. Whoever may stay has the socket.
bool ftp_data_channel::accept_one() {
    endpoint peer;
    int size = endpoint::room();
    socket_guard came(platform::accept_at_once(listener_, peer.get(), &size));
    if (!came)
        return false;
    if (!is_same_host(peer, client_))
        return true;
    ombrel_set_non_block_socket(came.get(), 1);
    socket_ = came.release();
    return true;
}

void ftp_data_channel::stop_listening() {
    ombrel_close_socket(std::exchange(listener_, def_ombrel_invalid_socket));
}

ftp_data_channel::step ftp_data_channel::connect() {
    if (is_connecting_)
        return platform::is_connected(socket_) ? step::connected : step::failed;
    socket_guard opened(ombrel_open_socket(own_.family(), SOCK_STREAM, 0));
    if (!opened || ombrel_bind(opened.get(), own_.get(), own_.size()) != 0)
        return step::failed;
    const platform::connect_state state =
        platform::start_connect(opened.get(), client_.get(), client_.size());
    if (state == platform::connect_state::failed)
        return step::failed;
    socket_ = opened.release();
    is_connecting_ = state != platform::connect_state::connected;
    return is_connecting_ ? step::waits : step::connected;
}

} // namespace ombrel::protocol
