/**
 * @file event.h
 * @brief Events: a socket, a signal, a time limit, a name look-up, a connection or a child process that a
 * loop watches.
 *
 * An event is a record that the caller embeds or lets ombrel_new_event() allocate. It is *assigned* to a base
 * (see event_base.h), *added* so that the loop watches it, and *active* from the moment when something
 * happened until its handler is called. An event without def_ombrel_event_persist is deleted just before its
 * handler runs, so the handler may add it again.
 *
 * Handlers run on the thread of the loop, without the base's lock. A handler may add, delete, unassign and
 * free any event of its base, its own and others that are already active included.
 *
 * Every function here may be called from any thread, while the loop sleeps or runs. An event itself belongs
 * to its user: do not assign, unassign or free it on one thread while another uses it or, on another thread
 * than the loop's, while its handler runs.
 *
 * An event that outlives its base has none: one that was added, active or attached to a signal when the base
 * was freed was let go by it, any other one notices that when it is used next. ombrel_event_set_base() gives
 * it another.
 *
 * Failures common to all functions that take an event; each prints a line by the error printer and gives -1:
 * - null: "%s: [ERROR] event is null !"
 * - not assigned: "%s: [ERROR] event is not initialized ! (event=%p"
 * - assigned without a base: "%s: [ERROR] event->m_base is null ! (event=%p)"
 *
 * @par Managed connections
 * With def_ombrel_event_managed_connect the loop makes the connection. Give the name and port of the peer to
 * one of the `_with_resolver` functions and ask for def_ombrel_event_with_resolver as well.
 * - With an fd of -1 the loop opens a stream socket for each answer of the resolver in turn, binds it to the
 * bind address and port if given, and connects it, until one connects. On success the socket is in the
 * event's fd and in the `fd` argument of the handler, is non-blocking, and **belongs to the caller**, who
 * closes it. On failure, on a time-out of a one-shot event, and when the event is deleted before it
 * connected, the loop closes what it opened and the fd is -1 again.
 * - With a socket of the caller the loop makes it non-blocking and connects it to the answers of its family.
 * The socket stays the caller's in every case.
 * - Without a resolver name the caller has started the connection of a non-blocking socket; the loop waits
 * for its end.
 *
 * The handler is called once about the connection: with managed_connect | connected | write when it is
 * established, or with managed_connect | connect_failed | exception; def_ombrel_event_with_resolver is set
 * too when the name was answered. A time limit that passes first gives def_ombrel_event_timeout. After a
 * success a persistent event (or one that is added again) goes on as an ordinary event of that socket with
 * the kinds that it asked for.
 *
 * @par Names
 * With def_ombrel_event_with_resolver and a resolver name, adding the event asks the base's resolver cache,
 * and the loop calls the handler with def_ombrel_event_with_resolver once the answer is in m_resolver_info. A
 * name without an answer is looked up again each second, until the event's time limit: give one. An event
 * with neither socket nor time limit fires at the next iteration, whether its name is answered or not.
 */
#ifndef OMBREL_EVENT_H
#define OMBREL_EVENT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>
#include <ombrel/resolver.h>

OMBREL_BEGIN_C

/** @name Event flags
 * Kinds to ask for, results for the handler, and state; see the comment of each. @{ */
