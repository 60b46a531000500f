/**
 * @file value.h
 * @brief The value list: a property bag of name and data pairs.
 *
 * Names are optional, data are any bytes, and several entries may share a name. Where a function takes a list
 * of names, they are separated by "|" as by ombrel_compare_string_ex().
 *
 * An argument `case_sensitive` of 0 compares names upper-cased. A null name stands for the entries without
 * one. Null data with a size stand for that many zero bytes.
 *
 * The functions may be called from any thread; a list is used by one thread at a time.
 */
#ifndef OMBREL_VALUE_H
#define OMBREL_VALUE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/environment.h> /* stood here once */
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Head flag: something was changed; callers may clear it. */
#define def_ombrel_value_flag_dirty 0x01u
/** Head flag: the head is initialised. */
#define def_ombrel_value_flag_initialized 0x80u
/** Head flag: the head was allocated by ombrel_new_value(). */
#define def_ombrel_value_flag_allocated 0x100u

/** Mode of the setting functions: always append. */
#define def_ombrel_value_append 0
/** Mode: replace the data of the first entry with the name, else append. */
#define def_ombrel_value_replace_by_name 1
/** Mode: replace the first entry with the data, else append. */
#define def_ombrel_value_replace_by_data 2
/** Mode: append unless an entry has both the name and the data. */
#define def_ombrel_value_add_if_absent 3

/** One entry. */
typedef struct ombrel_value_node_ts {
    struct ombrel_value_node_ts* m_prev; /**< the entry before, or null */
    struct ombrel_value_node_ts* m_next; /**< the entry after, or null */
    char* m_name;                        /**< the name, stored right after the node; null without one */
    uint32_t m_size;                     /**< bytes of data */
    void* m_data; /**< the data, a block of its own; null when empty. A 0 byte that is not counted follows
                     data that do not end with one */
} ombrel_value_node_t;

/** A list; embedded by the caller or made by ombrel_new_value(). */
typedef struct ombrel_value_ts {
    uint32_t m_flags;            /**< the head flags */
    ombrel_value_node_t* m_head; /**< the first entry, or null */
    ombrel_value_node_t* m_tail; /**< the last entry, or null */
} ombrel_value_t;

/** @brief Makes an empty list of a head that holds nothing yet; sets the initialised and the dirty flag.
 *  @return `head`; null for null */
OMBREL_API ombrel_value_t* ombrel_init_value(ombrel_value_t* head);
/** @brief Allocates an empty list. @return the head, freed with ombrel_free_value(); null when memory runs
 * out */
OMBREL_API ombrel_value_t* ombrel_new_value(void);
/** @brief Frees every entry; the dirty flag is set when there was one. @return 0; -1 for an uninitialised
 * head */
OMBREL_API int ombrel_reset_value(ombrel_value_t* head);
/** @brief Frees every entry, clears the initialised flag, and frees a head that was allocated.
 *  @return 0; -1 for an uninitialised head */
OMBREL_API int ombrel_destroy_value(ombrel_value_t* head);
/** @brief The same as ombrel_destroy_value(). */
OMBREL_API int ombrel_free_value(ombrel_value_t* head);

/**
 * @brief Makes an entry that is in no list.
 * @param name copied; may be null
 * @param data copied; null gives zeroed data
 * @param size bytes of data, below 4 GiB
 * @return the entry, freed with ombrel_free_value_node(); null when memory runs out or `size` is too large
 */
OMBREL_API ombrel_value_node_t* ombrel_new_value_node(const char* name, const void* data, size_t size);
/** @brief Frees the whole chain that an entry belongs to, from its first entry on. @return 0; -1 for null */
OMBREL_API int ombrel_free_value_node(ombrel_value_node_t* node);

/** @brief The first entry with the name, from `node` on. @return the entry or null */
OMBREL_API ombrel_value_node_t* ombrel_search_value_node_by_name(const ombrel_value_node_t* node,
                                                                 int case_sensitive, const char* name);
/** @brief The first entry with the data (equal by ombrel_compare_data()), from `node` on. */
OMBREL_API ombrel_value_node_t* ombrel_search_value_node_by_data(const ombrel_value_node_t* node,
                                                                 const void* data, size_t size);
/** @brief The first entry whose data are `text` without its terminator, from `node` on. Texts stored by
 *         ombrel_set_value_string() include it and are not found this way. */
OMBREL_API ombrel_value_node_t* ombrel_search_value_node_by_string(const ombrel_value_node_t* node,
                                                                   const char* text);
/** @brief The first entry with both the name and the data, from `node` on. */
OMBREL_API ombrel_value_node_t* ombrel_search_value_node(const ombrel_value_node_t* node, int case_sensitive,
                                                         const char* name, const void* data, size_t size);
/** @brief The first entry with one of the names, from `node` on. */
OMBREL_API ombrel_value_node_t* ombrel_multiple_search_value_node_by_name(const ombrel_value_node_t* node,
                                                                          int case_sensitive,
                                                                          const char* names);
/** @brief The first entry with one of the names and the data, from `node` on. */
OMBREL_API ombrel_value_node_t* ombrel_multiple_search_value_node(const ombrel_value_node_t* node,
                                                                  int case_sensitive, const char* names,
                                                                  const void* data, size_t size);

