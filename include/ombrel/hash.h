/**
 * @file hash.h
 * @brief Hash tables: from texts, bytes of any length or 64-bit numbers to pointers or to values in the
 * table.
 *
 * @code
 * ombrel_hash_t* const users = ombrel_open_hash(NULL); // from texts to pointers
 * ombrel_hash_set(users, "guest", def_ombrel_hash_text, guest);
 * struct user* const found = (struct user*)ombrel_hash_get(users, name, def_ombrel_hash_text);
 * @endcode
 *
 * The same with values in the table:
 *
 * @code
 * ombrel_hash_options_t options;
 * ombrel_init_hash_options(&options);
 * options.m_value_size = sizeof(int64_t); // without this line the table holds pointers
 * ombrel_hash_t* const counts = ombrel_open_hash(&options);
 * for (const char* word = next_word(); word != NULL; word = next_word()) {
 *     int64_t* const count = (int64_t*)ombrel_hash_obtain(counts, word, def_ombrel_hash_text, NULL);
 *     if (count != NULL)
 *         ++*count; // a new one began as 0
 * }
 * ombrel_hash_walk_t walk;
 * for (ombrel_init_hash_walk(&walk, counts); ombrel_hash_walk_step(&walk) == 1;)
 *     ombrel_printf("%s: %lld\n", (const char*)walk.m_key, (long long)*(int64_t*)walk.m_value);
 * ombrel_close_hash(counts);
 * @endcode
 *
 * Keys are bytes or, with #def_ombrel_hash_numbers, numbers. Functions for numbers have names that end in
 * `_at`; a table of one kind refuses the functions of the other with the fault invalid. Bytes are copied into
 * the table, with a zero byte after each copy; with #def_ombrel_hash_borrow they are not, and must stay where
 * they are, unchanged, until their entry is gone.
 *
 * Values lie in the table and have one size each, that of a pointer by default. Their addresses stay valid
 * until the next call that adds a key, and until ombrel_hash_reserve() and ombrel_hash_shrink(): these may
 * move entries. Nothing else moves them, not even removal. A copied key stays where it is until its entry is
 * gone, or ombrel_hash_shrink() is called.
 *
 * Chosen keys: whoever chooses keys cannot make them collide, as the places depend on a secret of the table
 * that comes from the host's random bytes. It is mixed in by rounds of AES where the processor has them, and
 * by SipHash-1-3 elsewhere, in tables of numbers too. So the order of a walk differs from table to table. A
 * seed of your own, for programs that must do the same twice, gives this protection up unless it is secret;
 * without it a hostile choice of keys costs time, never memory.
 *
 * Time: all functions take the same time whatever the table holds, except those that are said to take time in
 * proportion to the entries. The table never grows as a whole at once: a table consists of parts of about 32
 * KiB, 64 with the largest values, and a part that is full is split by the call that finds it so. A call
 * looks at no more than the 960 entries of one part, some tens of microseconds, unless somebody who knows the
 * seed has crowded entries.
 *
 * Memory: from the heap, under the name that the opener gave. When none is left, the table keeps what it has
 * and can still be used; keys are added as long as there is room where they belong, also where a split
 * failed.
 *
 * Threads: one at a time. While nobody changes a table any number may look up (get, find), walk and read its
 * figures, because these change nothing.
 *
 * A key that is not there is no failure: null or 0 without a fault. What fails leaves a fault
 * (ombrel_last_fault()): invalid for a null table, a null key that is not empty, functions of the other kind
 * of keys, and what is named with each function.
 */
#ifndef OMBREL_HASH_H
#define OMBREL_HASH_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Stands for the size of a key that is a text with a zero byte after it, which does not belong to the key.
 */
#define def_ombrel_hash_text SIZE_MAX
/** The longest key, in bytes. */
#define def_ombrel_hash_key_max 0xFFFFFFF0u
/** The largest value, in bytes: larger ones are better held by pointers. */
#define def_ombrel_hash_value_max 4096
/** The coarsest alignment of values. */
#define def_ombrel_hash_alignment_max 64
/** The bytes of a seed. */
#define def_ombrel_hash_seed_size 16

/** @name Flags of a table
 * @{ */
#define def_ombrel_hash_numbers 0x1u /**< keys are 64-bit numbers */
#define def_ombrel_hash_borrow 0x2u  /**< keys are not copied */
#define def_ombrel_hash_any_case                                                                             \
    0x4u /**< letters of keys match either case; a key keeps its first spelling */
/** @} */

/** A table. */
typedef struct ombrel_hash_ts ombrel_hash_t;

/**
 * What a table does with a value that leaves it: when it is removed or replaced, by ombrel_hash_clear() and
 * when the table is closed, but not when it is taken. The call is made when the entry is gone, and must not
 * change the table.
 * @param value   the pointer itself in a table of pointers, never null; in one of values their address, for
 *                the time of the call
 * @param context m_context of the options
 */
typedef void (*ombrel_hash_release_t)(void* value, void* context);

