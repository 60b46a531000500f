/**
 * @file launcher.h
 * @brief Keeping a program running: started again when it ends, stopped for certain, with its output kept.
 *
 * A launcher runs a program as a child process and watches it on a thread of its own. When the child ends
 * it starts it again, after pauses that grow while the child does not run well, until it is stopped or there
 * were too many restarts.
 *
 * @code
 * const char* const arguments[] = {"collector", "--port=5000", NULL};
 * ombrel_launcher_options_t options;
 * ombrel_init_launcher_options(&options);
 * options.m_restart_limit = 5; // restarts within a minute
 * options.m_log_path = "collector.log";
 * ombrel_launcher_t* launcher = ombrel_open_launcher(arguments, &options);
 * if (launcher == NULL)
 *     return complain(ombrel_fault_text());
 * while (ombrel_launcher_wait(launcher, 1000) == 0 && !asked_to_stop())
 *     continue;
 * ombrel_close_launcher(launcher); // stops it if it still runs
 * @endcode
 *
 * @par Groups
 * The child leads a process group (on Windows a job), and what is said here about its end holds for the
 * group: a stop asks and ends all of it, and when the child has ended by itself, what it left behind in its
 * group is ended by force before anything else happens. A program that leaves its group on purpose, as
 * daemons do, is out of reach: launch it in its foreground form.
 *
 * @par Stopping
 * The group is asked by the signal to terminate. When the child has ended, or after the grace, what is left
 * of the group is ended by force: a child that hangs, ignores signals or forks is gone as well.
 *
 * @par Output
 * Without a handler and a log the child writes where this program does. Otherwise both of its outputs are
 * read as fast as they come; a slow handler holds up the child, and no bytes are lost. Standard
 * input is empty.
 *
 * @par Threads
 * A launcher is opened and closed by its owner, once each; the other functions may be called from any thread
 * while it is open, and by its handlers. Handlers run on the launcher's thread, one at a time, and must not
 * close it. The first of them may be called before ombrel_open_launcher() has returned.
 *
 * @par Failures
 * Functions give null or -1 with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and
 * invalid arguments, and what is named with the function.
 */
#ifndef OMBREL_LAUNCHER_H
#define OMBREL_LAUNCHER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/process.h>

OMBREL_BEGIN_C

/** A launcher. Opaque. */
typedef struct ombrel_launcher_ts ombrel_launcher_t;

/** @name What a launcher is doing: the phase of its state
 * @{
 */
#define def_ombrel_launcher_running 1  /**< the child runs */
#define def_ombrel_launcher_pausing 2  /**< the child has ended and will be started again */
#define def_ombrel_launcher_stopping 3 /**< the child was asked to end and has not yet */
#define def_ombrel_launcher_ended 4    /**< there is no child and there will be none */
/** @} */

/** @name Why a launcher has ended: the reason of its state
 * @{
 */
#define def_ombrel_launcher_not_ended 0 /**< it has not */
#define def_ombrel_launcher_stopped 1   /**< a function or the result of a handler asked for it */
#define def_ombrel_launcher_finished 2  /**< the child ended, and is not restarted after such an end */
#define def_ombrel_launcher_gave_up 3   /**< there were more restarts than the limit allows */
/** @} */

/** What is known of a launcher at one moment. */
typedef struct ombrel_launcher_state_ts {
    /** What it is doing: running, pausing, stopping or ended. */
    int m_phase;
    /** Why it has ended. */
    int m_reason;
    /** Number of the running child; 0 when there is none. */
    int m_process;
    /** How often the child was started. */
    uint32_t m_start_count;
    /** How often a child did not end within the grace. */
    uint32_t m_force_count;
    /** How the last child that ended did so; {-1, 0} before that. */
    ombrel_process_end_t m_end;
    /** Why a start or the log failed last (def_ombrel_fault_*), or 0. */
    int m_fault;
    /** Length of the present or last pause in milliseconds, 0 before the first. */
    int m_pause_ms;
    /** Nanoseconds that the present or last child has run. */
    int64_t m_run_time;
    /** Bytes of output that the log could not take. */
    uint64_t m_lost_bytes;
} ombrel_launcher_state_t;

