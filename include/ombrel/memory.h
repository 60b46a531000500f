/**
 * @file memory.h
 * @brief Fill, copy, compare and exchange of plain memory, with reports for null arguments.
 *
 * All functions may be called from any thread. A null argument is reported as an assertion and the operation
 * is attempted all the same.
 */
#ifndef OMBREL_MEMORY_H
#define OMBREL_MEMORY_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @brief Fills `bytes` bytes with the low byte of `value`. @return `dst` */
OMBREL_API void* ombrel_memset8_wrapper(void* dst, int value, size_t bytes);
/**
 * @brief Fills `count` 16-bit units.
 * @param dst aligned or not
 * @param value the value
 * @param count the number of units
 * @return `dst`
 */
OMBREL_API void* ombrel_memset16_wrapper(void* dst, uint16_t value, size_t count);
/**
 * @brief Fills `count` 32-bit units.
 * @param dst aligned or not
 * @param value the value
 * @param count the number of units
 * @return `dst`
 */
OMBREL_API void* ombrel_memset32_wrapper(void* dst, uint32_t value, size_t count);
/**
 * @brief Fills `count` 64-bit units.
 * @param dst aligned or not
 * @param value the value
 * @param count the number of units
 * @return `dst`
 */
OMBREL_API void* ombrel_memset64_wrapper(void* dst, uint64_t value, size_t count);
/** @brief Zeroes `bytes` bytes. @return `dst` */
OMBREL_API void* ombrel_bzero_wrapper(void* dst, size_t bytes);
/** @brief Fills `bytes` bytes with the low byte of `value`. @return `dst` */
OMBREL_API void* ombrel_memset_wrapper(void* dst, int value, size_t bytes);
/** @brief Copies `bytes` bytes between areas that do not overlap. @return `dst` */
OMBREL_API void* ombrel_memcpy_wrapper(void* dst, const void* src, size_t bytes);
/** @brief Copies `bytes` bytes; the areas may overlap. @return `dst` */
OMBREL_API void* ombrel_memmove_wrapper(void* dst, const void* src, size_t bytes);
/** @brief Compares `bytes` bytes. @return below, equal to or above 0, as memcmp() */
OMBREL_API int ombrel_memcmp_wrapper(const void* left, const void* right, size_t bytes);

/**
 * @brief Repeats a pattern over a rectangle.
 *
 * The rest of a row that is shorter than one unit is left as it is.
 * @param dst     first byte of the first row
 * @param pattern the pattern, `unit` bytes
 * @param width   bytes to fill in each row
 * @param stride  bytes from one row to the next
 * @param unit    bytes of the pattern; 0 fills nothing
 * @param rows    number of rows
 * @return `dst`
 */
OMBREL_API void* ombrel_memset_blit(void* dst, const void* pattern, size_t width, size_t stride, size_t unit,
                                    size_t rows);

/**
 * @brief Copies a rectangle of bytes; the areas must not overlap.
 * @param dst where to write
 * @param src where to read
 * @param width      bytes in each row
 * @param dst_stride bytes from one destination row to the next
 * @param src_stride bytes from one source row to the next
 * @param rows       number of rows
 * @return `dst`
 */
OMBREL_API void* ombrel_memcpy_blit(void* dst, const void* src, size_t width, size_t dst_stride,
                                    size_t src_stride, size_t rows);

/** @brief Swaps two areas of `bytes` bytes that do not overlap. @return `a` */
OMBREL_API void* ombrel_exchange_memory(void* a, void* b, size_t bytes);

/** @brief Whether every byte equals `value`. @return 1 when so or when `data` is null, else 0 */
OMBREL_API int ombrel_is_data_fill(const void* data, size_t bytes, int value);

/**
 * @brief Compares two blocks with their sizes.
 *
 * A null `b` equals, by design, any `a` of the same size; a null `a` equals a `b` that is all zero.
 * @return -1 when the sizes differ, 0 when equal, else non-zero
 */
OMBREL_API int ombrel_compare_data(const void* a, size_t a_size, const void* b, size_t b_size);

OMBREL_END_C

#endif
