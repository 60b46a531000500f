/**
 * @file dump.h
 * @brief Hex dump of memory through the standard-output path. Any thread.
 */
#ifndef OMBREL_DUMP_H
#define OMBREL_DUMP_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Prints bytes in lines of 16, such as "00001000 48 65 ... | ... [He..]", and flushes.
 * @param indent  spaces before each line; negative counts as 0
 * @param offset  index in `data` of the first byte shown
 * @param data    the memory; null prints nothing
 * @param size    number of bytes shown
 * @param address what the first line gives as the address of its first byte
 * @return `data`
 */
OMBREL_API const void* ombrel_dump_ex(int indent, size_t offset, const void* data, size_t size,
                                      uint64_t address);

OMBREL_END_C

#endif
