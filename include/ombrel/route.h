/**
 * @file route.h
 * @brief The host's routes: the whole table, the default route, the route that a destination would take.
 *
 * @code
 * ombrel_route_list_t* const list = ombrel_open_route_list(NULL); // both families, the main table
 * for (const ombrel_route_t* one = list != NULL ? list->m_first : NULL; one != NULL; one = one->m_next) {
 *     char to[64], by[64] = "directly";
 *     ombrel_inet_stop(&one->m_destination.m_any, to, sizeof to);
 *     if (one->m_gateway.m_any.sa_family != 0)
 *         ombrel_inet_stop(&one->m_gateway.m_any, by, sizeof by);
 *     ombrel_printf("%s/%d %s\n", to, one->m_prefix_length, by);
 * }
 * ombrel_close_route_list(list);
 * @endcode
 *
 * Nothing of the host is changed. A list is what the host said at one moment; to hear of changes, open a
 * watch (network_watch.h), then list.
 *
 * @par Hosts
 * Linux over netlink, Windows by its IP helper (one table, number 254; several routes where others have one
 * with several ways). Elsewhere def_ombrel_fault_not_supported.
 *
 * @par Threads
 * Any thread; what is opened belongs to the caller.
 *
 * @par Failures
 * Null with the reason in ombrel_last_fault(): def_ombrel_fault_invalid for invalid arguments,
 * def_ombrel_fault_too_large beyond the limit, def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor,
 * def_ombrel_fault_busy when routes changed during each of eight attempts to list them,
 * def_ombrel_fault_violation for an answer of the host that is malformed, and what a function names.
 */
#ifndef OMBREL_ROUTE_H
#define OMBREL_ROUTE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/network_interface.h>

OMBREL_BEGIN_C

/** @name What a route does with packets
 * @{ */
#define def_ombrel_route_unspecified 0 /**< not specified */
#define def_ombrel_route_unicast 1     /**< sends them on */
#define def_ombrel_route_local 2       /**< accepts the packets: they are for this machine */
#define def_ombrel_route_broadcast 3   /**< sends the packets to everybody on the link */
#define def_ombrel_route_anycast 4     /**< accepts the packets, as one of several machines */
#define def_ombrel_route_multicast 5   /**< sends them to a group */
#define def_ombrel_route_blackhole 6   /**< drops them in silence */
#define def_ombrel_route_unreachable 7 /**< drops the packets and reports that nobody is there */
#define def_ombrel_route_prohibit 8    /**< drops the packets and reports that this is prohibited */
#define def_ombrel_route_throw 9       /**< the look-up continues in other tables */
#define def_ombrel_route_translate 10  /**< translates addresses */
#define def_ombrel_route_resolve 11    /**< asks a program */
/** @} */

/** @name Who made a route; other numbers are those of programs, as the host's administrator knows them
 * @{ */
#define def_ombrel_route_by_nobody 0   /**< not told */
#define def_ombrel_route_by_redirect 1 /**< a router that knew better */
#define def_ombrel_route_by_host 2     /**< the host itself, for its addresses */
#define def_ombrel_route_by_boot 3     /**< an administrator, or the start of the host */
#define def_ombrel_route_by_static 4   /**< the administrator */
#define def_ombrel_route_by_router 9   /**< a router's advertisement */
#define def_ombrel_route_by_dhcp 16    /**< a DHCP client */
/** @} */

/** @name Tables
 * @{ */
#define def_ombrel_route_table_all 0       /**< of options: every table */
#define def_ombrel_route_table_default 253 /**< looked at last */
#define def_ombrel_route_table_main 254    /**< the main table: the one that is usually meant */
#define def_ombrel_route_table_local 255   /**< the machine's own addresses */
/** @} */

/** @name Flags of a route or of a hop
 * @{ */
#define def_ombrel_route_dead 0x01u       /**< its interface is down: not used */
#define def_ombrel_route_pervasive 0x02u  /**< its gateway is looked up again */
#define def_ombrel_route_on_link 0x04u    /**< its gateway is on the link whatever its address says */
#define def_ombrel_route_offloaded 0x08u  /**< the hardware does it */
#define def_ombrel_route_link_down 0x10u  /**< the link of its interface does not work */
#define def_ombrel_route_unresolved 0x20u /**< a program has yet to say where it leads */
#define def_ombrel_route_trapped 0x40u    /**< the hardware hands the packets to the host */
#define def_ombrel_route_cached 0x100u    /**< the answer to a look-up, not an entry of a table */
/** @} */

/** One of the ways of a route that has several. */
typedef struct ombrel_route_hop_ts {
    struct ombrel_route_hop_ts* m_next; /**< the next way, or null */
    ombrel_ip_address_t m_gateway;      /**< the router, of either family; or none */
    uint32_t m_interface;               /**< the index of the interface */
    uint32_t m_weight;                  /**< its share of the packets, from 1 */
    uint32_t m_flags;                   /**< def_ombrel_route_dead and the like */
} ombrel_route_hop_t;

