/**
 * @file timer.h
 * @brief Millisecond count-downs on the monotonic clock.
 *
 * A timer belongs to one thread at a time. Null timers give -1.
 */
#ifndef OMBREL_TIMER_H
#define OMBREL_TIMER_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A count-down; embed it and start it with ombrel_init_timer(). */
typedef struct {
    uint64_t m_start;    /**< when it was started, in ombrel_time_stamp_msec() */
    uint64_t m_duration; /**< its length in milliseconds */
} ombrel_timer_t;

/** @brief Starts a count-down of `msec` milliseconds from now. @return 0, or -1 for null */
OMBREL_API int ombrel_init_timer(ombrel_timer_t* timer, uint64_t msec);

/** @brief Whether the time has run out. @return 1 when it has, 0 when not, -1 for null */
OMBREL_API int ombrel_check_timer(const ombrel_timer_t* timer);

/**
 * @brief Whether the time has run out, and how much is left.
 * @param timer the timer
 * @param remaining receives the milliseconds left, 0 when it has run out; may be null
 * @return 1 when the time has run out, 0 when not, -1 for null
 */
OMBREL_API int ombrel_check_timer_ex(const ombrel_timer_t* timer, uint64_t* remaining);

/** @brief Lengthens the count-down by `msec` milliseconds. @return 0, or -1 for null */
OMBREL_API int ombrel_update_timer(ombrel_timer_t* timer, uint64_t msec);

OMBREL_END_C

#endif
