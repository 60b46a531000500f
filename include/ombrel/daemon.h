/**
 * @file daemon.h
 * @brief Programs that run in the background: becoming one, pid files, and restarting or turning off the
 * machine.
 *
 * A program that becomes a daemon goes on in a process of its own, without a terminal. The process that the
 * user started waits meanwhile, and ends with 0 when the daemon says that it is ready; otherwise it prints
 * the daemon's message on standard error and ends with the daemon's code. Scripts and service managers can
 * rely on that end.
 *
 * @code
 * ombrel_daemon_options_t options;
 * ombrel_init_daemon_options(&options);
 * options.m_pid_file = "/run/collector.pid";
 * options.m_output = "/var/log/collector.log";
 * ombrel_daemon_t* daemon = ombrel_open_daemon(&options);
 * if (daemon == NULL) { // this is still the starting process
 *     ombrel_error_printf("collector: %s\n", ombrel_fault_text());
 *     return 1;
 * }
 * if (listen_for_clients() == 0) {
 *     ombrel_daemon_ready(daemon);
 *     serve_until_stopped();
 * } else {
 *     ombrel_daemon_fail(daemon, 3, "no port is free");
 * }
 * ombrel_close_daemon(daemon);
 * @endcode
 *
 * @par Pid files
 * A pid file has the number of the process that owns it, in decimal, and a line feed. The owner keeps it
 * locked for as long as it lives. A file that no process has locked is stale, whatever number it has: its
 * owner crashed, and the next one takes it over. So it does no harm when another process has got the number
 * meanwhile, and of two processes that want one file at the same moment exactly one gets it. A file that
 * another program wrote without locking it always counts as stale.
 *
 * @par Threads
 * One thread at a time for an object. Only the calling thread goes on in the daemon: call
 * ombrel_open_daemon() before others are started.
 *
 * @par Windows
 * The host has no such processes: ombrel_open_daemon() fails with #def_ombrel_fault_not_supported, except for
 * programs that stay in the foreground. Pid files are the same there.
 *
 * @par Failures
 * Functions give null or -1, with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, #def_ombrel_fault_no_memory, #def_ombrel_fault_no_descriptor, and what else is named
 * with the function.
 */
