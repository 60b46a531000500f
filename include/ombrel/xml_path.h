/**
 * @file xml_path.h
 * @brief Nodes of a tree found by paths: "catalogue/book[@id='7']/title".
 *
 * @code
 * static void show_titles(ombrel_xml_tree_t* tree)
 * {
 *     ombrel_xml_path_t* path = ombrel_open_xml_path("//book[@lang='ko']/title", NULL, NULL);
 *     ombrel_xml_walk_t* walk = ombrel_open_xml_walk(path, ombrel_xml_tree_get_document(tree));
 *     ombrel_xml_node_t* title;
 *     while (ombrel_xml_walk_next(walk, &title) == 1) {
 *         char* text = ombrel_xml_node_alloc_text(title, NULL);
 *         ombrel_printf("%s\n", text != NULL ? text : "?");
 *         ombrel_free(text);
 *     }
 *     ombrel_close_xml_walk(walk);
 *     ombrel_close_xml_path(path);
 * }
 * @endcode
 *
 * A path is a list of steps with "/" between them, a part of XPath with its meaning:
 *
 * | step | what it finds |
 * |---|---|
 * | `name` `p:name` | child elements of the name |
 * | `*` `p:*` | child elements of any name, of any in a namespace |
 * | `@name` `@*` | attributes; as the last step, or before ".." |
 * | `text()` `comment()` `node()` | children that are text or CDATA, comments, anything |
 * | `.` `..` | the node itself, the node around it |
 *
 * "/" at the beginning starts at the document; "//" in place of "/" goes to any depth. After a step stand
 * any number of conditions, taken in order:
 *
 * | condition | which nodes meet it |
 * |---|---|
 * | `[2]` `[last()]` `[last()-1]` | the second, the last, the last but one of those that the step finds in
 * one parent | | `[@name]` `[name]` `[text()]` `[*]` `[..]` | which has such an attribute or child, or a
 * parent | | `[@name='7']` `[name="7"]` `[.='7']` `[text()='7']` | where the text of one of them, with
 * everything inside it, equals that | | `[@name!='7']` and the others likewise | where the text of one of
 * them is another |
 *
 * White space may stand around every sign. A text in quotes may hold the other quotes.
 *
 * **Names.** Without a list of namespaces names are compared as they are written: "svg:path" finds what is
 * written so. With a list, prefixes stand for namespaces, the empty prefix for that of elements without one,
 * and a name without prefix means no namespace unless the list has the empty prefix.
 *
 * **Results** come in the document's order and never twice. A walk goes through the tree once, or once more
 * for each "..", and finds what comes first without looking at the rest. It takes memory in proportion to the
 * depth of the tree, after ".." also to the number of nodes found so far. Only the texts that conditions
 * compare are read more than once; #def_ombrel_xml_path_work_limit bounds that.
 *
 * **Limits.** A path has at most #def_ombrel_xml_path_size_limit bytes and #def_ombrel_xml_path_step_limit
 * steps and conditions.
 *
 * **Threads.** A path may be used by any number of threads at a time, a walk by one. A tree must not be
 * changed while a walk goes on in it, except for the texts and attributes of nodes that were found already.
 *
 * **Errors** (ombrel_last_fault()): violation for a malformed path, with the place of the mistake;
 * too_large for the limits, invalid for null arguments, not_found, no_memory.
 */
#ifndef OMBREL_XML_PATH_H
#define OMBREL_XML_PATH_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/xml_tree.h>

OMBREL_BEGIN_C

/** The longest path in bytes. */
#define def_ombrel_xml_path_size_limit 65536
/** The most steps of a path, and the most conditions. */
#define def_ombrel_xml_path_step_limit 60
/** The most nodes that the texts of conditions are gathered from in one walk. */
#define def_ombrel_xml_path_work_limit 1000000000

/** A path that was read; opaque. */
typedef struct ombrel_xml_path_ts ombrel_xml_path_t;

/** A walk over what a path finds; opaque. */
typedef struct ombrel_xml_walk_ts ombrel_xml_walk_t;

/** What a prefix of a path stands for. A list ends with a null prefix. */
typedef struct ombrel_xml_prefix_ts {
    const char* m_prefix; /**< "" for names of elements without one */
    const char* m_uri;    /**< the namespace's name */
} ombrel_xml_prefix_t;

/** @name What is wrong with a path
 * @{ */
