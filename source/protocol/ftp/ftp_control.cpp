#include "protocol/ftp/ftp_control.h"

#include <ombrel/address.h>
#include <ombrel/socket.h>

#include "core/wipe.h"
#include "protocol/patient_resolver.h"
#include "protocol/patient_socket.h"

namespace ombrel::protocol {

namespace {

/// A server may say "wait" a few times before it says more.
constexpr int most_preliminary_replies = 16;

fault_code fault_of(int code) {
    switch (code) {
    case 421:
    case 425:
    case 426:
        return fault_code::closed;
    case 430:
    case 530:
    case 532:
        return fault_code::access_denied;
    case 452:
    case 552:
        return fault_code::no_space;
    // Missing and forbidden files have one code; the text tells them apart.
    case 550:
        return fault_code::not_found;
    case 553:
        return fault_code::access_denied;
    default:
        return fault_code::rejected;
    }
}

/// What kept a connection from being made, by the last fault.
fault_code connect_fault() {
    const fault_code code = last_fault().code;
    const bool is_late = code == fault_code::in_progress || code == fault_code::timed_out;
    return is_late ? fault_code::timed_out : socket_fault();
}

/// A connected socket; -1, with the fault, when there is none.
int connect_to(const sockaddr& address, int size, const deadline& limit) {
    leave_fault({});
    socket_guard made(ombrel_open_socket(address.sa_family, SOCK_STREAM, 0));
    return made && ombrel_connect(made.get(), &address, size, limit.left()) == 0 ? made.release()
                                                                                 : def_ombrel_invalid_socket;
}

} // namespace

bool ftp_control::open(const char* host, int port, int limit_ms, transfer_error& error) {
    close();
    position_ = filled_ = 0;
    reply_ = {};
    const patient_answers answers(host, port, deadline(limit_ms));
    if (answers.first() == nullptr)
        return answers.refuse(error);
    for (const ombrel_resolver_t* answer = answers.first(); answer != nullptr && !is_open();
         answer = answer->m_next)
        socket_.reset(connect_to(*answer->m_address, answer->m_address_size, deadline(limit_ms)));
    if (!is_open())
        return error.set(connect_fault(), "no connection to the server");
    ombrel_set_non_block_socket(socket_.get(), 1);
    if (!read_final_reply(deadline(limit_ms), error))
        return false;
    return kind() == ftp_reply_kind::completed || refuse(error);
}

void ftp_control::close() {
    socket_.reset();
}

bool ftp_control::lose(transfer_error& error, fault_code fault, const char* text) {
    close();
    return error.set(fault, text);
}

bool ftp_control::refuse(transfer_error& error) const {
    const bool says_no = kind() == ftp_reply_kind::failed_now || kind() == ftp_reply_kind::failed;
    return error.set(says_no ? fault_of(code()) : fault_code::violation, text(), code());
}

bool ftp_control::send(std::string_view verb, std::string_view argument, const deadline& limit,
                       transfer_error& error) {
    if (!is_open())
        return error.set(fault_code::closed, "the control connection is closed");
    char command[most_ftp_command];
    const wipe_guard guard(command); // it may hold a password
    const size_t size = write_ftp_command(command, verb, argument);
    if (size == 0)
        return error.set(fault_code::invalid, "a name that no command can carry");
    for (size_t sent = 0; sent < size;) {
        const int result = send_until(socket_.get(), command + sent, size - sent, limit);
        if (result <= 0)
            return lose(error, result == 0 ? fault_code::timed_out : fault_code::closed,
                        "the command could not be sent");
        sent += static_cast<size_t>(result);
    }
    return true;
}

bool ftp_control::receive(const deadline& limit, transfer_error& error) {
    const int result = receive_until(socket_.get(), input_, sizeof input_, limit);
    if (result == def_ombrel_recv_timeout)
        return lose(error, fault_code::timed_out, "no reply in time");
    if (result <= 0)
        return lose(error, fault_code::closed, "the server closed the control connection");
    position_ = 0;
    filled_ = static_cast<size_t>(result);
    return true;
}

bool ftp_control::read_reply(const deadline& limit, transfer_error& error) {
    if (!is_open())
        return error.set(fault_code::closed, "the control connection is closed");
    for (;;) {
        if (position_ == filled_ && !receive(limit, error))
            return false;
        switch (reply_.feed(input_[position_++])) {
        case ftp_reply_parser::state::complete:
            return true;
        case ftp_reply_parser::state::malformed:
            return lose(error, fault_code::violation, "a reply that is none");
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
    return lose(error, fault_code::violation, "too many preliminary replies");
}

bool ftp_control::ask(std::string_view verb, std::string_view argument, const deadline& limit,
                      transfer_error& error) {
    return send(verb, argument, limit, error) && read_final_reply(limit, error);
}

int ftp_control::open_data(int port, const deadline& limit, transfer_error& error) const {
    // The host is always the control connection's: an address in a reply could send the client anywhere.
    endpoint peer;
    int size = endpoint::room();
    int data = def_ombrel_invalid_socket;
    if (ombrel_getpeername(socket_.get(), peer.get(), &size) == 0 &&
        ombrel_sockaddr_set_port(peer.get(), port) == 0)
        data = connect_to(*peer.get(), peer.size(), limit);
    if (data != def_ombrel_invalid_socket) {
        ombrel_set_non_block_socket(data, 1);
        return data;
    }
    error.set(limit.passed() ? fault_code::timed_out : socket_fault(), "no data connection");
    return def_ombrel_invalid_socket;
}

} // namespace ombrel::protocol
