/**
 * @file process.h
 * @brief Child processes: start a program, talk to it, wait for it, end it with all that it started.
 *
 * A program and its arguments are a list of texts ended by a null pointer; no command interpreter stands in
 * between. The simplest use runs a program to its end and collects what it prints:
 *
 * @code
 * const char* const arguments[] = {"sort", "-r", NULL};
 * ombrel_process_options_t options;
 * ombrel_process_result_t result;
 * ombrel_init_process_options(&options);
 * options.m_input.m_kind = options.m_output.m_kind = def_ombrel_process_pipe; // its errors go where ours go
 * options.m_feed = "a\nb\n";
 * options.m_feed_size = 4;
 * if (ombrel_run_process(arguments, &options, 5000, &result) == 1 && result.m_end.m_exit_code == 0)
 *     ombrel_printf("%s", result.m_output); // "b\na\n"
 * ombrel_uninit_process_result(&result);
 * @endcode
 *
 * Others open a process, work with its streams and close it:
 *
 * @code
 * ombrel_process_t* process = ombrel_open_process(arguments, &options);
 * if (process == NULL)
 *     return complain(ombrel_last_fault() == def_ombrel_fault_not_found ? "no such program" : "...");
 * ombrel_process_write(process, "a\nb\n", 4, -1);
 * ombrel_process_close_stream(process, def_ombrel_process_input);
 * while ((size = ombrel_process_read(process, def_ombrel_process_output, buffer, sizeof buffer, -1)) > 0)
 *     use(buffer, size);
 * ombrel_process_wait(process, -1, &end);
 * ombrel_close_process(process);
 * @endcode
 *
 * @par What a child gets
 * Its three standard streams, the descriptors that the options name, the environment and the directory. It
 * inherits nothing else: no other descriptor, whoever opened it and however; no blocked, ignored or caught
 * signal. Threads that start processes at the same time never pass one another's pipes on to the children.
 *
 * @par Why a program did not start
 * Opening fails with the reason, also where only the host could find it when it loaded the program:
 * def_ombrel_fault_not_found (no such program or directory, or none to interpret it),
 * def_ombrel_fault_access_denied (no right to run it, or a directory), def_ombrel_fault_other (no program
 * that this host can run; on Windows def_ombrel_fault_access_denied too), def_ombrel_fault_no_memory,
 * def_ombrel_fault_no_descriptor, def_ombrel_fault_would_block (no more processes allowed) and so on. The
 * step that failed is in ombrel_process_options_t::m_failed_part.
 *
 * @par Groups
 * With #def_ombrel_process_own_group the program and all that it starts form a group, which signals reach as
 * a whole. On POSIX a program can leave its group, on Windows (where it is a job) it cannot. A group of its
 * own is a background one to a terminal: it cannot read from it, and Ctrl+C does not reach it.
 *
 * @par Threads
 * Different processes: any. Of one process, several threads may use different streams, wait and send signals
 * at the same time; each stream has one thread at a time. No other thread may use a process while it is
 * closed. Starting and ending are not for signal handlers.
 *
 * @par Other ways of waiting
 * ombrel_event_set_process() (event_process.h) makes an event of the end, for the number from
 * ombrel_process_get_id(). Close the process in the handler or later, or release it before. The event loop
 * takes the child's status from the system: the end is in the event, and ombrel_process_wait() may find the
 * result unknown ({-1, 0}). SIGCHLD is left alone; where the program ignores it, the system keeps no status
 * either.
 *
 * @par Failures
 * Functions fail with -1 or null and leave the reason for ombrel_last_fault(); null for a process or another
 * object that is needed is def_ombrel_fault_invalid. Texts are UTF-8; on POSIX they may have any bytes.
 */
#ifndef OMBREL_PROCESS_H
#define OMBREL_PROCESS_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A child process. Opaque. */
typedef struct ombrel_process_ts ombrel_process_t;

/** @name Standard streams of a process
 * @{ */
#define def_ombrel_process_input 0  /**< what it reads */
#define def_ombrel_process_output 1 /**< what it prints */
#define def_ombrel_process_error 2  /**< where it complains */
/** @} */

