/**
 * @file network_watch.h
 * @brief Changes of interfaces, addresses, routes and neighbours, reported on an event base.
 *
 * @code
 * static int note(ombrel_network_watch_t* watch, const ombrel_network_change_t* change, void* context) {
 *     if (change->m_kind == def_ombrel_network_interfaces)
 *         ombrel_printf("%s is %s\n", change->m_interface->m_name,
 *                       change->m_change == def_ombrel_network_gone ? "gone" : "there");
 *     return 0;
 * }
 *
 * options.m_handler = note;
 * ombrel_network_watch_t* const watch = ombrel_open_network_watch(base, &options);
 * @endcode
 *
 * To know the state at any time, open the watch first and then list: every change after the list is reported,
 * and some may already be in the list. When changes came faster than they were taken, some are lost, and the
 * handler is called with #def_ombrel_network_lost: list again.
 *
 * Nothing of the host is changed by a watch.
 *
 * @par Hosts
 * Linux tells all four over netlink. It says nothing of IPv4 routes that vanish because their interface goes
 * down or loses its address: the interface's or the address's change stands for them. Windows tells
 * interfaces, addresses and routes, not neighbours. Other hosts tell nothing: def_ombrel_fault_not_supported.
 *
 * @par Threads
 * All of it, the handler too, runs on the thread of the base's loop; functions are called there, or while no
 * loop runs. Nothing waits.
 *
 * @par Failures
 * Null or -1 with the reason in ombrel_last_fault(): def_ombrel_fault_invalid for null and invalid arguments,
 * def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor, def_ombrel_fault_not_supported.
 */
#ifndef OMBREL_NETWORK_WATCH_H
#define OMBREL_NETWORK_WATCH_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>
#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

OMBREL_BEGIN_C

/** A watch. Opaque. */
typedef struct ombrel_network_watch_ts ombrel_network_watch_t;

/** @name What is watched, and what a change is of
 * @{ */
#define def_ombrel_network_interfaces 0x1u /**< interfaces: names, flags, states, hardware addresses */
#define def_ombrel_network_addresses 0x2u  /**< addresses of interfaces */
#define def_ombrel_network_routes 0x4u     /**< routes of every table */
#define def_ombrel_network_neighbours 0x8u /**< neighbours */
#define def_ombrel_network_all 0xFu        /**< all four */
/** @} */

/** @name What has happened
 * @{ */
#define def_ombrel_network_appeared 1 /**< it is new */
#define def_ombrel_network_changed 2  /**< it has changed, or was entered again unchanged */
#define def_ombrel_network_gone 3     /**< it is gone; the record is its last state */
#define def_ombrel_network_lost 4     /**< changes were lost: look again at all that is watched */
/** @} */

/** One change. Records live until the handler returns; later versions may append fields. */
typedef struct ombrel_network_change_ts {
    uint32_t m_kind; /**< one of def_ombrel_network_interfaces and the like; when changes were lost, all kinds
                        that are watched */
    int m_change;    /**< def_ombrel_network_appeared and the like */
    /** The interface, of a change of interfaces: without its addresses, and on Windows of one that is gone
     * its index alone. Else null. */
    const ombrel_network_interface_t* m_interface;
    const ombrel_interface_address_t* m_address; /**< the address, of a change of addresses; else null */
    const ombrel_route_t* m_route;               /**< the route, of a change of routes; else null */
    const ombrel_neighbour_t* m_neighbour;       /**< the neighbour, of a change of neighbours; else null */
    uint32_t m_index; /**< the index of the interface that it concerns; 0 for none */
} ombrel_network_change_t;

/**
 * Called for each change, in order.
 * @param watch   the watch, which the handler may close
 * @param change  what has happened
 * @param context the one of the options
 * @return 0 to go on; after anything else no more changes are reported
 */
typedef int (*ombrel_network_watch_handler_t)(ombrel_network_watch_t* watch,
                                              const ombrel_network_change_t* change, void* context);

/** How a watch works. */
typedef struct ombrel_network_watch_options_ts {
    /** What is watched; the default is def_ombrel_network_all. Kinds that the host does not report are left
     * out, as long as one remains. */
    uint32_t m_kinds;
    /** Bytes of changes that may wait for the loop, 4,096 to 16 MiB; the default is 1 MiB. The host may allow
     * less. */
    size_t m_queue_size;
    /** Interfaces, addresses and neighbours together that are remembered, to tell a new one from one that
     * changed; the default is 65,536. Each one beyond that number is reported as new. */
    size_t m_known_limit;
    /** Called for each change; must be set. */
    ombrel_network_watch_handler_t m_handler;
    /** Handed to it. */
    void* m_context;
} ombrel_network_watch_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_network_watch_options(ombrel_network_watch_options_t* options);

/**
 * @brief Begins to watch.
 * @param base     the base on whose loop changes are told; it must outlive the watch
 * @param options  how
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the watch, for ombrel_close_network_watch(); null on failure
 */
OMBREL_API ombrel_network_watch_t*
ombrel_open_network_watch_tag(ombrel_event_base_t* base, const ombrel_network_watch_options_t* options,
                              const char* function, unsigned long line);
/** ombrel_open_network_watch_tag() with the caller's own name and line. */
#define ombrel_open_network_watch(base, options)                                                             \
    ombrel_open_network_watch_tag((base), (options), __func__, __LINE__)

/** @brief What a watch watches: those of the wanted kinds that the host reports. @return
 * def_ombrel_network_* kinds; 0 for null */
OMBREL_API uint32_t ombrel_network_watch_get_kinds(const ombrel_network_watch_t* watch);

/** @brief Ends a watch at once; its handler may do that too. @param watch the watch, or null @return 0 */
OMBREL_API int ombrel_close_network_watch(ombrel_network_watch_t* watch);

OMBREL_END_C

#endif
