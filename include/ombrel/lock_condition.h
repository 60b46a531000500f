/**
 * @file lock_condition.h
 * @brief The condition variable that belongs to the lock.
 *
 * A condition remembers nothing: a wake-up without a waiter is lost. Keep the predicate under the lock,
 * change it there, and look at it again after every wait, which may end without a wake-up. Any thread.
 *
 * A thread that is woken while its lock is held leaves the condition at once and goes to the end of the
 * lock's line. It runs when its turn comes.
 *
 * In a child process no thread waits on any condition: the parent's waiters are not there.
 */
#ifndef OMBREL_LOCK_CONDITION_H
#define OMBREL_LOCK_CONDITION_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/lock.h>

OMBREL_BEGIN_C

/** One waiting thread. Opaque. */
struct ombrel_lock_condition_waiter_ts;

/** The condition. Embed it, and initialise it with one of the two below. */
typedef struct {
    ombrel_short_lock_t m_guard;                            /**< protects the list */
    struct ombrel_lock_condition_waiter_ts* m_waiters_head; /**< the thread that has waited longest */
    struct ombrel_lock_condition_waiter_ts* m_waiters_tail; /**< the thread that came last */
    const char* m_tag;                                      /**< who initialised the condition */
    unsigned long m_line;                                   /**< and on which line */
} ombrel_lock_condition_t;

/** The value of a condition without waiters, for static ones. */
#define def_ombrel_lock_condition_initializer                                                                \
    { {0}, 0, 0, "ombrel_init_lock_condition_tag", 822 }

/**
 * @brief Makes a condition without waiters of a caller's record.
 * @param condition the record; null is reported as an assertion
 * @param tag       the calling function; a static string
 * @param line      its source line
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_init_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag,
                                              unsigned long line);

/**
 * @brief Allocates a condition, to be freed with ombrel_free_lock_condition_tag().
 * @return the condition, or null when memory runs out
 */
OMBREL_API ombrel_lock_condition_t* ombrel_new_lock_condition_tag(const char* tag, unsigned long line);

/**
 * @brief Wakes every waiter and waits until the last one has left.
 *
 * A wait longer than an hour is reported, again every 4 seconds.
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_uninit_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag,
                                                unsigned long line);

/**
 * @brief ombrel_uninit_lock_condition_tag(), and frees a condition of ombrel_new_lock_condition_tag().
 * @param condition the condition; null is accepted
 * @param tag the calling function; a static string
 * @param line its source line
 * @return 0
 */
OMBREL_API int ombrel_free_lock_condition_tag(ombrel_lock_condition_t* condition, const char* tag,
                                              unsigned long line);

/**
 * @brief Releases the lock, waits for a wake-up, and takes the lock again.
 * @param condition  the condition
 * @param lock       the lock, held once by the caller; null waits without one
 * @param timeout_ms milliseconds to wait at most; #def_ombrel_infinite waits for ever
 * @param tag        the calling function
 * @param line       its source line
 * @return 0 after a wake-up and also when the time ran out, with the lock held; -1 for a null condition (the
 *         lock is left as it was) or when the lock could not be taken again (it is not held then)
 */
OMBREL_API int ombrel_lock_condition_wait_timeout_tag(ombrel_lock_condition_t* condition, ombrel_lock_t* lock,
                                                      uint32_t timeout_ms, const char* tag,
                                                      unsigned long line);

/**
 * @brief Wakes the thread that has waited longest.
 *
 * While that thread has been woken and has not left yet, further wake-ups do nothing: use the broadcast where
 * more than one thread is to go on.
 * @return 0, or -1 when no thread waits, the waiter could not be woken, or the condition is null
 */
OMBREL_API int ombrel_lock_condition_wakeup_tag(ombrel_lock_condition_t* condition);

/** @brief Wakes every waiting thread. @return 0 when at least one was woken, else -1 */
OMBREL_API int ombrel_lock_condition_wakeup_broadcast_tag(ombrel_lock_condition_t* condition);

/** ombrel_init_lock_condition_tag() with the caller's own name and line. */
#define ombrel_init_lock_condition(condition) ombrel_init_lock_condition_tag((condition), __func__, __LINE__)
/** ombrel_new_lock_condition_tag() with the caller's own name and line. */
#define ombrel_new_lock_condition() ombrel_new_lock_condition_tag(__func__, __LINE__)
/** ombrel_uninit_lock_condition_tag() with the caller's own name and line. */
#define ombrel_uninit_lock_condition(condition)                                                              \
    ombrel_uninit_lock_condition_tag((condition), __func__, __LINE__)
/** ombrel_free_lock_condition_tag() with the caller's own name and line. */
#define ombrel_free_lock_condition(condition) ombrel_free_lock_condition_tag((condition), __func__, __LINE__)
/** An endless wait, with the caller's own name and line. */
#define ombrel_lock_condition_wait(condition, lock)                                                          \
    ombrel_lock_condition_wait_timeout_tag((condition), (lock), def_ombrel_infinite, __func__, __LINE__)
/** ombrel_lock_condition_wait_timeout_tag() with the caller's own name and line. */
#define ombrel_lock_condition_wait_timeout(condition, lock, timeout_ms)                                      \
    ombrel_lock_condition_wait_timeout_tag((condition), (lock), (timeout_ms), __func__, __LINE__)
/** ombrel_lock_condition_wakeup_tag(). */
#define ombrel_lock_condition_wakeup(condition) ombrel_lock_condition_wakeup_tag(condition)
/** ombrel_lock_condition_wakeup_broadcast_tag(). */
#define ombrel_lock_condition_wakeup_broadcast(condition)                                                    \
    ombrel_lock_condition_wakeup_broadcast_tag(condition)

OMBREL_END_C

#endif
