/**
 * @file thread.h
 * @brief Detached threads, and the calling thread's id and scheduling priority. Any thread.
 */
#ifndef OMBREL_THREAD_H
#define OMBREL_THREAD_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** What a thread runs. */
typedef void (*ombrel_thread_entry_t)(void* argument);

/** @brief The calling thread's id: the number that the system's own tools show. @return the id, never 0 */
OMBREL_API uint64_t ombrel_get_thread_id(void);

/**
 * @brief Runs a function on a new thread that is never joined.
 *
 * While the thread runs, one block of the tagged heap stands for it.
 * @param entry    the function
 * @param argument handed to it
 * @param option   bytes of stack wanted; 0 takes the host's default, less than 64 KiB means 64 KiB, and a
 * size that the host cannot give falls back to the default
 * @return 0, or -1 for a null function, or when the thread cannot be created
 */
OMBREL_API int ombrel_detached_thread_ex(ombrel_thread_entry_t entry, void* argument, size_t option);

/**
 * @brief ombrel_detached_thread_ex() with the host's default stack. Further arguments are accepted and not
 * used.
 * @return 0 or -1
 */
OMBREL_API int _ombrel_internal_detached_thread_ex(ombrel_thread_entry_t entry, void* argument, ...);

/**
 * @brief Reads the calling thread's scheduling policy and priority and the policy's range.
 *
 * Any of the arguments may be null. Where the host has no such thing all are -1, but `max` is 1.
 * @param policy   receives the host's number of the policy
 * @param priority receives the priority
 * @param min      receives the policy's lowest priority
 * @param max      receives the policy's highest priority
 * @return 0, or -1 when the host cannot tell
 */
OMBREL_API int ombrel_get_thread_schedule_priority_self(int* policy, int* priority, int* min, int* max);

/**
 * @brief Sets the calling thread's scheduling policy and priority.
 * @param policy   the host's number of the policy
 * @param priority a priority of the policy's range
 * @return 0, or -1 when the host refuses
 */
OMBREL_API int ombrel_set_thread_schedule_priority_self(int policy, int priority);

/** @brief Sets the lowest priority of the thread's policy. @return 0 or -1 */
OMBREL_API int ombrel_set_thread_schedule_priority_min_self(void);
/** @brief Sets the highest priority of the thread's policy. @return 0 or -1 */
OMBREL_API int ombrel_set_thread_schedule_priority_max_self(void);
/** @brief Sets the middle priority of the thread's policy. @return 0 or -1 */
OMBREL_API int ombrel_set_thread_schedule_priority_normal_self(void);

OMBREL_END_C

#endif