/** One route. Records are the library's own: later versions may append fields. */
typedef struct ombrel_route_ts {
    struct ombrel_route_ts* m_next;    /**< the next one of the list, or null */
    int m_family;                      /**< AF_INET or AF_INET6 */
    int m_type;                        /**< what it does: def_ombrel_route_unicast and the like */
    ombrel_ip_address_t m_destination; /**< where it leads to, never none: 0.0.0.0 or :: for the default */
    int m_prefix_length;               /**< bits of the destination that count: 0 to 32 or 128 */
    int m_from_prefix_length;          /**< bits of the next one that count; 0 for all senders */
    ombrel_ip_address_t m_from;        /**< IPv6: only for packets from there; or none */
    ombrel_ip_address_t m_gateway;     /**< the router, of either family; or none for a direct one */
    ombrel_ip_address_t m_source;      /**< the host's address that packets get; or none */
    uint32_t m_interface;              /**< the index of the interface they leave by; 0 for none */
    uint32_t m_input_interface; /**< of a look-up: the index of the interface they come by; 0 for none */
    uint32_t m_metric;          /**< the lower, the better; on Windows without the interface's own */
    uint32_t m_table;           /**< def_ombrel_route_table_main and the like */
    int m_protocol;             /**< who made it: def_ombrel_route_by_host and the like */
    int m_reach;                /**< def_ombrel_reach_* */
    int m_service;              /**< only for packets of this type of service; 0 for all */
    int m_preference;           /**< IPv6: among routers -1 low, 0 medium, 1 high */
    uint32_t m_flags;           /**< def_ombrel_route_dead and the like */
    uint32_t m_mtu;             /**< the largest packet in bytes, if the route has one of its own; or 0 */
    uint32_t m_hop_object;      /**< Linux: the number of its next-hop object; 0 for none */
    int64_t m_expires_s;        /**< seconds that it has left; -1 for ever */
    int m_hop_count;            /**< ways of a route that has several; else 0 */
    ombrel_route_hop_t* m_hops; /**< the first of them, whose gateway and interface are above too; or null */
} ombrel_route_t;

/** Routes in the host's order. Later versions may append fields. */
typedef struct ombrel_route_list_ts {
    const ombrel_route_t* m_first; /**< the first one; null when there is none */
    int64_t m_count;               /**< how many */
} ombrel_route_list_t;

/** What is listed. */
typedef struct ombrel_route_options_ts {
    int m_family;     /**< AF_INET, AF_INET6, or 0, the default, for both, IPv4 first */
    uint32_t m_table; /**< the default is def_ombrel_route_table_main; def_ombrel_route_table_all for each */
    uint32_t m_interface; /**< the index of the interface by which packets leave; 0, the default, for any */
    int64_t m_limit;      /**< the most routes, at least 1; the default is 4,194,304 */
} ombrel_route_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_route_options(ombrel_route_options_t* options);

/**
 * @brief Lists routes as they are now.
 * @param options  which; null means ombrel_init_route_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the list, one block, for ombrel_close_route_list(); it may be empty. Null on failure
 */
OMBREL_API ombrel_route_list_t* ombrel_open_route_list_tag(const ombrel_route_options_t* options,
                                                           const char* function, unsigned long line);
/** ombrel_open_route_list_tag() with the caller's own name and line. */
#define ombrel_open_route_list(options) ombrel_open_route_list_tag((options), __func__, __LINE__)

/** @brief Frees a list with its routes. @param list the list, or null @return 0 */
OMBREL_API int ombrel_close_route_list(ombrel_route_list_t* list);

/**
 * @brief The default route of a family: of the routes in the main table that lead everywhere and are alive,
 * the one with the lowest metric, or the first of several with the same.
 * @param family   AF_INET or AF_INET6
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the route, for ombrel_close_route(); null with not_found when there is none
 */
OMBREL_API ombrel_route_t* ombrel_open_default_route_tag(int family, const char* function,
                                                         unsigned long line);
/** ombrel_open_default_route_tag() with the caller's own name and line. */
#define ombrel_open_default_route(family) ombrel_open_default_route_tag((family), __func__, __LINE__)

/**
 * @brief The route that packets to a destination would take, by the host's own rules and tables.
 *
 * Its destination is the one asked for, with all bits; m_source is the host's address that packets would get.
 * If the route has several ways, the result has the one that the host would choose.
 * @param destination an IPv4 or IPv6 address, whose scope id counts; ports do not
 * @param source      the host's address that packets have, of the same family; null for the host's choice
 * @param interface_index the index of the interface by which they must leave; 0 for any
 * @param function    the calling function's name, for the heap's reports
 * @param line        the calling line
 * @return the route, for ombrel_close_route(); null with unreachable when there is none or it drops packets,
 *         access_denied when it prohibits them, invalid for null, mixed and other families
 */
OMBREL_API ombrel_route_t* ombrel_open_route_to_tag(const struct sockaddr* destination,
                                                    const struct sockaddr* source, uint32_t interface_index,
                                                    const char* function, unsigned long line);
/** ombrel_open_route_to_tag() with the caller's own name and line. */
#define ombrel_open_route_to(destination, source, interface_index)                                           \
    ombrel_open_route_to_tag((destination), (source), (interface_index), __func__, __LINE__)

/** @brief Frees one route that was opened alone. @param route the route, or null @return 0 */
OMBREL_API int ombrel_close_route(ombrel_route_t* route);

/**
 * @brief The name of what a route does: "unicast", "blackhole".
 * @param type def_ombrel_route_unicast and the like
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_route_type_name(int type);

OMBREL_END_C

#endif