/** @name What becomes of a standard stream
 * @{ */
#define def_ombrel_process_keep 0       /**< it is that of this process */
#define def_ombrel_process_nothing 1    /**< reads find the end, what is written is dropped */
#define def_ombrel_process_pipe 2       /**< this process has the other end */
#define def_ombrel_process_file 3       /**< a file: read, or made if need be and emptied */
#define def_ombrel_process_append 4     /**< a file: made if need be, written to at its end */
#define def_ombrel_process_descriptor 5 /**< a descriptor of this process, which keeps it */
#define def_ombrel_process_to_output 6  /**< of the error stream: goes where the output goes */
/** @} */

/** Where a standard stream of a new process leads. */
typedef struct ombrel_process_stream_ts {
    int m_kind;         /**< #def_ombrel_process_keep to #def_ombrel_process_to_output */
    int m_fd;           /**< of #def_ombrel_process_descriptor; a socket too, except on Windows */
    const char* m_path; /**< of a file; needed until the process is open */
} ombrel_process_stream_t;

/** @name Parts of a start, of which one has failed
 * @{ */
#define def_ombrel_process_part_program 0   /**< the program, or the start as a whole */
#define def_ombrel_process_part_input 1     /**< the standard input */
#define def_ombrel_process_part_output 2    /**< the standard output */
#define def_ombrel_process_part_error 3     /**< the standard error */
#define def_ombrel_process_part_directory 4 /**< the directory */
/** @} */

/** @name Flags of a start
 * @{ */
/** It leads a group of its own, which can be ended as a whole. */
#define def_ombrel_process_own_group 1u
/** It leads a session, and so a group, of its own and has no terminal that signals it; on Windows no
 * console. */
#define def_ombrel_process_own_session 2u
/** The program's name is a path even where it has no directory. */
#define def_ombrel_process_no_search 4u
/** @} */

/** The most bytes that are collected of each output unless the options say otherwise. */
#define def_ombrel_process_default_limit (16u * 1024u * 1024u)

/** The greatest number of further descriptors of a child. */
#define def_ombrel_process_descriptors_max 16

/** How a process is started. Initialise it by ombrel_init_process_options(), which sets all to 0. */
typedef struct ombrel_process_options_ts {
    const char* m_directory;          /**< its current directory; null: that of this process */
    const char* const* m_environment; /**< "NAME=VALUE" each, then null; null: that of this process */
    ombrel_process_stream_t m_input;  /**< its standard input */
    ombrel_process_stream_t m_output; /**< its standard output */
    ombrel_process_stream_t m_error;  /**< its standard error */
    /** More descriptors that it gets, as 3, 4, … in this order; they stay open here. On Windows programs with
     * the universal C run-time find them, and sockets are refused as not supported. */
    const int* m_descriptors;
    size_t m_descriptor_count; /**< how many, at most #def_ombrel_process_descriptors_max */
    uint32_t m_flags;          /**< #def_ombrel_process_own_group and the like */
    /** Bytes that ombrel_process_exchange() and the functions built on it write into the input; needed until
     * the process is closed. */
    const void* m_feed;
    size_t m_feed_size; /**< how many */
    size_t m_limit;     /**< the most bytes collected of each output; 0: the default limit */
    int* m_failed_part; /**< receives def_ombrel_process_part_* when opening fails; or null */
} ombrel_process_options_t;

/**
 * How a process ended. On Windows, a process ended by a crash, by Ctrl+Break or by force has the signal that
 * means the same on POSIX.
 */
typedef struct ombrel_process_end_ts {
    int m_exit_code; /**< 0 or above; -1 when a signal ended it or it is not known */
    int m_signal;    /**< the signal that ended it; 0 for none */
} ombrel_process_end_t;

/** @brief Fills the options with their defaults. @return 0; -1 for null */
OMBREL_API int ombrel_init_process_options(ombrel_process_options_t* options);

