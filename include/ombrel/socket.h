/**
 * @file socket.h
 * @brief Sockets: the platform's calls, their options, and transfer with time limits.
 *
 * A socket is a plain descriptor of any value, -1 being none; every function given -1 returns -1 at once.
 * Families, types, levels, option numbers and flags are the platform's own, and so are its error numbers in
 * `errno`. Address sizes are in bytes. Descriptors are not inherited by child processes, and writing to a
 * closed connection raises no signal.
 *
 * Time limits are signed milliseconds: negative waits without limit, 0 polls once. A signal that interrupts a
 * wait ends it with -1 and EINTR. A limit holds for blocking sockets too, whoever else uses them: when
 * another thread or process took what a wait found, the function waits again for the rest of the time.
 *
 * The functions ending in `_now` make one attempt that never waits, on blocking sockets too. They are for
 * event loops: def_ombrel_socket_would_block says "wait until the socket is ready and try again", -1 that it
 * has failed.
 *
 * All functions may be called from any thread.
 */
#ifndef OMBREL_SOCKET_H
#define OMBREL_SOCKET_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/address.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** No socket. */
#define def_ombrel_invalid_socket (-1)

/** The result of a receiving function whose time ran out. */
#define def_ombrel_recv_timeout (-2)
/** The result of a sending function whose time ran out. */
#define def_ombrel_send_timeout 0
/** The result of a function ending in `_now` that would have to wait. */
#define def_ombrel_socket_would_block (-2)

/** Sides of a connection for ombrel_shutdown_socket(). */
#define def_ombrel_shutdown_receive 0 /**< no more receiving */
#define def_ombrel_shutdown_send 1    /**< no more sending: the peer reads to the end */
#define def_ombrel_shutdown_both 2    /**< no more of either */

/**
 * @brief Opens a socket.
 * @param family   the platform's address family (`AF_INET`, …)
 * @param type     the platform's socket type (`SOCK_STREAM`, …)
 * @param protocol the protocol's number; 0 lets the platform choose
 * @return the descriptor, or -1
 */
OMBREL_API int ombrel_open_socket(int family, int type, int protocol);

/**
 * @brief Closes a socket.
 * @return always -1, so that the result can be assigned back to the variable that held the descriptor
 */
OMBREL_API int ombrel_close_socket(int s);

/**
 * @brief Ends one side of a connection, or both.
 * @param s the socket
 * @param how one of the sides above; any other value is taken as 0
 * @return 0 or -1
 */
OMBREL_API int ombrel_shutdown_socket(int s, int how);

/**
 * @brief Gives the socket its own address.
 * @param s the socket
 * @param addr the address; null fails
 * @param size its size in bytes, normalised with ombrel_sockaddr_size()
 * @return 0 or -1
 */
OMBREL_API int ombrel_bind(int s, const struct sockaddr* addr, int size);

/**
 * @brief Waits for connections from now on.
 * @param s the socket
 * @param backlog connections that may wait
 * @return 0 or -1
 */
OMBREL_API int ombrel_listen(int s, int backlog);

/**
 * @brief Takes a waiting connection.
 *
 * A limited accept keeps to its limit even if another thread takes the connection first. For that a blocking
 * socket is made non-blocking while the connection is taken; a call of the platform's own accept that begins
 * in this moment may give EAGAIN. Processes that share a blocking socket may meet in this moment as well, and
 * one then waits beyond its limit or does not wait: make such a socket non-blocking.
 * @param s the socket
 * @param addr        receives the peer's address; may be null
 * @param size_in_out holds the room in `addr`, receives the address's size; null when `addr` is null
 * @param timeout_ms  0 or above: waits so long for a connection first; negative: leaves waiting to the
 *                    platform's call
 * @return the connection's descriptor; -1 on an error or when the time ran out
 */
OMBREL_API int ombrel_accept(int s, struct sockaddr* addr, int* size_in_out, int timeout_ms);

/**
 * @brief Takes a connection that waits already; it never waits for one.
 *
 * What ombrel_accept() says of a limited accept of a blocking socket holds here, too.
 * @param s the socket
 * @param addr        receives the peer's address; may be null
 * @param size_in_out holds the room in `addr`, receives the address's size; null when `addr` is null
 * @return the connection's descriptor; def_ombrel_socket_would_block when no connection waits; -1 on an
 * error, such as no descriptor being left or the connection being gone again
 */
