/**
 * @file network_interface.h
 * @brief The machine's network interfaces. Any thread.
 */
#ifndef OMBREL_NETWORK_INTERFACE_H
#define OMBREL_NETWORK_INTERFACE_H

#include <stdint.h>

#include <ombrel/address.h>
#include <ombrel/export.h>
#include <ombrel/host_socket.h>

OMBREL_BEGIN_C

#define def_ombrel_interface_up 0x01u             /**< in operation */
#define def_ombrel_interface_loopback 0x02u       /**< reaches this machine alone */
#define def_ombrel_interface_broadcast 0x04u      /**< has a broadcast address */
#define def_ombrel_interface_point_to_point 0x08u /**< a link to one other machine */
#define def_ombrel_interface_multicast 0x10u      /**< takes part in multicast */
#define def_ombrel_interface_all_multicast 0x20u  /**< receives every multicast packet */

/** One address of an interface. */
typedef struct ombrel_interface_address_ts {
    struct ombrel_interface_address_ts* m_next; /**< the interface's next address, or null */
    int m_address_size;                         /**< bytes of the address that count */
    struct sockaddr_storage m_address;          /**< an IPv4 or IPv6 address, its port 0 */
} ombrel_interface_address_t;

/** One interface. */
typedef struct ombrel_network_interface_ts {
    struct ombrel_network_interface_ts* m_next; /**< the next interface, or null */
    uint32_t m_index;                           /**< the platform's number for it, from 1 */
    uint32_t m_flags;                           /**< flags above */
    ombrel_interface_address_t* m_address;      /**< its first address, or null */
    char m_name[64];                            /**< its name, such as "eth0" */
} ombrel_network_interface_t;

/**
 * @brief Lists the interfaces as they are now, whether up or not.
 * @return the list in the platform's order, one self-contained block which the caller frees with
 *         ombrel_close_network_interface(); null when it cannot be had
 */
OMBREL_API ombrel_network_interface_t* ombrel_open_network_interface(void);

/** @brief Frees a whole list. @param list the first interface; null is accepted @return 0 */
OMBREL_API int ombrel_close_network_interface(ombrel_network_interface_t* list);

/** @brief The index of an interface. @param name its name @return the index; 0 when unknown or null */
OMBREL_API uint32_t ombrel_interface_name_to_index(const char* name);

OMBREL_END_C

#endif