/**
 * @brief Starts a program.
 *
 * A name without a directory is looked for along the search path of this process (its variable PATH), not in
 * the current directory unless that stands there; one with a directory is a path seen from the current
 * directory of this process, also when the child gets another. On Windows ".exe" may be left out, and batch
 * files (.bat, .cmd) are refused as invalid, because nothing can be quoted safely for them: see
 * ombrel_open_command().
 * @param arguments the program's name and its arguments, ended by a null pointer
 * @param options   how; null takes the defaults
 * @param function  the caller's name for the heap's accounts, a static text
 * @param line      and its line
 * @return the process, closed by ombrel_close_process(); null when it could not be started, see "Why a
 *         program did not start" above
 */
OMBREL_API ombrel_process_t* ombrel_open_process_tag(const char* const* arguments,
                                                     const ombrel_process_options_t* options,
                                                     const char* function, unsigned long line);
/** @brief ombrel_open_process_tag() with the caller's name and line. */
#define ombrel_open_process(arguments, options)                                                              \
    ombrel_open_process_tag((arguments), (options), __func__, __LINE__)

/**
 * @brief Starts a command line by the host's command interpreter: `/bin/sh`, or cmd.exe on Windows.
 *
 * @warning Never build a command line from input that comes from outside: use ombrel_open_process().
 * @param command  the command line
 * @param options  how; null takes the defaults
 * @param function the caller's name, a static text
 * @param line     and its line
 * @return as ombrel_open_process_tag(); a command that does not exist is reported by the interpreter
 */
OMBREL_API ombrel_process_t* ombrel_open_command_tag(const char* command,
                                                     const ombrel_process_options_t* options,
                                                     const char* function, unsigned long line);
/** @brief ombrel_open_command_tag() with the caller's name and line. */
#define ombrel_open_command(command, options)                                                                \
    ombrel_open_command_tag((command), (options), __func__, __LINE__)

/**
 * @brief Closes the ends of the pipes and frees the object.
 *
 * A process that still runs is left running: end it by ombrel_process_stop() before if that is not wanted.
 * When it ends, what the system keeps about it is removed by the next process that the library opens or
 * closes, so that ended ones do not pile up.
 * @param process the process, or null
 * @return 0
 */
OMBREL_API int ombrel_close_process(ombrel_process_t* process);

/**
 * @brief ombrel_close_process() that leaves waiting to the caller: by an event, or by waitpid().
 * @param process the process
 * @return its number; -1 for null
 */
OMBREL_API int ombrel_release_process(ombrel_process_t* process);

/** @brief The host's number of a process; no other process gets it until this one is closed. @return the
 * number; -1 for null */
OMBREL_API int ombrel_process_get_id(const ombrel_process_t* process);

/**
 * @name Pipes
 * The ends that this process has of streams that were asked for as #def_ombrel_process_pipe.
 * @{
 */
/** A read's result when the time ran out. */
#define def_ombrel_process_timeout (-2)

/**
 * @brief Reads what the process prints.
 * @param process    the process
 * @param stream     #def_ombrel_process_output or #def_ombrel_process_error
 * @param buffer     receives the bytes
 * @param size       how many it has room for
 * @param timeout_ms milliseconds to wait for the first byte; negative for ever, 0 looks once
 * @return bytes read, at least 1 unless `size` is 0; 0 at the end, that is when all processes have closed the
 * other end; #def_ombrel_process_timeout when the time ran out; -1 on failure
 *         (def_ombrel_fault_bad_descriptor: the stream is no open pipe)
 */
OMBREL_API int64_t ombrel_process_read(ombrel_process_t* process, int stream, void* buffer, size_t size,
                                       int timeout_ms);

/**
 * @brief Writes to the process's standard input. Writing to a process that has ended raises no signal.
 * @param process    the process
 * @param data       the bytes
 * @param size       how many
 * @param timeout_ms milliseconds that the whole may take; negative for ever, 0 writes what there is room for
 * @return bytes written, fewer than `size` when the time ran out; -1 on failure (def_ombrel_fault_closed: the
 * other end is closed; def_ombrel_fault_bad_descriptor: the input is no open pipe)
 */
OMBREL_API int64_t ombrel_process_write(ombrel_process_t* process, const void* data, size_t size,
                                        int timeout_ms);

/** @brief Closes this side of a stream: of the input, the process then reads to the end. @return 0; -1 when
 * the stream is no open pipe (def_ombrel_fault_bad_descriptor) */
