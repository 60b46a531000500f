/**
 * @file network.h
 * @brief Start-up of the socket families, support probes, and the names of protocols, services and the host.
 *
 * All functions may be called from any thread.
 */
#ifndef OMBREL_NETWORK_H
#define OMBREL_NETWORK_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Adds one reference to the network start-up; the first one starts the platform's socket library.
 *
 * Call it once per user before any other socket function and balance it with ombrel_uninit_network().
 * @return 0, or -1 when the platform's library cannot be started in the version needed; no reference is held
 *         then
 */
OMBREL_API int ombrel_init_network(void);

/**
 * @brief Drops one reference; the last one stops the platform's socket library.
 *
 * The count is signed: dropping one reference too many leaves it at -1, and the next start-up only makes up
 * for that.
 * @return 0, or -1 when the count was already below zero (it stays as it is)
 */
OMBREL_API int ombrel_uninit_network(void);

/** @brief Whether the network is started. @return 1 when the reference count is above 0, else 0 */
OMBREL_API int ombrel_is_init_network(void);

/**
 * @brief Whether a kind of socket can be opened: opens one and closes it again.
 * @param family   the platform's address family (`AF_INET`, …)
 * @param type     the platform's socket type (`SOCK_STREAM`, …)
 * @param protocol the protocol's number; 0 lets the platform choose
 * @return 0 if it could be opened, -1 if not
 */
OMBREL_API int ombrel_check_socket_support(int family, int type, int protocol);

/** @brief The same as ombrel_check_socket_support(). */
OMBREL_API int ombrel_check_inet_support(int family, int type, int protocol);

/** @brief Whether IPv4 sockets can be opened; probed once, then remembered. @return 0 supported, -1 not */
OMBREL_API int ombrel_check_ipv4_support(void);

/** @brief Whether IPv6 sockets can be opened; probed once, then remembered. @return 0 supported, -1 not */
OMBREL_API int ombrel_check_ipv6_support(void);

/** @brief Whether local-domain sockets can be opened. @return 0 supported, -1 not */
OMBREL_API int ombrel_check_unix_domain_socket_support(void);

/**
 * @brief The number of a protocol.
 *
 * "tcp", "udp", "icmp", "ipv6-icmp", "ip", "ipv6" and "raw" are built in; other names are asked of the
 * platform's database.
 * @param name the exact, case-sensitive name
 * @return the protocol number; 0 when the name is unknown or null
 */
OMBREL_API int ombrel_get_protocol_by_name(const char* name);

/**
 * @brief The port of a service in the platform's database.
 * @param name          the service's name
 * @param protocol_name the protocol's name; null means "tcp"
 * @return the port in host order; 0 when the service is unknown; -1 when the name is null
 */
OMBREL_API int ombrel_get_service_by_name(const char* name, const char* protocol_name);

/**
 * @brief The host's name as a heap copy, at most 63 bytes long.
 * @param caller the calling function; a static string
 * @param line   its source line
 * @return the text, which the caller frees with ombrel_free(); null on failure
 */
OMBREL_API char* ombrel_get_hostname_alloc_tag(const char* caller, unsigned long line);

/**
 * @brief The host's fully qualified name as a heap copy; this may ask the name servers and take its time.
 * @param caller the calling function; a static string
 * @param line   its source line
 * @return the canonical name, which the caller frees with ombrel_free(); null on failure
 */
OMBREL_API char* ombrel_get_fqdn_alloc_tag(const char* caller, unsigned long line);

/** ombrel_get_hostname_alloc_tag() with the caller's own name and line. */
#define ombrel_get_hostname_alloc() ombrel_get_hostname_alloc_tag(__func__, __LINE__)
/** ombrel_get_fqdn_alloc_tag() with the caller's own name and line. */
#define ombrel_get_fqdn_alloc() ombrel_get_fqdn_alloc_tag(__func__, __LINE__)

OMBREL_END_C

#endif
