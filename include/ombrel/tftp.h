/**
 * @file tftp.h
 * @brief A client of TFTP: files read from and written to servers.
 *
 * TFTP (RFC 1350) moves one file at a time in datagrams, without user names or passwords:
 * firmware, boot images, settings of devices. The client here speaks the options of RFC 2347 to 2349 (size of
 * blocks, time until a packet is sent again, size of the file) and of RFC 7440 (several blocks a round trip),
 * and works without them where a server does not support them.
 *
 * @code
 * static int keep(const void* data, size_t size, void* context) {
 *     return ombrel_file_write_all(*(int*)context, data, size) == 0 ? 0 : 1;
 * }
 *
 * ombrel_tftp_t* const tftp = ombrel_open_tftp(NULL);
 * if (ombrel_tftp_retrieve(tftp, "192.0.2.1", 69, "image.bin", keep, &file) != 0)
 *     ombrel_error_printf("image.bin: %s\n", ombrel_tftp_get_error(tftp)->m_text);
 * ombrel_close_tftp(tftp);
 * @endcode
 *
 * A client makes any number of transfers, one at a time. A whole file goes through a handler
 * (ombrel_tftp_retrieve(), ombrel_tftp_store()), or in pieces of the caller's size and time:
 * ombrel_tftp_open_read() or ombrel_tftp_open_write(), then ombrel_tftp_read() or ombrel_tftp_write(), then
 * ombrel_tftp_finish(), whose result says whether all of the file has arrived.
 *
 * @par Limits
 * A client holds one window of blocks and one small packet, whatever the size of the file. No wait is longer
 * than the tries of one packet take, and all of a transfer no longer than m_whole_ms; a file ends at
 * m_size_limit. Packets from other hosts and ports than the transfer's change nothing.
 *
 * @par Failures
 * What fails gives null or -1 with the reason in ombrel_last_fault(); ombrel_tftp_get_error() keeps the first
 * failure of a transfer with the server's number and words. The server's errors are
 * #def_ombrel_fault_not_found (1), #def_ombrel_fault_access_denied (2, 7), #def_ombrel_fault_no_space (3),
 * #def_ombrel_fault_exists (6), #def_ombrel_fault_violation (4, 5) and #def_ombrel_fault_rejected (all
 * others). Found on this side: #def_ombrel_fault_unknown_host, #def_ombrel_fault_unreachable,
 * #def_ombrel_fault_timed_out, #def_ombrel_fault_violation (the server breaks the rules of the protocol),
 * #def_ombrel_fault_too_large (beyond m_size_limit), #def_ombrel_fault_invalid, #def_ombrel_fault_no_memory,
 * #def_ombrel_fault_no_descriptor.
 *
 * @par Threads
 * One thread at a time uses a client; any number of clients at the same time.
 */
#ifndef OMBREL_TFTP_H
#define OMBREL_TFTP_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/transfer_error.h>

OMBREL_BEGIN_C

/** A client. Opaque. */
typedef struct ombrel_tftp_ts ombrel_tftp_t;

/** The port of servers. */
#define def_ombrel_tftp_port 69

/** The result of ombrel_tftp_read() when its time ran out; the transfer goes on. */
#define def_ombrel_tftp_timeout (-2)

#define def_ombrel_tftp_block_size_min 8     /**< bytes of the smallest block */
#define def_ombrel_tftp_block_size_max 65464 /**< bytes of the largest block */
#define def_ombrel_tftp_window_size_max 64   /**< blocks of the largest window */

/** @name How the bytes of a file travel
 * @{ */
#define def_ombrel_tftp_octet 0    /**< as they are */
#define def_ombrel_tftp_netascii 1 /**< as text: a line feed as CR LF, a carriage return as CR NUL */
/** @} */

/** How a client works. Times are milliseconds. */
typedef struct ombrel_tftp_options_ts {
    /** Bytes of a block to ask for, #def_ombrel_tftp_block_size_min to #def_ombrel_tftp_block_size_max; the
     * default is 1428, which is not fragmented on an Ethernet. 512, the size without options, is not asked
     * for. */
    int m_block_size;
    /** Blocks to ask for between two acknowledgements, 1 to #def_ombrel_tftp_window_size_max; the default is
     * 1, which is not asked for. */
    int m_window_size;
    /** def_ombrel_tftp_octet, the default, or def_ombrel_tftp_netascii. */
    int m_mode;
    /** The wait before a packet is sent again, at least 1, doubled up to four times as long; the default is
     * 1,000. The server is asked to wait as long, in whole seconds. */
    int m_retry_ms;
    /** How often a packet is sent before the server counts as gone, at least 1; the default is 6. */
    int m_tries;
    /** For each of: beginning a transfer, with the look-up of the host's name; finishing one. The default is
     * -1: as long as the repeated tries and the platform's look-up take. */
    int m_step_ms;
    /** For a transfer in all, from its beginning to its end; the default is -1, for ever. */
    int m_whole_ms;
    /** Bytes of a file beyond which it is not read further; the default is 1 GiB; negative for no limit. */
    int64_t m_size_limit;
} ombrel_tftp_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_tftp_options(ombrel_tftp_options_t* options);

/**
 * @brief Makes a client. It sends nothing yet.
 * @param options  how; copied; null means ombrel_init_tftp_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the client, for ombrel_close_tftp(); null with invalid for options out of range, no_memory
 */
OMBREL_API ombrel_tftp_t* ombrel_open_tftp_tag(const ombrel_tftp_options_t* options, const char* function,
                                               unsigned long line);
/** ombrel_open_tftp_tag() with the caller's own name and line. */
#define ombrel_open_tftp(options) ombrel_open_tftp_tag((options), __func__, __LINE__)

