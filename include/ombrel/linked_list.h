/**
 * @file linked_list.h
 * @brief Linked lists over the caller's own records: the link fields stand inside the records, at byte
 * offsets that the caller gives.
 *
 * A list is a head pointer and, if wanted, a tail pointer, both kept by the caller and null while it is
 * empty. Every function takes the ADDRESS of the head pointer and that of the tail pointer (null when no tail
 * is kept):
 *
 * @code
 * typedef struct item { struct item* prev; struct item* next; int key; } item;
 * item *head = 0, *tail = 0;
 * ombrel_doubly_linked_list_append(&head, &tail, node, offsetof(item, prev), offsetof(item, next));
 * @endcode
 *
 * Nothing here allocates or frees. A list is used by one thread at a time; different lists at will.
 *
 * What deletes, replaces or inserts before a node finds that node by walking from the head, in both kinds of
 * list: it takes time in proportion to the node's position. A node that the walk does not meet changes
 * nothing and is not touched, whatever its link fields hold: it may never have been linked, and it may stand
 * in another list. A node that is added must be in no list; its link fields need not be initialised.
 *
 * The functions return 0 unless stated otherwise, and -1 when the address of the head pointer or a node that
 * is needed is null. The functions ending in `_tag` take the name of the calling function (a static string)
 * and its source line; the macros without `_tag` pass the caller's own.
 */
#ifndef OMBREL_LINKED_LIST_H
#define OMBREL_LINKED_LIST_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * Callback of ombrel_linked_list_search_tag().
 * @param current a node of the list
 * @param node    what is looked for: the node that the search was given
 * @return 0 when `current` is what is looked for
 */
typedef int (*ombrel_linked_list_match_t)(const void* current, const void* node);

/**
 * Callback of the sorting functions.
 * @return above 0 when `left` belongs after `right`, below 0 when it belongs before it, 0 when they are
 * equal
 */
typedef int (*ombrel_linked_list_compare_t)(const void* left, const void* right);

/**
 * @brief The last node.
 * @param head        address of the head pointer
 * @param tail        address of the tail pointer, whose value is the answer; null walks the list
 * @param next_offset bytes from a node to its next field
 * @param caller the calling function; a static string
 * @param line its source line
 * @return the node; null for an empty list
 */
OMBREL_API void* ombrel_linked_list_get_tail_tag(const void* head, const void* tail, size_t next_offset,
                                                 const char* caller, unsigned long line);
/** @brief The position of a node, counted from 0. @return the position; -1 when it is absent */
OMBREL_API int ombrel_linked_list_index_tag(const void* head, const void* node, size_t next_offset,
                                            const char* caller, unsigned long line);
/** @brief The number of nodes. */
OMBREL_API size_t ombrel_linked_list_count_tag(const void* head, size_t next_offset, const char* caller,
                                               unsigned long line);
/**
 * @brief Looks for a node.
 * @param head        address of the head pointer
 * @param node        ends the search when it is reached itself; handed to `match`, so that it may be a mere
 * key
 * @param next_offset bytes from a node to its next field
 * @param match       called for each node; null looks for `node` itself alone
 * @param caller the calling function; a static string
 * @param line its source line
 * @return the first node that is `node` or that `match` accepts; null when there is none
 */
OMBREL_API void* ombrel_linked_list_search_tag(const void* head, const void* node, size_t next_offset,
                                               ombrel_linked_list_match_t match, const char* caller,
                                               unsigned long line);

/** @brief Makes `node`, which is in no list, the first one. Takes constant time. */
OMBREL_API int ombrel_singly_linked_list_prepend_tag(void* head, void* tail, void* node, size_t next_offset,
                                                     const char* caller, unsigned long line);
/** @brief Makes `node`, which is in no list, the last one, in constant time; walks the list when no tail is
 * kept. */
OMBREL_API int ombrel_singly_linked_list_append_tag(void* head, void* tail, void* node, size_t next_offset,
                                                    const char* caller, unsigned long line);
/** @brief Takes `node` out and clears its next field; a node that is absent changes nothing. */
OMBREL_API int ombrel_singly_linked_list_delete_tag(void* head, void* tail, void* node, size_t next_offset,
                                                    const char* caller, unsigned long line);
