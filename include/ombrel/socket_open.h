/**
 * @file socket_open.h
 * @brief Sockets made ready from names and ports: connected, listening, or bound for datagrams.
 *
 * Hosts are resolved with ombrel_open_resolver(), and its answers are tried in order until one works; every
 * socket that failed on the way is closed. Own addresses are numeric texts. A numeric text may carry brackets
 * and a port of its own ("[::1]:8080"), which replaces the port given. A null or empty own address is the
 * wildcard of the family. `family` is `AF_INET`, `AF_INET6` or 0 for either. Ports are in host order, and
 * time limits are signed milliseconds (negative: no limit, 0: poll once).
 *
 * All functions may be called from any thread; they wait for name servers and peers.
 */
#ifndef OMBREL_SOCKET_OPEN_H
#define OMBREL_SOCKET_OPEN_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Opens a stream socket connected to a host.
 *
 * IPv6 sockets are dual-stack.
 * @param family        the family wanted, or 0
 * @param local_address the own address, or null; a text that is no address of the family means the wildcard
 * @param local_port    the own port, 0 for any; 0 to 65535
 * @param host          a name or numeric address
 * @param port          the host's port, 1 to 65535
 * @param timeout_ms    the limit of each attempt
 * @return the connected descriptor, or -1
 */
OMBREL_API int ombrel_open_connect_socket_ex(int family, const char* local_address, int local_port,
                                             const char* host, int port, int timeout_ms);

/** @brief ombrel_open_connect_socket_ex() with either family and any own address and port. */
OMBREL_API int ombrel_open_connect_socket(const char* host, int port, int timeout_ms);

/**
 * @brief Opens a stream socket that waits for connections, as many as the platform allows.
 *
 * The address may be in use by ended connections, and no other socket may take it. An IPv6 socket takes IPv6
 * connections alone when the family was asked for; otherwise the platform's default decides, which is usually
 * both.
 * @param family  the family wanted, or 0: the one that the address resolves to first
 * @param address the own address; a text that is not numeric fails
 * @param port    the own port, 0 for any; 0 to 65535
 * @return the listening descriptor, or -1
 */
OMBREL_API int ombrel_open_listen_socket_ex(int family, const char* address, int port);

/** @brief ombrel_open_listen_socket_ex() with either family. */
OMBREL_API int ombrel_open_listen_socket(const char* address, int port);

/**
 * @brief Opens a datagram socket bound to an address, and joins a multicast group on every interface.
 *
 * The address may be in use. IPv4 multicast leaves by the own address; IPv6 sockets take IPv6 datagrams
 * alone. Whether the group could be joined is not reported.
 * @param family          the family wanted, or 0
 * @param address         the own address; a text that is not numeric fails
 * @param port            the own port, 0 or -1 for any; -1 to 65535
 * @param multicast_group a numeric multicast address, which decides the family; null for none
 * @return the descriptor; -1 on failure, or when the group is no multicast address or of another family than
 *         asked for
 */
OMBREL_API int ombrel_open_udp_socket_ex(int family, const char* address, int port,
                                         const char* multicast_group);

/** @brief ombrel_open_udp_socket_ex() with either family and no group. */
OMBREL_API int ombrel_open_udp_socket(const char* address, int port);

/**
 * @brief Sends one datagram to every address of a host.
 *
 * A multicast destination is joined on every interface for the time of sending.
 * @param family        the family wanted, or 0
 * @param local_address the own address, or null
 * @param local_port    the own port, 0 or -1 for any; -1 to 65535
 * @param host          a name or numeric address; may be a broadcast or multicast address
 * @param port          the host's port, 1 to 65535
 * @param hops          0 to 255 limits the hops; anything else leaves the platform's default
 * @param data          the datagram
 * @param size          its bytes
 * @param timeout_ms    the limit of each send
 * @return the result of ombrel_sendto() for the last address to which a datagram was sent; -1 when there was
 *         none
 */
OMBREL_API int ombrel_send_udp_packet_ex(int family, const char* local_address, int local_port,
                                         const char* host, int port, int hops, const void* data, size_t size,
                                         int timeout_ms);

/** @brief ombrel_send_udp_packet_ex() with either family, any own address and port, and the default hops. */
OMBREL_API int ombrel_send_udp_packet(const char* host, int port, const void* data, size_t size,
                                      int timeout_ms);

OMBREL_END_C

#endif