/** @name What a launcher tells its handler
 * @{
 */
#define def_ombrel_launcher_event_started 1 /**< the child was started */
#define def_ombrel_launcher_event_ended 2   /**< the child has ended: see m_end */
#define def_ombrel_launcher_event_start_failed                                                               \
    3 /**< a restart failed: see the fault; it counts as an end                                              \
       */
#define def_ombrel_launcher_event_log_failed                                                                 \
    4                                    /**< the log takes no bytes: reported once until it does again */
#define def_ombrel_launcher_event_over 5 /**< the launcher has ended: see the reason. The last event */
/** @} */

/**
 * Called when something happens to the child.
 * @param launcher the launcher
 * @param event    what has happened (def_ombrel_launcher_event_*)
 * @param state    the state after it, valid until the handler returns
 * @param context  the one of the options
 * @return 0 to go on; anything else stops the launcher as ombrel_launcher_stop() does
 */
typedef int (*ombrel_launcher_handler_t)(ombrel_launcher_t* launcher, int event,
                                         const ombrel_launcher_state_t* state, void* context);

/** The longest line that is handed over whole, in bytes. Longer ones come in pieces of this size. */
#define def_ombrel_launcher_line_max 8191

/**
 * Called for what the child wrote.
 * @param launcher the launcher
 * @param stream   1 for standard output, 2 for standard error
 * @param data     a line without its end (a line feed, or a carriage return and a line feed), or bytes as
 * they came; and a zero byte after them
 * @param size     bytes before that zero byte; a line may be empty
 * @param context  the one of the options
 * @return 0 to go on; anything else stops the launcher as ombrel_launcher_stop() does
 */
typedef int (*ombrel_launcher_output_handler_t)(ombrel_launcher_t* launcher, int stream, const char* data,
                                                size_t size, void* context);

/** @name When an ended child is started again
 * @{
 */
#define def_ombrel_launcher_restart_always 0     /**< whatever its end */
#define def_ombrel_launcher_restart_on_failure 1 /**< unless its exit code was 0 */
#define def_ombrel_launcher_restart_never 2      /**< not at all */
/** @} */

/** Flag: output is handed over in bytes as they come, not in lines. */
#define def_ombrel_launcher_bytes 1u

/** @name Parts of an opening, of which one has failed
 * @{
 */
#define def_ombrel_launcher_part_program 0   /**< the program, or the launcher as a whole */
#define def_ombrel_launcher_part_directory 1 /**< the directory */
#define def_ombrel_launcher_part_log 2       /**< the log */
/** @} */

/** How a launcher works. Texts and the environment are copied. Times are milliseconds. */
typedef struct ombrel_launcher_options_ts {
    /** #def_ombrel_launcher_bytes or 0, the default. */
    uint32_t m_flags;
    /** The child's working directory; null, the default, for that of this process. */
    const char* m_directory;
    /** Its variables, "NAME=VALUE" each, ended by null; null, the default, for those of this process. */
    const char* const* m_environment;
    /** When it is started again; the default is always (def_ombrel_launcher_restart_*). */
    int m_restart;
    /** The pause before the first restart, at least 1; the default is 200. */
    int m_first_pause_ms;
    /** By how much each pause is longer than the one before it, at least 1; the default is 2. */
    int m_pause_factor;
    /** What pauses grow to; the default is 30,000; a value below the first pause counts as that. */
    int m_longest_pause_ms;
    /** A child that ran for this long ran well: the next pause is the first one again; the default is 10,000.
     */
    int m_well_ms;
    /** Restarts within the period of which the launcher gives up instead of making one more; the default is
     * 0, for no limit; 1,000 at most. */
    uint32_t m_restart_limit;
    /** The period; the default is 60,000; negative counts all restarts since the start. */
    int m_restart_period_ms;
    /** From asking the child to end until it is ended by force; the default is 5,000; negative never uses
     * force. */
    int m_grace_ms;
    /** Called when something happens; null, the default, for none. */
    ombrel_launcher_handler_t m_handler;
    /** Called with the output; null, the default, for none. */
    ombrel_launcher_output_handler_t m_output_handler;
    /** Handed to both. */
    void* m_context;
    /** The file at whose end the output is kept as it comes; null, the default, for none. */
    const char* m_log_path;
    /** Bytes of the file beyond which it is renamed to "PATH.1", an earlier "PATH.1" to "PATH.2" and so
     * on, and begun anew; the default is 1 MiB; 0 for never. It is renamed between two lines where that is
     * possible. */
    int64_t m_log_size;
    /** How many renamed files are kept, 99 at most; the default is 4; 0 empties the file. */
    uint32_t m_log_count;
    /** Receives def_ombrel_launcher_part_* when opening fails for a reason other than invalid arguments;
     * null, the default, to do without. */
    int* m_failed_part;
} ombrel_launcher_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_launcher_options(ombrel_launcher_options_t* options);

