/**
 * @file nic.h
 * @brief Network cards: what the hardware behind an interface is and what its link does.
 *
 * @code
 * ombrel_nic_t nic;
 * if (ombrel_get_nic("eth0", &nic) == 0 && nic.m_link == 1)
 *     ombrel_printf("%s by %s: %lld Mbit/s\n", nic.m_name, nic.m_driver, (long long)(nic.m_speed / 1000000));
 * @endcode
 *
 * What every interface has, whether it is a card or not, is in network_interface.h; routes are in route.h,
 * neighbours in neighbour.h. Nothing of the host is changed.
 *
 * @par Hosts
 * Linux asks the driver; drivers of virtual interfaces have few answers. Windows tells name, link, speed,
 * hardware addresses and the driver's description. Other hosts tell nothing: def_ombrel_fault_not_supported.
 *
 * @par Threads
 * Any thread.
 */
#ifndef OMBREL_NIC_H
#define OMBREL_NIC_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/network_interface.h>

OMBREL_BEGIN_C

/** @name What the plug of a card is
 * @{ */
#define def_ombrel_nic_port_unknown 0      /**< not told */
#define def_ombrel_nic_port_twisted_pair 1 /**< twisted pairs, as RJ45 */
#define def_ombrel_nic_port_fibre 2        /**< glass */
#define def_ombrel_nic_port_direct 3       /**< a cable fixed to its plug */
#define def_ombrel_nic_port_backplane 4    /**< none: wired within a device */
#define def_ombrel_nic_port_other 5        /**< something else */
/** @} */

/** A card. The reserved words keep the record's size, which is part of the interface. */
typedef struct ombrel_nic_ts {
    char m_name[64];  /**< the interface's name */
    uint32_t m_index; /**< its index */
    int m_link; /**< 1 when its link works, 0 when not, -1 if not told, for example while the interface is
                   down */
    int64_t m_speed;     /**< in bits a second; -1 if not known */
    int m_duplex;        /**< def_ombrel_duplex_* */
    int m_negotiates;    /**< 1 when it chooses speed and duplex with its peer, 0 when not, -1 if not told */
    int m_port;          /**< def_ombrel_nic_port_* */
    int m_hardware_size; /**< bytes of the hardware address, 0 for none */
    uint8_t m_hardware[def_ombrel_hardware_address_size];  /**< the hardware address in use */
    int m_permanent_size;                                  /**< bytes of m_permanent, 0 if not told */
    uint8_t m_permanent[def_ombrel_hardware_address_size]; /**< the hardware address that it was manufactured
                                                              with */
    char m_driver[64];         /**< its driver: "e1000e"; on Windows its description; may be empty */
    char m_driver_version[64]; /**< the driver's version; may be empty */
    char m_firmware[64];       /**< the version of its firmware; may be empty */
    char m_bus[64];            /**< where it is plugged in: "0000:00:1f.6"; may be empty */
    uint64_t m_reserved[4];    /**< receive 0 */
} ombrel_nic_t;

/**
 * @brief What is known of a card.
 * @param name its interface's name
 * @param nic  receives it
 * @return 0; -1 on failure, with the record zeroed: def_ombrel_fault_not_found when there is no such
 *         interface, def_ombrel_fault_invalid for null, def_ombrel_fault_not_supported,
 *         def_ombrel_fault_no_descriptor
 */
OMBREL_API int ombrel_get_nic(const char* name, ombrel_nic_t* nic);

OMBREL_END_C

#endif
