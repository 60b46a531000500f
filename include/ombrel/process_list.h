/**
 * @file process_list.h
 * @brief All processes of the host, those of a name, and how busy the host is.
 *
 * @code
 * ombrel_process_info_t info;
 * ombrel_process_list_t* list = ombrel_open_process_list(def_ombrel_process_list_arguments);
 * int step;
 * while ((step = ombrel_process_list_next(list, &info)) == 1)
 *     ombrel_printf("%d %s: %lld KiB\n", info.m_id, info.m_name, (long long)(info.m_resident / 1024));
 * ombrel_close_process_list(list); // step is 0 at the end, -1 when the walk failed
 * @endcode
 *
 * A walk is not a snapshot: processes come and go meanwhile. One that ends before its turn is left out, and
 * each that runs all the time is given once. What a user may not see of other users' processes is 0 or empty.
 *
 * @par Names
 * A process has the name that the host gives it. Linux cuts that after 15 bytes; m_full_name has the whole
 * name where the arguments show it, which they do unless the program changed them. A pattern of the functions
 * below is compared with both, with the base name of the program as the first argument has it, and with that
 * of the script that a known interpreter (a shell, Python, Perl and the like) runs.
 *
 * In a pattern "*" stands for any text, "?" for any character, "[a-z]" and "[!a-z]" for one of a set, and a
 * backslash makes the next character an ordinary one. The whole name must match.
 *
 * @par Threads
 * A list has one thread at a time; the other functions may be called from any.
 *
 * @par Failures
 * Failing functions leave the reason for ombrel_last_fault(): def_ombrel_fault_invalid for null and invalid
 * arguments, def_ombrel_fault_no_memory, def_ombrel_fault_no_descriptor, def_ombrel_fault_not_supported where
 * the host does not tell (on POSIX: systems other than Linux, or without /proc).
 */
