/**
 * @file lock.h
 * @brief The lock: a fair mutex that knows who holds it and who waits, and that reports a suspected
 * dead-lock.
 *
 * Threads get the lock in the order in which they asked for it; a newcomer never overtakes a waiter. Taking a
 * free lock costs no system call; a thread that must wait for longer than some milliseconds sleeps on a pipe
 * of its own. Every hold and every wait is one live block of the tagged heap with the tag
 * "__ombrel_new_lock_claim".
 *
 * Any thread may call these functions, and any thread may release a lock: the caller's identity is not
 * checked. The functions ending in `_tag` take the name of the calling function (a static string: the pointer
 * is kept, not the text) and its source line, which appear in reports; the macros without `_tag` pass the
 * caller's own.
 *
 * A child process has the thread that forked and no other. In the child:
 * - Every call on a lock works, whatever other threads were doing with that lock at the fork.
 * - A lock that was free is free. One that the forking thread held is held, to be released there as in the
 *   parent. Its thread id is a new one, though: it must not take a thread-aware lock once more before it has
 *   released it.
 * - A lock that another thread held stays held, and no thread can release it: attempts wait. The child may
 *   release it with ombrel_unlock(), once a level, if it knows that what the lock guards is in order.
 * - No thread waits for any lock. The blocks of the threads that are gone stay live.
 */
#ifndef OMBREL_LOCK_H
#define OMBREL_LOCK_H

#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/short_lock.h>

OMBREL_BEGIN_C

/** A time limit that means: wait for ever. */
#define def_ombrel_infinite 0xFFFFFFFFu

/** The dead-lock duration of a lock whose own duration is all-ones: 30 minutes, in milliseconds. */
#define def_ombrel_lock_default_duration 1800000u

/**
 * @name Flags of a lock
 * The initialisers set the first and the last alone; set the others directly in `m_flags`, before the lock is
 * shared. The three message levels include those above them: a lock with none of them reports dead-locks
 * only.
 * @{
 */
#define def_ombrel_lock_flag_initialized 0x0080u  /**< set by every initialiser */
#define def_ombrel_lock_flag_thread_aware 0x0100u /**< the thread that holds the lock may take it again */
#define def_ombrel_lock_flag_debug 0x0010u        /**< print errors and warnings */
#define def_ombrel_lock_flag_warning 0x0020u      /**< print errors and warnings */
#define def_ombrel_lock_flag_error 0x0040u        /**< print errors */
#define def_ombrel_lock_flag_allocated 0x8000u    /**< made by ombrel_new_lock_tag() */
/** @} */

/** One hold of a lock or one wait for it. Opaque. */
struct ombrel_lock_claim_ts;

/** The lock. Embed it, and initialise it with ombrel_init_lock() or #def_ombrel_lock_initializer. */
typedef struct {
    uint32_t m_flags;              /**< the flags above */
    uint32_t m_dead_lock_duration; /**< milliseconds after which an endless wait is reported; all-ones means
                                        #def_ombrel_lock_default_duration */
    ombrel_short_lock_t m_guard;   /**< protects the lists */
    struct ombrel_lock_claim_ts* m_owners;       /**< the holder's claims, one a level, newest first */
    struct ombrel_lock_claim_ts* m_waiters_head; /**< the claim that has waited longest */
    struct ombrel_lock_claim_ts* m_waiters_tail; /**< the claim that came last */
    const char* m_tag;                           /**< who initialised the lock */
    unsigned long m_line;                        /**< and on which line */
} ombrel_lock_t;

/** The value of a free lock, for static ones. */
#define def_ombrel_lock_initializer                                                                          \
    { def_ombrel_lock_flag_initialized, def_ombrel_infinite, {0}, 0, 0, 0, "ombrel_init_lock_tag", 141 }

/**
 * @brief Makes a free lock of a caller's record.
 * @param lock the record; null is reported as an assertion
 * @param tag  the calling function
 * @param line its source line
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_init_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line);

/**
 * @brief Allocates a free lock, to be freed with ombrel_free_lock_tag().
 * @return the lock, or null when memory runs out
 */
OMBREL_API ombrel_lock_t* ombrel_new_lock_tag(const char* tag, unsigned long line);

/**
 * @brief Waits until the lock is free and no thread waits for it.
 *
 * New callers must be kept away by other means. A wait longer than the lock's duration is reported, again
 * every 4 seconds.
 * @return 0, or -1 for a null lock
 */
OMBREL_API int ombrel_uninit_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line);

/**
 * @brief ombrel_uninit_lock_tag(), and frees a lock that ombrel_new_lock_tag() allocated.
 * @param lock the lock; null is accepted
 * @param tag the calling function; a static string
 * @param line its source line
 * @return 0
 */
OMBREL_API int ombrel_free_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line);

/**
 * @brief Takes the lock, waiting in line for it.
 *
 * An endless wait that passes the lock's duration prints a dead-lock warning with the holder's claims, again
 * every 4 seconds. A thread that holds a lock without #def_ombrel_lock_flag_thread_aware and takes it again
 * waits for itself.
 * @param lock       the lock
 * @param timeout_ms milliseconds to wait at most; 0 only tries, #def_ombrel_infinite waits for ever
 * @param tag        the calling function
 * @param line       its source line
 * @return 0 when taken; -1 when the time ran out, for a null lock, or when memory for the claim could not be
 *         had in 64 attempts (about 0.6 s)
 */
OMBREL_API int ombrel_lock_timeout_tag(ombrel_lock_t* lock, uint32_t timeout_ms, const char* tag,
                                       unsigned long line);

/** @brief Takes the lock if it is free. @return 1 when taken, else 0 */
OMBREL_API int ombrel_try_lock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line);

/**
 * @brief Releases one level of the lock; after the last one the longest waiting thread gets it.
 * @return 0, or -1 when the lock was not held or is null
 */
OMBREL_API int ombrel_unlock_tag(ombrel_lock_t* lock, const char* tag, unsigned long line);

/** ombrel_init_lock_tag() with the caller's own name and line. */
#define ombrel_init_lock(lock) ombrel_init_lock_tag((lock), __func__, __LINE__)
/** ombrel_new_lock_tag() with the caller's own name and line. */
#define ombrel_new_lock() ombrel_new_lock_tag(__func__, __LINE__)
/** ombrel_uninit_lock_tag() with the caller's own name and line. */
#define ombrel_uninit_lock(lock) ombrel_uninit_lock_tag((lock), __func__, __LINE__)
/** ombrel_free_lock_tag() with the caller's own name and line. */
#define ombrel_free_lock(lock) ombrel_free_lock_tag((lock), __func__, __LINE__)
/** Takes the lock, waiting for ever, with the caller's own name and line. */
#define ombrel_lock(lock) ombrel_lock_timeout_tag((lock), def_ombrel_infinite, __func__, __LINE__)
/** ombrel_lock_timeout_tag() with the caller's own name and line. */
#define ombrel_lock_timeout(lock, timeout_ms)                                                                \
    ombrel_lock_timeout_tag((lock), (timeout_ms), __func__, __LINE__)
/** ombrel_try_lock_tag() with the caller's own name and line. */
#define ombrel_try_lock(lock) ombrel_try_lock_tag((lock), __func__, __LINE__)
/** ombrel_unlock_tag() with the caller's own name and line. */
#define ombrel_unlock(lock) ombrel_unlock_tag((lock), __func__, __LINE__)

OMBREL_END_C

#endif