/**
 * @brief Frees a client. A transfer under way is given up: the server is told, and nothing is waited for.
 * @param tftp the client; null gives 0
 * @return 0
 */
OMBREL_API int ombrel_close_tftp(ombrel_tftp_t* tftp);

/**
 * @brief Begins to read a file: asks for it and waits for its first block. A transfer under way is given up.
 * @param tftp the client
 * @param host the server's name or address; its addresses are tried in turn
 * @param port the server's port, 1 to 65535
 * @param name the file's name as the server is to see it, at most about 450 bytes
 * @return 0 or -1
 */
OMBREL_API int ombrel_tftp_open_read(ombrel_tftp_t* tftp, const char* host, int port, const char* name);

/**
 * @brief Begins to write a file: asks for it and waits until the server lets it be sent. A transfer under way
 * is given up.
 * @param tftp the client
 * @param host the server's name or address
 * @param port the server's port, 1 to 65535
 * @param name the file's name as the server is to see it
 * @param size bytes of the file, which the server is told so that it can refuse it; negative when they are
 *             not known, and ignored in netascii
 * @return 0 or -1
 */
OMBREL_API int ombrel_tftp_open_write(ombrel_tftp_t* tftp, const char* host, int port, const char* name,
                                      int64_t size);

/**
 * @brief Waits until ombrel_tftp_read() or ombrel_tftp_write() can do something without waiting.
 * @param tftp       the client
 * @param timeout_ms milliseconds; negative waits until the server counts as gone, 0 looks once
 * @return 1 when it can, at the end of the file too; 0 when the time ran out; -1 on failure and when no
 * transfer is under way
 */
OMBREL_API int ombrel_tftp_wait(ombrel_tftp_t* tftp, int timeout_ms);

/**
 * @brief Reads the bytes of the file that have come, waiting for the first one.
 * @param tftp       the client
 * @param buffer     receives at most `size` bytes
 * @param size       bytes wanted
 * @param timeout_ms milliseconds; negative waits until the server counts as gone, 0 looks once
 * @return bytes read; 0 at the end of the file; -1 on failure; #def_ombrel_tftp_timeout when the time ran out
 */
OMBREL_API int64_t ombrel_tftp_read(ombrel_tftp_t* tftp, void* buffer, size_t size, int timeout_ms);

/**
 * @brief Writes to the file. Bytes that do not fill a block are kept until more come, or until
 * ombrel_tftp_finish().
 * @param tftp       the client
 * @param data       the bytes
 * @param size       their number
 * @param timeout_ms milliseconds; negative waits until the server counts as gone, 0 does what can be done at
 *                   once
 * @return bytes taken, fewer or 0 when the time ran out; -1 on failure
 */
OMBREL_API int64_t ombrel_tftp_write(ombrel_tftp_t* tftp, const void* data, size_t size, int timeout_ms);

/**
 * @brief Ends a transfer: sends the last block of a file that is written and waits for its acknowledgement;
 * tells the server that no more is wanted of a file that was not read to its end.
 * @return 0; -1 when a failure, now or before, kept the file from being moved, and when there is no transfer
 */
OMBREL_API int ombrel_tftp_finish(ombrel_tftp_t* tftp);

/**
 * Called with each piece of a file that is read.
 * @param data    the bytes, until the handler returns
 * @param size    their number, above 0
 * @param context the one given along
 * @return 0 to go on; anything else ends the transfer, and ombrel_tftp_retrieve() returns it
 */
typedef int (*ombrel_tftp_receive_handler_t)(const void* data, size_t size, void* context);

/**
 * Called for the next piece of a file that is written.
 * @param buffer  room for the bytes
 * @param size    its size
 * @param context the one given along
 * @return bytes put there, 1 to `size`; 0 at the end of the file; anything else ends the transfer without the
 * rest of the file, and ombrel_tftp_store() returns -1 with the fault that the handler left
 */
typedef int64_t (*ombrel_tftp_send_handler_t)(void* buffer, size_t size, void* context);

/**
 * @brief Reads a whole file.
 * @param tftp    the client
 * @param host    as for ombrel_tftp_open_read()
 * @param port    likewise
 * @param name    likewise
 * @param handler given the file, piece by piece, in order
 * @param context handed to it
 * @return 0 when all of it was read; -1 on failure; the handler's result when that was not 0
 */
OMBREL_API int ombrel_tftp_retrieve(ombrel_tftp_t* tftp, const char* host, int port, const char* name,
                                    ombrel_tftp_receive_handler_t handler, void* context);

/**
 * @brief Writes a whole file.
 * @param tftp    the client
 * @param host    as for ombrel_tftp_open_write()
 * @param port    likewise
 * @param name    likewise
 * @param size    likewise
 * @param handler asked for the file, piece by piece
 * @param context handed to it
 * @return 0 when the server has acknowledged all of it; -1 on failure
 */
OMBREL_API int ombrel_tftp_store(ombrel_tftp_t* tftp, const char* host, int port, const char* name,
                                 int64_t size, ombrel_tftp_send_handler_t handler, void* context);

/** @brief The size of the file that is read, where the server told it, in bytes as they travel. @return
 * bytes, or -1 */
OMBREL_API int64_t ombrel_tftp_get_size(const ombrel_tftp_t* tftp);

/** @brief Bytes of the file that were read or taken for writing in the present or last transfer. @return
 * bytes; -1 for null */
OMBREL_API int64_t ombrel_tftp_get_count(const ombrel_tftp_t* tftp);

/**
 * @brief Why the present or last transfer failed.
 * @return the record, until the client's next call; its fault is 0 when nothing failed; null for null
 */
OMBREL_API const ombrel_transfer_error_t* ombrel_tftp_get_error(const ombrel_tftp_t* tftp);

OMBREL_END_C

#endif
