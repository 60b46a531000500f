/**
 * @file ftp.h
 * @brief A client of FTP (RFC 959, 2428, 2640, 3659): files, lists, directories of a server.
 *
 * A session is one control connection to one server, on which one thing is done at a time:
 *
 * @code
 * ombrel_ftp_t* ftp = ombrel_open_ftp(NULL);
 * if (ombrel_ftp_connect(ftp, "device.local", 21) != 0 ||
 *     ombrel_ftp_log_in(ftp, "operator", password, NULL) != 0 ||
 *     ombrel_ftp_download(ftp, "logs/today.txt", "today.txt", def_ombrel_ftp_resume) != 0)
 *     ombrel_error_printf("%s\n", ombrel_ftp_get_error(ftp)->m_text);
 * ombrel_close_ftp(ftp);
 * @endcode
 *
 * @par Transfers
 * ombrel_ftp_begin_retrieve() and the functions like it begin a transfer, whose bytes ombrel_ftp_read() gives
 * and ombrel_ftp_write() takes in pieces of any size, each within a time limit of its own; no file is held in
 * memory. ombrel_ftp_finish() tells whether the server confirms the whole. Until then the session is busy:
 * other calls that ask the server give -1 with #def_ombrel_fault_busy. After a transfer has failed the
 * session can still be used as long as its control connection stands.
 *
 * @par What is not believed
 * Whatever a server says, memory, time and places are bounded. Data connections go to and come from the
 * server's own address alone, to ports above 1023; a text of the caller that would turn one command into two
 * is refused before anything is sent. A reply that comes unasked, out of order or in another shape, of lines
 * longer than 1,023 bytes or of more than 512, or more than 16 replies that say "wait", end the connection:
 * #def_ombrel_fault_violation. A file counts as received when the server confirms it and no less came than
 * the server announced (otherwise #def_ombrel_fault_closed); one restarted in the middle, when no more came
 * either. Names in lists are texts of the server, not paths of this host: see
 * ombrel_ftp_entry_t::m_name_faults.
 *
 * @par Names
 * Paths are UTF-8, which is announced to servers that list UTF8 among their features, and go to the server as
 * they are: the server decides how it divides them (usually by "/"). A path with a line end, or longer than
 * 1,000 bytes, is #def_ombrel_fault_invalid. Passwords and files cross the network unencrypted: there is no
 * TLS here.
 *
 * @par Failures
 * Calls that can fail give -1 or null, with the reason in ombrel_last_fault() and, of a session, with the
 * server's code and words in ombrel_ftp_get_error(): #def_ombrel_fault_invalid for null and invalid
 * arguments; #def_ombrel_fault_unknown_host, #def_ombrel_fault_refused, #def_ombrel_fault_unreachable and
 * #def_ombrel_fault_timed_out for the way to the server; #def_ombrel_fault_closed where a connection is gone
 * (the replies 421, 425 and 426 too); #def_ombrel_fault_access_denied (430, 530, 532, 553),
 * #def_ombrel_fault_not_found (550, which servers also say of what is forbidden), #def_ombrel_fault_no_space
 * (452, 552), #def_ombrel_fault_rejected (every other refusal); #def_ombrel_fault_violation;
 * #def_ombrel_fault_not_supported where a server lacks what is wanted; #def_ombrel_fault_no_memory. After a
 * failure that ends the connection every call except ombrel_ftp_connect() gives
 * #def_ombrel_fault_not_connected.
 *
 * @par Threads
 * Any; a session belongs to one at a time. Nothing runs in the background, so where a server ends idle
 * sessions the caller has to send NOOP.
 */
#ifndef OMBREL_FTP_H
#define OMBREL_FTP_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>
#include <ombrel/transfer_error.h>

OMBREL_BEGIN_C

/** A session with a server. Opaque. */
typedef struct ombrel_ftp_ts ombrel_ftp_t;

/** The port of FTP. */
#define def_ombrel_ftp_port 21

/** What ombrel_ftp_read() gives when its own time ran out; the transfer goes on. */
#define def_ombrel_ftp_timeout (-2)

/**
 * @name Session
 * @{
 */
