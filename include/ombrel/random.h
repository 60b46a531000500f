/**
 * @file random.h
 * @brief Random bytes of the host, fit for keys and secrets. Any thread.
 */
#ifndef OMBREL_RANDOM_H
#define OMBREL_RANDOM_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Fills memory with random bytes that cannot be foreseen, neither from earlier ones nor in a child or
 * the parent of this process.
 * @param bytes the memory; may be null when `size` is 0
 * @param size  how many
 * @return 0; -1, with the host's fault, where it gives none: the memory's content is undefined then
 */
OMBREL_API int ombrel_get_random_bytes(void* bytes, size_t size);

OMBREL_END_C

#endif