OMBREL_API int ombrel_process_close_stream(ombrel_process_t* process, int stream);

/** @brief This side's descriptor of a stream, to be waited for together with others. It still belongs to the
 * process and never blocks. @return the descriptor; -1 when the stream is no open pipe
 * (def_ombrel_fault_bad_descriptor)
 */
OMBREL_API int ombrel_process_get_descriptor(const ombrel_process_t* process, int stream);

/** @brief The same, but from now on it belongs to the caller, who closes it by the host's close(). */
OMBREL_API int ombrel_process_take_descriptor(ombrel_process_t* process, int stream);
/** @} */

/**
 * @name All pipes at once
 * The input is fed from ombrel_process_options_t::m_feed and closed after its end while both outputs are
 * read, in whatever order the process goes, so that neither side waits for the other. A process that does not
 * read all of its input does no harm.
 * @{
 */
/**
 * Takes a piece of output.
 * @param stream  #def_ombrel_process_output or #def_ombrel_process_error
 * @param data    the bytes, valid until it returns
 * @param size    how many, at least 1
 * @param context what was given with the handler
 * @return 0 to go on; anything else, which should be 2 or more, ends the exchange, which returns it
 */
typedef int (*ombrel_process_output_handler_t)(int stream, const void* data, size_t size, void* context);

/**
 * @brief Feeds the process and hands on what it prints until its outputs have ended.
 *
 * Outputs end when all processes have closed them: programs in the background that the process left behind
 * may keep them open longer than it lives. It may be called again after a time limit or a break, and
 * continues.
 * @param process    the process
 * @param timeout_ms milliseconds; negative for ever
 * @param handler    called for each piece; null drops them
 * @param context    handed to it
 * @return 1 when all outputs have ended; 0 when the time ran out; what the handler returned when that was not
 *         0; -1 on failure
 */
OMBREL_API int ombrel_process_exchange(ombrel_process_t* process, int timeout_ms,
                                       ombrel_process_output_handler_t handler, void* context);

/** What a process printed, and how it ended. */
typedef struct ombrel_process_result_ts {
    ombrel_process_end_t m_end; /**< {-1, 0} until it is known */
    char* m_output;             /**< the standard output, a 0 after it; null when there was none */
    size_t m_output_size;       /**< its bytes */
    char* m_error;              /**< the standard error, likewise */
    size_t m_error_size;        /**< its bytes */
    int m_is_cut;               /**< 1 when an output had more than the limit; the rest is lost */
} ombrel_process_result_t;

/** @brief Makes a result empty. @return 0; -1 for null */
OMBREL_API int ombrel_init_process_result(ombrel_process_result_t* result);
/** @brief Frees what was collected and makes the result empty. @return 0; -1 for null */
OMBREL_API int ombrel_uninit_process_result(ombrel_process_result_t* result);

/**
 * @brief ombrel_process_exchange() into memory, and then ombrel_process_wait().
 * @param process    the process
 * @param timeout_ms milliseconds for both; negative for ever
 * @param result     initialised; what is collected is added at its end, so that a call after a time limit
 * continues. Its memory is under the tag
 * @param function   the caller's name, a static text
 * @param line       and its line
 * @return 1 when it has ended and everything is there; 0 when the time ran out, with what came so far; -1 on
 *         failure, with what came so far: def_ombrel_fault_too_large at the first byte of an output beyond
 *         ombrel_process_options_t::m_limit (then the process still runs), def_ombrel_fault_no_memory
 */
OMBREL_API int ombrel_process_collect_tag(ombrel_process_t* process, int timeout_ms,
                                          ombrel_process_result_t* result, const char* function,
                                          unsigned long line);
/** @brief ombrel_process_collect_tag() with the caller's name and line. */
#define ombrel_process_collect(process, timeout_ms, result)                                                  \
    ombrel_process_collect_tag((process), (timeout_ms), (result), __func__, __LINE__)

