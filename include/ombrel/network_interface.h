/**
 * @file network_interface.h
 * @brief The machine's network interfaces: names, states, hardware addresses, statistics, and all addresses.
 *
 * @code
 * ombrel_network_interface_t* const all = ombrel_open_network_interface();
 * for (const ombrel_network_interface_t* one = all; one != NULL; one = one->m_next) {
 *     ombrel_printf("%u %s, mtu %u\n", one->m_index, one->m_name, one->m_mtu);
 *     for (const ombrel_interface_address_t* at = one->m_address; at != NULL; at = at->m_next) {
 *         char text[64];
 *         ombrel_inet_stop((const struct sockaddr*)&at->m_address, text, sizeof text);
 *         ombrel_printf("    %s/%d\n", text, at->m_prefix_length);
 *     }
 * }
 * ombrel_close_network_interface(all);
 * @endcode
 *
 * Everything here reads: nothing of the host is changed. A list is what the host said at one moment; to hear
 * of changes, open a watch (network_watch.h), then list. What only cards have is in nic.h, routes are
 * in route.h, neighbours in neighbour.h.
 *
 * @par Hosts
 * Linux tells all of it, over netlink. Windows tells it by its IP helper, without m_parent_index,
 * m_master_index, m_kind and m_queue. Other hosts tell names, indexes, flags, addresses, prefix lengths,
 * broadcast and peer addresses. What is not told is 0, empty or what the field says.
 *
 * @par Limits
 * Lists are bounded: 65,536 interfaces and 1,048,576 addresses; a host with more gives too_large.
 *
 * @par Threads
 * Any thread; a list belongs to the caller.
 *
 * @par Failures
 * ombrel_last_fault() tells: def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor,
 * def_ombrel_fault_busy when the interfaces changed during each of eight attempts to list them,
 * def_ombrel_fault_violation for an answer of the host that is malformed, def_ombrel_fault_not_found for an
 * interface that is not there.
 */
#ifndef OMBREL_NETWORK_INTERFACE_H
#define OMBREL_NETWORK_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/address.h>
#include <ombrel/export.h>
#include <ombrel/host_socket.h>

OMBREL_BEGIN_C

/** An address of either family, as socket functions take it: `&address.m_any`. Its family is 0 for none. */
typedef union ombrel_ip_address_ts {
    struct sockaddr m_any;      /**< the family: AF_INET, AF_INET6, or 0 for no address */
    struct sockaddr_in m_ipv4;  /**< an IPv4 address, its port 0 */
    struct sockaddr_in6 m_ipv6; /**< an IPv6 address, its port 0; its scope id is set for those of a link */
} ombrel_ip_address_t;

/** @name Flags of an interface
 * @{ */
#define def_ombrel_interface_up 0x01u             /**< in operation: on Windows it works, elsewhere it may */
#define def_ombrel_interface_loopback 0x02u       /**< reaches this machine alone */
#define def_ombrel_interface_broadcast 0x04u      /**< has a broadcast address */
#define def_ombrel_interface_point_to_point 0x08u /**< a link to one other machine */
#define def_ombrel_interface_multicast 0x10u      /**< takes part in multicast */
#define def_ombrel_interface_all_multicast 0x20u  /**< receives every multicast packet */
#define def_ombrel_interface_running 0x40u        /**< it is up and its link works: packets can go */
#define def_ombrel_interface_carrier 0x80u        /**< the layer below works: a cable is in, a radio joined */
#define def_ombrel_interface_dormant 0x100u       /**< waits for something from outside, such as a log-in */
#define def_ombrel_interface_promiscuous 0x200u   /**< receives packets for others too */
#define def_ombrel_interface_no_arp 0x400u        /**< does not look up neighbours' hardware addresses */
#define def_ombrel_interface_master 0x800u        /**< leads others that share a load */
#define def_ombrel_interface_slave 0x1000u        /**< is led by such a master */
#define def_ombrel_interface_debug 0x2000u        /**< its driver is being debugged */
#define def_ombrel_interface_dynamic 0x4000u      /**< loses its addresses when it goes down */
#define def_ombrel_interface_auto_media 0x8000u   /**< chooses its medium by itself */
#define def_ombrel_interface_port_select 0x10000u /**< lets its medium be chosen */
#define def_ombrel_interface_no_trailers 0x20000u /**< sends no trailers (historical) */
#define def_ombrel_interface_echo 0x40000u        /**< hears what it sends */
#define def_ombrel_interface_parent_elsewhere 0x80000u /**< its parent lies in another network namespace */
/** @} */