OMBREL_API int ombrel_accept_now(int s, struct sockaddr* addr, int* size_in_out);

/**
 * @brief Reads the socket's own address.
 * @param s the socket
 * @param addr        receives the address
 * @param size_in_out holds the room in `addr`, receives the address's size
 * @return 0 or -1
 */
OMBREL_API int ombrel_getsockname(int s, struct sockaddr* addr, int* size_in_out);

/** @brief Reads the peer's address, as ombrel_getsockname() reads its own. @return 0; -1 without a peer */
OMBREL_API int ombrel_getpeername(int s, struct sockaddr* addr, int* size_in_out);

/**
 * @brief Reads an option.
 *
 * The pending error (SO_ERROR) comes as a number of `errno` on every platform.
 * @param s the socket
 * @param level       the platform's option level
 * @param name        the platform's option number
 * @param value       receives the value
 * @param size_in_out room in `value`, then the value's size
 * @return 0 or -1
 */
OMBREL_API int ombrel_getsockopt(int s, int level, int name, void* value, int* size_in_out);

/**
 * @brief Sets an option.
 * @param s the socket
 * @param level the platform's option level
 * @param name  the platform's option number
 * @param value the value
 * @param size  its bytes
 * @return 0 or -1
 */
OMBREL_API int ombrel_setsockopt(int s, int level, int name, const void* value, int size);

/**
 * @brief The platform's receive call.
 * @param s the socket
 * @param buf   receives at most `size` bytes
 * @param size  bytes wanted
 * @param flags the platform's flags
 * @return bytes received; 0 when the peer closed; -1 on an error
 */
OMBREL_API int ombrel_sys_recv(int s, void* buf, size_t size, int flags);

/**
 * @brief The platform's receive call with the sender's address.
 * @param s the socket
 * @param buf receives the bytes
 * @param size its room in bytes
 * @param flags the platform's flags
 * @param from      receives the sender's address; may be null
 * @param from_size room in `from`, then the address's size; null when `from` is null
 * @return as ombrel_sys_recv()
 */
OMBREL_API int ombrel_sys_recvfrom(int s, void* buf, size_t size, int flags, struct sockaddr* from,
                                   int* from_size);

/**
 * @brief The platform's send call, without its signal.
 * @param s the socket
 * @param buf   the bytes to send
 * @param size  how many
 * @param flags the platform's flags
 * @return bytes sent, which may be fewer, or -1
 */
OMBREL_API int ombrel_sys_send(int s, const void* buf, size_t size, int flags);

/**
 * @brief The platform's send call with the receiver's address, without its signal.
 * @param s the socket
 * @param buf the bytes
 * @param size their number
 * @param flags the platform's flags
 * @param to      the receiver; may be null for a connected socket
 * @param to_size its size in bytes, normalised with ombrel_sockaddr_size()
 * @return bytes sent, or -1
 */
OMBREL_API int ombrel_sys_sendto(int s, const void* buf, size_t size, int flags, const struct sockaddr* to,
                                 int to_size);

/** @brief Asks for a send buffer of a number of bytes. @return 0 or -1 */
OMBREL_API int ombrel_set_tx_socket_buffer_size(int s, int bytes);

/** @brief Asks for a receive buffer of a number of bytes. @return 0 or -1 */
OMBREL_API int ombrel_set_rx_socket_buffer_size(int s, int bytes);

/**
 * @brief Makes calls on the socket return at once (`on` nonzero) or wait (0).
 *
 * Windows does not tell whether a socket waits. There the library goes by what this function set last, and
 * takes a socket that was made non-blocking by other means for one that waits.
 * @return 0 or -1
 */
OMBREL_API int ombrel_set_non_block_socket(int s, int on);

/**
 * @brief Lets the socket bind to an address in use (`on` nonzero) or not (0).
 *
 * On Windows that lets it take a port from a listener, and is not needed for a port of ended connections:
 * listeners that the library opens (socket_open.h) have their ports to themselves there.
 * @return 0 or -1
 */
