/**
 * @file address.h
 * @brief Socket addresses: their size, port, scope and text forms, the kinds of IPv6 addresses, the Internet
 * checksum.
 *
 * Two families are known: the platform's AF_INET and AF_INET6. Ports are plain integers from 0 to 65535 in
 * the machine's own order; inside a socket address they stand in network order. Raw addresses are 4 or 16
 * bytes in network order. No function here needs the network started, keeps state or prints, and any thread
 * may call them.
 */
#ifndef OMBREL_ADDRESS_H
#define OMBREL_ADDRESS_H

#include <stddef.h>
#include <stdint.h>

#if !defined(_WIN32)
#include <sys/socket.h>
#endif

#include <ombrel/export.h>

OMBREL_BEGIN_C

/* Windows' own header of sockets is too large to come along unasked: <ombrel/host_socket.h> brings it. */
struct sockaddr;
struct in_addr;
struct in6_addr;

/** Scope classes: how far an address reaches. IPv6 multicast addresses carry the value themselves. */
#define def_ombrel_scope_none 0               /**< the unspecified address */
#define def_ombrel_scope_interface_local 1    /**< this machine: loop-back, node-local multicast */
#define def_ombrel_scope_link_local 2         /**< the link */
#define def_ombrel_scope_site_local 5         /**< the site: private IPv4 networks too */
#define def_ombrel_scope_organization_local 8 /**< the organisation; multicast only */
#define def_ombrel_scope_global 14            /**< everywhere else */

/**
 * @brief The family of a socket address.
 * @param addr the address, or null
 * @return AF_INET or AF_INET6; 0 for null and for every other family
 */
OMBREL_API int ombrel_sockaddr_domain(const struct sockaddr* addr);

/**
 * @brief The size to hand to the platform along with a socket address.
 * @param addr the address, or null
 * @param size what the caller believes the size to be, in bytes
 * @return for a known family `size` when it lies between 1 and the family's record size, else that record
 * size; `size` itself for other families; 0 for null
 */
OMBREL_API int ombrel_sockaddr_size(const struct sockaddr* addr, int size);

/**
 * @brief Writes the port of a socket address.
 * @param addr the address; one of an unknown family is left as it is
 * @param port 0 to 65535
 * @return 0; -1 for a port out of range or a null address
 */
OMBREL_API int ombrel_sockaddr_set_port(struct sockaddr* addr, int port);

/**
 * @brief Compares the addresses proper; ports and scopes do not count.
 * @param a a socket address, or null
 * @param b another, or null
 * @return 0 when both are null or both are of one known family with equal addresses, else -1
 */
OMBREL_API int ombrel_compare_sockaddr_address(const struct sockaddr* a, const struct sockaddr* b);

/**
 * @brief The scope class of an address.
 *
 * IPv4: 127.0.0.0/8 is interface-local; 169.254.0.0/16 and 224.0.0.0/24 link-local; 10.0.0.0/8,
 * 172.16.0.0/12, 192.168.0.0/16 and 239.255.0.0/16 site-local; 239.192.0.0/14 organisation-local; 0.0.0.0 has
 * none. IPv6: multicast addresses have the scope they carry, ::1 is interface-local, fe80::/10 link-local,
 * fec0::/10 site-local, :: has none; addresses that hold an IPv4 address have its scope. All others are
 * global.
 * @param addr the address
 * @return one of the scope classes, or 0 to 15 as carried by an IPv6 multicast address; -1 for null and
 * unknown families
 */
OMBREL_API int ombrel_sockaddr_scope(const struct sockaddr* addr);

/**
 * @brief Clears every bit of an address after a prefix, in place. Port and scope id stay.
 * @param addr   the address
 * @param prefix bits to keep: 0 to 32 for IPv4, 0 to 128 for IPv6
 * @return 0; -1 for a prefix out of range, null and unknown families, with nothing written
 */
OMBREL_API int ombrel_prefix_sockaddr(struct sockaddr* addr, int prefix);

/**
 * @brief Whether an address is a multicast one: 224.0.0.0/4 or ff00::/8.
 * @return 1 or 0; 0 for null and unknown families
 */
OMBREL_API int ombrel_is_multicast(const struct sockaddr* addr);

/** @brief Whether a raw IPv4 address lies in 224.0.0.0/4. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_inet_is_multicast(const struct in_addr* in4);

/** @brief Whether a raw IPv6 address lies in ff00::/8. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_inet6_is_multicast(const struct in6_addr* in6);

/**
 * @brief Compares two IPv6 addresses byte by byte.
 * @param a 16 bytes; null comes before every address
 * @param b 16 bytes, or null likewise
 * @return 0 when they are equal, -1 when `a` comes first, 1 when `b` does
 */
OMBREL_API int ombrel_in6addr_compare(const struct in6_addr* a, const struct in6_addr* b);

/**
 * @brief Copies an IPv6 address.
 * @param to   receives 16 bytes
 * @param from 16 bytes; may be `to`
 * @return 0, or -1 when either is null
 */
OMBREL_API int ombrel_in6addr_copy(struct in6_addr* to, const struct in6_addr* from);