/** Option: the server connects to this host for each transfer (EPRT, PORT) in place of the other way round
 * (EPSV, PASV). The listener takes connections from the server's address alone. */
#define def_ombrel_ftp_active 0x1u
/** Option: the extended commands EPSV and EPRT are not tried first; for servers that hang or answer falsely.
 * Over IPv6 there are no others, so they are still used. */
#define def_ombrel_ftp_not_extended 0x2u
/** Option: a reply to PASV that names another address than the server's is a violation. Without it the
 * address is ignored, as a server behind address translation names one that cannot be reached; either way
 * the connection goes to the server. */
#define def_ombrel_ftp_check_address 0x4u
/** Option: FEAT is not asked after the log in: no features are known, names are sent as they are. */
#define def_ombrel_ftp_no_features 0x8u
/** Option: a data port below 1024, a store confirmed before its end and more bytes than announced after a
 * restart are accepted. The built-in FTP stream works this way. */
#define def_ombrel_ftp_lenient 0x10u

/**
 * Called with the progress of ombrel_ftp_download(), ombrel_ftp_upload() and lists, after each piece.
 * @param ftp     the session; only its getters may be called
 * @param done    bytes of the file up to now, those before a restart included
 * @param total   bytes of the whole; -1 where it is not known
 * @param context the one of the options
 * @return 0 to go on; anything else aborts the transfer and is the result of the call
 */
typedef int (*ombrel_ftp_progress_handler_t)(ombrel_ftp_t* ftp, int64_t done, int64_t total, void* context);

/**
 * Called with each line of the dialogue.
 * @param ftp      the session; only its getters may be called
 * @param is_reply 1 for a line of the server, 0 for a command; passwords are shown as "****"
 * @param line     the line without its end, control characters as "?"; valid until the handler returns
 * @param context  the one of the options
 * @return ignored
 */
typedef int (*ombrel_ftp_dialogue_handler_t)(ombrel_ftp_t* ftp, int is_reply, const char* line,
                                             void* context);

/** How a session works. Times are milliseconds. */
typedef struct ombrel_ftp_options_ts {
    uint32_t m_flags; /**< the options above; the default is 0 */
    /** For each step: the look-up, a connection, a command with its reply; and for a piece of a list or of a
     * whole file to come or go. The default is 30,000; negative for no limit; 0 hardly ever succeeds. */
    int m_step_ms;
    /** For a whole list, from the command to the confirmation; the default is 300,000; negative for no limit.
     */
    int m_list_ms;
    /** The time after which NOOP is sent again on the control connection while a transfer lasts, from within
     * the calls that move bytes, so that routers on the way do not forget the idle connection; the default is
     * 0: never, as for negative values. TCP keeps the connection alive after a minute anyway, and some
     * servers do not expect a command during a transfer. */
    int m_keep_alive_ms;
    /** Bytes of a list; the default is 16 MiB; beyond, #def_ombrel_fault_too_large. 0 takes only empty ones.
     */
    size_t m_list_size_limit;
    /** Entries of a list; the default is 100,000; beyond, the same. */
    size_t m_list_entry_limit;
    ombrel_ftp_progress_handler_t m_progress_handler; /**< null, the default, for none */
    ombrel_ftp_dialogue_handler_t m_dialogue_handler; /**< null, the default, for none */
    void* m_context;                                  /**< handed to both */
} ombrel_ftp_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_ftp_options(ombrel_ftp_options_t* options);

/**
 * @brief Makes a session, which is not connected yet.
 * @param options  how; copied; null means ombrel_init_ftp_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the session, for ombrel_close_ftp(); null on failure. The other calls take null for a session and
 * fail.
 */
OMBREL_API ombrel_ftp_t* ombrel_open_ftp_tag(const ombrel_ftp_options_t* options, const char* function,
                                             unsigned long line);
/** ombrel_open_ftp_tag() with the caller's own name and line. */
#define ombrel_open_ftp(options) ombrel_open_ftp_tag((options), __func__, __LINE__)

/** @brief Disconnects as ombrel_ftp_disconnect() does, and frees the session. @param ftp it, or null @return
 * 0 */
