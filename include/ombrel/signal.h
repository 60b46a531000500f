/**
 * @file signal.h
 * @brief Signals as events.
 *
 * A signal is caught from the moment when the first event is attached to it. Each delivery counts up the
 * signal's own count and that of every event attached, and wakes the loops concerned; none is lost between
 * two waits. When the last event is detached the program's earlier disposition is put back. A one-shot event
 * keeps the signal caught until its handler has returned, so a handler that adds it again misses no delivery.
 *
 * Events with def_ombrel_event_signal are attached and detached by ombrel_add_event() and ombrel_del_event().
 * A fault of the program itself (a segment fault, an illegal instruction) is counted, reported and then
 * handed to the platform's default action, as the program cannot go on. All functions may be called from any
 * thread; none from a signal handler, except the three that read or reset counts by number.
 *
 * A handler that a program installs by itself, with sigaction(), is called as ever, but a loop that waits
 * then ends with -1, whatever its SA_RESTART says; attach an event instead. One that is installed for a
 * signal to which an event is attached takes the signal away from the event.
 *
 * On Windows the signals are those of its C library. SIGINT is the console's CTRL+C, SIGBREAK its CTRL+BREAK,
 * which counts as SIGTERM where SIGBREAK is not caught; SIGTERM comes, too, when the console is closed, the
 * user logs off or the system shuts down, and then leaves the program the seconds that the system grants.
 * SIGSEGV, SIGILL and SIGFPE are faults that no handler of the program's takes; raised by raise() they are
 * not caught.
 */
#ifndef OMBREL_SIGNAL_H
#define OMBREL_SIGNAL_H

#include <stdint.h>

#include <ombrel/event.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief The number of the signal caught last, 0 before the first. */
OMBREL_API int ombrel_get_last_signum(void);

/** @brief Deliveries of a caught signal since its last reset. @return the count, -1 for an impossible number
 */
OMBREL_API int ombrel_get_signal_count(int signum);

/** @brief Sets a signal's count to 0. @return 0, or -1 for an impossible number */
OMBREL_API int ombrel_reset_signal_count(int signum);

/** @brief Sets the counts of all signals to 0 and forgets the last number. @return 0 */
OMBREL_API int ombrel_reset_all_signal_count(void);

/**
 * @brief Puts back the disposition that a signal had before the library caught it.
 *
 * Events attached to it hear nothing more until one is attached anew.
 * @return 0; -1 for a number that is not caught
 */
OMBREL_API int ombrel_restore_signal(int signum);

/** @brief ombrel_restore_signal() for every signal that is caught. @return 0 */
OMBREL_API int ombrel_restore_all_signal(void);

/**
 * @brief Attaches an assigned event to the signal whose number is its fd. Attaching twice does nothing more.
 * @return 0; -1 for null and unassigned events, for numbers that cannot be caught and when memory runs out
 */
OMBREL_API int ombrel_add_signal(ombrel_event_t* event);

/** @brief Detaches an event from its signal. @return 0; -1 for null, unassigned and detached events */
OMBREL_API int ombrel_del_signal(ombrel_event_t* event);

/** @brief Deliveries that the event's handler has not been told of. @return the count; 0 detached; -1
 * unusable */
OMBREL_API int ombrel_get_signal_node_count(ombrel_event_t* event);

/** @brief Forgets deliveries that the event's handler has not been told of. @return 0, or -1 when unusable */
OMBREL_API int ombrel_reset_signal_node_count(ombrel_event_t* event);

/**
 * @brief A ready-made handler for signal events: requests the exit of the event's loop.
 *
 * A delivered segment fault is reported as "%s: %s - [SIGNAL] segment fault.\n" with this function's name and
 * the signal's. Assignment notices are ignored.
 */
OMBREL_API void ombrel_event_default_handler_exit(ombrel_event_t* event, int fd, uint32_t result_flags,
                                                  void* context);

OMBREL_END_C

#endif