#define def_ombrel_event_read 0x0001u          /**< the socket is readable, or the peer has closed */
#define def_ombrel_event_write 0x0002u         /**< the socket is writable */
#define def_ombrel_event_exception 0x0004u     /**< out-of-band data, or an error such as a failed connect */
#define def_ombrel_event_signal 0x0008u        /**< the signal whose number is the fd was delivered */
#define def_ombrel_event_persist 0x0010u       /**< stays registered after it fired */
#define def_ombrel_event_timeout 0x0020u       /**< result only: the time limit passed */
#define def_ombrel_event_process_end 0x0040u   /**< result only: the child has ended; see event_process.h */
#define def_ombrel_event_assigned 0x0080u      /**< state; as a result: the notice of an assignment */
#define def_ombrel_event_new 0x0100u           /**< state: made by ombrel_new_event() */
#define def_ombrel_event_registered 0x0200u    /**< state: in the base's list of all events */
#define def_ombrel_event_active 0x0400u        /**< state: in a run queue */
#define def_ombrel_event_with_resolver 0x0800u /**< carries a resolver name; as a result: it was answered */
#define def_ombrel_event_managed_connect 0x1000u /**< the loop connects the socket; also a result */
#define def_ombrel_event_connecting 0x2000u      /**< state: the managed connection is being made */
#define def_ombrel_event_connected 0x4000u       /**< state and result: the managed connection stands */
#define def_ombrel_event_connect_failed 0x8000u  /**< state and result: the managed connection failed */
/** The flags that an assignment takes from its caller. */
#define def_ombrel_event_assignable 0x191Fu
/** @} */

/** An event loop's base; see event_base.h. */
typedef struct ombrel_event_base_ts ombrel_event_base_t;
/** An event; see struct ombrel_event_ts. */
typedef struct ombrel_event_ts ombrel_event_t;
/** The registration of an event with its signal; see signal.h. */
typedef struct ombrel_signal_node_ts ombrel_signal_node_t;
/** What events know of a child process; see event_process.h. */
typedef struct ombrel_process_watch_ts ombrel_process_watch_t;

/**
 * What an event calls.
 *
 * It is called once by each assignment with `result_flags` 0x0080, on the assigning thread, and must accept
 * that.
 * @param event        the event
 * @param fd           its socket or signal number
 * @param result_flags why it is called
 * @param context      the pointer given at assignment
 */
typedef void (*ombrel_event_handler_t)(ombrel_event_t* event, int fd, uint32_t result_flags, void* context);

/** Reserve words at the end of an event. */
#define def_ombrel_event_reserve 6

/**
 * An event. Read the fields as you like; change them through the functions only. Start from a zeroed record.
 *
 * The record's size is part of the interface, as callers embed it. Fields to come take the place of reserve
 * words, so that programs need not be compiled anew.
 */
struct ombrel_event_ts {
    ombrel_event_t* m_prev;             /**< list of all events of the base */
    ombrel_event_t* m_next;             /**< list of all events of the base */
    ombrel_event_t* m_active_prev;      /**< run queue */
    ombrel_event_t* m_active_next;      /**< run queue */
    ombrel_event_t* m_timer_prev;       /**< timer order */
    ombrel_event_t* m_timer_next;       /**< timer order */
    ombrel_event_base_t* m_base;        /**< the owning base */
    uint32_t m_priority;                /**< 0 is the most urgent */
    int m_timeout;                      /**< time limit in milliseconds, negative for none */
    uint64_t m_expiry;                  /**< when it passes, in ombrel_time_stamp_msec() */
    uint32_t m_flags;                   /**< kinds asked for and state */
    uint32_t m_result_flags;            /**< why the event is active */
    int m_fd;                           /**< socket or signal number, -1 for none */
    ombrel_event_handler_t m_handler;   /**< called when the event fires; may be null */
    void* m_context;                    /**< handed to the handler */
    char* m_bind_address;               /**< local address of a managed connection, or null */
    int m_bind_port;                    /**< its local port, -1 for none */
    char* m_resolver_name;              /**< name to resolve, or null */
    int m_resolver_port;                /**< port that goes with it, -1 for none */
    ombrel_resolver_t* m_resolver_info; /**< the answer, owned by the event; null until it arrives */
    ombrel_signal_node_t* m_signal;     /**< registration with the signal, or null */
    /* The loop's own; what each iteration needs stands together. */
    ombrel_event_t* m_fd_next; /**< events of one descriptor */
    uint64_t m_order;          /**< place in the list of all events */
    uint32_t m_state;          /**< private state bits */
    uint32_t m_ready;          /**< the kinds that the last wait found ready; not in a loop, the loop's own */
    ombrel_buffer_t* m_input_buffer;  /**< see event_buffer.h; null while not enabled */
    ombrel_buffer_t* m_output_buffer; /**< see event_buffer.h; null while not enabled */
    size_t m_input_watermark;         /**< bytes at which reading pauses, 0 for never */
    size_t m_output_watermark;        /**< bytes from which on the output is sent; 1 after assignment */
    /* The loop's own again. */
    ombrel_event_t* m_fd_prev;       /**< events of one descriptor */
    ombrel_event_t* m_timer_child;   /**< timer order */
    uint64_t m_timer_key;            /**< timer order: an expiry that it was armed with */
    ombrel_event_t* m_self;          /**< this record's address while it holds resources */
    ombrel_event_t** m_waiting_link; /**< where events that wait for a name or the loop lead to this one */
    ombrel_event_t* m_waiting_next;  /**< the next event that waits like this one */
    ombrel_resolver_t* m_connect_address; /**< the answer that is being tried */
    /* A child process; see event_process.h. */
    int m_process;     /**< number of the process that is or was watched; 0 for none */
    int m_exit_code;   /**< its exit code; -1 before its end, after a signal and when it is not known */
    int m_exit_signal; /**< number of the signal that ended it, 0 for none */
    ombrel_process_watch_t* m_process_watch;    /**< the loop's own; null while none is watched */
    void* m_reserved[def_ombrel_event_reserve]; /**< null after each assignment; leave them alone */
};