OMBREL_API int ombrel_close_ftp(ombrel_ftp_t* ftp);

/**
 * @brief Connects to a server and reads its greeting, which is then the last reply. An earlier connection is
 * ended first.
 * @param ftp  the session
 * @param host a name or a numeric address, IPv6 with or without brackets; all of a name's addresses are tried
 * @param port 1 to 65535
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_connect(ombrel_ftp_t* ftp, const char* host, int port);

/**
 * @brief Logs in (USER, PASS, ACCT, as far as the server asks), then asks which features there are (FEAT) and
 * says that names are UTF-8 where that is one of them.
 * @param ftp      the session
 * @param user     null for "anonymous"
 * @param password null for none, and for "anonymous@" where the user is null
 * @param account  null for none; a server that wants one is then #def_ombrel_fault_access_denied
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_log_in(ombrel_ftp_t* ftp, const char* user, const char* password,
                                 const char* account);

/**
 * @brief Logs out (QUIT) and ends the connection. A transfer under way is ended as
 * ombrel_ftp_finish() does.
 * @return 0; -1 when that transfer failed, and for null
 */
OMBREL_API int ombrel_ftp_disconnect(ombrel_ftp_t* ftp);

/** @brief Whether the control connection stands, as far as is known. @return 1 or 0 */
OMBREL_API int ombrel_ftp_is_connected(const ombrel_ftp_t* ftp);

/**
 * @brief Why the last call failed.
 * @return the failure, valid until the session is closed; its fault is #def_ombrel_fault_none when the call
 * succeeded; null for null
 */
OMBREL_API const ombrel_transfer_error_t* ombrel_ftp_get_error(const ombrel_ftp_t* ftp);

/** @brief The code of the last reply. @return 100 to 599; 0 before the first one; -1 for null */
OMBREL_API int ombrel_ftp_get_reply_code(const ombrel_ftp_t* ftp);

/** Bytes that are kept of a reply's text, its terminator included. */
#define def_ombrel_ftp_reply_size 4096

/**
 * @brief The words of the last reply: its lines, divided by line feeds, without the codes at the first and
 * the last, without other control characters (each is a "?"), cut where they are longer than
 * #def_ombrel_ftp_reply_size.
 * @return a text valid until the session's next call; never null
 */
OMBREL_API const char* ombrel_ftp_get_reply_text(const ombrel_ftp_t* ftp);

/** @name Features, as bits
 * @{ */
#define def_ombrel_ftp_feature_size 0x1u   /**< SIZE */
#define def_ombrel_ftp_feature_mdtm 0x2u   /**< MDTM: ombrel_ftp_get_time() */
#define def_ombrel_ftp_feature_mfmt 0x4u   /**< MFMT: ombrel_ftp_set_time() */
#define def_ombrel_ftp_feature_rest 0x8u   /**< REST STREAM: transfers from the middle */
#define def_ombrel_ftp_feature_facts 0x10u /**< MLST: lists with facts */
#define def_ombrel_ftp_feature_utf8 0x20u  /**< UTF8 */
#define def_ombrel_ftp_feature_epsv 0x40u  /**< EPSV */
#define def_ombrel_ftp_feature_eprt 0x80u  /**< EPRT */
#define def_ombrel_ftp_feature_tls 0x100u  /**< AUTH TLS, which this client does not use */
/** @} */

/** @brief The features that the server named after the log in. @return def_ombrel_ftp_feature_* bits; 0 for
 * null
 */
OMBREL_API uint32_t ombrel_ftp_get_features(const ombrel_ftp_t* ftp);

/**
 * @brief Sends any command and reads its reply: NOOP, SYST, HELP, SITE …
 *
 * Refused (#def_ombrel_fault_invalid) are commands that would confuse the session, because they begin or
 * prepare transfers, log in or out, or change the protocol: there are functions for these, or they are of no
 * use here.
 * @param ftp      the session
 * @param verb     the command: one word of 1 to 16 letters
 * @param argument the rest of the line, or null
 * @return the code of the reply, 200 to 599, whatever it says; -1 when none came
 */
OMBREL_API int ombrel_ftp_command(ombrel_ftp_t* ftp, const char* verb, const char* argument);
/** @} */