/**
 * @brief Starts a program and looks after it.
 * @param arguments the program's name, looked for as ombrel_open_process() does, its arguments, and null;
 *                  copied
 * @param options   how; null means ombrel_init_launcher_options()
 * @param function  the calling function's name, for the heap's reports
 * @param line      the calling line
 * @return the launcher once the program was started for the first time, for ombrel_close_launcher(); null,
 * with no restart tried, when that failed: #def_ombrel_fault_not_found, #def_ombrel_fault_access_denied; when
 * the log cannot be opened, when memory, descriptors or threads run out
 */
OMBREL_API ombrel_launcher_t* ombrel_open_launcher_tag(const char* const* arguments,
                                                       const ombrel_launcher_options_t* options,
                                                       const char* function, unsigned long line);
/** ombrel_open_launcher_tag() with the caller's own name and line. */
#define ombrel_open_launcher(arguments, options)                                                             \
    ombrel_open_launcher_tag((arguments), (options), __func__, __LINE__)

/**
 * @brief Waits until the launcher has ended: until there is no child and there will be none.
 * @param launcher   the launcher; not to be called by its handlers
 * @param timeout_ms milliseconds to wait at most; negative waits for ever, 0 only looks
 * @return 1 when it has; 0 when the time ran out; -1 for null
 */
OMBREL_API int ombrel_launcher_wait(ombrel_launcher_t* launcher, int timeout_ms);

/**
 * @brief Asks the child to end, with force after the grace, and starts it no more. It does not wait.
 *
 * A second call changes nothing.
 * @return 0, also when the launcher has ended already; -1 for null
 */
OMBREL_API int ombrel_launcher_stop(ombrel_launcher_t* launcher);

/**
 * @brief Ends the child as ombrel_launcher_stop() does and starts it again at once, or starts it now if it
 * was pausing. The next pause is the first one again, and the restart does not count towards the limit. It
 * does not wait.
 * @return 0; -1 with #def_ombrel_fault_invalid for null, and when the launcher is stopping or has ended
 */
OMBREL_API int ombrel_launcher_restart(ombrel_launcher_t* launcher);

/**
 * @brief Sends a signal to the child's group.
 * @param launcher the launcher
 * @param signal_number the signal, as for ombrel_process_signal()
 * @return 0; -1 with #def_ombrel_fault_no_process while no child runs, with #def_ombrel_fault_invalid for
 * null and a number that is not a signal's, and as ombrel_process_signal()
 */
OMBREL_API int ombrel_launcher_signal(ombrel_launcher_t* launcher, int signal_number);

/** @brief What is known at the moment. @return 0, or -1 for null */
OMBREL_API int ombrel_launcher_get_state(ombrel_launcher_t* launcher, ombrel_launcher_state_t* state);

/** @brief Words for a reason (def_ombrel_launcher_stopped and the like). @return the text, never null */
OMBREL_API const char* ombrel_launcher_reason_text(int reason);

/**
 * @brief Stops the child if it runs, waits until the launcher has ended, and frees it.
 *
 * With an endless grace this may take for ever; otherwise it takes little more than the grace.
 * @param launcher the launcher; null gives 0
 * @return 0; -1 when called by a handler of the launcher, which changes nothing
 */
OMBREL_API int ombrel_close_launcher(ombrel_launcher_t* launcher);

OMBREL_END_C

#endif