/**
 * @brief Prepares a record of the caller.
 *
 * The kinds are `flags` & 0x191F. The event is not watched until ombrel_add_event(). Its priority becomes
 * half of the base's count of priorities. The handler is called at once with 0x0080. What an earlier
 * assignment of the same record held is released.
 * @param base    the base; null leaves the choice to ombrel_event_set_base()
 * @param event   the record; it must outlive its registration
 * @param fd      a socket, a signal number with def_ombrel_event_signal, or -1
 * @param flags   what to watch
 * @param handler called when it fires; may be null
 * @param context handed to the handler
 * @return 0; -1 for null and for a registered or active event ("s_event is already added !")
 */
OMBREL_API int ombrel_assign_event(ombrel_event_base_t* base, ombrel_event_t* event, int fd, uint32_t flags,
                                   ombrel_event_handler_t handler, void* context);

/**
 * @brief ombrel_assign_event() with the texts of a resolver-bound event or a managed connection.
 * @param base the base
 * @param event the event
 * @param fd what to watch: a socket, a signal number or -1
 * @param flags the kinds to watch
 * @param handler called when it fires; may be null
 * @param context handed to the handler
 * @param bind_address  local address in numbers, or null; copied
 * @param bind_port     local port; outside 0 to 65535 means none
 * @param resolver_name name of the peer, or null; copied
 * @param resolver_port port of the peer; outside 0 to 65535 means none
 * @return 0; -1 as ombrel_assign_event() and when memory runs out
 */
OMBREL_API int ombrel_assign_event_with_resolver(ombrel_event_base_t* base, ombrel_event_t* event, int fd,
                                                 uint32_t flags, ombrel_event_handler_t handler,
                                                 void* context, const char* bind_address, int bind_port,
                                                 const char* resolver_name, int resolver_port);

/**
 * @brief Allocates an event and assigns it. The arguments are those of ombrel_assign_event().
 * @return the event, freed by ombrel_free_event(); null with a message on failure
 */
OMBREL_API ombrel_event_t* ombrel_new_event(ombrel_event_base_t* base, int fd, uint32_t flags,
                                            ombrel_event_handler_t handler, void* context);

/** @brief ombrel_new_event() with the further arguments of ombrel_assign_event_with_resolver(). */
OMBREL_API ombrel_event_t* ombrel_new_event_with_resolver(ombrel_event_base_t* base, int fd, uint32_t flags,
                                                          ombrel_event_handler_t handler, void* context,
                                                          const char* bind_address, int bind_port,
                                                          const char* resolver_name, int resolver_port);

/**
 * @brief Unassigns an event with all that it holds, and frees the record if ombrel_new_event() made it.
 * @return 0, or -1 for null and for a record that is not assigned
 */
