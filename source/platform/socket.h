// Sockets. Addresses, families and types are the platform's own; what fails leaves its fault (fault.h).
#pragma once

#include <cstddef>
#include <cstdint>

struct sockaddr;

namespace ombrel::platform {

/// Called under a short lock, so neither may wait for anything.
bool start_sockets();
void stop_sockets();

/// A descriptor that child processes do not inherit, or -1.
int open_socket(int family, int type, int protocol);
void close_socket(int s);

enum class shutdown_side { receive, send, both };
int shutdown_socket(int s, shutdown_side side);

int bind_socket(int s, const sockaddr* address, int size);
int listen_socket(int s, int backlog);
int accept_socket(int s, sockaddr* address, int* size);
int own_address(int s, sockaddr* address, int* size);
int peer_address(int s, sockaddr* address, int* size);

enum class connect_state {
    connected,
    in_progress, ///< it goes on by itself; the socket becomes ready when it has ended
    interrupted, ///< by a signal; it goes on by itself
    failed,
};
connect_state connect_socket(int s, const sockaddr* address, int size);

/// Makes the socket non-blocking and begins to connect it. One that is connected already counts as that, and
/// an interrupted attempt is in progress.
connect_state start_connect(int s, const sockaddr* address, int size);

/// Whether a connection that was begun stands, once the socket has become ready.
bool is_connected(int s);

bool is_blocking(int s);
int set_non_blocking(int s, bool on);

/// Bytes received, 0 at the end, -1 on an error; `address` and `address_size` may be null.
int receive(int s, void* buffer, size_t size, int flags, sockaddr* address, int* address_size);

/// As accept_socket(), but never waits: would_block when nobody is there. It makes a blocking listener
/// non-blocking meanwhile, so at most one thread may be in it; the socket that it gives is blocking.
int accept_at_once(int s, sockaddr* address, int* size);

/// As receive(), but never waits: would_block when nothing is there.
int receive_at_once(int s, void* buffer, size_t size, sockaddr* address, int* address_size);

/// Bytes sent or -1; a peer that went away raises no signal. `address` may be null.
int send(int s, const void* data, size_t size, int flags, const sockaddr* address, int address_size);

/// As send() without flags, but never waits: would_block when there is no room.
int send_at_once(int s, const void* data, size_t size, const sockaddr* address, int address_size);

/// Bytes of a stream that were sent but that the peer has not acknowledged yet; -1 where the host does not
/// tell.
int64_t unacknowledged_bytes(int s);

int get_option(int s, int level, int name, void* value, int* size);
int set_option(int s, int level, int name, const void* value, int size);

enum class socket_option {
    keep_alive,          ///< asks a silent peer whether it is still there
    keep_alive_idle,     ///< seconds of silence before that
    keep_alive_interval, ///< seconds before it is asked again
    pending_error,
    send_buffer,
    receive_buffer,
    reuse_address,
    broadcast,
    ipv4_hops,
    ipv4_multicast_hops,
    ipv6_hops,
    ipv6_multicast_hops,
    ipv4_multicast_loop, ///< whether the host's own sockets get it too; set it on both sides
    ipv6_multicast_loop,
    ipv6_only,
    no_delay,   ///< of streams: small pieces do not wait for an acknowledgement of those before them
    oob_inline, ///< urgent bytes stay in their place among the others
};
int get_option(int s, socket_option option, int& value);
int set_option(int s, socket_option option, int value);

/// Before a listener is bound: lets it have a port on which connections of an earlier one have not quite
/// ended, and lets nobody else have that port beside it. (What reuse_address does differs: on some hosts it
/// lets others take the port.)
int claim_port(int s);

int set_linger(int s, bool on, uint16_t seconds);

/// Never lets datagrams of an IPv4 or IPv6 socket be fragmented, or lets them; -1 where there is no such
/// switch.
int set_path_mtu_discovery(int s, int family, bool on);

/// Makes a socket an end of a pair for wake-ups: single bytes go at once, as two wake-ups in a row must not
/// wait for an acknowledgement, and the two calls below never wait.
void prepare_wakeup_socket(int s);

/// Sends one byte through a wake-up socket, unless it is full. May be called from signal handlers, whose last
/// fault it leaves alone.
void post_wakeup(int s);

/// Takes all bytes out of the other end.
void drain_wakeups(int s);

} // namespace ombrel::platform