OMBREL_API int ombrel_set_reuse_address_socket(int s, int on);

/** @brief Lets the socket send to broadcast addresses (`on` nonzero) or not (0). @return 0 or -1 */
OMBREL_API int ombrel_set_broadcast_socket(int s, int on);

/**
 * @brief Makes closing wait for unsent data.
 * @param s the socket
 * @param on      nonzero: wait; 0: do not linger, `seconds` is ignored
 * @param seconds the longest wait; its low 16 bits count. 0 with `on` drops unsent data
 * @return 0 or -1
 */
OMBREL_API int ombrel_set_linger_socket(int s, int on, int seconds);

/**
 * @brief Switches path-MTU discovery: on, datagrams are never fragmented; off, they may be.
 * @return 0 or -1; -1 where the platform has no such switch
 */
OMBREL_API int ombrel_set_pmtud_socket(int s, int on);

/**
 * @brief Sets or reads how many hops the socket's packets may take.
 * @param s the socket
 * @param hops      0 to 255 sets the limit; -1 reads it
 * @param multicast nonzero: the limit of multicast packets; 0: that of unicast packets
 * @return reading: the limit, 0 when it cannot be read; setting: 0 or -1; -1 for hops out of range and for
 *         sockets that are neither IPv4 nor IPv6
 */
OMBREL_API int ombrel_hops_socket(int s, int hops, int multicast);

/**
 * @brief Receives what is there, waiting for the first byte.
 * @param s the socket
 * @param buf        receives at most `size` bytes
 * @param size       bytes wanted
 * @param timeout_ms milliseconds to wait at most
 * @return bytes received; 0 when the peer closed; -1 on an error; def_ombrel_recv_timeout (-2, where sending
 *         gives 0) when the time ran out
 */
OMBREL_API int ombrel_recv(int s, void* buf, size_t size, int timeout_ms);

/**
 * @brief ombrel_recv() with the sender's address.
 * @param s the socket
 * @param buf receives the bytes
 * @param size its room in bytes
 * @param from      receives the sender's address; may be null
 * @param from_size room in `from`, then the address's size; null when `from` is null
 * @param timeout_ms milliseconds to wait at most; negative for no limit, 0 looks once
 * @return as ombrel_recv()
 */
OMBREL_API int ombrel_recvfrom(int s, void* buf, size_t size, struct sockaddr* from, int* from_size,
                               int timeout_ms);

/**
 * @brief Sends all of the data, or what the socket takes of it within the time limit.
 *
 * A stream takes long data in pieces, as the peer reads; a datagram is sent whole or not at all. With a limit
 * of 0 there is one attempt.
 * @param s the socket
 * @param buf        the bytes to send
 * @param size       how many
 * @param timeout_ms milliseconds to wait at most
 * @return bytes sent, fewer than asked when the time ran out or an error came in between; -1 on an error;
 *         def_ombrel_send_timeout (0, where receiving gives -2) when the time ran out before the first byte
 */
OMBREL_API int ombrel_send(int s, const void* buf, size_t size, int timeout_ms);

/**
 * @brief ombrel_send() to an address.
 * @param s the socket
 * @param buf the bytes
 * @param size their number
 * @param to      the receiver; may be null for a connected socket
 * @param to_size its size in bytes, normalised with ombrel_sockaddr_size()
 * @param timeout_ms milliseconds to wait at most; negative for no limit, 0 looks once
 * @return as ombrel_send()
 */
OMBREL_API int ombrel_sendto(int s, const void* buf, size_t size, const struct sockaddr* to, int to_size,
                             int timeout_ms);

/**
 * @brief Receives what is there and never waits.
 * @param s the socket
 * @param buf  receives at most `size` bytes
 * @param size bytes wanted, 1 or more: no bytes would not tell whether the peer closed
 * @return bytes received; 0 when the peer closed, and for an empty datagram; def_ombrel_socket_would_block
 *         when nothing has come; -1 on an error
 */
OMBREL_API int ombrel_recv_now(int s, void* buf, size_t size);

/**
 * @brief ombrel_recv_now() with the sender's address.
 * @param s the socket
 * @param buf receives the bytes
 * @param size its room in bytes, 1 or more
 * @param from      receives the sender's address; may be null
 * @param from_size room in `from`, then the address's size; null when `from` is null
 * @return as ombrel_recv_now()
 */
