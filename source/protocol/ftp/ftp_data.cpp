// The data connections of a session: to and from the server's own address alone.
#include <ombrel/address.h>
#include <ombrel/socket.h>

#include "protocol/ftp/ftp_address.h"
#include "protocol/ftp/ftp_session.h"

namespace ombrel::protocol {

namespace {

/// Below it are the ports of services, which are no concern of a file transfer.
constexpr int least_data_port = 1024;
constexpr int data_backlog = 4;

} // namespace

bool ftp_session::prepare_data() {
    return settings_.active ? open_active() : open_passive();
}

bool ftp_session::open_passive() {
    const deadline until = limit();
    endpoint peer;
    int port = 0;
    if (!control_.find_peer(peer))
        return control_.lose(error_, fault_code::closed, "the control connection is closed");
    if (!ask_passive(until, peer, port) || !check_data_port(port))
        return false;
    // The host is always the control connection's: an address in a reply could send the client anywhere.
    ombrel_sockaddr_set_port(peer.get(), port);
    data_.reset(open_ftp_connection(*peer.get(), peer.size(), until));
    return data_ || error_.set(until.passed() ? fault_code::timed_out : socket_fault(), "no data connection");
}

/// The extended form serves every family of addresses; servers that do not know it have the old one.
bool ftp_session::ask_passive(const deadline& limit, const endpoint& peer, int& port) {
    if (extended_ || plain_ftp_address(peer).family() == AF_INET6) {
        if (!control_.ask("EPSV", "", limit, error_))
            return false;
        if (control_.kind() == ftp_reply_kind::completed)
            return parse_ftp_extended_passive(control_.text(), port) ||
                   error_.set(fault_code::violation, "the reply to EPSV has no port");
        extended_ = false;
    }
    if (!control_.ask("PASV", "", limit, error_))
        return false;
    if (control_.kind() != ftp_reply_kind::completed)
        return control_.refuse(error_);
    uint8_t address[ipv4_size];
    if (!parse_ftp_passive(control_.text(), port, address))
        return error_.set(fault_code::violation, "the reply to PASV has no port");
    return !settings_.checks_address || is_ftp_address(peer, address) ||
           error_.set(fault_code::violation, "the reply to PASV names another host");
}

bool ftp_session::check_data_port(int port) {
    return port >= least_data_port || settings_.is_lenient ||
           error_.set(fault_code::violation, "the server names a port that is not for data");
}

bool ftp_session::open_active() {
    endpoint own;
    int size = endpoint::room();
    leave_fault({});
    if (!control_.find_own(own))
        return control_.lose(error_, fault_code::closed, "the control connection is closed");
    endpoint place = own;
    ombrel_sockaddr_set_port(place.get(), 0);
    listener_.reset(ombrel_open_socket(place.family(), SOCK_STREAM, 0));
    if (!listener_ || ombrel_bind(listener_.get(), place.get(), place.size()) != 0 ||
        ombrel_listen(listener_.get(), data_backlog) != 0 ||
        ombrel_getsockname(listener_.get(), place.get(), &size) != 0)
        return error_.set(socket_fault(), "no listener for the data connection");
    return tell_own_address(own, place.port());
}

bool ftp_session::tell_own_address(const endpoint& own, int port) {
    char text[ftp_address_room];
    if (extended_ || plain_ftp_address(own).family() == AF_INET6) {
        write_ftp_extended_address(own, port, text);
        if (!ask("EPRT", text))
            return false;
        if (control_.kind() == ftp_reply_kind::completed)
            return true;
        extended_ = false;
    }
    return write_ftp_address(own, port, text) ? command("PORT", text) : control_.refuse(error_);
}

/// Others than the server find the listener open, and are sent away.
bool ftp_session::take_connection(const endpoint& peer) {
    endpoint from;
    int size = endpoint::room();
    const int taken = ombrel_accept_now(listener_.get(), from.get(), &size);
    if (taken == def_ombrel_socket_would_block || failed_by(taken, fault_code::aborted))
        return true;
    if (taken == -1)
        return error_.set(socket_fault(), "no data connection");
    socket_guard connection(taken);
    if (ombrel_compare_sockaddr_address(from.get(), peer.get()) != 0)
        return true;
    ombrel_set_non_block_socket(taken, 1);
    data_.reset(connection.release());
    return true;
}

bool ftp_session::accept_data() {
    const deadline until = limit();
    endpoint peer;
    if (!control_.find_peer(peer))
        return control_.lose(error_, fault_code::closed, "the control connection is closed");
    while (!data_) {
        if (await(listener_.get(), platform::readiness::read, until) <= 0)
            return error_.set(fault_code::timed_out, "no data connection");
        if (!take_connection(peer))
            return false;
    }
    listener_.reset();
    return true;
}

void ftp_session::close_data() {
    data_.reset();
    listener_.reset();
}

} // namespace ombrel::protocol
