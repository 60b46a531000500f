/**
 * @file process_service.h
 * @brief Services in processes of their own: the services of service.h, with a child process in place of the
 * thread.
 *
 * A program opens a service by naming a program with arguments, often itself, and continues once the child
 * has acknowledged its start. The child polls ombrel_process_service_break() and ends when it gives 1.
 * Closing asks for that, waits, and ends a child that does not comply by force. A child that crashes does not
 * take its opener with it, and a child whose opener crashed is thereby asked to stop.
 *
 * @code
 * static int work(ombrel_process_service_t* service, void* context) {
 *     ombrel_process_service_ack(service);
 *     while (ombrel_process_service_break(service, 100) == 0)
 *         do_some_work(context);
 *     return 0; // the exit code
 * }
 * int main(int argc, char** argv) {
 *     if (ombrel_get_process_service_name() != NULL)
 *         return ombrel_run_process_service(work, NULL);
 *     const char* const arguments[] = {argv[0], NULL};
 *     ombrel_process_service_t* service = ombrel_open_process_service("worker", arguments, NULL);
 *     ...
 *     ombrel_close_process_service(service);
 * }
 * @endcode
 *
 * The two sides communicate over two pipes that the child inherits, with its name, by the environment
 * variable OMBREL_PROCESS_SERVICE; programs that the child starts do not get them. Standard output and error
 * are those of the opener, standard input is empty.
 *
 * @par Threads
 * The opener's object is opened and closed by its owner, the other functions may be called from any thread
 * while it is open. The child's object belongs to the handler: one thread at a time.
 *
 * @par Failures
 * Functions give null or -1 with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null,
 * invalid arguments, and an object of the other side, and what is named with the function.
 */
#ifndef OMBREL_PROCESS_SERVICE_H
#define OMBREL_PROCESS_SERVICE_H

#include <stddef.h>

#include <ombrel/export.h>
#include <ombrel/process.h>

OMBREL_BEGIN_C

/** A service in a process of its own, as its opener or its handler sees it. Opaque. */
typedef struct ombrel_process_service_ts ombrel_process_service_t;

/** The longest name of a service, in bytes. */
#define def_ombrel_process_service_name_max 63
/** The most bytes of the message of a child that cannot run. */
#define def_ombrel_process_service_text_max 400

/** @name The opener's side
 * @{
 */

/** How a service is opened and closed. Times are milliseconds. */
typedef struct ombrel_process_service_options_ts {
    /** The child's working directory; null, the default, for that of this process. */
    const char* m_directory;
    /** How long the child may take to acknowledge before it is ended by force; the default is 60,000;
     * negative for any time. */
    int m_start_timeout_ms;
    /** How long a close waits for the child before it uses force; the default is 5,000; negative never uses
     * force. */
    int m_grace_ms;
    /** Receives the child's message when it cannot run, terminated; an empty text when there is none;
     * null, the default, to do without. */
    char* m_error;
    /** Bytes at m_error; #def_ombrel_process_service_text_max and 1 hold every message. */
    size_t m_error_size;
} ombrel_process_service_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_process_service_options(ombrel_process_service_options_t* options);

/**
 * @brief Starts a program as a service and waits until it has acknowledged.
 * @param name      what ombrel_get_process_service_name() gives in the child: 1 to
 *                  #def_ombrel_process_service_name_max bytes
 * @param arguments the program's name, looked for as ombrel_open_process() does, its arguments, and null
 * @param options   how; null means ombrel_init_process_service_options()
 * @param function  the calling function's name, for the heap's reports
 * @param line      the calling line
 * @return the service, for ombrel_close_process_service(). Null, with no child left, with
 *         #def_ombrel_fault_not_found or #def_ombrel_fault_access_denied when the program cannot be started,
 *         #def_ombrel_fault_refused when the child said that it cannot run, #def_ombrel_fault_closed when it
 *         ended without a word, #def_ombrel_fault_timed_out when it did not say anything in time
 */
