/**
 * @file spin_lock.h
 * @brief The spin lock: counted shared references or one exclusive one.
 *
 * It serves as a reference guard on records that are rarely contended: waiting polls every 10 ms and keeps no
 * order. A zero-filled record is a free lock. Any thread may call these functions, and any thread may drop a
 * reference. `tag` is the name of the calling function (a static string: the pointer is kept) and `line` its
 * source line; the macros without `_tag` pass the caller's own.
 *
 * In a child process the references that were held at the fork are held, to be dropped by the child alone.
 */
#ifndef OMBREL_SPIN_LOCK_H
#define OMBREL_SPIN_LOCK_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name Modes
 * The bit 2 alone decides: with it a request is exclusive, without it shared.
 * @{
 */
#define def_ombrel_spin_lock_shared 1u        /**< any number of holders together */
#define def_ombrel_spin_lock_exclusive_bit 2u /**< one holder */
#define def_ombrel_spin_lock_exclusive 3u /**< one holder: the mode of the functions without "reference" */
/** @} */

/** The lock. */
typedef struct {
    volatile uint32_t m_guard;  /**< 1 while a call changes the other words */
    const char* m_tag;          /**< who took the first of the current references, or of the last ones */
    unsigned long m_line;       /**< and on which line */
    uint32_t m_exclusive;       /**< 1 while held exclusively */
    uint32_t m_reference_count; /**< references held */
} ombrel_spin_lock_t;

/**
 * @brief Makes the lock free.
 * @param lock the lock; null is reported as an assertion
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_init_spin_lock(ombrel_spin_lock_t* lock);

/** @brief Ends the use of a lock. There is nothing to release. @return 0 */
OMBREL_API int ombrel_uninit_spin_lock(ombrel_spin_lock_t* lock);

/** @brief Allocates a free lock. @return the lock, or null when memory runs out */
OMBREL_API ombrel_spin_lock_t* ombrel_new_spin_lock(void);

/** @brief Frees a lock of ombrel_new_spin_lock(); null is accepted. @return 0 */
OMBREL_API int ombrel_free_spin_lock(ombrel_spin_lock_t* lock);

/**
 * @brief Takes a reference in one attempt.
 *
 * The attempt also fails while another call is just changing the lock.
 * @param lock the lock
 * @param mode one of the modes
 * @param tag  the calling function
 * @param line its source line
 * @return 1 when taken, 0 when not or for a null lock
 */
OMBREL_API int ombrel_reference_try_spin_lock_tag(ombrel_spin_lock_t* lock, uint32_t mode, const char* tag,
                                                  unsigned long line);

/** @brief Takes a reference, however long it takes. @return 1 when taken, 0 for a null lock */
OMBREL_API int ombrel_reference_spin_lock_tag(ombrel_spin_lock_t* lock, uint32_t mode, const char* tag,
                                              unsigned long line);

/**
 * @brief Takes a reference, trying for a limited time.
 * @param lock the lock
 * @param mode 1 shared, 2 or 3 exclusive
 * @param timeout_ms milliseconds; all-ones sets no limit, 0 makes one attempt
 * @param tag the calling function; a static string
 * @param line its source line
 * @return 1 when taken, 0 when the time ran out or for a null lock
 */
OMBREL_API int ombrel_reference_spin_lock_timeout_tag(ombrel_spin_lock_t* lock, uint32_t mode,
                                                      uint32_t timeout_ms, const char* tag,
                                                      unsigned long line);

/**
 * @brief Drops one reference.
 *
 * A lock without references gets a banner on standard error and stays free.
 * @return 0, or -1 when there was no reference or the lock is null
 */
OMBREL_API int ombrel_reference_spin_unlock_tag(ombrel_spin_lock_t* lock, const char* tag,
                                                unsigned long line);

/** @brief ombrel_reference_try_spin_lock_tag(), exclusive. */
OMBREL_API int ombrel_try_spin_lock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line);
/** @brief ombrel_reference_spin_lock_tag(), exclusive. */
OMBREL_API int ombrel_spin_lock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line);
/** @brief ombrel_reference_spin_lock_timeout_tag(), exclusive. */
OMBREL_API int ombrel_spin_lock_timeout_tag(ombrel_spin_lock_t* lock, uint32_t timeout_ms, const char* tag,
                                            unsigned long line);
/** @brief ombrel_reference_spin_unlock_tag(). */
OMBREL_API int ombrel_spin_unlock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line);

/** ombrel_reference_try_spin_lock_tag() with the caller's own name and line. */
#define ombrel_reference_try_spin_lock(lock, mode)                                                           \
    ombrel_reference_try_spin_lock_tag((lock), (mode), __func__, __LINE__)
/** ombrel_reference_spin_lock_tag() with the caller's own name and line. */
#define ombrel_reference_spin_lock(lock, mode)                                                               \
    ombrel_reference_spin_lock_tag((lock), (mode), __func__, __LINE__)
/** ombrel_reference_spin_lock_timeout_tag() with the caller's own name and line. */
#define ombrel_reference_spin_lock_timeout(lock, mode, timeout_ms)                                           \
    ombrel_reference_spin_lock_timeout_tag((lock), (mode), (timeout_ms), __func__, __LINE__)
/** ombrel_reference_spin_unlock_tag() with the caller's own name and line. */
#define ombrel_reference_spin_unlock(lock) ombrel_reference_spin_unlock_tag((lock), __func__, __LINE__)
/** ombrel_try_spin_lock_tag() with the caller's own name and line. */
#define ombrel_try_spin_lock(lock) ombrel_try_spin_lock_tag((lock), __func__, __LINE__)
/** ombrel_spin_lock_tag() with the caller's own name and line. */
#define ombrel_spin_lock(lock) ombrel_spin_lock_tag((lock), __func__, __LINE__)
/** ombrel_spin_lock_timeout_tag() with the caller's own name and line. */
#define ombrel_spin_lock_timeout(lock, timeout_ms)                                                           \
    ombrel_spin_lock_timeout_tag((lock), (timeout_ms), __func__, __LINE__)
/** ombrel_spin_unlock_tag() with the caller's own name and line. */
#define ombrel_spin_unlock(lock) ombrel_spin_unlock_tag((lock), __func__, __LINE__)

OMBREL_END_C

#endif
