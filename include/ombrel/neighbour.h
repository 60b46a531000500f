/**
 * @file neighbour.h
 * @brief The host's neighbours: machines on its links, with the hardware addresses that they answered with
 * (the tables of ARP and of IPv6's neighbour discovery).
 *
 * @code
 * ombrel_neighbour_list_t* const list = ombrel_open_neighbour_list(NULL);
 * for (const ombrel_neighbour_t* one = list != NULL ? list->m_first : NULL; one != NULL; one = one->m_next) {
 *     char address[64], hardware[96];
 *     ombrel_inet_stop(&one->m_address.m_any, address, sizeof address);
 *     ombrel_print_hardware_address(one->m_hardware, (size_t)one->m_hardware_size, hardware, sizeof
 * hardware); ombrel_printf("%s %s %s\n", address, hardware, ombrel_neighbour_state_name(one->m_state));
 * }
 * ombrel_close_neighbour_list(list);
 * @endcode
 *
 * Nothing of the host is changed, and nothing is sent on the link. To hear of changes, open a watch
 * (network_watch.h), then list.
 *
 * @par Hosts
 * Linux over netlink, Windows by its IP helper. Elsewhere def_ombrel_fault_not_supported.
 *
 * @par Threads and failures
 * As in route.h.
 */
#ifndef OMBREL_NEIGHBOUR_H
#define OMBREL_NEIGHBOUR_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/network_interface.h>

OMBREL_BEGIN_C

/** @name What is known of a neighbour; one of these
 * @{ */
#define def_ombrel_neighbour_none 0x00u       /**< nothing yet */
#define def_ombrel_neighbour_incomplete 0x01u /**< it was asked and has not answered */
#define def_ombrel_neighbour_reachable 0x02u  /**< it answered not long ago */
#define def_ombrel_neighbour_stale                                                                           \
    0x04u /**< it answered some time ago; it is asked again before it is used */
#define def_ombrel_neighbour_delay 0x08u     /**< a packet went to it, which may prove that it is there */
#define def_ombrel_neighbour_probe 0x10u     /**< it is being asked again */
#define def_ombrel_neighbour_failed 0x20u    /**< it did not answer */
#define def_ombrel_neighbour_no_arp 0x40u    /**< needs no look-up, for example multicast */
#define def_ombrel_neighbour_permanent 0x80u /**< it was entered by hand */
/** @} */

/** Every state that says something of a machine: the default of the options. */
#define def_ombrel_neighbour_usual 0xBFu

/** @name Flags of a neighbour
 * @{ */
#define def_ombrel_neighbour_router 0x1u  /**< it is a router */
#define def_ombrel_neighbour_outside 0x2u /**< a program entered it, not the host */
#define def_ombrel_neighbour_proxy 0x4u   /**< this host answers for it */
/** @} */

/** One neighbour. Records are the library's own: later versions may append fields. */
typedef struct ombrel_neighbour_ts {
    struct ombrel_neighbour_ts* m_next; /**< the next one of the list, or null */
    ombrel_ip_address_t m_address;      /**< its address, never none */
    uint32_t m_interface;               /**< the index of the interface through which it is reached */
    uint32_t m_state;                   /**< def_ombrel_neighbour_reachable and the like */
    uint32_t m_flags;                   /**< def_ombrel_neighbour_router and the like */
    int m_hardware_size;                /**< bytes of its hardware address; 0 when it is not known */
    uint8_t m_hardware[def_ombrel_hardware_address_size]; /**< its hardware address */
} ombrel_neighbour_t;

/** Neighbours in the host's order. Later versions may append fields. */
typedef struct ombrel_neighbour_list_ts {
    const ombrel_neighbour_t* m_first; /**< the first one; null when there is none */
    int64_t m_count;                   /**< how many */
} ombrel_neighbour_list_t;

/** What is listed. */
typedef struct ombrel_neighbour_options_ts {
    int m_family;         /**< AF_INET, AF_INET6, or 0, the default, for both */
    uint32_t m_interface; /**< the index of an interface; 0, the default, for each */
    uint32_t m_states;    /**< states that are listed; the default is def_ombrel_neighbour_usual */
    int64_t m_limit;      /**< the most neighbours, at least 1; the default is 1,048,576 */
} ombrel_neighbour_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_neighbour_options(ombrel_neighbour_options_t* options);

/**
 * @brief Lists neighbours as they are now.
 * @param options  which; null means ombrel_init_neighbour_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the list, one block, for ombrel_close_neighbour_list(); it may be empty. Null on failure
 */
OMBREL_API ombrel_neighbour_list_t* ombrel_open_neighbour_list_tag(const ombrel_neighbour_options_t* options,
                                                                   const char* function, unsigned long line);
/** ombrel_open_neighbour_list_tag() with the caller's own name and line. */
#define ombrel_open_neighbour_list(options) ombrel_open_neighbour_list_tag((options), __func__, __LINE__)

/** @brief Frees a list with its neighbours. @param list the list, or null @return 0 */
OMBREL_API int ombrel_close_neighbour_list(ombrel_neighbour_list_t* list);

/**
 * @brief The name of a state: "reachable".
 * @param state def_ombrel_neighbour_reachable and the like
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_neighbour_state_name(uint32_t state);

OMBREL_END_C

#endif