/**
 * @name Transfers in pieces
 * @{
 */
/** Flag of transfers: a text (TYPE A). Its line ends are CR LF on the way; they are line feeds in what
 * ombrel_ftp_read() gives, and line feeds become CR LF in what ombrel_ftp_write() takes. Without it bytes go
 * as they are (TYPE I). */
#define def_ombrel_ftp_text 0x1u

/**
 * @brief Begins to receive a file.
 * @param ftp    the session
 * @param path   its path on the server
 * @param offset bytes of it to leave out at its beginning, 0 or more (REST); 0 for texts. A server that does
 *               not know how to is #def_ombrel_fault_rejected
 * @param flags  #def_ombrel_ftp_text or 0
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_begin_retrieve(ombrel_ftp_t* ftp, const char* path, int64_t offset, uint32_t flags);

/**
 * @brief Begins to send a file, which is replaced or created.
 * @param ftp    the session
 * @param path   its path on the server
 * @param offset bytes of it to keep at its beginning, 0 or more (REST); 0 for texts
 * @param flags  #def_ombrel_ftp_text or 0
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_begin_store(ombrel_ftp_t* ftp, const char* path, int64_t offset, uint32_t flags);

/** @brief Begins to append to a file, which is created where there is none. @return 0 or
 * -1 */
OMBREL_API int ombrel_ftp_begin_append(ombrel_ftp_t* ftp, const char* path, uint32_t flags);

/**
 * @brief Begins to send a file for which the server finds a name that no other has: see
 * ombrel_ftp_get_stored_name().
 * @param ftp   the session
 * @param path  what the name is made of; null leaves all to the server
 * @param flags #def_ombrel_ftp_text or 0
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_begin_store_unique(ombrel_ftp_t* ftp, const char* path, uint32_t flags);

/**
 * @brief The name that the server gave to the last file stored under a unique one.
 * @return a text of the server, control characters as "?"; empty where it gave none; valid until the next
 * such transfer; never null
 */
OMBREL_API const char* ombrel_ftp_get_stored_name(const ombrel_ftp_t* ftp);

/**
 * @brief Waits until ombrel_ftp_read() or ombrel_ftp_write() can do something without waiting.
 * @return 1 when it can (also at the end of the file), 0 when the time ran out, -1 after a failure and
 * without a transfer
 */
OMBREL_API int ombrel_ftp_wait(ombrel_ftp_t* ftp, int timeout_ms);

/**
 * @brief Reads bytes of the file that is received, as many as have come.
 * @param ftp        the session
 * @param buffer     receives them
 * @param size       bytes wanted at most
 * @param timeout_ms milliseconds to wait for the first one
 * @return bytes, 1 or more; 0 for a size of 0, and at the end, which the server has then confirmed;
 * #def_ombrel_ftp_timeout; -1
 */
OMBREL_API int64_t ombrel_ftp_read(ombrel_ftp_t* ftp, void* buffer, size_t size, int timeout_ms);

/**
 * @brief Sends bytes of the file.
 * @param ftp        the session
 * @param data       the bytes
 * @param size       how many
 * @param timeout_ms milliseconds for all of them
 * @return bytes taken, fewer than `size` or 0 when the time ran out; -1
 */
OMBREL_API int64_t ombrel_ftp_write(ombrel_ftp_t* ftp, const void* data, size_t size, int timeout_ms);

/**
 * @brief Ends the transfer: waits for the server to confirm what was sent; what was not received to its end
 * is aborted.
 * @return 0; -1 when the transfer failed, now or before. Without one: 0
 */
OMBREL_API int ombrel_ftp_finish(ombrel_ftp_t* ftp);

/**
 * @brief Breaks the transfer off (ABOR). The server decides what it keeps of an incomplete file.
 * @return 0 when the session can go on; -1 when the connection is gone. Without a transfer: 0
 */
OMBREL_API int ombrel_ftp_abort(ombrel_ftp_t* ftp);

