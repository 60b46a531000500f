/**
 * @file service.h
 * @brief Services: a named background thread with a start handshake, a stop request and a close that waits.
 *
 * Opening a service starts its handler on a thread of its own and returns once the handler has acknowledged.
 * The handler polls ombrel_break_service() and returns when it gives 1. Closing asks for that and waits for
 * it.
 *
 * A service is opened and closed by its owner, once each; the other functions may be called from any thread
 * while the service is open, and by the handler until it returns.
 */
#ifndef OMBREL_SERVICE_H
#define OMBREL_SERVICE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A service. Opaque. */
typedef struct ombrel_service_ts ombrel_service_t;

/**
 * What a service runs on its thread. It calls ombrel_ack_service() once it is ready, or
 * ombrel_error_service() when it cannot run.
 * @return not used
 */
typedef int (*ombrel_service_handler_t)(ombrel_service_t* service, void* context);

/**
 * Called by the closing thread after it has asked the handler to stop, so that it can end a wait of the
 * handler.
 * @return -1 to be called again while the close waits; anything else ends the registration
 */
typedef int (*ombrel_service_close_notify_handler_t)(void* argument);

/**
 * @brief Opens a service and waits until its handler has acknowledged or failed.
 *
 * A start that takes longer than a minute is reported on standard error, again every 4 seconds.
 * @param name    the service's name for reports, copied; null names it "no service name". A leading at sign
 * is part of the name and changes nothing on this platform
 * @param handler what the service runs
 * @param context handed to the handler; it must live until the handler returns
 * @param option  bytes of stack for the thread, as for ombrel_detached_thread_ex(); 0 takes the default
 * @return the service; null for a null handler, when memory or a thread cannot be had, or when the handler
 *         reported an error or returned without acknowledging
 */
OMBREL_API ombrel_service_t* ombrel_open_service_ex(const char* name, ombrel_service_handler_t handler,
                                                    void* context, size_t option);

/**
 * @brief Asks the handler to stop, waits until it has returned, and frees the service.
 *
 * Without a limit a wait longer than a minute is reported on standard error, again every 4 seconds. When a
 * limit runs out first, the handler may still be running: the caller gives up the service all the same, its
 * memory lasts until the handler has returned, and the handler's context must last as long.
 * @param service    the service; null gives 0
 * @param timeout_ms milliseconds to wait at most; all-ones waits without limit
 * @return 0
 */
OMBREL_API int ombrel_close_service_ex(ombrel_service_t* service, uint32_t timeout_ms);

/** @brief ombrel_close_service_ex() without limit. */
OMBREL_API int ombrel_close_service(ombrel_service_t* service);

/** @brief Whether the handler runs. @return 1 when it has acknowledged and has not returned; -1 when it
 * reported an error or for null; else 0 */
OMBREL_API int ombrel_check_service(ombrel_service_t* service);

/** @brief Whether the handler is to stop. @return 1 when so, 0 when not, -1 for null */
OMBREL_API int ombrel_break_service(ombrel_service_t* service);

/** @brief For the handler: says that it runs. @return 0, or -1 for null */
OMBREL_API int ombrel_ack_service(ombrel_service_t* service);

/** @brief For the handler: says that it cannot run. @return 0, or -1 for null */
OMBREL_API int ombrel_error_service(ombrel_service_t* service);

/**
 * @brief Registers what the closing thread calls while it waits.
 * @param service  the service
 * @param handler  the function; null registers nothing
 * @param argument handed to it
 * @return 0, or -1 for a null service
 */
OMBREL_API int ombrel_service_register_close_notify_handler(ombrel_service_t* service,
                                                            ombrel_service_close_notify_handler_t handler,
                                                            void* argument);

/** @brief The owner's pointer. @return what was set last, initially null, also for a null service */
OMBREL_API void* ombrel_get_user_data_service(ombrel_service_t* service);

/** @brief Keeps a pointer for the owner. @return 0, or -1 for a null service */
OMBREL_API int ombrel_set_user_data_service(ombrel_service_t* service, void* data);

/**
 * @name Flags of the caller
 * A word of bits, initially 0, with a short lock of its own. Hold that lock for a few instructions only, and
 * call none of the get, set, clear and invert functions while holding it.
 * @{
 */
/** @brief Takes the flags' lock if it is free. @return 1 when taken, 0 when busy, -1 for null */
OMBREL_API int ombrel_try_lock_flags_service(ombrel_service_t* service);
/** @brief Takes the flags' lock. @return 0, or -1 for null */
OMBREL_API int ombrel_lock_flags_service(ombrel_service_t* service);
/** @brief Releases the flags' lock. @return 0, or -1 for null */
OMBREL_API int ombrel_unlock_flags_service(ombrel_service_t* service);
/** @brief Reads the flags. @return the flags, 0 for null */
OMBREL_API uint32_t ombrel_get_lock_flags_service(ombrel_service_t* service);
/** @brief The flags' address, to be used while holding their lock. @return the address, null for null */
OMBREL_API uint32_t* ombrel_get_lock_flags_ptr_service(ombrel_service_t* service);
/** @brief Sets bits. @return the new flags, 0 for null */
OMBREL_API uint32_t ombrel_set_lock_flags_service(ombrel_service_t* service, uint32_t bits);
/** @brief Clears bits. @return the new flags, 0 for null */
OMBREL_API uint32_t ombrel_clear_lock_flags_service(ombrel_service_t* service, uint32_t bits);
/** @brief Inverts bits. @return the new flags, 0 for null */
OMBREL_API uint32_t ombrel_invert_lock_flags_service(ombrel_service_t* service, uint32_t bits);
/** @} */

OMBREL_END_C

#endif