/** @name What an interface can do now (RFC 2863)
 * @{ */
#define def_ombrel_interface_state_unknown 0          /**< not told */
#define def_ombrel_interface_state_not_present 1      /**< a part is missing */
#define def_ombrel_interface_state_down 2             /**< nothing */
#define def_ombrel_interface_state_lower_layer_down 3 /**< nothing, for lack of an interface below it */
#define def_ombrel_interface_state_testing 4          /**< it is under test */
#define def_ombrel_interface_state_dormant 5          /**< it waits for something from outside */
#define def_ombrel_interface_state_up 6               /**< pass packets */
/** @} */

/** @name Kinds of hardware addresses
 * @{ */
#define def_ombrel_interface_type_other 0      /**< another type: m_host_type tells which */
#define def_ombrel_interface_type_none 1       /**< no hardware address, for example a raw IP tunnel */
#define def_ombrel_interface_type_loopback 2   /**< of the loop-back interface */
#define def_ombrel_interface_type_ethernet 3   /**< Ethernet, and what looks like it: most wireless ones */
#define def_ombrel_interface_type_wireless 4   /**< IEEE 802.11, where the host tells it from Ethernet */
#define def_ombrel_interface_type_ppp 5        /**< the Point-to-Point Protocol */
#define def_ombrel_interface_type_tunnel 6     /**< a tunnel; its hardware address may be an IP address */
#define def_ombrel_interface_type_infiniband 7 /**< InfiniBand: 20 bytes */
#define def_ombrel_interface_type_ieee1394 8   /**< IEEE 1394 */
#define def_ombrel_interface_type_can 9        /**< a controller area network */
/** @} */

/** @name Duplex
 * @{ */
#define def_ombrel_duplex_unknown 0 /**< not told */
#define def_ombrel_duplex_half 1    /**< one side at a time */
#define def_ombrel_duplex_full 2    /**< both at once */
/** @} */

/** @name How far an address or a route reaches, as the host was told
 * @{ */
#define def_ombrel_reach_global 0    /**< everywhere */
#define def_ombrel_reach_site 200    /**< the site */
#define def_ombrel_reach_link 253    /**< the link */
#define def_ombrel_reach_host 254    /**< this machine */
#define def_ombrel_reach_nowhere 255 /**< nothing: it is reserved */
/** @} */

/** @name Flags of an address
 * @{ */
#define def_ombrel_address_permanent 0x01u    /**< has no life time */
#define def_ombrel_address_temporary 0x02u    /**< IPv6: random, for privacy, soon replaced */
#define def_ombrel_address_secondary 0x04u    /**< IPv4: not the first of its network */
#define def_ombrel_address_deprecated 0x08u   /**< kept for connections that use it, not used for new ones */
#define def_ombrel_address_tentative 0x10u    /**< not used before it is sure that nobody else has it */
#define def_ombrel_address_duplicate 0x20u    /**< not used, as somebody else has it */
#define def_ombrel_address_optimistic 0x40u   /**< used although that is not yet sure */
#define def_ombrel_address_no_detection 0x80u /**< it is not checked whether somebody else has it */
#define def_ombrel_address_home 0x100u        /**< the home address of a mobile host */
#define def_ombrel_address_makes_temporary 0x200u /**< temporary ones are made beside it */
#define def_ombrel_address_no_prefix_route 0x400u /**< came without a route to its network */
#define def_ombrel_address_joins_groups 0x800u    /**< multicast: the host has joined it */
#define def_ombrel_address_stable_privacy 0x1000u /**< made so that it does not tell the hardware address */
/** @} */