/** The settings of a table. */
typedef struct ombrel_hash_options_ts {
    uint32_t m_flags;         /**< def_ombrel_hash_*; 0 by default */
    size_t m_value_size;      /**< bytes of a value; 0, the default, for a table of pointers */
    size_t m_value_alignment; /**< a power of two; 0, the default, for that of the host's basic types */
    size_t m_reserve;         /**< entries for which there is to be room at once; 0 by default */
    size_t m_limit;           /**< most entries; 0, the default, for no limit */
    const uint8_t*
        m_seed; /**< #def_ombrel_hash_seed_size bytes that are copied; null, the default, for the host's */
    ombrel_hash_release_t m_release; /**< called for values that leave the table; null by default */
    void* m_context;                 /**< handed to m_release */
} ombrel_hash_options_t;

/** The figures of a table. */
typedef struct ombrel_hash_statistics_ts {
    int64_t m_count;         /**< entries */
    int64_t m_room;          /**< entries that the present parts can hold */
    int64_t m_bytes;         /**< of memory that the table has, without what the heap adds to each block */
    int64_t m_key_bytes;     /**< those of them that are for copies of keys */
    int64_t m_parts;         /**< parts that the table consists of */
    int64_t m_growths;       /**< steps of growth since it was opened: parts that were enlarged or split */
    int64_t m_longest_probe; /**< groups of up to 15 entries looked at for the worst of the present keys, from
                                1 */
    int64_t m_displaced;     /**< entries that are not in the first group looked at */
} ombrel_hash_statistics_t;

/**
 * A walk over a table, in no order. The fields with names of their own are of the entry that it is at, and
 * read-only.
 *
 * While it is under way any entries may be removed, including the one that it is at. When keys are added,
 * every entry that is there from its beginning to its end is met, but those moved by growth may be met twice,
 * and those added may be met or not; ombrel_hash_reserve() and ombrel_hash_shrink() count as adding. A loop
 * that adds a key at each step may never end.
 */
typedef struct ombrel_hash_walk_ts {
    const void* m_key; /**< its key; null in a table of numbers */
    size_t m_key_size; /**< the bytes of its key */
    uint64_t m_number; /**< its number; 0 in a table of bytes */
    void* m_value; /**< where its value lies, which may be changed; in a table of pointers where the pointer
                      lies */
    ombrel_hash_t* m_table; /**< the table */
    uint64_t m_state[4];    /**< the table's own */
} ombrel_hash_walk_t;

/** @brief Fills settings with the defaults. @param options the record @return 0; -1 for null */
OMBREL_API int ombrel_init_hash_options(ombrel_hash_options_t* options);

/**
 * @brief A new table.
 * @param options  its settings; null for the defaults: copied keys of bytes, pointers
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the table, to be closed by ombrel_close_hash(); null with the fault invalid for unknown flags, both
 *         numbers and a flag about bytes, an alignment that is no power of two or above
 *         #def_ombrel_hash_alignment_max; too_large for a value above #def_ombrel_hash_value_max and for more
 *         to be reserved than the limit allows; no_memory
 */
OMBREL_API ombrel_hash_t* ombrel_open_hash_tag(const ombrel_hash_options_t* options, const char* function,
                                               unsigned long line);
/** ombrel_open_hash_tag() with the caller's own name and line. */
#define ombrel_open_hash(options) ombrel_open_hash_tag((options), __func__, __LINE__)

/**
 * @brief Ends a table; its values are released.
 * @param table the table, or null
 * @return 0
 */
OMBREL_API int ombrel_close_hash(ombrel_hash_t* table);

/** @name Tables of pointers
 * @{ */
/**
 * @brief Sets the pointer of a key. One that was there before is released, unless it is the same.
 * @param table   a table of pointers
 * @param key     the key; null for an empty one
 * @param size    its bytes, or #def_ombrel_hash_text
 * @param pointer the pointer; null is allowed, and is never released
 * @return 0; -1 with the fault invalid for a table of values too, too_large for a key above
 *         #def_ombrel_hash_key_max or above the limit of entries, no_memory; nothing has changed then, and
 * the pointer is still the caller's
 */
OMBREL_API int ombrel_hash_set(ombrel_hash_t* table, const void* key, size_t size, void* pointer);
/** ombrel_hash_set() for a number. */
OMBREL_API int ombrel_hash_set_at(ombrel_hash_t* table, uint64_t number, void* pointer);

/**
 * @brief The pointer of a key.
 * @param table a table of pointers
 * @param key   the key; null for an empty one
 * @param size  its bytes, or #def_ombrel_hash_text
 * @return the pointer; null when the key is not there, or with the fault invalid for a table of values too
 */
OMBREL_API void* ombrel_hash_get(const ombrel_hash_t* table, const void* key, size_t size);
/** ombrel_hash_get() for a number. */
OMBREL_API void* ombrel_hash_get_at(const ombrel_hash_t* table, uint64_t number);
/** @} */

/** @name Tables of either
 * What is called a value here is the pointer in a table of pointers.
 * @{ */
/**
 * @brief Sets the value of a key to a copy. One that was there before is released.
 * @param table the table
 * @param key   the key; null for an empty one
 * @param size  its bytes, or #def_ombrel_hash_text
 * @param value where the bytes of the value are; null for zeros
 * @return 0; -1 as for ombrel_hash_set()
 */
