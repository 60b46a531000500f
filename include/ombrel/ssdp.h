/**
 * @file ssdp.h
 * @brief Discovery by SSDP, as UPnP devices do it: announcing, answering searches, searching, and a cache of
 * what others announce.
 *
 * A service works on an event base, with one network interface (or the system's choice of one), on IPv4, IPv6
 * or both. A device announces itself until it is closed:
 *
 * @code
 * ombrel_ssdp_t* const ssdp = ombrel_open_ssdp(base, NULL);
 * ombrel_ssdp_announce_device(ssdp, "2fac1234-31f8-11b4-a222-08002b34c003",
 *                             "urn:schemas-upnp-org:device:Basic:1", "http://192.0.2.7/device.xml", 1800);
 * @endcode
 *
 * A control point looks for devices, and is told of each one once, and again when it changes or disappears:
 *
 * @code
 * static int note(ombrel_ssdp_t* ssdp, int event, const ombrel_ssdp_entry_t* entry, void* context) {
 *     if (event == def_ombrel_ssdp_added)
 *         ombrel_printf("%s at %s\n", entry->m_type, entry->m_location);
 *     return 0;
 * }
 *
 * options.m_handler = note;
 * ombrel_ssdp_t* const ssdp = ombrel_open_ssdp(base, &options);
 * ombrel_ssdp_search(ssdp, "ssdp:all", 3);
 * @endcode
 *
 * @par Announcing
 * This follows the UPnP device architecture 2.0. Announcements are multicast (ssdp:alive) three times at the
 * beginning, and then at random moments before half of their time has passed; they are withdrawn by
 * ssdp:byebye. Searches that it matches are answered to the searcher alone, after a random part of the time
 * that the searcher allows, 5 seconds at most; a search for an earlier version of a type matches a later one.
 *
 * @par The cache
 * What others announce or answer is kept for the time that they say, until they withdraw it. A service also
 * hears its own announcements, because it has to hear others on the same host.
 *
 * @par Trust
 * Everybody on the network can send anything: texts are limited and free of control characters, a location is
 * an absolute http or https URL and is not checked further. Answers are limited for each asking address and
 * in all, and leave with few hops, so that a forged search is of little use as an amplifier. Entries are
 * limited for each address and in all, and can be withdrawn only from the address that announced them.
 *
 * @par Threads
 * All of it, handlers too, runs on the thread of the base's loop; functions are called there, or while no
 * loop runs. Nothing waits.
 *
 * @par Failures
 * null, 0 or -1 with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and invalid
 * arguments, #def_ombrel_fault_too_large beyond a limit, #def_ombrel_fault_no_memory, and what is named with
 * the function.
 */
#ifndef OMBREL_SSDP_H
#define OMBREL_SSDP_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A service. Opaque. */
typedef struct ombrel_ssdp_ts ombrel_ssdp_t;

/** The port. */
#define def_ombrel_ssdp_port 1900

#define def_ombrel_ssdp_type_size 256     /**< bytes of a type (NT, ST), its terminator included */
#define def_ombrel_ssdp_usn_size 384      /**< bytes of a unique name (USN), its terminator included */
#define def_ombrel_ssdp_location_size 512 /**< bytes of a location, its terminator included */
#define def_ombrel_ssdp_server_size                                                                          \
    256 /**< bytes of a server's description of itself, its terminator included                              \
         */

/** @name Flags of a service
 * @{ */
#define def_ombrel_ssdp_ipv4 0x1u      /**< works on IPv4 */
#define def_ombrel_ssdp_ipv6 0x2u      /**< works on IPv6 */
#define def_ombrel_ssdp_no_loop 0x4u   /**< other programs on the same host do not hear it */
#define def_ombrel_ssdp_no_listen 0x8u /**< hears only answers to its own searches, and answers no others */
/** @} */

/** @name What has happened to an entry of the cache
 * @{ */
#define def_ombrel_ssdp_added 1   /**< it is new */
#define def_ombrel_ssdp_changed 2 /**< its location, server, boot or configuration has changed */
#define def_ombrel_ssdp_gone 3    /**< it was withdrawn, or not announced again in time */
/** @} */

/** What is known of something that somebody else announces. */
typedef struct ombrel_ssdp_entry_ts {
    char m_usn[def_ombrel_ssdp_usn_size];           /**< its unique name, by which entries differ */
    char m_type[def_ombrel_ssdp_type_size];         /**< what it is: a type of device or service */
    char m_location[def_ombrel_ssdp_location_size]; /**< the URL of its description */
    char m_server[def_ombrel_ssdp_server_size];     /**< system and product, as announced; may be empty */
    char m_address[64];                             /**< the numeric address that it was heard from */
    int64_t m_boot_id;   /**< grows with each start of the device; -1 if not told */
    int64_t m_config_id; /**< number of its configuration; -1 if not told */
    int m_max_age_s;     /**< seconds for which each announcement counts */
    int m_left_ms;       /**< milliseconds that are left of these */
} ombrel_ssdp_entry_t;

