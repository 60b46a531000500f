// The control connection of FTP: one command at a time, and its replies within a time limit.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/deadline.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "protocol/ftp/ftp_reply.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// After a failure of the connection itself nothing more is sent or read.
class ftp_control {
public:
    /// Connects and reads the greeting.
    bool open(const char* host, int port, int limit_ms, transfer_error& error);
    void close();
    bool is_open() const { return static_cast<bool>(socket_); }

    /// Sends a command. False, with the error set, for an argument that cannot be sent and on a lost
    /// connection.
    bool send(std::string_view verb, std::string_view argument, const deadline& limit, transfer_error& error);

    /// Reads the next reply, whatever it says.
    bool read_reply(const deadline& limit, transfer_error& error);

    /// send(), then the first reply that is not preliminary.
    bool ask(std::string_view verb, std::string_view argument, const deadline& limit, transfer_error& error);

    /// Reads replies up to the first that is not preliminary.
    bool read_final_reply(const deadline& limit, transfer_error& error);

    int code() const { return reply_.code(); }
    ftp_reply_kind kind() const { return reply_.kind(); }
    std::string_view text() const { return reply_.text(); }

    /// Makes the last reply the error: it says no, or something that does not belong here.
    bool refuse(transfer_error& error) const;

    /// A connection to another port of the same server; -1, with the error set, on failure.
    int open_data(int port, const deadline& limit, transfer_error& error) const;

private:
    bool receive(const deadline& limit, transfer_error& error);
    bool lose(transfer_error& error, fault_code fault, const char* text);

    socket_guard socket_;
    size_t position_ = 0, filled_ = 0;
    ftp_reply_parser reply_;
    char input_[512];
};

} // namespace ombrel::protocol