OMBREL_API int ombrel_hash_put(ombrel_hash_t* table, const void* key, size_t size, const void* value);
/** ombrel_hash_put() for a number. */
OMBREL_API int ombrel_hash_put_at(ombrel_hash_t* table, uint64_t number, const void* value);

/**
 * @brief Where the value of a key lies.
 * @param table the table
 * @param key   the key; null for an empty one
 * @param size  its bytes, or #def_ombrel_hash_text
 * @return its place in the table; null when the key is not there
 */
OMBREL_API void* ombrel_hash_find(const ombrel_hash_t* table, const void* key, size_t size);
/** ombrel_hash_find() for a number. */
OMBREL_API void* ombrel_hash_find_at(const ombrel_hash_t* table, uint64_t number);

/**
 * @brief Where the value of a key lies, which is added with a value of zero bytes when it is not there: one
 *        look-up for both.
 * @param table  the table
 * @param key    the key; null for an empty one
 * @param size   its bytes, or #def_ombrel_hash_text
 * @param is_new receives 1 when the key was added, otherwise 0; may be null
 * @return its place in the table; null with the faults of ombrel_hash_set()
 */
OMBREL_API void* ombrel_hash_obtain(ombrel_hash_t* table, const void* key, size_t size, int* is_new);
/** ombrel_hash_obtain() for a number. */
OMBREL_API void* ombrel_hash_obtain_at(ombrel_hash_t* table, uint64_t number, int* is_new);

/**
 * @brief Removes a key and releases its value.
 * @param table the table
 * @param key   the key; null for an empty one
 * @param size  its bytes, or #def_ombrel_hash_text
 * @return 1; 0 when it is not there; -1
 */
OMBREL_API int ombrel_hash_remove(ombrel_hash_t* table, const void* key, size_t size);
/** ombrel_hash_remove() for a number. */
OMBREL_API int ombrel_hash_remove_at(ombrel_hash_t* table, uint64_t number);

/**
 * @brief Removes a key and hands its value to the caller instead of releasing it.
 * @param table the table
 * @param key   the key; null for an empty one
 * @param size  its bytes, or #def_ombrel_hash_text
 * @param value receives the bytes of the value, untouched when the key is not there; in a table of pointers
 *              the address of a pointer
 * @return 1; 0 when it is not there; -1, also for a null value
 */
OMBREL_API int ombrel_hash_take(ombrel_hash_t* table, const void* key, size_t size, void* value);
/** ombrel_hash_take() for a number. */
OMBREL_API int ombrel_hash_take_at(ombrel_hash_t* table, uint64_t number, void* value);

/** @brief The number of entries. @param table the table @return the number; 0 for null */
OMBREL_API size_t ombrel_hash_get_count(const ombrel_hash_t* table);

/**
 * @brief Removes all entries and releases their values, in time in proportion to the room. The room stays.
 * @param table the table
 * @return 0 or -1
 */
OMBREL_API int ombrel_hash_clear(ombrel_hash_t* table);
/** @} */

/** @name Walks
 * @{ */
/**
 * @brief Begins a walk, before the first entry. It needs no end.
 * @param walk  the record
 * @param table the table
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_hash_walk(ombrel_hash_walk_t* walk, ombrel_hash_t* table);

/**
 * @brief Goes to the next entry.
 * @param walk the walk
 * @return 1; 0 after the last one, also when called again; -1 for null
 */
OMBREL_API int ombrel_hash_walk_step(ombrel_hash_walk_t* walk);

/**
 * @brief Removes the entry that a walk is at, and releases its value.
 * @param walk the walk
 * @return 0; -1 with the fault not_found when it is at no entry, or at one that has been removed already, or
 *         whose key ombrel_hash_shrink() has moved
 */
OMBREL_API int ombrel_hash_walk_remove(ombrel_hash_walk_t* walk);
/** @} */

/** @name Room
 * @{ */
/**
 * @brief Makes room for entries, so that adding them causes hardly any growth. Takes time in proportion to
 *        them.
 * @param table the table
 * @param count entries that the table is to hold, those that are there included
 * @return 0; -1 with the fault too_large above the limit of entries or of what can be addressed, no_memory:
 *         the table is in use as before then, perhaps with more room
 */
OMBREL_API int ombrel_hash_reserve(ombrel_hash_t* table, size_t count);

/**
 * @brief Gives room back that the present entries do not need, that of copied keys included. Takes time in
 *        proportion to the entries and the room.
 * @param table the table
 * @return 0; -1 with the fault no_memory: the table is in use as before then, perhaps with less room
 */
OMBREL_API int ombrel_hash_shrink(ombrel_hash_t* table);

/**
 * @brief The figures of a table. Takes time in proportion to the entries and the room.
 * @param table      the table
 * @param statistics receives them
 * @return 0 or -1
 */
OMBREL_API int ombrel_hash_get_statistics(const ombrel_hash_t* table, ombrel_hash_statistics_t* statistics);
/** @} */

OMBREL_END_C

#endif
