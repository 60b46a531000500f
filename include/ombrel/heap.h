/**
 * @file heap.h
 * @brief The tagged heap: every block knows who allocated it, and what is still live can be listed.
 *
 * Each block carries a header and a guard word after its data. All live blocks stand on one process-wide list
 * with a running count, byte total and peak. All functions may be called from any thread, and in a child
 * process whatever the parent's other threads were doing at the fork.
 *
 * Damage: a block whose guard word, header address, size or links were overwritten is reported when it is
 * freed or resized and left alone: it stays in the figures and is never handed back to the platform. So is
 * any other pointer that leads to no live block, freed twice, wild or unmapped: it is reported and nothing
 * else happens. Sound blocks beside a damaged one are freed and counted as ever; where the platform's own
 * words around one were overwritten it is kept from the platform, which would end the process, and one line
 * says so. Reports read no memory that cannot be read. What is written over memory that the platform holds
 * free is beyond them.
 *
 * Memory comes from malloc() and goes back by free(). With the C library's own malloc(), up to 64 freed
 * blocks of 960 to 8,192 bytes are kept for the next requests of the same sizes; they are not in the figures.
 * A program that brings a malloc() of its own, a sanitizer or a counting one, sees each request and each free
 * at once. The heap also keeps a byte for every 32 bytes of address space that blocks begin in, which free()
 * never sees.
 *
 * The functions ending in `_tag` take the name of the calling function (a static string: the pointer is kept,
 * not the text) and its source line. The macros without `_tag` pass the caller's own.
 *
 * Messages of the heap are written to standard error directly, so that they need no allocation.
 */
#ifndef OMBREL_HEAP_H
#define OMBREL_HEAP_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The guard word after every block's data. */
#define def_ombrel_heap_magic 0xA55A55AAu

/** The header before every block's data, which follows it directly; read-only for callers. */
typedef struct ombrel_heap_block_ts {
    struct ombrel_heap_block_ts* m_newer; /**< the live block allocated next after this one, or null */
    struct ombrel_heap_block_ts* m_older; /**< the live block allocated last before this one, or null */
    const char* m_tag;                    /**< the allocating function */
    unsigned long m_line;                 /**< its source line */
    struct ombrel_heap_block_ts* m_self;  /**< the address of this header */
    size_t m_size; /**< bytes of user data: the request rounded up to a multiple of 4 */
} ombrel_heap_block_t;

/** Bytes that a block takes beyond its user data: 52 on 64-bit platforms, 28 on 32-bit ones. */
#define def_ombrel_heap_overhead (sizeof(ombrel_heap_block_t) + sizeof(uint32_t))

/**
 * Callback of ombrel_get_alloc_list(). It runs with the heap locked and must not allocate or free.
 *
 * `block` is the header itself. Only where its tag is no printable text of up to 254 bytes, or its own
 * address was overwritten, it is a copy in which both can be used: m_tag tells what can be read, with full
 * stops for other than printable ASCII characters, "<unreadable>" or "(null)", and m_self is where the header
 * stands.
 * @return 0 to go on; anything else ends the walk
 */
typedef int (*ombrel_alloc_list_callback_t)(const ombrel_heap_block_t* block, void* context);

/**
 * @brief Allocates (`ptr` null), frees (`size` 0) or resizes a block.
 *
 * A resize to exactly the stored size keeps the block; any other resize makes a new block, copies the smaller
 * of both sizes and frees the old block. A zero-size allocation is reported and made all the same. Of an old
 * block that is damaged or not live as much is copied as can be read, the rest is zeroed; its free reports
 * it.
 * @param ptr  a block of this heap, or null
 * @param size bytes wanted; 0 frees
 * @param tag  the calling function; a static string
 * @param line its source line
 * @return the block, aligned to 16 bytes on 64-bit platforms and to 8 on 32-bit ones; null after a free or
 *         when memory runs out (the old block of a failed resize stays as it is)
 */
OMBREL_API void* ombrel_heap_tag(void* ptr, size_t size, const char* tag, unsigned long line);

/** @brief ombrel_heap_tag() with the tag "<NOTAG>" and line 0. */
OMBREL_API void* ombrel_heap_notag(void* ptr, size_t size);

/** @brief Allocates `size` bytes, not zeroed. @return the block or null */
OMBREL_API void* ombrel_alloc_tag(size_t size, const char* tag, unsigned long line);

/**
 * @brief Frees a block.
 * @param ptr a block of this heap; null is reported, unless the tag is "operator delete"
 * @param tag the calling function; a static string
 * @param line its source line
 * @return 0
 */
OMBREL_API int ombrel_free_tag(void* ptr, const char* tag, unsigned long line);

/** @brief Frees a block; null is accepted silently. @return 0 */
OMBREL_API int ombrel_check_free_tag(void* ptr, const char* tag, unsigned long line);

/** @brief Resizes a block as ombrel_heap_tag() does. @return the block or null */
OMBREL_API void* ombrel_realloc_tag(void* ptr, size_t size, const char* tag, unsigned long line);

/**
 * @brief Allocates `count` × `size` zeroed bytes.
 *
 * The product is not checked for overflow: callers with sizes from outside must bound them first.
 * @return the block or null
 */
OMBREL_API void* ombrel_calloc_tag(size_t count, size_t size, const char* tag, unsigned long line);

/** ombrel_alloc_tag() with the caller's own name and line. */
#define ombrel_alloc(size) ombrel_alloc_tag((size), __func__, __LINE__)
/** ombrel_free_tag() with the caller's own name and line. */
#define ombrel_free(ptr) ombrel_free_tag((ptr), __func__, __LINE__)
/** ombrel_check_free_tag() with the caller's own name and line. */
#define ombrel_check_free(ptr) ombrel_check_free_tag((ptr), __func__, __LINE__)
/** ombrel_realloc_tag() with the caller's own name and line. */
#define ombrel_realloc(ptr, size) ombrel_realloc_tag((ptr), (size), __func__, __LINE__)
/** ombrel_calloc_tag() with the caller's own name and line. */
#define ombrel_calloc(count, size) ombrel_calloc_tag((count), (size), __func__, __LINE__)

/**
 * @brief Reads the heap's figures at one moment.
 * @param count live blocks; may be null
 * @param size  bytes of all live blocks, overhead included; may be null
 * @param peak  the greatest value that `size` ever had; may be null
 * @return 0
 */
OMBREL_API int ombrel_get_alloc_info(size_t* count, size_t* size, size_t* peak);

/** @brief The number of live blocks. */
OMBREL_API size_t ombrel_get_alloc_count(void);
/** @brief The bytes of all live blocks, overhead included. */
OMBREL_API size_t ombrel_get_alloc_size(void);
/** @brief The greatest byte total so far. */
OMBREL_API size_t ombrel_get_alloc_peak_size(void);

/**
 * @brief Walks the live blocks, newest first, with the heap locked.
 *
 * Where overwritten links lead no further, one line on standard error says how many blocks were reached.
 * @param max      the walk ends after this many blocks when positive
 * @param callback called for each block
 * @param context  handed to the callback
 * @return the number of blocks for which the callback returned 0
 */
OMBREL_API size_t ombrel_get_alloc_list(int max, ombrel_alloc_list_callback_t callback, void* context);

/** @brief `ptr` when it is not null, else `fallback`. */
OMBREL_API void* ombrel_check_ptr(void* ptr, void* fallback);

OMBREL_END_C

#endif