/**
 * @brief Starts a program in a group of its own, collects what it prints and waits for its end.
 *
 * When it takes longer than the limit, prints more than is collected, or anything fails, it is ended with its
 * group, as ombrel_process_stop() does it with a second of grace.
 * @param arguments  as for ombrel_open_process_tag()
 * @param options    likewise; null collects both outputs and gives it an empty input. With options only what
 *                   they make a #def_ombrel_process_pipe is collected
 * @param timeout_ms milliseconds; negative for ever
 * @param result     initialised by the call; to be freed by ombrel_uninit_process_result() whatever is
 *                   returned
 * @param function   the caller's name, a static text
 * @param line       and its line
 * @return 1 when it ended by itself; 0 when the time ran out, with what came until then; -1 on failure:
 *         the faults of opening and collecting
 */
OMBREL_API int ombrel_run_process_tag(const char* const* arguments, const ombrel_process_options_t* options,
                                      int timeout_ms, ombrel_process_result_t* result, const char* function,
                                      unsigned long line);
/** @brief ombrel_run_process_tag() with the caller's name and line. */
#define ombrel_run_process(arguments, options, timeout_ms, result)                                           \
    ombrel_run_process_tag((arguments), (options), (timeout_ms), (result), __func__, __LINE__)
/** @} */

/**
 * @name Ends and signals
 * @{
 */
/**
 * @brief Waits for the process to end. Once it has ended, every call tells how.
 * @param process    the process
 * @param timeout_ms milliseconds; negative for ever, 0 looks once
 * @param end        receives how, when the result is 1; or null
 * @return 1 when it has ended; 0 when the time ran out; -1 for null
 */
OMBREL_API int ombrel_process_wait(ombrel_process_t* process, int timeout_ms, ombrel_process_end_t* end);

#define def_ombrel_process_interrupt 2  /**< signal: as Ctrl+C sends it; the same number everywhere */
#define def_ombrel_process_kill 9       /**< signal: ends the process at once; the same number everywhere */
#define def_ombrel_process_terminate 15 /**< signal: asks the process to end; the same number everywhere */

/**
 * @brief Sends a signal: to the group that the process leads, or to it alone if it leads none.
 *
 * The members of a group get it also when the process itself has ended.
 * On Windows the interrupt and the terminate signal are both Ctrl+Break, which a program without a console
 * does not get: it is ended at once. Only these three signals are supported there.
 * @param process       the process
 * @param signal_number the signal; 0 sends none and only looks
 * @return 0; -1 on failure: def_ombrel_fault_no_process when it has ended (and its group with it),
 *         def_ombrel_fault_access_denied, def_ombrel_fault_invalid for an impossible number,
 *         def_ombrel_fault_not_supported
 */
OMBREL_API int ombrel_process_signal(ombrel_process_t* process, int signal_number);

/**
 * @brief Ends a process and what is left of the group that it leads: by request, then by force.
 *
 * It sends the terminate signal, waits for all of them to end, and after the grace ends those that are left.
 * Of a group whose leader had ended before, the others are ended in the same way.
 * @param process  the process
 * @param grace_ms milliseconds between both; negative waits for ever, 0 skips the request
 * @return 0 once none of them runs; -1 on failure: def_ombrel_fault_access_denied for a process that changed
 * its user, def_ombrel_fault_timed_out when the system took ten seconds to end them by force
 */
OMBREL_API int ombrel_process_stop(ombrel_process_t* process, int grace_ms);

/**
 * @brief Sends a signal to one process, by its number.
 * @param process       its number, at least 1
 * @param signal_number the signal, as for ombrel_process_signal(); 0 only looks whether it is there
 * @return 0; -1 on failure: def_ombrel_fault_no_process, def_ombrel_fault_access_denied,
 *         def_ombrel_fault_invalid, def_ombrel_fault_not_supported
 */
OMBREL_API int ombrel_signal_process(int process, int signal_number);

/** @brief A signal's number. @param name "TERM" or "SIGTERM" in either case, or a decimal number of one
 * @return the number, 0 for "0"; -1 when the host has no such signal */
OMBREL_API int ombrel_find_signal_number(const char* name);
/** @brief A signal's name. @return a static text such as "SIGTERM"; null for one without a name */
OMBREL_API const char* ombrel_find_signal_name(int signal_number);
/** @} */

OMBREL_END_C

#endif
