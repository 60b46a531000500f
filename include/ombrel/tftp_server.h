/**
 * @file tftp_server.h
 * @brief A small server of TFTP on an event base: one directory, read-only unless options allow more.
 *
 * @code
 * ombrel_event_base_t* const base = ombrel_new_event_base();
 * ombrel_tftp_server_options_t options;
 * ombrel_init_tftp_server_options(&options);
 * options.m_directory = "/srv/boot";
 * ombrel_tftp_server_t* const server = ombrel_open_tftp_server(base, &options);
 * if (server == NULL || ombrel_tftp_server_listen(server, "192.0.2.1", 69) < 0)
 *     return complain(ombrel_fault_text());
 * ombrel_event_base_dispatch(base);
 * ombrel_close_tftp_server(server);
 * @endcode
 *
 * It serves octet and netascii with the options blksize, timeout, tsize (RFC 2347 to 2349) and windowsize
 * (RFC 7440). Files may be of any size: the numbers of blocks go on at 0 beyond 65535. Each transfer has a
 * port of its own on the listener's address, and packets from elsewhere than its client change nothing.
 *
 * @par Names
 * A client names files with "/" between the parts; a "/" at the beginning stands for the directory. Names
 * that would lead out of the directory are refused: "..", absolute names, drives and backslashes where they
 * have a meaning, symbolic links anywhere in the name, even those made while the name is being followed. Only
 * regular files are served. Directories are not made.
 *
 * @par Uploads
 * With #def_ombrel_tftp_server_write clients store new files, with #def_ombrel_tftp_server_overwrite they
 * replace old ones too. A file appears under its name when all of it has come, and not before; the bytes of
 * an upload that breaks off are removed. The protocol has no log-in: allow uploads only where everybody who
 * reaches the port may store files.
 *
 * @par Limits
 * Transfers are limited in all and for each address, each by its time, uploads by their size, and the memory
 * of a transfer by the blocks that it is granted. Requests beyond a limit are refused with an error. Until a
 * client has shown that it is at the address that its request came from, one packet of at most one block
 * answers each request: a forged address gets no more than that, and no file is made.
 *
 * @par Threads
 * All of it, handlers too, runs on the thread of the base's loop; functions are called there, or while no
 * loop runs. Nothing waits, except for local files.
 *
 * @par Failures
 * null or -1 with the reason in ombrel_last_fault().
 */
#ifndef OMBREL_TFTP_SERVER_H
#define OMBREL_TFTP_SERVER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>
#include <ombrel/transfer_error.h>

OMBREL_BEGIN_C

/** A server. Opaque. */
typedef struct ombrel_tftp_server_ts ombrel_tftp_server_t;

/** @name What clients may do besides reading
 * @{ */
#define def_ombrel_tftp_server_write 0x1u     /**< store files that are not there yet */
#define def_ombrel_tftp_server_overwrite 0x2u /**< with the flag above: replace files that are there */
/** @} */

/** A transfer, for the handlers. Texts live until the handler returns. */
typedef struct ombrel_tftp_transfer_ts {
    /** The client's address, such as "192.0.2.7" or "2001:db8::7". */
    const char* m_address;
    /** Its port. */
    int m_port;
    /** The name that it gave. It may hold any byte but 0: make control characters visible before you print
     * it. */
    const char* m_name;
    /** 1 when the client stores the file, 0 when it reads it. */
    int m_is_upload;
    /** def_ombrel_tftp_octet or def_ombrel_tftp_netascii (tftp.h). */
    int m_mode;
    /** Bytes of the file moved so far. */
    int64_t m_size;
    /** Milliseconds since the request. */
    int64_t m_duration_ms;
    /** Why it ended early; its fault is 0 for a complete transfer. Null before the end. */
    const ombrel_transfer_error_t* m_error;
} ombrel_tftp_transfer_t;

/**
 * Called with a transfer.
 * @param server   the server, which the handler must not close
 * @param transfer the transfer, until the handler returns
 * @param context  the one of the options
 * @return for requests: 0 lets it begin, anything else refuses it as an access violation. For ends: ignored
 */
typedef int (*ombrel_tftp_server_handler_t)(ombrel_tftp_server_t* server,
                                            const ombrel_tftp_transfer_t* transfer, void* context);

/** How a server works. Texts are copied. Times are milliseconds. */
typedef struct ombrel_tftp_server_options_ts {
    /** The directory that is served; must be given. It is opened once: it is still served after it was
     * renamed. */
    const char* m_directory;
    /** def_ombrel_tftp_server_* or 0, the default. */
    uint32_t m_flags;
    /** Transfers at the same time, at least 1; the default is 64. */
    size_t m_transfer_limit;
    /** Transfers at the same time for one address, at least 1; the default is 8. */
    size_t m_address_limit;
    /** Largest block that is granted, 512 to 65464; the default is 65464. */
    size_t m_block_size_limit;
    /** Largest window that is granted, 1 to 64 blocks; the default is 32. Fewer are granted where they would
     * hold more than 128 KiB. */
    size_t m_window_size_limit;
    /** The wait before a packet is sent again unless the client asks for another, at least 1, doubled up to
     * four times as long; the default is 1,000. */
    int m_retry_ms;
    /** How often a packet is sent before the client counts as gone, at least 1; the default is 5. */
    int m_tries;
    /** For a transfer in all; the default is 3,600,000; negative for no limit. */
    int m_whole_ms;
    /** Bytes of an upload; the default is 256 MiB; negative for no limit. */
    int64_t m_upload_limit;
    /** Called before a transfer begins; null, the default, lets all begin. */
    ombrel_tftp_server_handler_t m_request_handler;
    /** Called when a transfer has ended or was refused; null, the default, for none. */
    ombrel_tftp_server_handler_t m_log_handler;
    /** Handed to both. */
    void* m_context;
} ombrel_tftp_server_options_t;

