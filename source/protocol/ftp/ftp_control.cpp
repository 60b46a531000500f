#include "protocol/ftp/ftp_control.h"

#include <utility>

#include <ombrel/address.h>
#include <ombrel/socket.h>

#include "core/wipe.h"
#include "platform/socket.h"
#include "protocol/patient_resolver.h"
#include "protocol/patient_socket.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// A server may say "wait" a few times before it says more.
constexpr int most_preliminary_replies = 16;
/// NOOPs that a server may leave unanswered while it transfers.
constexpr int most_noops = 64;
constexpr int noop_done = 200, going_away = 421;

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

/// A transfer may last for hours, in which nothing is said here. What is on the way forgets such connections.
void keep_alive(int s) {
    using platform::socket_option;
    constexpr int idle_seconds = 60, interval_seconds = 30;
    platform::set_option(s, socket_option::keep_alive, 1);
    platform::set_option(s, socket_option::keep_alive_idle, idle_seconds);
    platform::set_option(s, socket_option::keep_alive_interval, interval_seconds);
}

bool is_secret(std::string_view verb) {
    return verb == "PASS" || verb == "ACCT";
}

} // namespace

int open_ftp_connection(const sockaddr& address, int size, const deadline& limit) {
    leave_fault({});
    socket_guard made(ombrel_open_socket(address.sa_family, SOCK_STREAM, 0));
    if (!made || ombrel_connect(made.get(), &address, size, limit.left()) != 0)
        return def_ombrel_invalid_socket;
    ombrel_set_non_block_socket(made.get(), 1);
    return made.release();
}

