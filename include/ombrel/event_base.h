/**
 * @file event_base.h
 * @brief Event bases: the loops that watch events and call their handlers.
 *
 * One loop at a time runs on a base. Each iteration waits until something is ready or the nearest time limit
 * has passed, puts the events concerned in the run queues of their priorities, in the order in which they
 * were added, and calls the handlers of the most urgent queue that is not empty. Its cost follows what is
 * ready, not what is registered.
 *
 * All functions may be called from any thread, handlers included; a base is freed when no thread uses it.
 * A null base gives "%s: [ERROR] s_base is null !" and -1 where nothing else is said.
 */
#ifndef OMBREL_EVENT_BASE_H
#define OMBREL_EVENT_BASE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/event.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Loop flags
 * @{ */
#define def_ombrel_event_loop_once                                                                           \
    0x0001u /**< end after the first iteration that ran handlers and left no active event */
#define def_ombrel_event_loop_non_block                                                                      \
    0x0002u /**< never wait; end when no event is active after an iteration */
#define def_ombrel_event_loop_global_break                                                                   \
    0x8000u /**< end when ombrel_get_global_break() is set after an iteration */
/** @} */

/** Exclusive upper bound of a base's count of priorities. */
#define def_ombrel_event_max_priority 65536u

/** The process-wide base, or null; set by ombrel_init_event_base(). */
OMBREL_API extern ombrel_event_base_t* __g_ombrel_current_event_base;

/**
 * @brief Makes a base with one priority.
 * @return the base, freed by ombrel_free_event_base(); null with a message on failure
 */
OMBREL_API ombrel_event_base_t* ombrel_new_event_base(void);

/**
 * @brief Frees a base whose loop does not run; stops its background service first.
 *
 * Delete the events first: one that is left in the loop is reported by an assertion. All are detached from
 * the base, those that ombrel_add_signal() alone attached from their signal too. One-shot events of
 * ombrel_event_base_once() that have not fired are freed.
 * @param base the base; null and one that is freed already give the warning "no base to free !"
 * @return 0, or -1 for those and for a base whose loop runs, as it does in its handlers, or whose service is
 * being started or stopped ("the loop is running !")
 */
OMBREL_API int ombrel_free_event_base(ombrel_event_base_t* base);

/**
 * @brief Sets the count of priorities; no event may be active.
 * @param base the base
 * @param count 1 to def_ombrel_event_max_priority - 1
 * @return 0 or -1
 */
OMBREL_API int ombrel_event_base_init_priority(ombrel_event_base_t* base, uint32_t count);

/**
 * @brief Runs the loop on the calling thread.
 *
 * The base's own event for wake-ups is always registered, so a loop without other events does not end but
 * waits for what another thread or a handler adds. A program ends it by ombrel_event_base_exit_loop(), whose
 * request is an event and may be made beforehand, by ombrel_event_base_break_loop() while it runs, or by a
 * loop flag. Requests to break that were made before the call are forgotten. A signal that interrupts the
 * wait ends the loop, unless an event of this base is registered for it.
 * @param base the base
 * @param loop_flags def_ombrel_event_loop_*
 * @return 0 when the loop ended as asked; -1 when it was interrupted (silently), when waiting failed
 * ("ombrel_select_dispatch failed !") or when a loop runs on the base already
 *         ("reentrant invocation ! only one loop !")
 */
OMBREL_API int ombrel_event_base_loop(ombrel_event_base_t* base, uint32_t loop_flags);

/** @brief ombrel_event_base_loop() without flags. */
OMBREL_API int ombrel_event_base_dispatch(ombrel_event_base_t* base);

/**
 * @brief Ends the running loop after the handler that runs now; events that are still active stay so. A
 * request made before a loop runs is forgotten when it begins; see ombrel_event_base_exit_loop().
 * @return 0 or -1
 */
OMBREL_API int ombrel_event_base_break_loop(ombrel_event_base_t* base);

/**
 * @brief Ends the loop at the first iteration after a time, also one that begins only later: the request is
 * an event of the base, and stays until it is met.
 * @param base the base
 * @param timeout_ms milliseconds from now; 0 or less for the next iteration
 * @return 0 or -1
 */
OMBREL_API int ombrel_event_base_exit_loop(ombrel_event_base_t* base, int timeout_ms);

/** @brief Whether an exit was requested. @return 1, 0, or -1 for null */
OMBREL_API int ombrel_event_base_get_exit(ombrel_event_base_t* base);

/** What is in a base at one moment. The reserve words keep the record's size, which is part of the interface,
 * when figures come to it. */
typedef struct {
    size_t m_events;      /**< registered events */
    size_t m_timers;      /**< those of them with a time limit */
    size_t m_active;      /**< events in the run queues */
    size_t m_reserved[5]; /**< receive 0 */
} ombrel_event_counts_t;

/**
 * @brief Counts the events of a base. The base's own event for wake-ups is not counted.
 * @param base the base
 * @param counts receives the figures
 * @return 0, or -1 for null of either
 */
OMBREL_API int ombrel_event_base_get_counts(ombrel_event_base_t* base, ombrel_event_counts_t* counts);

/**
 * @brief Calls a handler once, by an event that the library makes, adds and frees.
 *
 * def_ombrel_event_persist is ignored, and the handler gets no assignment notice. The event passed to it
 * belongs to the library and ends with the call.
 * @param base the base
 * @param fd what to watch: a socket, a signal number or -1
 * @param flags the kinds to watch
 * @param handler called when it fires; may be null
 * @param context handed to the handler
 * @param timeout_ms time limit in milliseconds, negative for none
 * @return 0 or -1
 */
OMBREL_API int ombrel_event_base_once(ombrel_event_base_t* base, int fd, uint32_t flags,
                                      ombrel_event_handler_t handler, void* context, int timeout_ms);

/** @brief ombrel_event_base_once() with the texts of ombrel_assign_event_with_resolver(). */
OMBREL_API int ombrel_event_base_once_with_resolver(ombrel_event_base_t* base, int fd, uint32_t flags,
                                                    ombrel_event_handler_t handler, void* context,
                                                    int timeout_ms, const char* bind_address, int bind_port,
                                                    const char* resolver_name, int resolver_port);

/**
 * @brief Runs the loop on a background thread, the service "event_base_dispatch service".
 *
 * It runs until ombrel_event_base_stop_service() or until its loop ends.
 * @return 0; -1 when it runs, starts or stops already ("already started service !") or cannot be started
 */
OMBREL_API int ombrel_event_base_start_service(ombrel_event_base_t* base);

/**
 * @brief Breaks the background loop and waits for its thread.
 * @return 0; -1 with the warning "already stopped service !" when there is none or another thread starts or
 * stops it, and with "the loop is running !" in a handler of the background loop, which cannot wait for
 * itself
 */
OMBREL_API int ombrel_event_base_stop_service(ombrel_event_base_t* base);

/**
 * @brief The process-wide base, made once by the first call, however many threads make it.
 * @return the base, or null with "unable to construct event_base !"
 */
OMBREL_API ombrel_event_base_t* ombrel_init_event_base(void);

/** @name The process-wide base
 * Each is the function of the same name with "_base" for __g_ombrel_current_event_base. @{ */
/** @brief See ombrel_event_base_once(). */
OMBREL_API int ombrel_event_once(int fd, uint32_t flags, ombrel_event_handler_t handler, void* context,
                                 int timeout_ms);
/** @brief See ombrel_event_base_loop(). */
OMBREL_API int ombrel_event_loop(uint32_t loop_flags);
/** @brief See ombrel_event_base_dispatch(). */
OMBREL_API int ombrel_event_dispatch(void);
/** @brief See ombrel_event_base_break_loop(). */
OMBREL_API int ombrel_event_break_loop(void);
/** @brief See ombrel_event_base_exit_loop(). */
OMBREL_API int ombrel_event_exit_loop(int timeout_ms);
/** @brief See ombrel_event_base_init_priority(). */
OMBREL_API int ombrel_event_init_priority(uint32_t count);
/** @} */

/** A worker token: four bytes for the caller to use. */
typedef struct {
    uint32_t m_word; /**< the caller's; its first value is not defined */
} ombrel_worker_t;

/** @brief Allocates a worker token. @return the token or null */
OMBREL_API ombrel_worker_t* ombrel_open_worker(void);

/** @brief Frees a worker token; null is accepted. @return 0 */
OMBREL_API int ombrel_close_worker(ombrel_worker_t* worker);

OMBREL_END_C

#endif
