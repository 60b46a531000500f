/**
 * @file ftp_server.h
 * @brief An FTP server on an event base: accounts whose clients cannot leave their directories, limits on
 * everything that a client sends, takes or leaves undone.
 *
 * @code
 * ombrel_event_base_t* base = ombrel_new_event_base();
 * ombrel_ftp_server_t* server = ombrel_open_ftp_server(base, NULL);
 * const ombrel_ftp_account_t guest = {"anonymous", NULL, "/srv/public", def_ombrel_ftp_account_read};
 * ombrel_ftp_account_fault_t wrong;
 * if (ombrel_ftp_server_add_account(server, &guest) != 0)
 *     return complain(guest.m_directory, ombrel_fault_text());
 * if (ombrel_ftp_server_load_accounts(server, "accounts", &wrong) < 0) // a line: ann:SECRET:/srv/ann:rwd
 *     return complain("accounts", ombrel_ftp_account_fault_text(&wrong));
 * if (ombrel_ftp_server_listen(server, "0.0.0.0", 2121) < 0)
 *     return complain("ftp", ombrel_fault_text());
 * ombrel_event_base_dispatch(base);
 * ombrel_close_ftp_server(server);
 * ombrel_free_event_base(base);
 * @endcode
 *
 * Supported are RFC 959 with the requirements of RFC 1123, RFC 2389 (FEAT, OPTS), RFC 2428 (EPSV, EPRT), RFC
 * 2640 (names in UTF-8), RFC 3659 (MLST, MLSD, SIZE, MDTM, REST) and MFMT, with the protections of RFC 2577.
 * Structures other than files, modes other than streams, and EBCDIC are refused. There is no TLS: AUTH is
 * answered 502, and passwords cross the network as they are typed, so serve secrets only on networks that you
 * trust.
 *
 * @par Accounts and rights
 * An account has a name, a secret (secret.h), a directory that is its "/", and rights:
 * - read (r): listing directories, fetching files, asking for sizes and times of files. Without it an account
 *   is a drop box: clients may enter directories whose names they know.
 * - write (w): storing, appending, replacing what a file holds, setting its time, making directories.
 * - delete (d): removing files and empty directories; with write also renaming, which may replace a file.
 *
 * The account "anonymous", where there is one, takes any password and answers to "ftp" as well. All other
 * accounts need a password. An unknown name takes as long as a wrong password and gets the same answer.
 *
 * @par Directories
 * The server splits a path from a client itself and follows it name by name from the open directory of the
 * account. No symbolic link is followed, wherever it leads; links are listed as such and may be renamed and
 * removed. ".." at the top leads to the top. Names with control characters, backslashes and, on Windows,
 * names that Windows does not take as plain ones, do not exist. Renaming directories meanwhile leads no
 * client out. Only regular files can be fetched or written; opening others does not block.
 *
 * @par Transfers
 * Files are read and written in pieces between which the loop serves others. The bytes of an upload that
 * breaks off are kept, so that the client may continue there (SIZE, REST, STOR or APPE). STOR replaces what
 * the file held from its beginning, or after REST from there on; a place beyond the end is refused. In ASCII
 * type line ends are CR LF on the network and LF in files; SIZE and REST are then refused, as offsets differ.
 * One transfer at a time: commands that come meanwhile wait for its end, except ABOR and STAT.
 *
 * Passive connections are accepted only from the client's own address, active ones are made only to it and to
 * no port below 1024.
 *
 * @par Limits
 * All are fields of #ombrel_ftp_server_options_t. A session holds one descriptor, during a transfer three. A
 * client that stalls or disappears costs nothing beyond its time limit.
 *
 * @par Threads
 * One: that of the base's loop. Handlers run on it; all functions are called on it, or while no loop runs.
 * Calls of the file system are short and made there; nothing else waits. A log-in by a strong secret
 * (secret.h) is checked in many turns of the loop, a tenth of a millisecond or so each, between which others
 * are served.
 *
 * @par Failures
 * Functions give -1, 0 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, #def_ombrel_fault_no_memory, and what is named with the function.
 */
#ifndef OMBREL_FTP_SERVER_H
#define OMBREL_FTP_SERVER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event_base.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A server. Opaque. */
typedef struct ombrel_ftp_server_ts ombrel_ftp_server_t;

/** @name What happened: kinds of events
 * @{ */
#define def_ombrel_ftp_server_event_connected 1 /**< a client came */
#define def_ombrel_ftp_server_event_logged_in 2 /**< the client logged in; a handler may refuse it */
#define def_ombrel_ftp_server_event_login_failed                                                             \
    3 /**< it did not log in: a wrong name or password, or too many sessions                                 \
       */
