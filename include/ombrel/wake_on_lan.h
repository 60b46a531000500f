/**
 * @file wake_on_lan.h
 * @brief Waking machines over the network: the magic packet, with and without a password.
 *
 * A network adapter that waits for it wakes its machine when it sees a packet with six bytes 0xFF and its own
 * address sixteen times after them, and a password of four or six bytes where it was set up with one. It
 * looks for nothing else, so the packet may come in a broadcast datagram or in a frame of its own.
 *
 * @code
 * uint8_t mac[def_ombrel_mac_address_size];
 * ombrel_wake_options_t options;
 * ombrel_init_wake_options(&options);
 * options.m_address = "192.168.7.255"; // everybody in that network
 * if (ombrel_parse_mac_address("00:1b:21:0a:5c:3f", mac, NULL) != 0 ||
 *     ombrel_send_wake_packet(mac, &options) != 0)
 *     ombrel_error_printf("cannot wake it: %s\n", ombrel_fault_text());
 * @endcode
 *
 * There is no answer: a caller only learns that the packet was sent.
 *
 * @par Ways
 * - By IPv4 broadcast: to 255.255.255.255 by default, which reaches the network that the system chooses or
 * that of #ombrel_wake_options_t.m_interface; to a network's own broadcast address
 *   ("192.168.7.255"), which routers may forward; or to one host, which works while routers and switches
 *   still know it.
 * - By IPv6: to all machines of a link, "ff02::1", for which an interface is named ("ff02::1%eth0", or
 *   m_interface), or to any other address.
 * - By a frame of the link layer (EtherType 0x0842) on a named interface: #def_ombrel_wake_frame. On Linux,
 *   with the right to open packet sockets; elsewhere it is not supported.
 *
 * @par Threads
 * Any, for all functions.
 *
 * @par Failures
 * -1 with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and invalid arguments and for
 * texts that cannot be read; others are named with the function.
 */
#ifndef OMBREL_WAKE_ON_LAN_H
#define OMBREL_WAKE_ON_LAN_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of the address of a network adapter. */
#define def_ombrel_mac_address_size 6
/** Room for such an address as text, with its end. */
#define def_ombrel_mac_address_text_size 18
/** Bytes of the longest password. */
#define def_ombrel_wake_password_max 6
/** Bytes of a packet without a password; one of 4 or 6 bytes comes after. */
#define def_ombrel_wake_packet_size 102
/** Bytes of the longest packet. */
#define def_ombrel_wake_packet_max 108
/** The default port ("discard"). */
#define def_ombrel_wake_port 9
/** The EtherType of frames. */
#define def_ombrel_wake_ether_type 0x0842

/** A password, which travels in the clear: it protects against mistakes, not against attackers. */
typedef struct ombrel_wake_password_ts {
    size_t m_size;                                 /**< 4 or 6 bytes, or 0 for none */
    uint8_t m_bytes[def_ombrel_wake_password_max]; /**< the bytes in the order of the packet */
} ombrel_wake_password_t;

/**
 * @brief Reads the address of a network adapter.
 * @param text     twelve hexadecimal digits of either case: in pairs with ":", "-" or "." between them
 *                 ("00-1b-21-0a-5c-3f"), in fours with "." ("001b.210a.5c3f"), or without anything between
 * @param mac      receives its 6 bytes; unchanged on failure
 * @param fault_at receives the offset in bytes of the first character that does not fit; may be null
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_mac_address(const char* text, uint8_t* mac, size_t* fault_at);

/**
 * @brief Writes such an address as "00:1b:21:0a:5c:3f"; what does not fit is cut off.
 * @param buf  the buffer; may be null when `size` is 0
 * @param size its bytes; #def_ombrel_mac_address_text_size holds all
 * @param mac  6 bytes
 * @return the characters stored, without the terminating zero; -1 for a null address
 */
OMBREL_API int ombrel_format_mac_address(char* buf, size_t size, const uint8_t* mac);

/**
 * @brief Reads a password: six bytes in the forms of ombrel_parse_mac_address(), or four as an IPv4 address
 *        ("192.168.1.1").
 * @param text     the text
 * @param password receives it; unchanged on failure
 * @param fault_at receives the offset in bytes of the first character that fits neither form; may be null
 * @return 0; -1
 */
OMBREL_API int ombrel_parse_wake_password(const char* text, ombrel_wake_password_t* password,
                                          size_t* fault_at);

/**
 * @brief Makes the packet: six bytes 0xFF, the address sixteen times, the password.
 * @param mac      the address of the machine's adapter, 6 bytes
 * @param password the password, or null for none
 * @param buffer   receives the packet; #def_ombrel_wake_packet_max bytes hold every one
 * @param size     its bytes
 * @return bytes of the packet, 102, 106 or 108; -1, #def_ombrel_fault_too_large when they do not fit
 */
OMBREL_API int64_t ombrel_make_wake_packet(const uint8_t* mac, const ombrel_wake_password_t* password,
                                           void* buffer, size_t size);

/**
 * @name Flags of sending
 * @{
 */
/** In a broadcast frame of the link layer; #ombrel_wake_options_t.m_interface is needed. */
#define def_ombrel_wake_frame 1u
/** The frame goes to the machine's own address alone. */
#define def_ombrel_wake_frame_to_one 2u
/** @} */

/** How a packet is sent. Texts are read during the call. */
typedef struct ombrel_wake_options_ts {
    /** def_ombrel_wake_frame, def_ombrel_wake_frame_to_one or 0, the default. */
    uint32_t m_flags;
    /** A numeric address, or a host's name; null, the default, for "255.255.255.255". */
    const char* m_address;
    /** The port, 1 to 65535; the default is #def_ombrel_wake_port. */
    int m_port;
    /** Name of the interface that it leaves by; null, the default, for the system's choice. For IPv4 the
     * interface needs an address of its own. */
    const char* m_interface;
    /** The password; null, the default, for none. */
    const ombrel_wake_password_t* m_password;
    /** Milliseconds that looking up the name and sending may take; negative for no limit; the default is
     * 5,000. */
    int m_whole_ms;
} ombrel_wake_options_t;

/** @brief Sets the options to their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_wake_options(ombrel_wake_options_t* options);

/**
 * @brief Sends the packet once.
 * @param mac     the address of the machine's adapter, 6 bytes
 * @param options how; null means ombrel_init_wake_options()
 * @return 0 once the system has taken it; -1: #def_ombrel_fault_not_found for an unknown interface,
 *         #def_ombrel_fault_address_not_available for one without an address of the family,
 *         #def_ombrel_fault_unknown_host, #def_ombrel_fault_unreachable, #def_ombrel_fault_timed_out,
 *         #def_ombrel_fault_access_denied and #def_ombrel_fault_not_supported for frames
 */
OMBREL_API int ombrel_send_wake_packet(const uint8_t* mac, const ombrel_wake_options_t* options);

OMBREL_END_C

#endif