OMBREL_API int ombrel_free_event(ombrel_event_t* event);

/**
 * @brief Deletes the event if it is registered or active, and releases its texts, its answer and its buffers.
 * @return 0, or -1 for null and for a record that is not assigned
 */
OMBREL_API int ombrel_unassign_event(ombrel_event_t* event);

/** @brief ombrel_assign_event() with the process-wide base. */
OMBREL_API int ombrel_set_event(ombrel_event_t* event, int fd, uint32_t flags, ombrel_event_handler_t handler,
                                void* context);

/** @brief ombrel_assign_event_with_resolver() with the process-wide base. */
OMBREL_API int ombrel_set_event_with_resolver(ombrel_event_t* event, int fd, uint32_t flags,
                                              ombrel_event_handler_t handler, void* context,
                                              const char* bind_address, int bind_port,
                                              const char* resolver_name, int resolver_port);

/**
 * @brief Moves an assigned event to another base; its priority becomes half of that base's count.
 *
 * One that ombrel_add_signal() attached stays attached; what was delivered is not lost.
 * @param event the event
 * @param base the new base; null fails with "s_base is null !"
 * @return 0; -1 also for a registered or active event ("s_event is already added !")
 */
OMBREL_API int ombrel_event_set_base(ombrel_event_t* event, ombrel_event_base_t* base);

/**
 * @brief Sets the priority of an event that is not active.
 * @param event the event
 * @param priority 0 (most urgent) to the base's count - 1
 * @return 0; -1 when active ("already active event !") or out of range ("s_priority >= max_priority !")
 */
OMBREL_API int ombrel_event_set_priority(ombrel_event_t* event, uint32_t priority);

/**
 * @brief Registers the event with its base, or arms the time limit of a registered one anew.
 *
 * A descriptor has one interest: that of its event added last. To be told of reading and of writing, ask for
 * both in one event; a second event of the same descriptor replaces the interest of the first one, which is
 * then told nothing.
 *
 * The time limit runs from the call. Each time a persistent event fires, for whatever reason, its limit
 * begins anew; adding it again does the same. So it measures a time in which nothing happened. For fixed
 * intervals use a persistent event without a socket.
 *
 * While the loop sleeps it is woken once at most, and only when the new event changes what it waits for.
 * @param event the event
 * @param timeout_ms time limit in milliseconds from now; negative for none. An event with neither socket nor
 *                   time limit fires at the next iteration
 * @return 0; -1 when the socket cannot be watched ("ombrel_set_select failed !"), the signal cannot be caught
 *         ("ombrel_add_signal failed !") or memory runs out
 */
OMBREL_API int ombrel_add_event(ombrel_event_t* event, int timeout_ms);

/**
 * @brief Takes the event from the loop, out of a run queue too.
 * @return 0; -1 with the warning "already deleted." when it was neither registered nor active
 */
OMBREL_API int ombrel_del_event(ombrel_event_t* event);

/**
 * @brief Puts the event in its run queue by hand; it need not be registered.
 *
 * An event that is active already gets the result flags added.
 * @param event the event
 * @param result_flags what its handler is to be told
 * @return 0 or -1
 */
OMBREL_API int ombrel_active_event(ombrel_event_t* event, uint32_t result_flags);

/**
 * @brief Which kinds the event waits for or is active with.
 * @param event the event
 * @param flags          the kinds of interest: read, write, exception, signal, timeout, process end, with
 *                       resolver, managed connect
 * @param timeout_ms_out receives the milliseconds left, -1 without a time limit; may be null
 * @return the pending ones among `flags`, or -1
 */
OMBREL_API int ombrel_event_pending(ombrel_event_t* event, uint32_t flags, int* timeout_ms_out);

/**
 * @brief Switches the "[MESSAGE]" lines about events and bases on the normal printer on or off, process-wide.
 * @param on nonzero for on
 * @return 0
 */
OMBREL_API int ombrel_event_debug_mode(int on);

OMBREL_END_C

#endif