/** @brief Puts `new_node` into the place of `old_node`, whose next field is cleared; an absent `old_node`
 * changes nothing. */
OMBREL_API int ombrel_singly_linked_list_replace_tag(void* head, void* tail, void* old_node, void* new_node,
                                                     size_t next_offset, const char* caller,
                                                     unsigned long line);
/** @brief Inserts `node` before the node `position`, or at the end when that is null; a `position` that is
 * absent, or `node` itself, changes nothing. */
OMBREL_API int ombrel_singly_linked_list_insert_tag(void* head, void* tail, void* position, void* node,
                                                    size_t next_offset, const char* caller,
                                                    unsigned long line);
/** @brief Inserts `node` before the first node for which `compare(node, existing)` is negative, so that equal
 *         nodes keep the order of their arrival. */
OMBREL_API int ombrel_singly_linked_list_sort_insert_tag(void* head, void* tail, void* node,
                                                         size_t next_offset,
                                                         ombrel_linked_list_compare_t compare,
                                                         const char* caller, unsigned long line);
/** @brief Sorts in place by relinking; equal nodes keep their order. Takes time in proportion to n log n. */
OMBREL_API int ombrel_singly_linked_list_sort_tag(void* head, void* tail, size_t next_offset,
                                                  ombrel_linked_list_compare_t compare, const char* caller,
                                                  unsigned long line);

/** @brief ombrel_singly_linked_list_prepend_tag() for nodes with a previous field at `prev_offset`. */
OMBREL_API int ombrel_doubly_linked_list_prepend_tag(void* head, void* tail, void* node, size_t prev_offset,
                                                     size_t next_offset, const char* caller,
                                                     unsigned long line);
/** @brief ombrel_singly_linked_list_append_tag() for nodes with a previous field at `prev_offset`. */
OMBREL_API int ombrel_doubly_linked_list_append_tag(void* head, void* tail, void* node, size_t prev_offset,
                                                    size_t next_offset, const char* caller,
                                                    unsigned long line);
/** @brief ombrel_singly_linked_list_delete_tag() for nodes with a previous field at `prev_offset`, which is
 * cleared too. */
OMBREL_API int ombrel_doubly_linked_list_delete_tag(void* head, void* tail, void* node, size_t prev_offset,
                                                    size_t next_offset, const char* caller,
                                                    unsigned long line);
/** @brief ombrel_singly_linked_list_replace_tag() for nodes with a previous field at `prev_offset`, which is
 * cleared too. */
OMBREL_API int ombrel_doubly_linked_list_replace_tag(void* head, void* tail, void* old_node, void* new_node,
                                                     size_t prev_offset, size_t next_offset,
                                                     const char* caller, unsigned long line);
/** @brief ombrel_singly_linked_list_insert_tag() for nodes with a previous field at `prev_offset`. */
OMBREL_API int ombrel_doubly_linked_list_insert_tag(void* head, void* tail, void* position, void* node,
                                                    size_t prev_offset, size_t next_offset,
                                                    const char* caller, unsigned long line);
/** @brief ombrel_singly_linked_list_sort_insert_tag() for nodes with a previous field at `prev_offset`. */
OMBREL_API int ombrel_doubly_linked_list_sort_insert_tag(void* head, void* tail, void* node,
                                                         size_t prev_offset, size_t next_offset,
                                                         ombrel_linked_list_compare_t compare,
                                                         const char* caller, unsigned long line);
/** @brief ombrel_singly_linked_list_sort_tag() for nodes with a previous field at `prev_offset`. */
OMBREL_API int ombrel_doubly_linked_list_sort_tag(void* head, void* tail, size_t prev_offset,
                                                  size_t next_offset, ombrel_linked_list_compare_t compare,
                                                  const char* caller, unsigned long line);

/** ombrel_linked_list_get_tail_tag() with the caller's own name and line. */
#define ombrel_linked_list_get_tail(head, tail, next_offset)                                                 \
    ombrel_linked_list_get_tail_tag((head), (tail), (next_offset), __func__, __LINE__)
/** ombrel_linked_list_index_tag() with the caller's own name and line. */
#define ombrel_linked_list_index(head, node, next_offset)                                                    \
    ombrel_linked_list_index_tag((head), (node), (next_offset), __func__, __LINE__)
