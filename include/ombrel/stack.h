/**
 * @file stack.h
 * @brief A last-in-first-out store of bytes in growing chunks.
 *
 * The handle is the newest chunk, so every call gives the handle to use from then on; null is the empty
 * stack. A stack belongs to one thread at a time. It is released by popping it empty, for example with
 * `ombrel_pop_stack(stack, NULL, SIZE_MAX)`.
 */
#ifndef OMBREL_STACK_H
#define OMBREL_STACK_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The newest chunk of a stack; opaque. */
typedef struct ombrel_stack_ts ombrel_stack_t;

/**
 * @brief Puts bytes on top; one pop of the same size gives them back in the same order.
 * @param stack the stack; null starts one
 * @param data  `size` bytes, copied; null pushes zero bytes
 * @param size  bytes to push; 0 changes nothing
 * @return the new handle; when memory runs out the old one, with nothing pushed (null for a new stack)
 */
OMBREL_API ombrel_stack_t* ombrel_push_stack(ombrel_stack_t* stack, const void* data, size_t size);

/**
 * @brief Takes bytes from the top.
 *
 * A chunk that has become empty is freed only by the pop that needs bytes below it.
 * @param stack the stack, or null
 * @param dest  receives `size` bytes; what lies beyond the bottom of the stack leaves it untouched; null
 *              discards
 * @param size  bytes to take
 * @return the new handle; null when the request ran past the bottom, which frees the last chunk
 */
OMBREL_API ombrel_stack_t* ombrel_pop_stack(ombrel_stack_t* stack, void* dest, size_t size);

/**
 * @brief Releases nothing: chunks are released by popping the stack empty.
 * @param stack the stack, not null
 * @return 0
 */
OMBREL_API int ombrel_free_stack(ombrel_stack_t* stack);

OMBREL_END_C

#endif