bool ftp_control::open(const char* host, int port, int limit_ms, transfer_error& error) {
    close();
    position_ = filled_ = 0;
    noops_ = waits_ = 0;
    has_end_ = false;
    reply_ = {};
    text_.clear();
    const patient_answers answers(host, port, deadline(limit_ms));
    if (answers.first() == nullptr)
        return answers.refuse(error);
    for (const ombrel_resolver_t* answer = answers.first(); answer != nullptr && !is_open();
         answer = answer->m_next)
        socket_.reset(open_ftp_connection(*answer->m_address, answer->m_address_size, deadline(limit_ms)));
    if (!is_open())
        return error.set(connect_fault(), "no connection to the server");
    keep_alive(socket_.get());
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

bool ftp_control::find_peer(endpoint& peer) const {
    int size = endpoint::room();
    return ombrel_getpeername(socket_.get(), peer.get(), &size) == 0;
}

bool ftp_control::find_own(endpoint& own) const {
    int size = endpoint::room();
    return ombrel_getsockname(socket_.get(), own.get(), &size) == 0;
}

/// What comes unasked is a farewell, or shows that command and reply no longer belong together.
bool ftp_control::is_quiet(transfer_error& error) {
    if (position_ == filled_) {
        const int result = ombrel_recv_now(socket_.get(), input_, sizeof input_);
        if (result == def_ombrel_socket_would_block)
            return true;
        if (!receive(result, error))
            return false;
    }
    const step reached = parse(error);
    if (reached == step::lost)
        return false;
    if (reached != step::reply || code() != going_away)
        return lose(error, fault_code::violation, "a reply that nobody asked for");
    close();
    return refuse(error);
}

bool ftp_control::write(std::string_view verb, std::string_view argument, const deadline& limit,
                        transfer_error& error) {
    char command[most_ftp_command];
    const wipe_guard guard(command); // it may hold a password
    const size_t size = write_ftp_command(command, verb, argument);
    if (size == 0)
        return error.set(fault_code::invalid, "a name that no command can carry");
    if (log_.show != nullptr && !is_secret(verb))
        log_.show(false, {command, size - 2}, log_.to);
    else if (log_.show != nullptr)
        log_.show(false, verb == "PASS" ? "PASS ****" : "ACCT ****", log_.to);
    waits_ = 0;
    for (size_t sent = 0; sent < size;) {
        const int result = send_until(socket_.get(), command + sent, size - sent, limit);
        if (result <= 0)
            return lose(error, result == 0 ? fault_code::timed_out : fault_code::closed,
                        "the command could not be sent");
        sent += static_cast<size_t>(result);
    }
    return true;
}

bool ftp_control::send(std::string_view verb, std::string_view argument, const deadline& limit,
                       transfer_error& error) {
    if (!is_open())
        return error.set(fault_code::closed, "the control connection is closed");
    return is_quiet(error) && write(verb, argument, limit, error);
}

/// @param result of receiving into the input
bool ftp_control::receive(int result, transfer_error& error) {
    if (result == def_ombrel_recv_timeout)
        return lose(error, fault_code::timed_out, "no reply in time");
    if (result <= 0)
        return lose(error, fault_code::closed, "the server closed the control connection");
    position_ = 0;
    filled_ = static_cast<size_t>(result);
    return true;
}

/// The code stands before the first line and the last one.
void ftp_control::note_line(bool is_last) {
    const std::string_view line = reply_.line();
    if (is_first_line_)
        text_.clear();
    text_.add(is_first_line_ || is_last ? slice(line, 4) : line);
    is_first_line_ = is_last;
    if (log_.show != nullptr)
        log_.show(true, line, log_.to);
}

/// Takes bytes of the input up to the end of a reply.
ftp_control::step ftp_control::parse(transfer_error& error) {
    while (position_ < filled_) {
        const char byte = input_[position_++];
        const ftp_reply_parser::state state = reply_.feed(byte);
        if (state == ftp_reply_parser::state::malformed)
            return lose(error, fault_code::violation, "a reply that is none"), step::lost;
        const bool is_last = state == ftp_reply_parser::state::complete;
        if (byte == '\n')
            note_line(is_last);
        if (is_last)
            return step::reply;
    }
    return step::more;
}

bool ftp_control::read_reply(const deadline& limit, transfer_error& error) {
    if (!is_open())
        return error.set(fault_code::closed, "the control connection is closed");
    for (;;) {
        const step reached = parse(error);
        if (reached != step::more)
            return reached == step::reply;
        if (!receive(receive_until(socket_.get(), input_, sizeof input_, limit), error))
            return false;
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

bool ftp_control::note_reply_in_transfer(transfer_error& error) {
    if (kind() == ftp_reply_kind::preliminary)
        return ++waits_ < most_preliminary_replies ||
               lose(error, fault_code::violation, "too many preliminary replies");
    // A server may answer a NOOP at once or when the transfer has ended.
    if (noops_ > 0 && code() == noop_done)
        noops_--;
    else
        has_end_ = true;
    return true;
}

bool ftp_control::take_what_came(transfer_error& error) {
    while (!has_end_) {
        const step reached = parse(error);
        if (reached == step::lost || (reached == step::reply && !note_reply_in_transfer(error)))
            return false;
        if (reached == step::reply)
            continue;
        const int result = ombrel_recv_now(socket_.get(), input_, sizeof input_);
        if (result == def_ombrel_socket_would_block)
            return true;
        if (!receive(result, error))
            return false;
    }
    return true;
}

bool ftp_control::read_end(const deadline& limit, transfer_error& error) {
    while (!has_end_) {
        if (!read_reply(limit, error) || !note_reply_in_transfer(error))
            return false;
    }
    has_end_ = false;
    return true;
}

bool ftp_control::send_noop(transfer_error& error) {
    constexpr std::string_view noop = "NOOP\r\n";
    if (noops_ == most_noops)
        return true;
    const int result = ombrel_send_now(socket_.get(), noop.data(), noop.size());
    if (result == def_ombrel_socket_would_block)
        return true;
    if (result != static_cast<int>(noop.size()))
        return lose(error, fault_code::closed, "the command could not be sent");
    noops_++;
    if (log_.show != nullptr)
        log_.show(false, "NOOP", log_.to);
    return true;
}

bool ftp_control::read_noop_replies(const deadline& limit, transfer_error& error) {
    for (int count = std::exchange(noops_, 0); count > 0; count--) {
        if (!read_final_reply(limit, error))
            return false;
    }
    return true;
}

/// Servers answer once or twice: for the transfer, and for the command where they still hear it. So a NOOP
/// follows, whose answer is known by its code and is the last.
bool ftp_control::send_abort(const deadline& limit, transfer_error& error) {
    if (!write("ABOR", "", limit, error) || !read_end(limit, error) || !write("NOOP", "", limit, error))
        return false;
    const int expected = std::exchange(noops_, 0) + 1;
    for (int replies = 0, done = 0; done < expected && replies < expected + 1; replies++) {
        if (!read_final_reply(limit, error))
            return false;
        done += code() == noop_done;
    }
    return true;
}

} // namespace ombrel::protocol