/** ombrel_linked_list_count_tag() with the caller's own name and line. */
#define ombrel_linked_list_count(head, next_offset)                                                          \
    ombrel_linked_list_count_tag((head), (next_offset), __func__, __LINE__)
/** ombrel_linked_list_search_tag() with the caller's own name and line. */
#define ombrel_linked_list_search(head, node, next_offset, match)                                            \
    ombrel_linked_list_search_tag((head), (node), (next_offset), (match), __func__, __LINE__)
/** ombrel_singly_linked_list_prepend_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_prepend(head, tail, node, next_offset)                                     \
    ombrel_singly_linked_list_prepend_tag((head), (tail), (node), (next_offset), __func__, __LINE__)
/** ombrel_singly_linked_list_append_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_append(head, tail, node, next_offset)                                      \
    ombrel_singly_linked_list_append_tag((head), (tail), (node), (next_offset), __func__, __LINE__)
/** ombrel_singly_linked_list_delete_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_delete(head, tail, node, next_offset)                                      \
    ombrel_singly_linked_list_delete_tag((head), (tail), (node), (next_offset), __func__, __LINE__)
/** ombrel_singly_linked_list_replace_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_replace(head, tail, old_node, new_node, next_offset)                       \
    ombrel_singly_linked_list_replace_tag((head), (tail), (old_node), (new_node), (next_offset), __func__,   \
                                          __LINE__)
/** ombrel_singly_linked_list_insert_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_insert(head, tail, position, node, next_offset)                            \
    ombrel_singly_linked_list_insert_tag((head), (tail), (position), (node), (next_offset), __func__,        \
                                         __LINE__)
/** ombrel_singly_linked_list_sort_insert_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_sort_insert(head, tail, node, next_offset, compare)                        \
    ombrel_singly_linked_list_sort_insert_tag((head), (tail), (node), (next_offset), (compare), __func__,    \
                                              __LINE__)
/** ombrel_singly_linked_list_sort_tag() with the caller's own name and line. */
#define ombrel_singly_linked_list_sort(head, tail, next_offset, compare)                                     \
    ombrel_singly_linked_list_sort_tag((head), (tail), (next_offset), (compare), __func__, __LINE__)
/** ombrel_doubly_linked_list_prepend_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_prepend(head, tail, node, prev_offset, next_offset)                        \
    ombrel_doubly_linked_list_prepend_tag((head), (tail), (node), (prev_offset), (next_offset), __func__,    \
                                          __LINE__)
/** ombrel_doubly_linked_list_append_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_append(head, tail, node, prev_offset, next_offset)                         \
    ombrel_doubly_linked_list_append_tag((head), (tail), (node), (prev_offset), (next_offset), __func__,     \
                                         __LINE__)
/** ombrel_doubly_linked_list_delete_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_delete(head, tail, node, prev_offset, next_offset)                         \
    ombrel_doubly_linked_list_delete_tag((head), (tail), (node), (prev_offset), (next_offset), __func__,     \
                                         __LINE__)
/** ombrel_doubly_linked_list_replace_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_replace(head, tail, old_node, new_node, prev_offset, next_offset)          \
    ombrel_doubly_linked_list_replace_tag((head), (tail), (old_node), (new_node), (prev_offset),             \
                                          (next_offset), __func__, __LINE__)
/** ombrel_doubly_linked_list_insert_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_insert(head, tail, position, node, prev_offset, next_offset)               \
    ombrel_doubly_linked_list_insert_tag((head), (tail), (position), (node), (prev_offset), (next_offset),   \
                                         __func__, __LINE__)
/** ombrel_doubly_linked_list_sort_insert_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_sort_insert(head, tail, node, prev_offset, next_offset, compare)           \
    ombrel_doubly_linked_list_sort_insert_tag((head), (tail), (node), (prev_offset), (next_offset),          \
                                              (compare), __func__, __LINE__)
/** ombrel_doubly_linked_list_sort_tag() with the caller's own name and line. */
#define ombrel_doubly_linked_list_sort(head, tail, prev_offset, next_offset, compare)                        \
    ombrel_doubly_linked_list_sort_tag((head), (tail), (prev_offset), (next_offset), (compare), __func__,    \
                                       __LINE__)

OMBREL_END_C

#endif
