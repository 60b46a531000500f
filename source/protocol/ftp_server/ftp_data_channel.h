// The connection on which a session's data go, made by the client or to it.
#pragma once

#include <cstdint>

#include <ombrel/socket.h>

#include "network/endpoint.h"

namespace ombrel::protocol {

/// Ports for passive connections, taken in turn.
struct passive_ports {
    int first, last; ///< 0 for any
    int next;
};

/// Part of a session's record, all zero but opened by begin().
class ftp_data_channel {
public:
    void begin() { listener_ = socket_ = def_ombrel_invalid_socket; }

    /// Listens at an address of this host for a client of another. False, with the fault left, when that
    /// fails.
    bool await(const endpoint& own, const endpoint& client, passive_ports& ports);
    /// Connects, from an address of this host, once that is asked for.
    void aim(const endpoint& own, const endpoint& client);
    void close();

    bool is_prepared() const { return kind_ != kind::none; }
    bool is_connected() const { return is_connected_; }
    /// Where a client can connect to.
    int port() const { return own_.port(); }
    int socket() const { return socket_; }

    /// What is waited for until it is connected: def_ombrel_event_* of a descriptor, or 0.
    uint32_t wanted(int& descriptor) const;

    enum class step { waits, connected, failed };
    /// Begins or goes on to connect.
    step advance();
    /// Once it is connected and its descriptor is watched no longer: lets nobody else in.
    void stop_listening();

private:
    enum class kind : uint8_t { none, passive, active };

    bool listen(int port);
    bool listen_at_one_of(passive_ports& ports);
    step accept();
    bool accept_one();
    step connect();

    kind kind_;
    bool is_connected_, is_connecting_;
    int listener_, socket_;
    endpoint own_, client_;
};

} // namespace ombrel::protocol