#define def_ombrel_ftp_server_event_sent 4     /**< a file was fetched, wholly or not: see the reply */
#define def_ombrel_ftp_server_event_received 5 /**< a file was stored or appended to, likewise */
#define def_ombrel_ftp_server_event_listed 6   /**< a directory was listed, likewise */
#define def_ombrel_ftp_server_event_changed                                                                  \
    7                                         /**< it renamed, removed or created something, or set a time   \
                                               */
#define def_ombrel_ftp_server_event_refused 8 /**< a command failed or is not allowed */
#define def_ombrel_ftp_server_event_left 9    /**< the session is over. The last event */
/** @} */

/** Something that happened. Texts live until the handler returns, and may be empty, never null. They hold
 * paths as they came, but nothing that came before the log-in, as it may be a password. */
typedef struct ombrel_ftp_server_event_ts {
    int m_kind;             /**< a def_ombrel_ftp_server_event_* */
    int m_reply;            /**< the code of the answer to the client, such as 226; 0 for none */
    uint64_t m_session;     /**< number of the session, from 1 on */
    const char* m_client;   /**< its address and port, such as "192.0.2.7:40000" or "[2001:db8::7]:40000" */
    const char* m_account;  /**< the account, also where its password was wrong; empty for an unknown name */
    const char* m_command;  /**< the command, such as "STOR" */
    const char* m_path;     /**< what it was about, from the account's "/" on */
    const char* m_new_path; /**< where to, of a renaming */
    const char* m_reason;   /**< in words, of failures and of how a session ended */
    int64_t m_bytes;        /**< bytes moved by a transfer; of a session by all its transfers */
    int64_t m_duration_ms;  /**< how long the transfer or the session took */
} ombrel_ftp_server_event_t;

/**
 * Called for each event.
 * @param server  the server; not to be closed by it
 * @param event   what happened
 * @param context the one of the options
 * @return 0 to go on; anything else ends the session, a log-in is refused as if the password were wrong
 */
typedef int (*ombrel_ftp_server_event_handler_t)(ombrel_ftp_server_t* server,
                                                 const ombrel_ftp_server_event_t* event, void* context);

/**
 * Called for each event with a line for a log, without a line end, in which control characters stand as
 * "\x1B": "192.0.2.7:40000 ann sent /music/a.ogg, 4194304 bytes in 380 ms".
 * @param line    the text, valid until it returns
 * @param context the one of the options
 * @return as #ombrel_ftp_server_event_handler_t
 */
typedef int (*ombrel_ftp_server_log_handler_t)(const char* line, void* context);

/** Flag of a server: it makes no connections to clients; PORT and EPRT are refused. */
#define def_ombrel_ftp_server_passive_only 1u

/** How a server works. Texts are copied. Times are milliseconds, at least 1; negative means no limit. */
typedef struct ombrel_ftp_server_options_ts {
    /** #def_ombrel_ftp_server_passive_only or 0, the default. */
    uint32_t m_flags;
    /** What the greeting says after its code, a line of 200 bytes at most; the default is "FTP server
     * ready.". */
    const char* m_greeting;
    /** Told what happens; null, the default, for none. */
    ombrel_ftp_server_event_handler_t m_handler;
    /** Handed to it. */
    void* m_context;
    /** Given a line for each event; null, the default, for none. */
    ombrel_ftp_server_log_handler_t m_log_handler;
    /** Handed to it. */
    void* m_log_context;
    /** Clients at a time, at least 1; the default is 1,024. Others are answered 421. */
    size_t m_client_limit;
    /** Clients of one address at a time (of one IPv6 /64); the default is 0, for no limit of its own. */
    size_t m_address_limit;
    /** Sessions of one account at a time; the default is 0, for no limit of its own. */
    size_t m_account_limit;
    /** Bytes a second that each session's transfers may have; the default is 0, for no limit. */
    int64_t m_rate;
    /** Between commands; the default is 300,000. A transfer does not count as idle. Then 421. */
    int m_idle_ms;
    /** From the connection to the end of the log-in; the default is 60,000. Then 421. */
    int m_login_ms;
    /** Without a byte moved, of a transfer, or of replies that a client does not take; the default is 60,000.
     * A transfer then is broken off with 426, a client that takes no replies is cut off. */
    int m_progress_ms;
    /** For a connection for data to be made; the default is 30,000. Then 425. */
    int m_data_ms;
    /** Log-ins that may fail in a session before it ends, 1 to 100; the default is 5. */
    int m_login_attempts;
    /** The pause before the answer to a log-in that fails, 0 to 60,000; the default is 500. It doubles with
     * each further one from the same address, up to 16 times as long, and starts again after ten minutes. */
    int m_login_pause_ms;
    /** Bytes of a command line, 64 to 65,536; the default is 4,096. Longer ones are answered 500. As many
     * bytes are kept of commands that wait for their turn. */
    size_t m_line_limit;
    /** Entries of a listing; the default is 100,000; 0 for any number. One that is longer is cut off with
     * 451. */
    size_t m_listing_limit;
    /** The first port for passive connections; the default is 0, for any that is free. */
    int m_first_passive_port;
    /** The last one, at least the first. */
    int m_last_passive_port;
    /** The IPv4 address that PASV announces, for servers behind address translation; null, the
     * default, for the one that the client is connected to. EPSV announces none. */
    const char* m_passive_address;
} ombrel_ftp_server_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_ftp_server_options(ombrel_ftp_server_options_t* options);

