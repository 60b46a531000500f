/**
 * @file alloca.h
 * @brief Heap blocks that are given back when the function that took them has returned.
 *
 * A block is released by a later ombrel_alloca() call made from a shallower frame, so results are never freed
 * by hand. The chain of blocks is not locked: use it from one thread only.
 */
#ifndef OMBREL_ALLOCA_H
#define OMBREL_ALLOCA_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief The direction of the stack. @return 1 when it grows towards higher addresses, else -1 */
OMBREL_API int ombrel_detect_stack_direction(void);

/**
 * @brief Releases the blocks of frames that have returned, then allocates for the calling frame.
 * @param size bytes wanted; 0 only releases
 * @return the block (aligned to two pointers), or null for 0, an overflowing size or when memory runs out
 */
OMBREL_API void* ombrel_alloca(size_t size);

/** @brief The number of live ombrel_alloca() blocks. Any thread. */
OMBREL_API size_t ombrel_alloca_count(void);

OMBREL_END_C

#endif