/**
 * Called when something happens to an entry.
 * @param ssdp    the service, which the handler may use but not close
 * @param event   what has happened (def_ombrel_ssdp_added and the like)
 * @param entry   the entry after it, or its last state, until the handler returns
 * @param context the one of the options
 * @return 0; the result is not looked at
 */
typedef int (*ombrel_ssdp_handler_t)(ombrel_ssdp_t* ssdp, int event, const ombrel_ssdp_entry_t* entry,
                                     void* context);

/** How a service works. Texts are copied. */
typedef struct ombrel_ssdp_options_ts {
    /** def_ombrel_ssdp_*; the default is #def_ombrel_ssdp_ipv4 and #def_ombrel_ssdp_ipv6. A family that the
     * host does not have is left out, as long as one remains. */
    uint32_t m_flags;
    /** The network interface by its name; null, the default, for the system's choice for sending, while it
     * listens on all. */
    const char* m_interface;
    /** The host's numeric address to send from; null, the default, for one of the interface. It restricts the
     * service to its family. */
    const char* m_address;
    /** The port of the groups, 1 to 65535; the default is #def_ombrel_ssdp_port. */
    int m_port;
    /** The IPv4 group; null, the default, for 239.255.255.250. */
    const char* m_ipv4_group;
    /** The IPv6 groups, separated by spaces, at most 4; null, the default, for "ff02::c ff05::c".
     * Announcements and searches go to the first; the service listens on all. */
    const char* m_ipv6_groups;
    /** Hops that multicast may take, 0 to 255; the default is 2. */
    int m_hops;
    /** Hops that answers may take, 1 to 255; the default is 8. */
    int m_answer_hops;
    /** System and product as announced, such as "Linux/6.1 UPnP/2.0 lamp/1.0"; null, the default, for those
     * of the library. */
    const char* m_server;
    /** Number of this start, 0 to 2^31 - 1: it must grow from one start of the device to the next; the
     * default is the seconds of the clock. */
    int64_t m_boot_id;
    /** Number of the configuration, 0 to 2^24 - 1; the default is 1. */
    int64_t m_config_id;
    /** Things announced at the same time, 1 to 1,024; the default is 128. */
    size_t m_announcement_limit;
    /** Answers a second to all, at least 1; the default is 100. */
    size_t m_answer_limit;
    /** Answers a second to one address, at least 1; the default is 30. */
    size_t m_address_answer_limit;
    /** Entries of the cache; the default is 512; 0 keeps none. */
    size_t m_entry_limit;
    /** Entries from one address, at least 1; the default is 64. */
    size_t m_address_entry_limit;
    /** The most seconds for which an announcement counts, at least 1; the default is 86,400. */
    int m_max_age_limit_s;
    /** Keeps only entries whose type is this one, of this version or a later one; null, the default, keeps
     * all. */
    const char* m_wanted;
    /** Told what happens to entries; null, the default, for none. */
    ombrel_ssdp_handler_t m_handler;
    /** Handed to it. */
    void* m_context;
} ombrel_ssdp_options_t;

/** What a service has done since it was opened, and has now. The reserved words keep the record's size. */
typedef struct ombrel_ssdp_counts_ts {
    uint64_t m_sent;        /**< packets sent */
    uint64_t m_received;    /**< packets taken */
    uint64_t m_bad;         /**< of these, packets that are not valid messages of SSDP */
    uint64_t m_searches;    /**< searches by others that matched */
    uint64_t m_answers;     /**< answers sent */
    uint64_t m_held_back;   /**< answers not sent because of the limits */
    uint64_t m_dropped;     /**< entries not kept because of the limits */
    size_t m_announcements; /**< things announced now */
    size_t m_entries;       /**< entries now */
    uint64_t m_reserved[4]; /**< receive 0 */
} ombrel_ssdp_counts_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_ssdp_options(ombrel_ssdp_options_t* options);

/**
 * @brief Opens a service: joins the groups and listens.
 * @param base     the base on whose loop it works; it must outlive the service
 * @param options  how; null means ombrel_init_ssdp_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the service, for ombrel_close_ssdp(); null with not_found for an interface that is not there,
 * address_not_available, address_in_use, not_supported when the host has none of the families
 */
OMBREL_API ombrel_ssdp_t* ombrel_open_ssdp_tag(ombrel_event_base_t* base,
                                               const ombrel_ssdp_options_t* options, const char* function,
                                               unsigned long line);
/** ombrel_open_ssdp_tag() with the caller's own name and line. */
#define ombrel_open_ssdp(base, options) ombrel_open_ssdp_tag((base), (options), __func__, __LINE__)

/**
 * @brief Ends a service at once. What is still announced is withdrawn by one packet each, without a wait.
 * @param ssdp the service; null gives 0
 * @return 0; -1 with #def_ombrel_fault_busy in its own handler, which changes nothing
 */
