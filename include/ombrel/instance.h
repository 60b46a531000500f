/**
 * @file instance.h
 * @brief The registry of instances: objects behind handles that stay safe to use when the object is gone.
 *
 * A program that hands out numbers for its objects (connections, jobs, sessions) registers each object here
 * and gets a handle. Whoever has the handle pins the object, uses it, and releases it. An object that was
 * retired or ended is not found any more; it is destroyed when it is no longer held. Handles of other types
 * and of objects that are gone lead to nothing, so that a stale number is an error and never another object
 * or freed memory.
 *
 * @code
 * static void free_job(void* job) { ombrel_free(job); }
 * static const ombrel_instance_type_t job_type = {"my/job", free_job, NULL};
 *
 * int32_t handle = ombrel_register_instance(&job_type, job); // the registry's from here on
 *
 * job_t* pinned = ombrel_pin_instance(&job_type, handle);    // in any thread
 * if (pinned != NULL) {
 *     show(pinned);
 *     ombrel_unpin_instance(handle);
 * }
 * ombrel_retire_instance(&job_type, handle);                 // freed here, or where the last pin goes
 * @endcode
 *
 * @par Pins and calls
 * A pin keeps the object's memory and does not restrict what others do with it. A call does more: whoever
 * enters an object says how it is used, several callers may be inside, one can have it exclusively, and
 * ombrel_end_instance() lets those inside come out before the object's finish function runs, alone. A type
 * uses pins, or calls, or both.
 *
 * @par Handles
 * They are above 0. One leads to the same object as long as that lives; its number comes back only when at
 * least two thousand million handles have been given out since, so that stale ones do no harm.
 *
 * @par Limits
 * #def_ombrel_instance_max objects of all types live at a time, the library's own contexts and plug-ins among
 * them; 32,767 pins and 16,383 calls hold one object at a time, and further ones are refused.
 *
 * @par Threads
 * Any, for all functions here; none of them waits, except for a few instructions of another thread that
 * registers or destroys. The functions of a type are called with no lock held, in the thread that causes it,
 * and may use the registry.
 *
 * @par Failures
 * ombrel_last_fault() tells them: "invalid" for null arguments, "not found" for a handle that leads to no
 * object of the type, "busy" for an object that cannot be entered now, is ending, or is held too often, "no
 * memory", "too large" when there are too many objects.
 */
#ifndef OMBREL_INSTANCE_H
#define OMBREL_INSTANCE_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** How many objects of all types can live at a time. */
#define def_ombrel_instance_max 262144
/** The result of a registration when there are that many already. */
#define def_ombrel_instance_none_left (-2)

/**
 * @name How a call uses an object
 * @{
 */
/** The call only looks at the object: refused while another call has it exclusively. */
#define def_ombrel_instance_query 0
/** The call uses the object: refused also when the object is ending. */
#define def_ombrel_instance_use 1
/** The call has the object exclusively: refused also while another call is inside. */
#define def_ombrel_instance_alone 2
/** @} */

/** A type of objects. The record must last as long as objects of it; two are the same type when their names
 * are equal. */
typedef struct ombrel_instance_type_ts {
    const char* m_name; /**< its name, such as "my/job" */
    /** Frees an object that can no longer be found and is no longer held. Null: nothing is to be freed. */
    void (*m_destroy)(void* object);
    /** What ombrel_end_instance() does with an object while it still has its handle, when no other call is
     * inside. Null for none. */
    void (*m_finish)(void* object);
} ombrel_instance_type_t;

/**
 * @brief Registers an object.
 * @param type   its type, kept by address
 * @param object the object, not null; it belongs to the registry from then on when this succeeds
 * @return its handle, above 0; -1 for a null argument or a type without a name, and when memory runs out;
 *         #def_ombrel_instance_none_left (fault "too large")
 */
OMBREL_API int32_t ombrel_register_instance(const ombrel_instance_type_t* type, void* object);

/**
 * @brief Finds an object and keeps it until it is released.
 * @param type   its type
 * @param handle its handle, any number
 * @return the object; null when the handle leads to no object of the type (fault "not found"), or too many
 * hold it
 *         ("busy")
 */
OMBREL_API void* ombrel_pin_instance(const ombrel_instance_type_t* type, int32_t handle);

/**
 * @brief Releases an object that was pinned. It is destroyed here when it was retired and this was the last
 *        who held it.
 * @param handle the handle by which it was pinned, also when it has been retired since
 * @return 0; -1 for a handle without a pin. The pins of different callers are not distinguished
 */
OMBREL_API int ombrel_unpin_instance(int32_t handle);

/**
 * @brief Ends a handle: the object can no longer be found by it. The object is destroyed when the last who
 *        holds it releases it, here if there is none.
 * @param type   its type
 * @param handle its handle
 * @return 0; -1 when the handle leads to no object of the type, for example because another thread was faster
 */
OMBREL_API int ombrel_retire_instance(const ombrel_instance_type_t* type, int32_t handle);

/**
 * @brief Goes inside an object, which lives until the call leaves it.
 * @param type   its type
 * @param handle its handle
 * @param how    how the call uses it
 * @return the object; null when the handle leads to no object of the type (fault "not found"), and when it is
 *         refused ("busy")
 */
OMBREL_API void* ombrel_enter_instance(const ombrel_instance_type_t* type, int32_t handle, int how);

/**
 * @brief Leaves an object. It is finished and destroyed here when it is ending and this was the last call.
 * @param handle the handle by which it was entered, also when it has been retired since
 * @return 0; -1 for a handle with no call inside its object
 */
OMBREL_API int ombrel_leave_instance(int32_t handle);

/**
 * @brief Ends an object as soon as no call is inside: here, or where the last one leaves it, its finish
 *        function is called and its handle retired. This function does not wait.
 * @param type   its type
 * @param handle its handle
 * @return 0; -1 when the handle leads to no object of the type, or to one that is ending (fault "busy")
 */
OMBREL_API int ombrel_end_instance(const ombrel_instance_type_t* type, int32_t handle);

/**
 * Called for an object.
 * @param handle  its handle
 * @param object  the object, pinned while the handler runs
 * @param context what was given with the handler
 * @return 0 to go on; anything else ends the walk with it
 */
typedef int (*ombrel_instance_handler_t)(int32_t handle, void* object, void* context);

/**
 * @brief Calls a handler for each object of a type that is alive, in no particular order. What is registered
 *        or retired meanwhile may be met or not. The handler may use the registry, also to retire or end the
 *        object.
 * @param type    the type
 * @param handler called for each
 * @param context handed to the handler
 * @return 0; what the handler returned when that was not 0; -1 for a null type or handler
 */
OMBREL_API int ombrel_walk_instances(const ombrel_instance_type_t* type, ombrel_instance_handler_t handler,
                                     void* context);

OMBREL_END_C

#endif