/**
 * @brief How far the present or last transfer has come.
 * @param ftp   the session
 * @param done  receives bytes of the file on the way up to now, including what a restart left out
 * @param total receives the bytes of the file where the server announced them, else -1; may be null
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_ftp_get_progress(const ombrel_ftp_t* ftp, int64_t* done, int64_t* total);
/** @} */

/**
 * @name Whole files
 * @{
 */
/** Flag: a file that is there in part is resumed; one that is there whole is left as it is. Not for
 * texts. */
#define def_ombrel_ftp_resume 0x2u

/**
 * @brief Receives a file into one of this host, which is replaced or made. What came before a failure stays,
 * so that it can be resumed.
 * @param ftp        the session
 * @param path       its path on the server
 * @param local_path where it goes; never a name from the server that was not checked: see
 *                   ombrel_ftp_entry_t::m_name_faults
 * @param flags      #def_ombrel_ftp_text or #def_ombrel_ftp_resume or 0
 * @return 0; -1; or what the progress handler returned
 */
OMBREL_API int ombrel_ftp_download(ombrel_ftp_t* ftp, const char* path, const char* local_path,
                                   uint32_t flags);

/**
 * @brief Sends a file of this host. Where the server tells sizes it is asked afterwards; a size other than
 * the one sent is #def_ombrel_fault_violation.
 * @param ftp        the session
 * @param local_path the file
 * @param path       its path on the server, replaced or made
 * @param flags      #def_ombrel_ftp_text or #def_ombrel_ftp_resume or 0
 * @return 0; -1; or what the progress handler returned
 */
OMBREL_API int ombrel_ftp_upload(ombrel_ftp_t* ftp, const char* local_path, const char* path, uint32_t flags);
/** @} */

/**
 * @name Lists
 * @{
 */
/** Form of lists: with facts where the server has them, else plain. */
#define def_ombrel_ftp_list_best 0
#define def_ombrel_ftp_list_facts 1 /**< MLSD: what RFC 3659 defines */
/** LIST: lines for people, read as Unix and DOS write them. What they mean beyond the name is a guess: times
 * are taken for UTC, those without a year for the latest that is not more than a day ahead. */
#define def_ombrel_ftp_list_plain 2
#define def_ombrel_ftp_list_names 3 /**< NLST: names alone */

/** @name Kinds of entries
 * @{ */
#define def_ombrel_ftp_kind_unknown 0   /**< not told */
#define def_ombrel_ftp_kind_file 1      /**< a file */
#define def_ombrel_ftp_kind_directory 2 /**< a directory */
#define def_ombrel_ftp_kind_link 3      /**< a symbolic link */
#define def_ombrel_ftp_kind_other 4     /**< a device, a pipe or the like */
#define def_ombrel_ftp_kind_self 5      /**< the listed directory itself */
#define def_ombrel_ftp_kind_parent 6    /**< a directory above it */
#define def_ombrel_ftp_kind_unread 7    /**< none: a line that is in none of the known forms; see m_line */
/** @} */

/** @name What may be done with an entry, as its fact "perm" tells, as bits
 * @{ */
#define def_ombrel_ftp_right_append 0x1u  /**< "a": be added to, a file */
#define def_ombrel_ftp_right_create 0x2u  /**< "c": receive files, a directory */
#define def_ombrel_ftp_right_delete 0x4u  /**< "d": be removed */
#define def_ombrel_ftp_right_enter 0x8u   /**< "e": be entered, a directory */
#define def_ombrel_ftp_right_rename 0x10u /**< "f": be renamed */
#define def_ombrel_ftp_right_list 0x20u   /**< "l": be listed, a directory */
#define def_ombrel_ftp_right_make 0x40u   /**< "m": receive directories */
#define def_ombrel_ftp_right_purge 0x80u  /**< "p": have its entries removed */
#define def_ombrel_ftp_right_read 0x100u  /**< "r": be retrieved, a file */
#define def_ombrel_ftp_right_write 0x200u /**< "w": be stored to, a file */
/** @} */

/** @name Why a name must not become part of a path of this host, as bits
 * @{ */
#define def_ombrel_ftp_name_empty 0x1u /**< it is empty */
#define def_ombrel_ftp_name_dots 0x2u  /**< it is "." or ".." */
#define def_ombrel_ftp_name_separator                                                                        \
    0x4u                                 /**< it has "/", a backslash or ":", which divide paths somewhere */