/** One address of an interface. Records are the library's own: later versions may append fields. */
typedef struct ombrel_interface_address_ts {
    struct ombrel_interface_address_ts* m_next; /**< the interface's next address, or null */
    int m_address_size;                         /**< bytes of the address that count */
    struct sockaddr_storage m_address;          /**< an IPv4 or IPv6 address, its port 0 */
    int m_prefix_length;                        /**< bits of its network: 0 to 32 or 128; -1 if not told */
    int m_reach;                                /**< def_ombrel_reach_* */
    uint32_t m_flags;                           /**< def_ombrel_address_* */
    int64_t m_valid_s;                          /**< seconds for which it may be used; -1 for ever */
    int64_t m_preferred_s;           /**< seconds for which it may be used for new connections; -1 for ever */
    ombrel_ip_address_t m_broadcast; /**< the broadcast address of its network, or none */
    ombrel_ip_address_t m_peer;      /**< the other end of a point-to-point link, or none */
    char m_label[64];                /**< IPv4: the name it was given with, such as "eth0:1"; may be empty */
} ombrel_interface_address_t;

/** What an interface has moved since it came up, or since the host started. */
typedef struct ombrel_interface_statistics_ts {
    uint64_t m_received_bytes;     /**< bytes received */
    uint64_t m_received_packets;   /**< packets received */
    uint64_t m_received_errors;    /**< packets received with errors */
    uint64_t m_received_dropped;   /**< good packets dropped for lack of room or of a receiver */
    uint64_t m_received_multicast; /**< multicast packets received */
    uint64_t m_sent_bytes;         /**< bytes sent */
    uint64_t m_sent_packets;       /**< packets sent */
    uint64_t m_sent_errors;        /**< packets that could not be sent */
    uint64_t m_sent_dropped;       /**< packets dropped before they were sent */
    uint64_t m_collisions;         /**< collisions while sending */
    /* The rest says what the errors were, where the host tells: on Linux. */
    uint64_t m_received_length_errors; /**< received with a wrong length */
    uint64_t m_received_overruns;      /**< lost as the card's memory was full */
    uint64_t m_received_crc_errors;    /**< received with a wrong checksum */
    uint64_t m_received_frame_errors;  /**< received with a wrong frame */
    uint64_t m_received_fifo_errors;   /**< lost as the card's queue was full */
    uint64_t m_received_missed;        /**< lost as the host gave no memory in time */
    uint64_t m_received_no_handler;    /**< of a protocol that this host does not speak */
    uint64_t m_sent_aborted_errors;    /**< given up by the card */
    uint64_t m_sent_carrier_errors;    /**< lost for want of a link */
    uint64_t m_sent_fifo_errors;       /**< lost as the card's queue ran empty or over */
    uint64_t m_sent_heartbeat_errors;  /**< not confirmed by an old transceiver */
    uint64_t m_sent_window_errors;     /**< collided late */
} ombrel_interface_statistics_t;

#define def_ombrel_hardware_address_size 32 /**< the longest hardware address, in bytes */

