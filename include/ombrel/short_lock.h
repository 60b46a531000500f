/**
 * @file short_lock.h
 * @brief One-word lock for critical sections of a few instructions, and the two pauses of retry loops.
 *
 * A short lock is not recursive and keeps no owner: any thread may release it. Hold it for a few instructions
 * only, never across a call that may sleep. A zero-filled record is a free lock, so static ones need no
 * initialiser call.
 *
 * A lock that is held at a fork is held in the child, too: hold it over the fork yourself if the child is to
 * release it.
 */
#ifndef OMBREL_SHORT_LOCK_H
#define OMBREL_SHORT_LOCK_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The lock: one 32-bit word. */
typedef struct {
    volatile uint32_t m_word; /**< 0 free, 1 held */
} ombrel_short_lock_t;

/**
 * @brief Makes the lock free.
 * @param lock the lock; null is reported as an assertion
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_init_short_lock(ombrel_short_lock_t* lock);

/**
 * @brief Ends the use of a lock. There is nothing to release.
 * @param lock the lock, or null
 * @return 0
 */
OMBREL_API int ombrel_uninit_short_lock(ombrel_short_lock_t* lock);

/**
 * @brief Takes the lock if it is free, without waiting.
 * @param lock the lock
 * @return 1 when taken, 0 when it is busy or null
 */
OMBREL_API int ombrel_try_short_lock(ombrel_short_lock_t* lock);

/**
 * @brief Takes the lock, waiting as long as it is held.
 *
 * An attempt spins for at most about a microsecond; between attempts the caller sleeps for 1 ms and yields.
 * @param lock the lock
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_short_lock(ombrel_short_lock_t* lock);

/**
 * @brief Frees the lock.
 * @param lock the lock
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_short_unlock(ombrel_short_lock_t* lock);

/**
 * @brief Sleeps for 10 ms: the pause of long retry loops.
 * @return 0
 */
OMBREL_API int ombrel_load_balance(void);

/**
 * @brief Sleeps for 1 ms and yields the processor: the pause of short retry loops.
 * @return 0
 */
OMBREL_API int ombrel_load_balance_short(void);

OMBREL_END_C

#endif