/**
 * @brief Makes a server that has no accounts and listens nowhere yet.
 * @param base     the base on which it works; it must outlive the server
 * @param options  how; null means ombrel_init_ftp_server_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the server, for ombrel_close_ftp_server(); null when that fails
 */
OMBREL_API ombrel_ftp_server_t* ombrel_open_ftp_server_tag(ombrel_event_base_t* base,
                                                           const ombrel_ftp_server_options_t* options,
                                                           const char* function, unsigned long line);
/** ombrel_open_ftp_server_tag() with the caller's own name and line. */
#define ombrel_open_ftp_server(base, options)                                                                \
    ombrel_open_ftp_server_tag((base), (options), __func__, __LINE__)

/**
 * @brief Ends all sessions at once, and the server; for each session still open the event of its end is
 * given.
 * @param server the server; null gives 0
 * @return 0; -1 with #def_ombrel_fault_busy in an event or log handler, which changes nothing
 */
OMBREL_API int ombrel_close_ftp_server(ombrel_ftp_server_t* server);

/** @name Accounts
 * @{ */
#define def_ombrel_ftp_account_read 1u   /**< "r": list and fetch */
#define def_ombrel_ftp_account_write 2u  /**< "w": store and make */
#define def_ombrel_ftp_account_delete 4u /**< "d": remove and, with write, rename */

/** The longest name of an account, in bytes. */
#define def_ombrel_ftp_account_name_max 64

/** An account. Texts are copied. */
typedef struct ombrel_ftp_account_ts {
    const char* m_name;      /**< without ":", blanks and control characters */
    const char* m_secret;    /**< as secret.h makes them; ignored for "anonymous", where it may be null */
    const char* m_directory; /**< links on the way to it are followed, but only when the account is added */
    uint32_t
        m_rights; /**< def_ombrel_ftp_account_read, _write, _delete; 0 only to move between directories */
} ombrel_ftp_account_t;

/**
 * @brief Adds an account.
 * @param server  the server
 * @param account the account
 * @return 0; -1 with #def_ombrel_fault_exists when there is one of the name, with #def_ombrel_fault_invalid
 * for an invalid name, secret or rights, or as opening the directory failed
 */
OMBREL_API int ombrel_ftp_server_add_account(ombrel_ftp_server_t* server,
                                             const ombrel_ftp_account_t* account);

/**
 * @brief Removes an account and ends its sessions with 421.
 * @return 0; -1 with #def_ombrel_fault_not_found, and with #def_ombrel_fault_busy in an event or log handler
 */
OMBREL_API int ombrel_ftp_server_remove_account(ombrel_ftp_server_t* server, const char* name);

/** @name What is wrong with a line of accounts
 * @{ */
#define def_ombrel_ftp_account_fault_none 0   /**< nothing: the file could not be read, or memory ran out */
#define def_ombrel_ftp_account_fault_fields 1 /**< it is not NAME:SECRET:DIRECTORY:RIGHTS */
#define def_ombrel_ftp_account_fault_name 2   /**< the name is empty, too long or malformed */
#define def_ombrel_ftp_account_fault_twice 3  /**< there is an account with this name */
#define def_ombrel_ftp_account_fault_secret 4 /**< the secret is malformed, or of an unknown kind */
#define def_ombrel_ftp_account_fault_directory 5 /**< the directory cannot be opened: see the fault */
#define def_ombrel_ftp_account_fault_rights                                                                  \
    6 /**< the rights have a letter other than r, w, d, or one twice */
/** @} */

/** What is wrong with a file of accounts. */
typedef struct ombrel_ftp_account_fault_ts {
    size_t m_line; /**< the line, from 1 on; 0 when it is not a line */
    int m_reason;  /**< a def_ombrel_ftp_account_fault_* */
    int m_fault;   /**< a def_ombrel_fault_*: why the file or the directory could not be read */
} ombrel_ftp_account_fault_t;