/** @brief Whether it is ::. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_unspecified(const struct in6_addr* a);
/** @brief Whether it is ::1. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_loopback(const struct in6_addr* a);
/** @brief Whether it is unicast of the link, fe80::/10. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_link_local(const struct in6_addr* a);
/** @brief Whether it is unicast of the site, fec0::/10. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_site_local(const struct in6_addr* a);
/** @brief Whether it is multicast, ff00::/8. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast(const struct in6_addr* a);
/** @brief Whether it is an IPv4 address after 80 zero bits and 16 one bits. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_v4_mapped(const struct in6_addr* a);
/** @brief Whether it lies in ::/96 without being :: or ::1. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_v4_compatible(const struct in6_addr* a);

/**
 * @brief The scope field of a multicast address.
 * @param a 16 bytes; whether it is a multicast address is not looked at
 * @return the low 4 bits of the second byte; 0 for null
 */
OMBREL_API int ombrel_in6addr_multicast_scope(const struct in6_addr* a);

/** @brief Whether it is multicast of scope 1. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_node_local(const struct in6_addr* a);
/** @brief Whether it is multicast of scope 1: the newer name of the same scope. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_interface_local(const struct in6_addr* a);
/** @brief Whether it is multicast of scope 2. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_link_local(const struct in6_addr* a);
/** @brief Whether it is multicast of scope 5. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_site_local(const struct in6_addr* a);
/** @brief Whether it is multicast of scope 8. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_org_local(const struct in6_addr* a);
/** @brief Whether it is multicast of scope 14. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_multicast_global(const struct in6_addr* a);

/** @brief Whether it is unicast or multicast of the link. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_scope_link_local(const struct in6_addr* a);
/** @brief Whether it is of the link, or interface-local multicast. @return 1 or 0; 0 for null */
OMBREL_API int ombrel_in6addr_is_scope_embeddable(const struct in6_addr* a);

/**
 * @brief Prints a socket address, without port and brackets.
 *
 * IPv4 as "192.0.2.1". IPv6 in lower case with the longest run of zero groups, the first of equals, as "::";
 * a single zero group counts as a run ("2001:db8::1:1:1:1:1"). Addresses that hold an IPv4 address end in it
 * ("::ffff:192.0.2.1", "::192.0.2.1"), but "::2" stays as it is. A scope id follows as "%3". A socket address
 * of family 0 prints as "?UNSPEC".
 * @param addr     the address
 * @param buf      receives the text, always terminated, cut off where the buffer ends; 64 bytes hold every
 * text
 * @param size     bytes of the buffer
 * @param port_out receives the port, 0 for unknown families; may be null
 * @return `buf`; null when it is null or `size` is 0; null with an empty text for a null address and for
 * other families
 */
OMBREL_API char* ombrel_inet_stopp(const struct sockaddr* addr, char* buf, size_t size, int* port_out);

/** @brief ombrel_inet_stopp() without the port. */
OMBREL_API char* ombrel_inet_stop(const struct sockaddr* addr, char* buf, size_t size);

/**
 * @brief Prints a raw address as ombrel_inet_stopp() does.
 * @param family   AF_INET or AF_INET6
 * @param raw_addr 4 or 16 bytes; null prints "0.0.0.0" or "::"
 * @param buf      receives the text, always terminated, cut off where the buffer ends; 64 bytes hold every
 * text
 * @param size     bytes of the buffer
 * @return `buf`; null when it is null or `size` is 0; null with an empty text for another family
 */
OMBREL_API char* ombrel_inet_ntop(int family, const void* raw_addr, char* buf, size_t size);

/**
 * @brief Reads a socket address from text.
 *
 * IPv4: four decimal numbers of one to three digits, 0 to 255, with exactly three dots. IPv6: eight groups of
 * one to four hex digits, or fewer with one "::" that stands for the rest; the last two groups may be written
 * as an IPv4 address; "%" and a scope id or the name of a network interface may follow. Either may be
 * followed by "/" and a prefix length of as many digits as its range needs, 0 to 32 or 128, which is checked
 * and ignored; the whole may stand in brackets; ":" and a port may follow, 0 to 65535: "[fe80::1%3]:80",
 * "1.2.3.4/24:8080" (after a final "::" only after a bracket: "1:::2" is no address). Nothing else may stand
 * before, between or after.
 * @param family       AF_INET, AF_INET6, or 0 for IPv4 first and IPv6 second
 * @param text         the text; null fails
 * @param default_port the port of a text without one, 0 to 65535
 * @param addr_out     receives the address; null only checks the text
 * @param addr_size    bytes of the output, at least the family's record; the rest is zeroed
 * @return 0; -1 for a text that is no address, an unknown interface name, an output that is too small,
 * another family or no valid port, with the whole output zeroed
 */
OMBREL_API int ombrel_inet_ptos(int family, const char* text, int default_port, void* addr_out,
                                size_t addr_size);

/**
 * @brief Reads a raw address from the texts of ombrel_inet_ptos(); port and scope are dropped.
 * @param family  AF_INET, AF_INET6, or 0 for IPv4 first and IPv6 second
 * @param text    the text; null fails
 * @param raw_out receives 4 or 16 bytes (16 bytes of room for family 0), untouched on failure; null only
 * checks the text
 * @return 0 on success (unlike the platform's function of this kind), -1 on failure
 */
OMBREL_API int ombrel_inet_pton(int family, const char* text, void* raw_out);

/**
 * @brief The Internet checksum: the complement of the ones'-complement sum of all 16-bit words.
 *
 * The words are taken in the machine's own order, so the result is stored as it is; an odd last byte counts
 * as a word of that value. The sum has 32 bits: it is exact for up to 128 KiB, more than any packet.
 * @param data the bytes; null counts as none
 * @param size how many
 * @return 0 to 65535
 */
OMBREL_API int ombrel_rfc1071_checksum(const void* data, size_t size);

OMBREL_END_C

#endif
