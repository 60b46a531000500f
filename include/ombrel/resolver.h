/**
 * @file resolver.h
 * @brief Host names to lists of socket addresses, through the platform's resolver.
 *
 * These functions wait for the platform; resolver_cache.h does the waiting on a thread of its own. Any thread
 * may call them; a list belongs to one thread at a time.
 */
#ifndef OMBREL_RESOLVER_H
#define OMBREL_RESOLVER_H

#include <ombrel/address.h>

OMBREL_BEGIN_C

/** One answer: a block of the tagged heap that holds all it points to except the next answer. */
typedef struct ombrel_resolver_ts {
    struct ombrel_resolver_ts* m_next; /**< the next answer, or null */
    int m_family;                      /**< AF_INET or AF_INET6 */
    int m_address_size;                /**< bytes of the socket address */
    struct sockaddr* m_address;        /**< the socket address with its port, after these fields */
    char* m_address_text;              /**< its text as by ombrel_inet_stop(), after the address */
    int m_port;                        /**< the port, 0 without one */
} ombrel_resolver_t;

/**
 * @brief Resolves a host and a port. Waits as long as the platform takes.
 *
 * A host that reads as an address text (see ombrel_inet_ptos()) never causes a name look-up; brackets are
 * taken off first, and a port of its own ("[::]:8080") replaces `port`. A look-up that fails is tried once
 * more. Answers for which memory runs out are left out.
 * @param host a name or an address text; null for the platform's own choice, its loop-back addresses; "" for
 * the addresses to bind a server to
 * @param port 0 to 65535; any other value asks for no port, and then the host must be a name or an address
 * @return the IPv4 and IPv6 answers in the platform's order, for ombrel_close_resolver(); null when there is
 * none
 */
OMBREL_API ombrel_resolver_t* ombrel_open_resolver(const char* host, int port);

/**
 * @brief Frees a list of answers.
 * @param list the first answer, or null
 * @return 0
 */
OMBREL_API int ombrel_close_resolver(ombrel_resolver_t* list);

/**
 * @brief Copies a list. Answers for which memory runs out are left out.
 * @param list the first answer, or null
 * @return the copy, for ombrel_close_resolver(); null for an empty list
 */
OMBREL_API ombrel_resolver_t* ombrel_duplicate_resolver(const ombrel_resolver_t* list);

/**
 * @brief Asks the platform to read its resolver configuration again.
 * @return 0 when it did; -1 where there is nothing to ask, as on POSIX systems, which notice changes
 * themselves
 */
OMBREL_API int ombrel_reload_resolver(void);

OMBREL_END_C

#endif
