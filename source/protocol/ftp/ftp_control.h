// The control connection of FTP: one command at a time, and its replies within a time limit.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/deadline.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "protocol/ftp/ftp_dialogue.h"
#include "protocol/ftp/ftp_reply.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// A connected socket that never waits by itself; -1, with the fault left, when there is none.
int open_ftp_connection(const sockaddr& address, int size, const deadline& limit);

/// After a failure of the connection itself nothing more is sent or read.
class ftp_control {
public:
    /// Connects and reads the greeting.
    bool open(const char* host, int port, int limit_ms, transfer_error& error);
    void close();
    bool is_open() const { return static_cast<bool>(socket_); }
    void set_log(const ftp_log& log) { log_ = log; }

    /// Sends a command, unless the server has said something before it was asked. False, with the error set,
    /// for an argument that cannot be sent and on a lost connection.
    bool send(std::string_view verb, std::string_view argument, const deadline& limit, transfer_error& error);

    /// Reads the next reply, whatever it says.
    bool read_reply(const deadline& limit, transfer_error& error);

    /// send(), then the first reply that is not preliminary.
    bool ask(std::string_view verb, std::string_view argument, const deadline& limit, transfer_error& error);

    /// Reads replies up to the first that is not preliminary.
    bool read_final_reply(const deadline& limit, transfer_error& error);

    /// While a transfer lasts: takes what has come, without waiting, up to the reply that ends it.
    bool take_what_came(transfer_error& error);
    /// That reply has come and is the last one.
    bool has_end() const { return has_end_; }
    /// Bytes have come that nobody has looked at.
    bool has_input() const { return position_ < filled_; }
    /// Reads up to it, if it has not come yet.
    bool read_end(const deadline& limit, transfer_error& error);

    /// While a transfer lasts: sends NOOP, if there is room for it at once.
    bool send_noop(transfer_error& error);
    /// Reads the replies to these that are still missing when the transfer has ended.
    bool read_noop_replies(const deadline& limit, transfer_error& error);

    /// Breaks the transfer off, of whose end the server has still to tell.
    bool send_abort(const deadline& limit, transfer_error& error);

    int code() const { return reply_.code(); }
    ftp_reply_kind kind() const { return reply_.kind(); }
    /// The last line of the reply.
    std::string_view text() const { return reply_.text(); }
    /// All of its lines.
    const char* whole_text() const { return text_.get(); }

    /// Makes the last reply the error: it says no, or something that does not belong here.
    bool refuse(transfer_error& error) const;

    int socket() const { return socket_.get(); }
    /// The server's address, or the own one on this connection.
    bool find_peer(endpoint& peer) const;
    bool find_own(endpoint& own) const;

    /// Ends the connection. @return false
    bool lose(transfer_error& error, fault_code fault, const char* text);

private:
    enum class step { more, reply, lost };

    bool write(std::string_view verb, std::string_view argument, const deadline& limit,
               transfer_error& error);
    bool receive(int result, transfer_error& error);
    step parse(transfer_error& error);
    void note_line(bool is_last);
    bool note_reply_in_transfer(transfer_error& error);
    bool is_quiet(transfer_error& error);

    socket_guard socket_;
    size_t position_ = 0, filled_ = 0;
    bool has_end_ = false;
    bool is_first_line_ = true;
    int noops_ = 0; ///< that were sent during a transfer and are not answered yet
    int waits_ = 0; ///< preliminary replies since the last command
    ftp_log log_;
    ftp_reply_parser reply_;
    ftp_reply_text text_;
    char input_[512];
};

} // namespace ombrel::protocol