/** @brief ombrel_search_value_node_by_name() over a list; null for an uninitialised head. */
OMBREL_API ombrel_value_node_t* ombrel_get_value_node_by_name(const ombrel_value_t* head, int case_sensitive,
                                                              const char* name);
/** @brief ombrel_search_value_node_by_data() over a list; null for an uninitialised head. */
OMBREL_API ombrel_value_node_t* ombrel_get_value_node_by_data(const ombrel_value_t* head, const void* data,
                                                              size_t size);
/** @brief ombrel_search_value_node_by_string() over a list; null for an uninitialised head. */
OMBREL_API ombrel_value_node_t* ombrel_get_value_node_by_string(const ombrel_value_t* head, const char* text);
/** @brief ombrel_search_value_node() over a list; null for an uninitialised head. */
OMBREL_API ombrel_value_node_t* ombrel_get_value_node(const ombrel_value_t* head, int case_sensitive,
                                                      const char* name, const void* data, size_t size);

/**
 * @brief The data of the first entry with a name.
 * @param head the list
 * @param case_sensitive 0 compares names in either case
 * @param name the name
 * @param size_out receives the bytes of data, 0 when there is no such entry; may be null
 * @return the data, owned by the entry; null when there are none
 */
OMBREL_API void* ombrel_get_value_by_name(const ombrel_value_t* head, int case_sensitive, const char* name,
                                          size_t* size_out);
/** @brief The data of the first entry with a name when a 0 byte is among them, else `fallback`. The text is
 * owned by the entry. */
OMBREL_API const char* ombrel_get_value_string_ex(const ombrel_value_t* head, int case_sensitive,
                                                  const char* name, const char* fallback);
/** @brief ombrel_get_value_string_ex() with a null fallback. */
OMBREL_API const char* ombrel_get_value_string(const ombrel_value_t* head, int case_sensitive,
                                               const char* name);

/** @brief Removes and frees every entry with the name. @return 0; -1 for an uninitialised head */
OMBREL_API int ombrel_remove_value_by_name(ombrel_value_t* head, int case_sensitive, const char* name);
/** @brief Removes and frees every entry with the data. @return 0; -1 for an uninitialised head */
OMBREL_API int ombrel_remove_value_by_data(ombrel_value_t* head, const void* data, size_t size);
/** @brief Removes and frees every entry whose data are `text` without its terminator. @return 0; -1 for an
 *         uninitialised head */
OMBREL_API int ombrel_remove_value_by_string(ombrel_value_t* head, const char* text);
/** @brief Removes and frees every entry with both the name and the data. @return 0; -1 for an uninitialised
 *         head */
OMBREL_API int ombrel_remove_value(ombrel_value_t* head, int case_sensitive, const char* name,
                                   const void* data, size_t size);
/** @brief Removes and frees every entry with one of the names. @return 0; -1 for an uninitialised head */
OMBREL_API int ombrel_multiple_remove_value_by_name(ombrel_value_t* head, int case_sensitive,
                                                    const char* names);
/** @brief Removes and frees every entry with one of the names and the data. @return 0; -1 for an
 * uninitialised head */
OMBREL_API int ombrel_multiple_remove_value(ombrel_value_t* head, int case_sensitive, const char* names,
                                            const void* data, size_t size);

/**
 * @brief Sets an entry.
 *
 * By name, data of the size that is already there are overwritten in place, or left without marking a change
 * when they are equal; data of another size come in a new entry at the same place. By data, a new entry with
 * the new name takes the place of the old one.
 * @param head           the list
 * @param mode           one of the modes, in its two lowest bits
 * @param case_sensitive how names are compared
 * @param name           copied; may be null
 * @param data           copied; null stands for zeroed data
 * @param size           bytes of data, below 4 GiB
 * @return 0; -1 for an uninitialised head, a size too large or when memory runs out, the list being unchanged
 */
OMBREL_API int ombrel_set_value(ombrel_value_t* head, int mode, int case_sensitive, const char* name,
                                const void* data, size_t size);
/** @brief ombrel_set_value() with a text and its terminator; a null text gives an entry without data. */
OMBREL_API int ombrel_set_value_string(ombrel_value_t* head, int mode, int case_sensitive, const char* name,
                                       const char* text);
/** @brief ombrel_set_value_string() with a number in decimal. */
OMBREL_API int ombrel_set_value_int_string(ombrel_value_t* head, int mode, int case_sensitive,
                                           const char* name, int number);
/** @brief ombrel_set_value() for each of the names; null sets one entry without a name. Neither the names nor
 *         the data may belong to an entry of the list, which the first change may free.
 *  @return 0; -1 when any of them failed */
OMBREL_API int ombrel_multiple_set_value(ombrel_value_t* head, int mode, int case_sensitive,
                                         const char* names, const void* data, size_t size);
/** @brief ombrel_multiple_set_value() with a text and its terminator. */
OMBREL_API int ombrel_multiple_set_value_string(ombrel_value_t* head, int mode, int case_sensitive,
                                                const char* names, const char* text);
/** @brief ombrel_multiple_set_value_string() with a number in decimal. */
OMBREL_API int ombrel_multiple_set_value_int_string(ombrel_value_t* head, int mode, int case_sensitive,
                                                    const char* names, int number);

OMBREL_END_C

#endif
