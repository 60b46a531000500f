// Socket calls that never wait, for event loops.
#pragma once

#include <cstddef>

struct sockaddr;

namespace ombrel::platform {

enum class connect_state { connected, in_progress, failed };

/// Makes the socket non-blocking and begins to connect it.
connect_state start_connect(int socket, const sockaddr* address, int size);

/// Whether a connection that was begun stands, once the socket has become ready.
bool is_connected(int socket);

inline constexpr int transfer_failed = -1, transfer_would_block = -2;

/// Bytes received (0 at the end of the stream), or one of the codes above. Other descriptors are read.
int receive_now(int socket, void* buffer, size_t size);

/// Bytes sent, or one of the codes above; a peer that is gone raises no signal.
int send_now(int socket, const void* data, size_t size);

/// Lets single bytes through at once: two wake-ups in a row must not wait for an acknowledgement.
void prepare_wakeup_socket(int socket);

/// Sends one byte through a wake-up socket unless it is full. May be called from signal handlers.
void post_wakeup(int socket);

/// Takes all bytes out of the other end.
void drain_wakeups(int socket);

} // namespace ombrel::platform