#define def_ombrel_xml_path_fault_none 0      /**< nothing */
#define def_ombrel_xml_path_fault_step 1      /**< a step was expected */
#define def_ombrel_xml_path_fault_name 2      /**< a name was expected */
#define def_ombrel_xml_path_fault_function 3  /**< an unknown function */
#define def_ombrel_xml_path_fault_condition 4 /**< an unknown condition */
#define def_ombrel_xml_path_fault_bracket 5   /**< "]" is missing */
#define def_ombrel_xml_path_fault_text 6      /**< a text in quotes was expected, or is not ended */
#define def_ombrel_xml_path_fault_prefix 7    /**< the list does not have the prefix */
#define def_ombrel_xml_path_fault_attribute 8 /**< a step after an attribute that cannot be there */
#define def_ombrel_xml_path_fault_end 9       /**< something follows the path's end */
#define def_ombrel_xml_path_fault_long 10     /**< too long, or too many steps or conditions */
/** @} */

/** What is wrong with a path, and where. */
typedef struct ombrel_xml_path_fault_ts {
    int m_reason;     /**< def_ombrel_xml_path_fault_* */
    int64_t m_offset; /**< bytes before it */
} ombrel_xml_path_fault_t;

/**
 * @brief Reads a path.
 * @param path     the path, terminated
 * @param prefixes the list of namespaces, used during the call only; null compares names as written
 * @param fault    receives what is wrong and where, or that nothing was; may be null
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the path, closed by ombrel_close_xml_path(); null
 */
OMBREL_API ombrel_xml_path_t* ombrel_open_xml_path_tag(const char* path, const ombrel_xml_prefix_t* prefixes,
                                                       ombrel_xml_path_fault_t* fault, const char* function,
                                                       unsigned long line);
/** ombrel_open_xml_path_tag() with the caller's own name and line. */
#define ombrel_open_xml_path(path, prefixes, fault)                                                          \
    ombrel_open_xml_path_tag((path), (prefixes), (fault), __func__, __LINE__)

/** @brief Frees a path. Walks over it must be closed before. @return 0 */
OMBREL_API int ombrel_close_xml_path(ombrel_xml_path_t* path);

/**
 * @brief A reason in words for people: "a step was expected".
 * @param reason def_ombrel_xml_path_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_xml_path_fault_text(int reason);

/**
 * @brief Begins a walk over what a path finds.
 * @param path     the path, which must stay
 * @param from     the node where the path starts; a "/" at the path's beginning starts at its document
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the walk, closed by ombrel_close_xml_walk(); null
 */
OMBREL_API ombrel_xml_walk_t* ombrel_open_xml_walk_tag(const ombrel_xml_path_t* path, ombrel_xml_node_t* from,
                                                       const char* function, unsigned long line);
/** ombrel_open_xml_walk_tag() with the caller's own name and line. */
#define ombrel_open_xml_walk(path, from) ombrel_open_xml_walk_tag((path), (from), __func__, __LINE__)

/**
 * @brief The next node that the path finds.
 * @param walk the walk
 * @param node receives the node
 * @return 1; 0 at the end; -1, also for null
 */
OMBREL_API int ombrel_xml_walk_next(ombrel_xml_walk_t* walk, ombrel_xml_node_t** node);

/** @brief Frees a walk. @return 0 */
OMBREL_API int ombrel_close_xml_walk(ombrel_xml_walk_t* walk);

/**
 * @brief The first node that a path finds.
 * @param path the path
 * @param from as for ombrel_open_xml_walk_tag()
 * @return the node; null with not_found when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_path_find(const ombrel_xml_path_t* path, ombrel_xml_node_t* from);

/**
 * @brief The first node that a path finds, for a path that is used once.
 * @param from as for ombrel_open_xml_walk_tag()
 * @param path the path; names are compared as written
 * @return the node; null with not_found when there is none, violation when the path is malformed
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_find(ombrel_xml_node_t* from, const char* path);

/**
 * @brief The text of the first node that a path finds, with everything inside it.
 * @param from     as for ombrel_xml_node_find()
 * @param path     likewise
 * @param size     receives its bytes; may be null
 * @param function the function for whom the memory is accounted
 * @param line     its source line
 * @return the text, terminated, freed with ombrel_free(); null as ombrel_xml_node_find() */
OMBREL_API char* ombrel_xml_node_alloc_found_text_tag(ombrel_xml_node_t* from, const char* path, size_t* size,
                                                      const char* function, unsigned long line);
/** ombrel_xml_node_alloc_found_text_tag() with the caller's own name and line. */
#define ombrel_xml_node_alloc_found_text(from, path, size)                                                   \
    ombrel_xml_node_alloc_found_text_tag((from), (path), (size), __func__, __LINE__)

OMBREL_END_C

#endif
