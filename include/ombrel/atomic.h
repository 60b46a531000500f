/**
 * @file atomic.h
 * @brief The two atomic operations that every lock of the library is built on.
 *
 * Both are full memory barriers and may be called from any thread and from signal handlers.
 */
#ifndef OMBREL_ATOMIC_H
#define OMBREL_ATOMIC_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Stores a value and hands back the one that it replaced.
 * @param word  the word to change; must not be null
 * @param value the value to store
 * @return the value that the word held before
 */
OMBREL_API uint32_t ombrel_atomic_exchange(volatile uint32_t* word, uint32_t value);

/**
 * @brief Stores 0 and hands back the value that it replaced.
 * @param word the word to change; must not be null
 * @return the value that the word held before
 */
OMBREL_API uint32_t ombrel_atomic_release(volatile uint32_t* word);

OMBREL_END_C

#endif
