/**
 * @file slab.h
 * @brief Equal objects out of a memory area that the caller provides, each in constant time.
 *
 * A slab takes no memory of its own: its header and its list of free objects lie at the beginning of the
 * area, and ending its use is forgetting it. It has no lock: one thread at a time.
 */
#ifndef OMBREL_SLAB_H
#define OMBREL_SLAB_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * The header at the beginning of the area. After it stands one 32-bit index for each object, the next free
 * object after that one, and directly after those stand the objects: an area of sizes that are multiples of
 * an alignment does not make the objects aligned by itself.
 */
typedef struct {
    size_t m_object_size;  /**< bytes of an object */
    size_t m_object_count; /**< objects that fit, at most 4,294,967,295 */
    void* m_objects;       /**< the first object */
    size_t m_free_head;    /**< index of the first free object; the count when none is free */
} ombrel_slab_t;

/**
 * @brief Lays a slab out in an area.
 *
 * Objects are handed out in address order at first, later the one freed last comes first.
 * @param area        the memory, aligned for pointers; it stays the caller's
 * @param area_size   its bytes
 * @param object_size bytes of an object
 * @return `area`; null for a null area, one smaller than the header, or an object size of 0. A slab without
 * room for a single object is valid and always full.
 */
OMBREL_API ombrel_slab_t* ombrel_init_slab(void* area, size_t area_size, size_t object_size);

/**
 * @brief Whether an address lies among the slab's objects.
 * @return 1 when it does, also in the middle of an object; 0 when not, or for a null slab
 */
OMBREL_API int ombrel_is_slab_object(const ombrel_slab_t* slab, const void* ptr);

/**
 * @brief Takes an object.
 * @param slab the slab
 * @param fallback non-zero: a full slab gives a tagged-heap block of the object size instead
 * @return the object, not zeroed; null when the slab is null, or full without a fall-back, or memory runs out
 */
OMBREL_API void* ombrel_slab_alloc_ex(ombrel_slab_t* slab, int fallback);

/** @brief ombrel_slab_alloc_ex() without a fall-back. */
OMBREL_API void* ombrel_slab_alloc(ombrel_slab_t* slab);

/**
 * @brief Gives an object back.
 *
 * A pointer into the middle of an object frees that object. Freeing a free object is not noticed.
 * @param slab     the slab; null frees on the tagged heap when `fallback` is set
 * @param ptr      the object; null is accepted
 * @param fallback non-zero: a pointer that does not belong to the slab is freed on the tagged heap
 * @return null when it was given back; `ptr` when the slab did not take it
 */
OMBREL_API void* ombrel_slab_free_ex(ombrel_slab_t* slab, void* ptr, int fallback);

/** @brief ombrel_slab_free_ex() without a fall-back. */
OMBREL_API void* ombrel_slab_free(ombrel_slab_t* slab, void* ptr);

OMBREL_END_C

#endif