OMBREL_API int ombrel_close_ssdp(ombrel_ssdp_t* ssdp);

/**
 * @brief Announces one thing under one name from now on.
 * @param ssdp      the service
 * @param type      what it is (NT): "upnp:rootdevice", "uuid:" and its number,
 * "urn:DOMAIN:device:TYPE:VERSION", "urn:DOMAIN:service:TYPE:VERSION", or any text of printable characters
 * without spaces
 * @param usn       its unique name (USN), such as "uuid:NUMBER::urn:schemas-upnp-org:device:Basic:1"
 * @param location  the URL of its description, http or https
 * @param max_age_s seconds for which it counts, 1 to 86,400; UPnP wants at least 1,800
 * @return its number, above 0, for ombrel_ssdp_withdraw(); -1 with exists for a name that is announced
 * already
 */
OMBREL_API int64_t ombrel_ssdp_announce(ombrel_ssdp_t* ssdp, const char* type, const char* usn,
                                        const char* location, int max_age_s);

/**
 * @brief Announces a root device: as upnp:rootdevice, by its number, and by its type. Its services and inner
 * devices are announced by ombrel_ssdp_announce().
 * @param ssdp      the service
 * @param uuid      its number, as text without "uuid:" (uuid.h makes one)
 * @param type      its type, such as "urn:schemas-upnp-org:device:Basic:1"
 * @param location  as for ombrel_ssdp_announce()
 * @param max_age_s likewise
 * @return 0, or -1 with none of them announced
 */
OMBREL_API int ombrel_ssdp_announce_device(ombrel_ssdp_t* ssdp, const char* uuid, const char* type,
                                           const char* location, int max_age_s);

/** @brief Withdraws what was announced, by ssdp:byebye. @param ssdp the service @param number its number
 * @return 0; -1 with not_found */
OMBREL_API int ombrel_ssdp_withdraw(ombrel_ssdp_t* ssdp, int64_t number);

/**
 * @brief Says that the device's addresses or interfaces change: sends ssdp:update for all that is announced,
 * and then announces it anew with the new number of the start.
 * @param ssdp     the service
 * @param boot_id  the new number, above the present one, at most 2^31 - 1
 * @param location the new location of all; null leaves each as it is
 * @return 0 or -1
 */
OMBREL_API int ombrel_ssdp_update(ombrel_ssdp_t* ssdp, int64_t boot_id, const char* location);

/**
 * @brief Looks for things of a type: asks three times, the first time at once. Whoever answers is entered in
 * the cache, of which the handler is told; what is in it already is not reported again.
 * @param ssdp   the service
 * @param target what to look for (ST): "ssdp:all", "upnp:rootdevice", or a type
 * @param wait_s seconds within which answers are to be spread (MX), 1 to 5
 * @return 0 or -1
 */
OMBREL_API int ombrel_ssdp_search(ombrel_ssdp_t* ssdp, const char* target, int wait_s);

/**
 * @brief An entry of the cache by its place.
 * @param ssdp  the service
 * @param index from 0 on; places change when entries go
 * @param entry receives a copy
 * @return 1; 0 after the last one; -1 for null
 */
OMBREL_API int ombrel_ssdp_get_entry(ombrel_ssdp_t* ssdp, size_t index, ombrel_ssdp_entry_t* entry);

/** @brief An entry of the cache by its unique name. @param ssdp the service @param usn the name @param entry
 * receives a copy @return 1; 0 when there is none; -1 for null */
OMBREL_API int ombrel_ssdp_find_entry(ombrel_ssdp_t* ssdp, const char* usn, ombrel_ssdp_entry_t* entry);

/** @brief Forgets all entries, without a call of the handler, so that a search finds them anew. @return 0, or
 * -1 for null */
OMBREL_API int ombrel_ssdp_forget_entries(ombrel_ssdp_t* ssdp);

/** Called once when a service that was stopped has withdrawn all. It may close the service. */
typedef void (*ombrel_ssdp_stop_handler_t)(ombrel_ssdp_t* ssdp, void* context);

/**
 * @brief Stops gracefully: answers and searches no more, withdraws all that is announced, twice, over some
 * tenths of a second, and then calls the handler from the loop.
 * @param ssdp       the service
 * @param timeout_ms milliseconds that it may take; negative for as long as it takes, 0 withdraws at once
 * @param handler    told when that is done; null for none
 * @param context    handed to it
 * @return 0; -1 also when it was stopped already
 */
OMBREL_API int ombrel_ssdp_stop(ombrel_ssdp_t* ssdp, int timeout_ms, ombrel_ssdp_stop_handler_t handler,
                                void* context);

/** @brief What the service has done. @return 0, or -1 for null */
OMBREL_API int ombrel_ssdp_get_counts(ombrel_ssdp_t* ssdp, ombrel_ssdp_counts_t* counts);

OMBREL_END_C

#endif