#ifndef OMBREL_PROCESS_LIST_H
#define OMBREL_PROCESS_LIST_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name States of a process, the letters that `ps` has
 * @{ */
#define def_ombrel_process_state_running 'R'  /**< it runs, or could */
#define def_ombrel_process_state_sleeping 'S' /**< it waits */
#define def_ombrel_process_state_blocked 'D'  /**< it waits for a device, without being interrupted */
#define def_ombrel_process_state_stopped 'T'  /**< by a signal */
#define def_ombrel_process_state_traced 't'   /**< by a debugger */
#define def_ombrel_process_state_ended 'Z'    /**< it has ended, and its parent has not waited for it yet */
#define def_ombrel_process_state_idle 'I'     /**< a thread of the kernel without work */
#define def_ombrel_process_state_unknown '?'  /**< the host does not tell */
/** @} */

/** A process. Its texts belong to the list and live until its next step or its close. */
typedef struct ombrel_process_info_ts {
    int m_id;           /**< its number */
    int m_parent;       /**< that of its parent; 0 for none */
    int m_group;        /**< that of its group's leader; 0 where the host has no groups */
    int m_threads;      /**< how many threads it has */
    char m_state;       /**< def_ombrel_process_state_* */
    const char* m_name; /**< the name, as `ps -o comm` has it; never null */
    /** The same in full length, where arguments were asked for and show it; else m_name again. */
    const char* m_full_name;
    /** The argument vector and a null after it: empty for a thread of the kernel and where they were not
     * asked for or may not be seen; never null. */
    const char* const* m_arguments;
    size_t m_argument_count;  /**< how many arguments */
    ombrel_instant_t m_start; /**< when it was started, as exact as the host's ticks are */
    uint64_t m_user_ticks;    /**< processor time in its own code, see ombrel_get_ticks_per_second() */
    uint64_t m_system_ticks;  /**< processor time in the system's code */
    int64_t m_resident;       /**< bytes of memory that it occupies */
    int64_t m_virtual;        /**< bytes of its address space */
    uint64_t m_birth;         /**< together with the number unique among all processes; it has no other use */
} ombrel_process_info_t;

/** A walk over processes. Opaque. */
typedef struct ombrel_process_list_ts ombrel_process_list_t;

/** Flag of a list: the arguments are wanted, which doubles the cost. */
#define def_ombrel_process_list_arguments 1u

/** The most bytes of arguments of a process that are looked at. */
#define def_ombrel_process_list_arguments_max (1024u * 1024u)

/**
 * @brief Begins a walk.
 * @param flags #def_ombrel_process_list_arguments or 0
 * @param function the caller's name for the heap's accounts, a static text
 * @param line     and its line
 * @return the list, closed by ombrel_close_process_list(); null on failure
 */
OMBREL_API ombrel_process_list_t* ombrel_open_process_list_tag(uint32_t flags, const char* function,
                                                               unsigned long line);
/** @brief ombrel_open_process_list_tag() with the caller's name and line. */
#define ombrel_open_process_list(flags) ombrel_open_process_list_tag((flags), __func__, __LINE__)

/**
 * @brief The next process, by rising numbers on Linux.
 * @param list the list
 * @param info receives it
 * @return 1 for a process, 0 at the end, -1 on failure
 */
OMBREL_API int ombrel_process_list_next(ombrel_process_list_t* list, ombrel_process_info_t* info);

/**
 * @brief One process by its number, wherever the walk is.
 * @param list    the list, whose flags hold
 * @param process its number
 * @param info    receives it
 * @return 0; -1 on failure: def_ombrel_fault_no_process
 */
OMBREL_API int ombrel_process_list_find(ombrel_process_list_t* list, int process,
                                        ombrel_process_info_t* info);

/** @brief Ends a walk. @param list the list, or null @return 0 */
OMBREL_API int ombrel_close_process_list(ombrel_process_list_t* list);

/**
 * @brief Whether a process has a name that a pattern matches: see "Names" above.
 * @param pattern the pattern
 * @param info    the process, of a list with arguments (else its name alone is compared)
 * @return 0 for a match; -1 for none, also when an argument is null
 */
OMBREL_API int ombrel_check_process_name(const char* pattern, const ombrel_process_info_t* info);

/**
 * @brief The numbers of all processes whose name a pattern matches, this one among them.
 * @param pattern the pattern
 * @param ids     receives them in the list's order; null with `room` 0 only counts
 * @param room    how many it can hold
 * @return how many there are, also when more than there is room for; -1 on failure
 */
OMBREL_API int64_t ombrel_find_processes(const char* pattern, int* ids, size_t room);

/**
 * Called for each process that is signalled by name.
 * @param info    the process
 * @param fault   def_ombrel_fault_none, or why it could not be signalled (ombrel_fault_text() has the words)
 * @param context what was given with the handler
 * @return 0 to go on; anything else, which should be below -1, ends the call, which returns it
 */
typedef int (*ombrel_process_signal_handler_t)(const ombrel_process_info_t* info, int fault, void* context);

/**
 * @brief Sends a signal to all processes whose name a pattern matches, except this one.
 *
 * A process that has ended meanwhile is left out, and another process that has got its number is never
 * signalled (where the host can ensure that: on Linux since 5.3).
 * @param pattern       the pattern
 * @param signal_number the signal, as for ombrel_signal_process()
 * @param handler       called for each; or null
 * @param context       handed to it
 * @return how many were signalled; what the handler returned when that was not 0; -1 on failure: one of them
 *         could not be signalled (the fault is that of the first; all the others were), or there is no list
 */
OMBREL_API int64_t ombrel_signal_processes(const char* pattern, int signal_number,
                                           ombrel_process_signal_handler_t handler, void* context);

/**
 * @name The host
 * @{
 */
/** @brief How many ticks processors' and processes' times count in a second: 100 on most. */
OMBREL_API uint32_t ombrel_get_ticks_per_second(void);

/** What processors did since the host started, in ticks. */
typedef struct ombrel_processor_ticks_ts {
    uint64_t m_user;    /**< programs, those with lowered priority too */
    uint64_t m_system;  /**< the system, its interrupts too */
    uint64_t m_idle;    /**< nothing */
    uint64_t m_waiting; /**< nothing, while a process waited for a device; 0 where the host does not tell */
    uint64_t m_stolen;  /**< stolen: the machine that hosts this one worked for others */
    uint64_t m_low_priority; /**< the part of m_user with lowered priority */
    uint64_t m_interrupt;    /**< the part of m_system in interrupts */
} ombrel_processor_ticks_t;

/**
 * @brief What the processors did so far. Two answers some time apart tell how busy they were meanwhile.
 * @param processor a processor's number from 0 on; -1 for all together
 * @param ticks     receives it
 * @return 0; -1 on failure: def_ombrel_fault_not_found for a number that no running processor has
 */
OMBREL_API int ombrel_get_processor_ticks(int processor, ombrel_processor_ticks_t* ticks);

/**
 * @brief How busy processors were between two answers, in thousandths.
 * @return 0 to 1000: the part that was neither idle nor waiting nor stolen; 0 when nothing has passed or an
 * argument is null
 */
OMBREL_API int ombrel_get_processor_use(const ombrel_processor_ticks_t* before,
                                        const ombrel_processor_ticks_t* after);

/** How many processes wanted to run. */
typedef struct ombrel_system_load_ts {
    uint32_t m_hundredths[3]; /**< on average of 1, 5 and 15 minutes, in hundredths, those that wait for
                                   devices counted, as `uptime` tells it */
    uint32_t m_running;       /**< at the moment, counting each thread; 0 where the host does not tell */
    uint32_t m_threads;       /**< threads there are */
} ombrel_system_load_t;

/** @brief The load of the host. @return 0; -1 on failure (Windows: def_ombrel_fault_not_supported) */
OMBREL_API int ombrel_get_system_load(ombrel_system_load_t* load);
/** @} */

OMBREL_END_C

#endif
