/**
 * @file event_process.h
 * @brief Ends of child processes as events.
 *
 * An event that was assigned without a socket, a signal or a name can be given a child process. Added to its
 * base it fires once, with def_ombrel_event_process_end, when the process has ended, also when it had before
 * it was added. The loop sleeps until then: nothing polls for the end, and no signal handler is installed.
 *
 * @code
 * ombrel_assign_event(base, &event, -1, 0, on_end, context);
 * if (ombrel_event_set_process(&event, process) == 0)
 *     ombrel_add_event(&event, -1);
 * @endcode
 *
 * Before the handler runs the loop has taken the child's status from the system, which then forgets the
 * child: its number is no longer valid. Do not wait for such a child yourself. Its end is in the event's
 * m_exit_code and m_exit_signal: a code of 0 or above with signal 0, or code -1 with the signal that ended
 * it. -1 with signal 0 says that it is not known, because something else took the status first or the program
 * ignores SIGCHLD.
 *
 * The handler's `fd` is the number of the process. The event is not registered any more then, persistent or
 * not, and watches nothing; it can be given the next process and be added in the handler. A time limit that
 * passes first gives def_ombrel_event_timeout as ever, and the event continues to watch when it is added
 * again.
 *
 * Several events may watch one child, of one base or of many, and each is told of its end. A child is left
 * alone when the last event that watches it is deleted before it ends: it keeps running, and the system keeps
 * its status for whoever waits for it.
 *
 * Each watched child takes a descriptor of this program. While it is watched, that one is in the event's
 * m_fd; it is the loop's. The functions share the failures of event.h.
 */
#ifndef OMBREL_EVENT_PROCESS_H
#define OMBREL_EVENT_PROCESS_H

#include <ombrel/event.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The result of a function that this host does not support. */
#define def_ombrel_event_not_supported (-2)

/**
 * @brief Gives an event the child process whose end it watches, or takes it away again.
 *
 * The event must be assigned and not be registered or active. What it knew of an earlier process is
 * forgotten. An assignment and ombrel_unassign_event() take the process away as well.
 * @param event   the event; its fd is -1 and it asks for no kind of event, def_ombrel_event_persist aside
 * @param process number of a child of this program that has not been waited for; 0 for none
 * @return 0; def_ombrel_event_not_supported, without a message, on a system that cannot tell of the ends of
 *         processes (on Linux: before 5.4, or under a filter of system calls); -1 for a registered or active
 *         event ("s_event is already added !"), for one that watches something else ("s_event watches
 *         something else !"), for a number that is no such child's ("no such child process !") and when
 *         memory or descriptors run out ("not enough memory !")
 */
OMBREL_API int ombrel_event_set_process(ombrel_event_t* event, int process);

OMBREL_END_C

#endif
