#include "protocol/ftp_control.h"

#include <cerrno>

#include <ombrel/address.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "core/wipe.h"
#include "network/socket_guard.h"
#include "protocol/patient_socket.h"

namespace ombrel::protocol {

namespace {

/// A server may say "wait" a few times before it says more.
constexpr int most_preliminary_replies = 16;

transfer_fault fault_of(int code) {
    switch (code) {
    case 421:
    case 425:
    case 426:
        return transfer_fault::lost;
    case 430:
    case 530:
    case 532:
        return transfer_fault::no_access;
    case 452:
    case 552:
        return transfer_fault::no_space;
    // Missing and forbidden files have one code; the text tells them apart.
    case 550:
        return transfer_fault::not_found;
    case 553:
        return transfer_fault::no_access;
    default:
        return transfer_fault::refused;
    }
}

transfer_fault connect_fault(int number) {
    switch (number) {
    case 0:
        return transfer_fault::unknown_host;
    case EINPROGRESS:
    case ETIMEDOUT:
        return transfer_fault::timed_out;
    case EMFILE:
    case ENFILE:
        return transfer_fault::no_descriptor;
    default:
        return transfer_fault::unreachable;
    }
}

} // namespace

bool ftp_control::open(const char* host, int port, int limit_ms, transfer_error& error) {
    // A resolver that knows no such host leaves no error number.
    errno = 0;
    socket_ = ombrel_open_connect_socket(host, port, limit_ms);
    if (socket_ == def_ombrel_invalid_socket)
        return error.set(connect_fault(errno), "no connection to the server");
    ombrel_set_non_block_socket(socket_, 1);
    if (!read_final_reply(deadline(limit_ms), error))
        return false;
    return kind() == ftp_reply_kind::completed || refuse(error);
}

void ftp_control::close() {
    socket_ = ombrel_close_socket(socket_);
}

bool ftp_control::lose(transfer_error& error, transfer_fault fault, const char* text) {
    close();
    return error.set(fault, text);
}

bool ftp_control::refuse(transfer_error& error) const {
    const bool says_no = kind() == ftp_reply_kind::failed_now || kind() == ftp_reply_kind::failed;
    return error.set(says_no ? fault_of(code()) : transfer_fault::violation, text(), code());
}

bool ftp_control::send(std::string_view verb, std::string_view argument, const deadline& limit,
                       transfer_error& error) {
    if (!is_open())
        return error.set(transfer_fault::lost, "the control connection is closed");
    char command[most_ftp_command];
    const wipe_guard guard(command); // it may hold a password
    const size_t size = write_ftp_command(command, verb, argument);
    if (size == 0)
        return error.set(transfer_fault::invalid_name, "a name that no command can carry");
    for (size_t sent = 0; sent < size;) {
        const int result = send_until(socket_, command + sent, size - sent, limit);
        if (result <= 0)
            return lose(error, result == 0 ? transfer_fault::timed_out : transfer_fault::lost,
                        "the command could not be sent");
        sent += static_cast<size_t>(result);
    }
    return true;
}

bool ftp_control::receive(const deadline& limit, transfer_error& error) {
    const int result = receive_until(socket_, input_, sizeof input_, limit);
    if (result == def_ombrel_recv_timeout)
        return lose(error, transfer_fault::timed_out, "no reply in time");
    if (result <= 0)
        return lose(error, transfer_fault::lost, "the server closed the control connection");
    position_ = 0;
    filled_ = static_cast<size_t>(result);
    return true;
}

bool ftp_control::read_reply(const deadline& limit, transfer_error& error) {
    if (!is_open())
        return error.set(transfer_fault::lost, "the control connection is closed");
    for (;;) {
        if (position_ == filled_ && !receive(limit, error))
            return false;
        switch (reply_.feed(input_[position_++])) {
        case ftp_reply_parser::state::complete:
            return true;
        case ftp_reply_parser::state::malformed:
            return lose(error, transfer_fault::violation, "a reply that is none");
        case ftp_reply_parser::state::incomplete:
            break;
        }
    }
}

bool ftp_control::read_final_reply(const deadline& limit, transfer_error& error) {
    for (int i = 0; i < most_preliminary_replies; i++) {
        if (!read_reply(limit, error))
            return false;
        if (kind() != ftp_reply_kind::preliminary)
            return true;
    }
    return lose(error, transfer_fault::violation, "too many preliminary replies");
}

bool ftp_control::ask(std::string_view verb, std::string_view argument, const deadline& limit,
                      transfer_error& error) {
    return send(verb, argument, limit, error) && read_final_reply(limit, error);
}

int ftp_control::open_data(int port, const deadline& limit, transfer_error& error) const {
    // The host is always the control connection's: an address in a reply could send the client anywhere.
    endpoint peer;
    int size = endpoint::room();
    errno = 0;
    if (ombrel_getpeername(socket_, peer.get(), &size) == 0 &&
        ombrel_sockaddr_set_port(peer.get(), port) == 0) {
        socket_guard data(ombrel_open_socket(peer.family(), SOCK_STREAM, 0));
        if (data && ombrel_connect(data.get(), peer.get(), peer.size(), limit.left()) == 0) {
            ombrel_set_non_block_socket(data.get(), 1);
            return data.release();
        }
    }
    error.set(limit.passed() ? transfer_fault::timed_out : socket_fault(), "no data connection");
    return def_ombrel_invalid_socket;
}

} // namespace ombrel::protocol