#ifndef OMBREL_DAEMON_H
#define OMBREL_DAEMON_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Pid files
 * @{
 */

/** A pid file that this process owns. Opaque. */
typedef struct ombrel_pid_file_ts ombrel_pid_file_t;

/**
 * @brief Takes a pid file: makes it, or takes over a stale one, locks it and writes this process's number.
 *
 * The lock belongs to the object. Programs that this process starts do not inherit it; a child that was
 * forked without becoming another program shares it, so that the file counts as owned until that child, too,
 * has ended or closed its copy of the object.
 * @param path     where; a relative one is resolved in the current directory at the time of the call, also
 * for the removal. The file is made readable by all. A symbolic link in its place is not followed
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the owned file, for ombrel_close_pid_file(); null with #def_ombrel_fault_busy when a living process
 *         owns it, this one included, #def_ombrel_fault_not_found for a missing directory,
 *         #def_ombrel_fault_access_denied, #def_ombrel_fault_no_space or #def_ombrel_fault_input_output
 */
OMBREL_API ombrel_pid_file_t* ombrel_open_pid_file_tag(const char* path, const char* function,
                                                       unsigned long line);
/** ombrel_open_pid_file_tag() with the caller's own name and line. */
#define ombrel_open_pid_file(path) ombrel_open_pid_file_tag((path), __func__, __LINE__)

/**
 * @brief Removes the file and frees the object.
 *
 * The file is removed by its owner alone: a forked child leaves it, and so does whoever finds another file in
 * its place.
 * @param file the owned file; null gives 0
 * @return 0; -1 when the file should have been removed and was not, the object is gone all the same
 */
OMBREL_API int ombrel_close_pid_file(ombrel_pid_file_t* file);

/**
 * @brief Reads a pid file and tells whether its owner lives.
 * @param path    the file
 * @param process receives the number that is in the file, 0 when there is none; may be null
 * @return 1 when the owner lives; 0 when not: no file is there, or it is stale; -1 when that cannot be told,
 * with #def_ombrel_fault_access_denied or another reason
 */
OMBREL_API int ombrel_read_pid_file(const char* path, int* process);

/**
 * @brief Asks the owner of a pid file to end, and waits until it has.
 *
 * It gets the signal to terminate, as by ombrel_signal_process(). Nothing is ended by force.
 * @param path       the file
 * @param timeout_ms milliseconds to wait at most; negative waits for ever, 0 only asks
 * @return 1 when it has ended; 0 when it still runs at the end of the time; -1 with
 *         #def_ombrel_fault_no_process when no process owns the file, with #def_ombrel_fault_access_denied
 * without the right to ask, and with #def_ombrel_fault_not_supported on a host that cannot ask processes
 * other than children
 */
OMBREL_API int ombrel_stop_pid_file_owner(const char* path, int timeout_ms);

/** @} */

/** @name Becoming a daemon
 * @{
 */

/** Flag: stays the process that it is, with its terminal, directory, mask and streams: for a program that
 * another one supervises, or that is being debugged. Only the pid file is taken. */
#define def_ombrel_daemon_foreground 1u

/** The mask of the options that leaves the process's own. */
#define def_ombrel_daemon_same_mask (-1)

/** @name Parts of a start, of which one has failed
 * @{
 */
#define def_ombrel_daemon_part_process 0   /**< the new process, or the start as a whole */
#define def_ombrel_daemon_part_directory 1 /**< the directory */
#define def_ombrel_daemon_part_pid_file 2  /**< the pid file */
#define def_ombrel_daemon_part_output 3    /**< the file for standard output */
#define def_ombrel_daemon_part_error 4     /**< the file for standard error */
/** @} */

/** How a program becomes a daemon. Texts are only looked at within ombrel_open_daemon(); relative paths are
 * resolved in the current directory at the time of that call. */
typedef struct ombrel_daemon_options_ts {
    /** #def_ombrel_daemon_foreground or 0, the default. */
    uint32_t m_flags;
    /** The working directory; null, the default, means the root directory. */
    const char* m_directory;
    /** The pid file; null, the default, for none. */
    const char* m_pid_file;
    /** Where standard output goes: the end of this file, made if need be with the mask of the starting
     * process; null, the default, for nowhere. */
    const char* m_output;
    /** Where standard error goes, likewise; null, the default, for where standard output goes. */
    const char* m_error;
    /** Permissions that files of the daemon do not get, as set by `umask`; the default is 022 (octal);
     * #def_ombrel_daemon_same_mask changes nothing. */
    int m_mask;
    /** Milliseconds that the starting process waits for the daemon's word, after which it ends the daemon by
     * force; the default is 60,000; negative waits for ever. */
    int m_ready_timeout_ms;
    /** Receives def_ombrel_daemon_part_* when ombrel_open_daemon() fails for a reason other than invalid
     * arguments; null, the default, to do without. */
    int* m_failed_part;
} ombrel_daemon_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_daemon_options(ombrel_daemon_options_t* options);

/** A process that has become a daemon. Opaque. */
typedef struct ombrel_daemon_ts ombrel_daemon_t;

/**
 * @brief Goes on as a daemon: in a new process and a new session, which cannot get a terminal by accident,
 * with standard input empty.
 *
 * In the daemon it returns the object. The starting process does not return if all went well: it flushes the
 * output of the library and of the C library before the daemon begins, waits for the daemon's word and ends,
 * without the work that a program does at its exit, as that is the daemon's. Its exit code is 0 when the
 * daemon called ombrel_daemon_ready(); that of ombrel_daemon_fail(), whose text it prints as a line on
 * standard error; otherwise, when the daemon ended or was closed without a word or the time ran out, 1, with
 * a line that says so.
 *
 * Descriptors beyond the standard three stay open. Standard descriptors that were closed are treated as if
 * they led to the null device.
 * @param options  how; null means ombrel_init_daemon_options()
 * @param function the calling function's name, for the heap's reports
 * @param line     the calling line
 * @return the object, for ombrel_close_daemon(). Null in the starting process, which goes on, when the daemon
 *         could not be made: with #def_ombrel_fault_busy when the owner of the pid file lives, with the
 * reason why the directory, the pid file or one of the others could not be opened, or with
 *         #def_ombrel_fault_not_supported
 */
OMBREL_API ombrel_daemon_t* ombrel_open_daemon_tag(const ombrel_daemon_options_t* options,
                                                   const char* function, unsigned long line);
/** ombrel_open_daemon_tag() with the caller's own name and line. */
#define ombrel_open_daemon(options) ombrel_open_daemon_tag((options), __func__, __LINE__)

/**
 * @brief Says that the daemon is ready: the starting process ends with 0.
 *
 * It is said once; in the foreground it has no effect.
 * @return 0; -1 with #def_ombrel_fault_closed when the starting process is gone, so that no process waits for
 * the word, and with #def_ombrel_fault_invalid for null and when the word has been given already
 */
OMBREL_API int ombrel_daemon_ready(ombrel_daemon_t* daemon);

/**
 * @brief Says instead that the daemon cannot do its work: the starting process ends with a code and a text.
 *
 * The daemon itself goes on, to close what it has and end.
 * @param daemon    the daemon
 * @param exit_code the code, 1 to 255
 * @param text      words for the user, without a line feed, of which the first 400 bytes are printed; null
 * for none
 * @return as ombrel_daemon_ready(); in the foreground 0, with the text on standard error
 */
OMBREL_API int ombrel_daemon_fail(ombrel_daemon_t* daemon, int exit_code, const char* text);

/**
 * @brief Removes the pid file and frees the object. The process stays what it is.
 * @param daemon the daemon; null gives 0
 * @return 0; -1 when the pid file could not be removed
 */
OMBREL_API int ombrel_close_daemon(ombrel_daemon_t* daemon);

/** @} */

/** @name The end of the machine's run
 *
 * What was written to files is handed to the devices. Then the machine restarts or goes off: on Linux at
 * once, without asking other programs to end, so that where a service manager runs it is better asked (by its
 * `shutdown`); on Windows as for a user who chose it, with programs that hang ended.
 * @{
 */

/**
 * @brief Restarts the machine.
 * @return 0 on a host that goes on for a while; -1 with #def_ombrel_fault_access_denied, and nothing done,
 *         without the right, and with #def_ombrel_fault_not_supported where there is no such thing
 */
OMBREL_API int ombrel_reboot_host(void);

/** @brief Turns the machine off. @return as ombrel_reboot_host() */
OMBREL_API int ombrel_power_off_host(void);

/** @} */

OMBREL_END_C

#endif