OMBREL_API int ombrel_recvfrom_now(int s, void* buf, size_t size, struct sockaddr* from, int* from_size);

/**
 * @brief Sends what the socket takes at once and never waits.
 *
 * A stream may take less than all of it, whatever comes after; a datagram is sent whole or not at all.
 * @param s the socket
 * @param buf  the bytes to send
 * @param size how many
 * @return bytes sent; def_ombrel_socket_would_block when there is room for none; -1 on an error
 */
OMBREL_API int ombrel_send_now(int s, const void* buf, size_t size);

/**
 * @brief ombrel_send_now() to an address.
 * @param s the socket
 * @param buf the bytes
 * @param size their number
 * @param to      the receiver; may be null for a connected socket
 * @param to_size its size in bytes, normalised with ombrel_sockaddr_size()
 * @return as ombrel_send_now()
 */
OMBREL_API int ombrel_sendto_now(int s, const void* buf, size_t size, const struct sockaddr* to, int to_size);

/**
 * @brief Receives until the buffer is full.
 *
 * A time-out is no end: its code (-2) is added to the count like a length and the loop goes on, so the next
 * bytes land two places back (never before the buffer's start), and with a peer that stays silent the call
 * does not return. Use a negative limit where the peer may be slow.
 * @param s the socket
 * @param buf        receives at most `size` bytes
 * @param size       bytes wanted; more than INT_MAX count as INT_MAX
 * @param timeout_ms the limit of each single receive
 * @return `size` when full; the count so far, which time-outs may have made negative, when the peer closed;
 * -1 on an error
 */
OMBREL_API int ombrel_recv_fill(int s, void* buf, size_t size, int timeout_ms);

/** @brief ombrel_recv_fill() with ombrel_recvfrom(); the address is that of the last receive. */
OMBREL_API int ombrel_recvfrom_fill(int s, void* buf, size_t size, struct sockaddr* from, int* from_size,
                                    int timeout_ms);

/**
 * @brief Sends a formatted text, without its terminating zero.
 * @param s the socket
 * @param timeout_ms milliseconds to wait at most; negative for no limit, 0 looks once
 * @param format a format of ombrel_vsnprintf()
 * @return as ombrel_send(); -1 when the text cannot be formatted
 */
OMBREL_API int ombrel_send_message(int s, int timeout_ms, const char* format, ...) OMBREL_PRINTF_LIKE(3, 4);

/** @brief ombrel_send_message() to an address. */
OMBREL_API int ombrel_sendto_message(int s, const struct sockaddr* to, int to_size, int timeout_ms,
                                     const char* format, ...) OMBREL_PRINTF_LIKE(5, 6);

/**
 * @brief Connects within a time limit.
 *
 * With a limit of 0 or above the socket is made non-blocking for the attempt and is blocking afterwards,
 * whatever it was before.
 * @param s the socket
 * @param addr       the peer's address
 * @param size       its size in bytes, normalised with ombrel_sockaddr_size()
 * @param timeout_ms milliseconds to wait at most; 0 succeeds only when the connection stands at once
 * @return 0; -1 on an error, an interruption or when the time ran out
 */
OMBREL_API int ombrel_connect(int s, const struct sockaddr* addr, int size, int timeout_ms);

/**
 * @brief Makes two connected sockets over the loop-back address.
 * @param family   `AF_INET` or `AF_INET6`
 * @param type     a type that connects, such as `SOCK_STREAM`
 * @param protocol the protocol's number, or 0
 * @param pair_out receives the accepting side and the connecting side; both -1 on failure
 * @return 0 or -1
 */
OMBREL_API int ombrel_socket_pair(int family, int type, int protocol, int pair_out[2]);

/**
 * @brief A stream pair of ombrel_socket_pair(), over IPv4 if possible, else over IPv6.
 *
 * When neither works the library's assertion is reported.
 * @param pair_out receives both sockets; both -1 on failure
 * @return 0 or -1
 */
OMBREL_API int ombrel_socket_pipe(int pair_out[2]);

OMBREL_END_C

#endif