#define def_ombrel_ftp_name_control 0x8u /**< it has control characters */
#define def_ombrel_ftp_name_not_utf8 0x10u /**< it is no UTF-8 */
/** It is a device on Windows ("CON", "nul.txt"), or ends there without its last dots and spaces. */
#define def_ombrel_ftp_name_reserved 0x20u
/** @} */

/** @name How exactly a time is told
 * @{ */
#define def_ombrel_ftp_time_none 0   /**< there is none */
#define def_ombrel_ftp_time_day 1    /**< the day */
#define def_ombrel_ftp_time_minute 2 /**< the minute */
#define def_ombrel_ftp_time_second 3 /**< the second, or parts of it */
/** @} */

/** An entry of a list. Its texts are the server's, as it sent them; empty where it gave none. */
typedef struct ombrel_ftp_entry_ts {
    const char* m_name; /**< its name */
    uint32_t
        m_name_faults; /**< def_ombrel_ftp_name_* bits; only a name with 0 may be used in this host's paths */
    int m_kind;        /**< def_ombrel_ftp_kind_* */
    int64_t m_size;    /**< bytes of a file; -1 where they are not told */
    ombrel_instant_t m_time; /**< when it was changed last */
    int m_time_precision;    /**< def_ombrel_ftp_time_* */
    int m_mode;              /**< permissions as on Unix, 0 to 07777; -1 where they are not told */
    int m_has_rights;        /**< 1 when m_rights was told */
    uint32_t m_rights;       /**< def_ombrel_ftp_right_* bits */
    const char* m_unique;    /**< two entries with the same one are the same thing */
    const char* m_target;    /**< where a link leads */
    const char* m_owner;     /**< name or number of the owner */
    const char* m_group;     /**< name or number of the group */
    const char* m_line;      /**< the line as it came, without its end */
} ombrel_ftp_entry_t;

/**
 * Called for each entry of a list.
 * @param entry   the entry; valid until the handler returns
 * @param context the one of the call
 * @return 0 to go on; anything else aborts the list and is the result of the call
 */
typedef int (*ombrel_ftp_entry_handler_t)(const ombrel_ftp_entry_t* entry, void* context);

/**
 * @brief Lists a directory, or whatever else the server takes the path for, in the server's order, the
 * entries "." and ".." and lines that could not be read included.
 *
 * What came before a failure has been handed over. A line longer than 8,191 bytes is a violation.
 * @param ftp     the session
 * @param path    on the server; null for the present directory. One that begins with "-" goes out as "./-…",
 *                as many servers would take it for options
 * @param form    def_ombrel_ftp_list_*
 * @param handler called for each entry; the session is busy meanwhile
 * @param context handed to it
 * @return 0; -1; or what the handler, or the progress handler, returned
 */
OMBREL_API int ombrel_ftp_list(ombrel_ftp_t* ftp, const char* path, int form,
                               ombrel_ftp_entry_handler_t handler, void* context);

/**
 * @brief The entries of ombrel_ftp_list() in one block.
 * @param ftp      the session
 * @param path     on the server; null for the present directory
 * @param form     def_ombrel_ftp_list_*
 * @param count    receives their number; may be null
 * @param function the calling function's name
 * @param line     the calling line
 * @return the entries with their texts, freed with ombrel_free(), and one with a null name after them; null
 * on failure
 */
OMBREL_API ombrel_ftp_entry_t* ombrel_alloc_ftp_list_tag(ombrel_ftp_t* ftp, const char* path, int form,
                                                         size_t* count, const char* function,
                                                         unsigned long line);
/** ombrel_alloc_ftp_list_tag() with the caller's own name and line. */
#define ombrel_alloc_ftp_list(ftp, path, form, count)                                                        \
    ombrel_alloc_ftp_list_tag((ftp), (path), (form), (count), __func__, __LINE__)

/**
 * @brief Begins to receive a list as it comes, for ombrel_ftp_read(). The limits of lists do not apply to it.
 * @param ftp  the session
 * @param path on the server; null for the present directory
 * @param form def_ombrel_ftp_list_*
 * @return the form used, which is never #def_ombrel_ftp_list_best; -1
 */