/** What a server has done since it was opened, and has now. The reserved words keep the record's size. */
typedef struct ombrel_tftp_server_counts_ts {
    uint64_t m_requests;    /**< requests taken, repeated ones not counted */
    uint64_t m_refused;     /**< requests that were answered by an error */
    uint64_t m_read;        /**< files read to their end */
    uint64_t m_stored;      /**< files stored */
    uint64_t m_failed;      /**< transfers that began and broke off */
    uint64_t m_sent;        /**< bytes of files sent, repeated ones not counted */
    uint64_t m_received;    /**< bytes of files received, likewise */
    size_t m_transfers;     /**< transfers now */
    uint64_t m_reserved[4]; /**< receive 0 */
} ombrel_tftp_server_counts_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_tftp_server_options(ombrel_tftp_server_options_t* options);

/**
 * @brief Makes a server. It listens nowhere yet.
 * @param base     the base on whose loop it works; it must outlive the server
 * @param options  how
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the server, for ombrel_close_tftp_server(); null with invalid for null and options out of range,
 * and the faults of opening the directory
 */
OMBREL_API ombrel_tftp_server_t* ombrel_open_tftp_server_tag(ombrel_event_base_t* base,
                                                             const ombrel_tftp_server_options_t* options,
                                                             const char* function, unsigned long line);
/** ombrel_open_tftp_server_tag() with the caller's own name and line. */
#define ombrel_open_tftp_server(base, options)                                                               \
    ombrel_open_tftp_server_tag((base), (options), __func__, __LINE__)

/**
 * @brief Takes requests at an address; called again, at one more, at 8 at most.
 * @param server  the server
 * @param address a numeric address of this host ("192.0.2.1", "::1", "0.0.0.0" for all of IPv4, "::" for all
 *                of IPv6), or "localhost" for both loop-back addresses as far as the host has them; null is
 *                "localhost". Where a host has several addresses, listen at each: clients expect answers from
 *                the one that they asked
 * @param port    0 to 65535; 0 takes a free one
 * @return the port, or -1: #def_ombrel_fault_address_in_use, #def_ombrel_fault_address_not_available,
 * #def_ombrel_fault_access_denied, #def_ombrel_fault_invalid for a text that is no address
 */
OMBREL_API int ombrel_tftp_server_listen(ombrel_tftp_server_t* server, const char* address, int port);

/**
 * @brief The URL of a listener, such as "tftp://192.0.2.1:69/" or "tftp://[2001:db8::1]:69/".
 * @param server   the server
 * @param index    0 for the first address listened at; "localhost" counts once
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return a text to be freed by ombrel_free(); null when there is no such listener
 */
OMBREL_API char* ombrel_alloc_tftp_server_url_tag(ombrel_tftp_server_t* server, size_t index,
                                                  const char* function, unsigned long line);
/** ombrel_alloc_tftp_server_url_tag() with the caller's own name and line. */
#define ombrel_alloc_tftp_server_url(server, index)                                                          \
    ombrel_alloc_tftp_server_url_tag((server), (index), __func__, __LINE__)

/** Called once when a server that was stopped has no transfers any more, or its time ran out. It may close
 * the server. */
typedef void (*ombrel_tftp_stop_handler_t)(ombrel_tftp_server_t* server, void* context);

/**
 * @brief Stops gracefully: takes no more requests, lets transfers end, cuts off what is left when the time
 * has run out, and then calls the handler from the loop.
 * @param server     the server
 * @param timeout_ms milliseconds until what is left is cut off; negative waits for ever, 0 cuts off at once
 * @param handler    told when that is done; null for none
 * @param context    handed to it
 * @return 0; -1 also when it was stopped already
 */
OMBREL_API int ombrel_tftp_server_stop(ombrel_tftp_server_t* server, int timeout_ms,
                                       ombrel_tftp_stop_handler_t handler, void* context);

/** @brief What the server has done. @return 0, or -1 for null */
OMBREL_API int ombrel_tftp_server_get_counts(ombrel_tftp_server_t* server,
                                             ombrel_tftp_server_counts_t* counts);

/**
 * @brief Ends a server at once: clients are told, and incomplete uploads are removed.
 * @param server the server; null gives 0
 * @return 0; -1 with #def_ombrel_fault_busy in a request or log handler, which changes nothing
 */
OMBREL_API int ombrel_close_tftp_server(ombrel_tftp_server_t* server);

OMBREL_END_C

#endif