/**
 * @brief Adds the accounts of a file, all or none.
 *
 * A line is NAME:SECRET:DIRECTORY:RIGHTS, where the directory reaches to the last colon and the rights are
 * some of the letters r, w, d, or none: "ann:$...:/srv/ann:rwd". For "anonymous" the secret may be empty.
 * Empty lines, and those that begin with "#", are passed over; lines may end in CR LF; blanks at the ends of
 * the fields count.
 * @param server the server
 * @param path   the file, of 1 MiB at most
 * @param fault  receives what is wrong; may be null
 * @return the number of accounts; -1 with #def_ombrel_fault_invalid for an invalid line, or as reading
 * the file or opening a directory failed
 */
OMBREL_API int64_t ombrel_ftp_server_load_accounts(ombrel_ftp_server_t* server, const char* path,
                                                   ombrel_ftp_account_fault_t* fault);

/** @brief A fault's reason in words, such as "the rights are not of the letters r, w, d". @return a static
 * text */
OMBREL_API const char* ombrel_ftp_account_fault_text(const ombrel_ftp_account_fault_t* fault);
/** @} */

/** @name Serving
 * @{ */
/**
 * @brief Listens at one more address, at 8 at most.
 * @param server  the server
 * @param address a numeric address of this host ("127.0.0.1", "::1", "0.0.0.0" for all of IPv4, "::" for
 * all), or "localhost" for both loop-back addresses as far as the host has them; null is "localhost"
 * @param port    0 to 65535; 0 takes a free one
 * @return the port, or -1: #def_ombrel_fault_address_in_use, #def_ombrel_fault_address_not_available,
 * #def_ombrel_fault_access_denied, #def_ombrel_fault_invalid for a text that is no address
 */
OMBREL_API int ombrel_ftp_server_listen(ombrel_ftp_server_t* server, const char* address, int port);

/**
 * @brief The URL of a listener, such as "ftp://127.0.0.1:2121/" or "ftp://[::1]:2121/".
 *
 * What listens at all addresses has "localhost" for its host.
 * @param server   the server
 * @param index    0 for the first address listened at; "localhost" counts once
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return a text to be freed by ombrel_free(); null when there is no such listener
 */
OMBREL_API char* ombrel_alloc_ftp_server_url_tag(ombrel_ftp_server_t* server, size_t index,
                                                 const char* function, unsigned long line);
/** ombrel_alloc_ftp_server_url_tag() with the caller's own name and line. */
#define ombrel_alloc_ftp_server_url(server, index)                                                           \
    ombrel_alloc_ftp_server_url_tag((server), (index), __func__, __LINE__)

/** Called once when a server that was stopped has no clients any more, or its time ran out. It may close the
 * server. */
typedef void (*ombrel_ftp_server_stop_handler_t)(ombrel_ftp_server_t* server, void* context);

/**
 * @brief Stops gracefully: listens no more, ends sessions without a transfer with 421 at once and the others
 * after theirs, breaks off what is left when the time has run out, and then calls the handler from the loop.
 * @param server     the server
 * @param timeout_ms milliseconds until what is left is broken off; negative waits for ever, 0 does it at once
 * @param handler    told when that is done; null for none
 * @param context    handed to it
 * @return 0; -1 also when it was stopped already
 */
OMBREL_API int ombrel_ftp_server_stop(ombrel_ftp_server_t* server, int timeout_ms,
                                      ombrel_ftp_server_stop_handler_t handler, void* context);

/** What a server has done since it was opened, and has now. The reserved words keep the record's size. */
typedef struct ombrel_ftp_server_counts_ts {
    uint64_t m_accepted;       /**< clients that were taken */
    uint64_t m_turned_away;    /**< clients for whom there was no room */
    uint64_t m_logins;         /**< log-ins that succeeded */
    uint64_t m_failed_logins;  /**< log-ins that did not */
    uint64_t m_commands;       /**< commands that were carried out or refused */
    uint64_t m_transfers;      /**< transfers of files and listings that were begun */
    uint64_t m_broken;         /**< transfers that did not come to their end */
    uint64_t m_sent_bytes;     /**< bytes of files and listings handed to the host */
    uint64_t m_received_bytes; /**< bytes of files that came */
    size_t m_clients;          /**< clients now */
    size_t m_moving;           /**< transfers now */
    uint64_t m_reserved[4];    /**< receive 0 */
} ombrel_ftp_server_counts_t;

/** @brief What the server has done. @return 0, or -1 for null */
OMBREL_API int ombrel_ftp_server_get_counts(ombrel_ftp_server_t* server, ombrel_ftp_server_counts_t* counts);
/** @} */

OMBREL_END_C

#endif