OMBREL_API ombrel_process_service_t*
ombrel_open_process_service_tag(const char* name, const char* const* arguments,
                                const ombrel_process_service_options_t* options, const char* function,
                                unsigned long line);
/** ombrel_open_process_service_tag() with the caller's own name and line. */
#define ombrel_open_process_service(name, arguments, options)                                                \
    ombrel_open_process_service_tag((name), (arguments), (options), __func__, __LINE__)

/** @brief Whether the child runs. @return 1 when it does, 0 when it has ended, -1 for null */
OMBREL_API int ombrel_process_service_check(ombrel_process_service_t* service);

/** @brief The number of the child's process, which after its end belongs to no process or to another one.
 * @return the number, -1 for null */
OMBREL_API int ombrel_process_service_get_id(ombrel_process_service_t* service);

/** @brief Asks the child to stop, and does not wait. @return 0, or -1 for null */
OMBREL_API int ombrel_process_service_stop(ombrel_process_service_t* service);

/**
 * @brief Waits until the child has ended.
 * @param service     the service
 * @param timeout_ms  milliseconds to wait at most; negative waits for ever, 0 only looks
 * @param end         receives how, when the result is 1; or null
 * @return 1 when it has ended; 0 when the time ran out; -1 for null
 */
OMBREL_API int ombrel_process_service_wait(ombrel_process_service_t* service, int timeout_ms,
                                           ombrel_process_end_t* end);

/**
 * @brief Asks the child to stop, waits, ends it by force after the grace, with what it left in its process
 * group, and frees the object.
 * @param service the service; null gives 0
 * @return 0
 */
OMBREL_API int ombrel_close_process_service(ombrel_process_service_t* service);

/** @} */

/** @name The child's side
 * @{
 */

/** @brief The name under which this process was started as a service.
 * @return the name; null when it was not started as one, and within and after ombrel_run_process_service() */
OMBREL_API const char* ombrel_get_process_service_name(void);

/**
 * What a service does. It calls ombrel_process_service_ack() once it is ready, or
 * ombrel_process_service_error() when it cannot run.
 * @param service the child's object, valid until the handler returns
 * @param context what was given with the handler
 * @return the result of ombrel_run_process_service(): the exit code of a `main` that hands it on
 */
typedef int (*ombrel_process_service_handler_t)(ombrel_process_service_t* service, void* context);

/**
 * @brief Runs this process's service, once in its life.
 *
 * A handler that returns without a word lets the opener know that it has ended.
 * @param handler what the service does
 * @param context handed to it
 * @return what the handler returned; -1 with #def_ombrel_fault_not_found when this process was not started as
 * a service
 */
OMBREL_API int ombrel_run_process_service(ombrel_process_service_handler_t handler, void* context);

/** @brief Says that the service runs. @return 0; -1 with #def_ombrel_fault_closed when the opener is gone,
 * and with #def_ombrel_fault_invalid for null and when a word was given already */
OMBREL_API int ombrel_process_service_ack(ombrel_process_service_t* service);

/**
 * @brief Says that the service cannot run. The handler should then return.
 * @param service the child's object
 * @param text    words for people, of which the first #def_ombrel_process_service_text_max bytes are sent;
 * null for none
 * @return as ombrel_process_service_ack()
 */
OMBREL_API int ombrel_process_service_error(ombrel_process_service_t* service, const char* text);

/**
 * @brief Whether the service is to stop: the opener asked for it, or has ended itself.
 * @param service    the child's object
 * @param timeout_ms milliseconds to wait for that at most; negative waits for ever, 0 only looks
 * @return 1 when it is to stop, 0 when not, -1 for null
 */
OMBREL_API int ombrel_process_service_break(ombrel_process_service_t* service, int timeout_ms);

/**
 * @brief The descriptor that becomes readable when the service is to stop, for an event of a loop. Nothing
 * must be read from it.
 * @param service the child's object
 * @return the descriptor, which belongs to the object; -1 for null and on the opener's side
 */
OMBREL_API int ombrel_process_service_get_descriptor(ombrel_process_service_t* service);

/** @} */

OMBREL_END_C

#endif