/** One interface. Records are the library's own: later versions may append fields. */
typedef struct ombrel_network_interface_ts {
    struct ombrel_network_interface_ts* m_next; /**< the next interface, or null */
    uint32_t m_index;                           /**< the platform's number for it, from 1 */
    uint32_t m_flags;                           /**< def_ombrel_interface_* flags */
    ombrel_interface_address_t* m_address;      /**< its first address, or null */
    char m_name[64];                            /**< its name, such as "eth0" */
    uint32_t m_mtu;                             /**< the largest packet in bytes; 0 if not told */
    int m_state;                                /**< def_ombrel_interface_state_* */
    int m_type;                                 /**< def_ombrel_interface_type_* */
    uint32_t m_host_type; /**< the host's own number for it: ARPHRD_* on Linux, ifType on Windows */
    int m_hardware_size;  /**< bytes of the hardware address, 0 for none */
    uint8_t m_hardware[def_ombrel_hardware_address_size]; /**< the hardware address */
    int m_hardware_broadcast_size;                        /**< bytes of the next field, 0 for none */
    uint8_t
        m_hardware_broadcast[def_ombrel_hardware_address_size]; /**< the hardware address for broadcasts */
    int64_t m_speed; /**< of its link, in bits a second; -1 if not known, for example while it is down */
    int m_duplex;    /**< def_ombrel_duplex_* */
    uint32_t m_parent_index; /**< the interface that it lies on or leads to (VLANs, pairs); 0 for none */
    uint32_t m_master_index; /**< the interface that it is a part of (bridges, bonds); 0 for none */
    uint32_t m_queue_length; /**< packets that may wait to be sent; 0 if not told */
    uint32_t m_group;        /**< the number of the group that its administrator put it in */
    char m_kind[32];         /**< the kind of a virtual interface: "bridge", "vlan"; may be empty */
    char m_queue[32];        /**< its queueing discipline: "fq_codel"; may be empty */
    char m_description[256]; /**< Linux: its administrator's words; Windows: its maker's; may be empty */
    const ombrel_interface_statistics_t* m_statistics; /**< what it has moved; null if not told */
} ombrel_network_interface_t;

/**
 * @brief Lists the interfaces as they are now, whether up or not.
 * @return the list in the platform's order, one self-contained block which the caller frees with
 *         ombrel_close_network_interface(); null when it cannot be had
 */
OMBREL_API ombrel_network_interface_t* ombrel_open_network_interface(void);

/** @brief Frees a whole list. @param list the first interface; null is accepted @return 0 */
OMBREL_API int ombrel_close_network_interface(ombrel_network_interface_t* list);

/**
 * @brief Finds an interface in a list by its name.
 * @param list the list, or null
 * @param name the name, exactly
 * @return the interface; null when there is none
 */
OMBREL_API const ombrel_network_interface_t*
ombrel_network_interface_find(const ombrel_network_interface_t* list, const char* name);

/** @brief Finds an interface in a list by its index. @return the interface; null when there is none */
OMBREL_API const ombrel_network_interface_t*
ombrel_network_interface_find_index(const ombrel_network_interface_t* list, uint32_t index);

/**
 * @brief Finds the interface in a list that has an address; port and scope id do not count.
 * @param list    the list, or null
 * @param address the address
 * @return the first interface that has it; null when there is none
 */
OMBREL_API const ombrel_network_interface_t*
ombrel_network_interface_find_address(const ombrel_network_interface_t* list, const struct sockaddr* address);

/**
 * @brief The address of an interface that others of the same network would know it by.
 *
 * The first one of the family that is neither tentative, duplicate nor deprecated, a wider reach before a
 * narrower one.
 * @param one    the interface, or null
 * @param family AF_INET or AF_INET6
 * @return the address; null when there is none
 */
OMBREL_API const ombrel_interface_address_t*
ombrel_network_interface_get_address(const ombrel_network_interface_t* one, int family);

/** @brief The index of an interface. @param name its name @return the index; 0 when unknown or null */
OMBREL_API uint32_t ombrel_interface_name_to_index(const char* name);

/**
 * @brief The name of an interface.
 * @param index its index
 * @param name  receives the name, terminated; 64 bytes hold every name of a list
 * @param size  bytes of it
 * @return 0; -1 with not_found when there is no such interface, invalid for null, too_large when the name
 *         does not fit, with an empty text where there is room for one
 */
OMBREL_API int ombrel_interface_index_to_name(uint32_t index, char* name, size_t size);

/**
 * @brief Prints a hardware address: "52:54:00:12:34:56".
 *
 * Bytes in two hex digits each, separated by colons.
 * @param bytes the address
 * @param count how many bytes, 0 to 32
 * @param text  receives the text, always terminated; 96 bytes hold the longest
 * @param size  bytes of it
 * @return `text`; null for null, a count out of range, or a text that does not fit
 */
OMBREL_API char* ombrel_print_hardware_address(const uint8_t* bytes, size_t count, char* text, size_t size);

OMBREL_END_C

#endif