OMBREL_API int ombrel_ftp_begin_list(ombrel_ftp_t* ftp, const char* path, int form);

/**
 * @brief The facts of one file or directory (MLST).
 * @param ftp   the session
 * @param path  on the server; null for the present directory
 * @param entry receives them; the texts are valid until the session's next call. Its name may be a whole path
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_get_entry(ombrel_ftp_t* ftp, const char* path, ombrel_ftp_entry_t* entry);

/**
 * @brief Reads one line of a list.
 * @param form  #def_ombrel_ftp_list_facts, #def_ombrel_ftp_list_plain or #def_ombrel_ftp_list_names
 * @param line  the line, without its end
 * @param now   the moment by which years are guessed; null for the clock
 * @param room  receives the texts
 * @param size  its bytes: those of the line and its terminator, and 8 more, suffice
 * @param entry receives the entry, which points into the room and to the line
 * @return 0, also for a line in none of the forms, which is #def_ombrel_ftp_kind_unread; -1 when the room is
 * too small (#def_ombrel_fault_too_large) and for invalid arguments
 */
OMBREL_API int ombrel_parse_ftp_entry(int form, const char* line, const ombrel_instant_t* now, char* room,
                                      size_t size, ombrel_ftp_entry_t* entry);

/** @brief Why a name must not become part of a path of this host. @return def_ombrel_ftp_name_* bits; 0: it
 * may */
OMBREL_API uint32_t ombrel_check_ftp_name(const char* name);
/** @} */

/**
 * @name Files and directories of the server
 * @{
 */
/** @brief Renames a file or directory (RNFR, RNTO). @return 0 or -1 */
OMBREL_API int ombrel_ftp_rename(ombrel_ftp_t* ftp, const char* from, const char* to);

/** @brief Removes a file (DELE). @return 0 or -1 */
OMBREL_API int ombrel_ftp_remove_file(ombrel_ftp_t* ftp, const char* path);

/** @brief Makes a directory (MKD). @return 0 or -1 */
OMBREL_API int ombrel_ftp_make_directory(ombrel_ftp_t* ftp, const char* path);

/** @brief Removes an empty directory (RMD). @return 0 or -1 */
OMBREL_API int ombrel_ftp_remove_directory(ombrel_ftp_t* ftp, const char* path);

/** @brief Makes another directory the present one (CWD). @return 0 or -1 */
OMBREL_API int ombrel_ftp_change_directory(ombrel_ftp_t* ftp, const char* path);

/** @brief Makes the one above it the present directory (CDUP). @return 0 or -1 */
OMBREL_API int ombrel_ftp_change_to_parent(ombrel_ftp_t* ftp);

/**
 * @brief The path of the present directory (PWD).
 * @param ftp    the session
 * @param buffer receives it, terminated
 * @param size   its room in bytes
 * @return its length; -1, with #def_ombrel_fault_too_large when it does not fit
 */
OMBREL_API int64_t ombrel_ftp_get_directory(ombrel_ftp_t* ftp, char* buffer, size_t size);

/** @brief The size of a file (SIZE). @return bytes, 0 or more; -1 */
OMBREL_API int64_t ombrel_ftp_get_size(ombrel_ftp_t* ftp, const char* path);

/**
 * @brief When a file was changed last (MDTM).
 * @param ftp  the session
 * @param path the file
 * @param time receives the moment, to the second or to parts of it
 * @return 0 or -1
 */
OMBREL_API int ombrel_ftp_get_time(ombrel_ftp_t* ftp, const char* path, ombrel_instant_t* time);

/**
 * @brief Sets when a file was changed last (MFMT), in whole seconds.
 * @param ftp  the session
 * @param path the file
 * @param time the moment, of the years 0 to 9999
 * @return 0; -1, with #def_ombrel_fault_not_supported where the server does not know the command
 */
OMBREL_API int ombrel_ftp_set_time(ombrel_ftp_t* ftp, const char* path, const ombrel_instant_t* time);
/** @} */

OMBREL_END_C

#endif
