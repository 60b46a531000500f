/**
 * @file string_node.h
 * @brief String nodes: a string taken apart into a doubly linked list of owned strings, and joined again.
 *
 * A list is handed around by its head node. With path resolution, nodes that a path does not need are flagged
 * to be ignored: "." and the empty parts of doubled separators, and ".." together with the nearest node
 * before it that still counts (the empty first node, which stands for the root, is never taken away).
 *
 * The functions may be called from any thread; a list is used by one thread at a time.
 */
#ifndef OMBREL_STRING_NODE_H
#define OMBREL_STRING_NODE_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** One string of a list; node and text are blocks of the tagged heap. */
typedef struct ombrel_string_node_ts {
    struct ombrel_string_node_ts* m_prev; /**< the node before, null at the head */
    struct ombrel_string_node_ts* m_next; /**< the node after, null at the tail */
    uint32_t m_ignore;                    /**< 1 when the node is left out of a join that skips */
    char* m_text;                         /**< the string, owned by the node */
} ombrel_string_node_t;

/**
 * @brief Takes a string apart.
 * @param s          the string; split as by ombrel_get_word_sep() without skipping spaces, so that "a,,b" has
 *                   an empty node in the middle and a separator at the end adds none
 * @param separators the characters between the words; null gives a single node with the whole string, as it
 * is
 * @param resolve    non-zero runs path resolution on each node
 * @return the head of the new list, freed with ombrel_free_string_node(); null for a null string, for a list
 * of no words and when memory runs out
 */
OMBREL_API ombrel_string_node_t* ombrel_string_to_node_ex(const char* s, const char* separators, int resolve);
/** @brief ombrel_string_to_node_ex() without path resolution. */
OMBREL_API ombrel_string_node_t* ombrel_string_to_node(const char* s, const char* separators);

/** @brief Frees every node from `list` to the tail, with its text; null is accepted. */
OMBREL_API void ombrel_free_string_node(ombrel_string_node_t* list);

/**
 * @brief Joins the texts of a list.
 *
 * Every node but the last one kept gives its text and the separator. The last gives its text, or the
 * separator when its text is empty, so that a lone root comes out as one separator.
 * @param list         the first node
 * @param separator    put between the texts; null counts as empty
 * @param skip_ignored non-zero leaves out the nodes that are flagged to be ignored
 * @return a new string, freed by the caller with ombrel_free(): empty when no node is kept. Null for a null
 * list or when memory runs out
 */
OMBREL_API char* ombrel_node_to_string(const ombrel_string_node_t* list, const char* separator,
                                       int skip_ignored);

/**
 * @brief Appends a list to another.
 * @param list                the head of the list to append to; may be null
 * @param other               the head of the list to append, taken over; null appends nothing
 * @param restart_on_absolute non-zero frees `list` and takes `other` alone when the first text of `other` is
 * empty
 * @param resolve             non-zero clears all flags and runs path resolution over the whole list
 * @return the head of the joined list
 */
OMBREL_API ombrel_string_node_t* ombrel_append_string_node_ex(ombrel_string_node_t* list,
                                                              ombrel_string_node_t* other,
                                                              int restart_on_absolute, int resolve);
/** @brief ombrel_append_string_node_ex() without path resolution. */
OMBREL_API ombrel_string_node_t*
ombrel_append_string_node(ombrel_string_node_t* list, ombrel_string_node_t* other, int restart_on_absolute);

OMBREL_END_C

#endif
