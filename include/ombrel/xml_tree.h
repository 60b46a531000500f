/**
 * @file xml_tree.h
 * @brief XML documents as trees: read, searched, changed, made from nothing, and written.
 *
 * @code
 * static int show_and_raise(const char* path)
 * {
 *     ombrel_xml_fault_t fault;
 *     ombrel_xml_tree_t* tree = ombrel_load_xml_tree(path, NULL, &fault);
 *     if (tree == NULL)
 *         return -1;
 *     ombrel_xml_node_t* item = ombrel_xml_node_get_child(ombrel_xml_tree_get_root(tree), "item");
 *     for (; item != NULL; item = ombrel_xml_node_get_sibling(item, "item")) {
 *         int64_t price = 0;
 *         if (ombrel_xml_node_get_integer(item, "price", &price) == 1)
 *             ombrel_xml_node_set_integer_attribute(item, "price", price + 1);
 *         ombrel_printf("%s\n", ombrel_xml_node_get_attribute_text(item, "name", "?"));
 *     }
 *     const int result = ombrel_xml_tree_store(tree, path, NULL);
 *     ombrel_close_xml_tree(tree);
 *     return result;
 * }
 * @endcode
 *
 * All that a document consists of is a node: the document itself, elements, attributes, text, CDATA
 * sections, comments, processing instructions, the document type. Attributes, namespace declarations among
 * them, are in a list of their own, apart from the children of their element. Entities are expanded, values
 * normalised, line ends are LF. For looking things up by paths see xml_path.h.
 *
 * **Texts** that are given out are UTF-8 and terminated, belong to the tree, and live until their node is
 * changed or removed. Texts that are taken in are copied; they are refused where XML has no place for them,
 * so that what a tree holds can always be written.
 *
 * **Names.** "svg:path" has the prefix "svg" and the local name "path". When a name is given for a new node
 * its prefix is looked up in the namespace declarations around it. A node keeps its namespace wherever it is
 * moved; the writer declares what is missing.
 *
 * **Null.** Functions that are given a null node give null, 0 or -1, so that calls can be nested.
 *
 * **Memory.** Nodes and texts lie in blocks of the tree. A node takes 64 bytes (36 in a 32-bit program),
 * its text its bytes and at most 8 more, a name is kept once. Removed nodes are used again, and texts that
 * replace others give theirs back. Nothing recurses, however deep a document is; the parser's limits hold for
 * what is read (xml.h), and m_memory_limit for all.
 *
 * **Threads.** Any number of threads may look at a tree while none changes it.
 *
 * **Errors** (ombrel_last_fault()): invalid for null and invalid arguments and nodes of another kind,
 * violation for texts that may not stand where they should and for documents that are not well-formed,
 * too_large for the limits, not_found, no_memory. After a failed change a tree is as it was.
 */
#ifndef OMBREL_XML_TREE_H
#define OMBREL_XML_TREE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>
#include <ombrel/xml.h>
#include <ombrel/xml_writer.h>

OMBREL_BEGIN_C

/** A tree; opaque. */
typedef struct ombrel_xml_tree_ts ombrel_xml_tree_t;

/** A node of a tree; opaque. It lives until it, or a node around it, is removed or the tree closed. */
typedef struct ombrel_xml_node_ts ombrel_xml_node_t;

/** @name Kinds of nodes
 * @{ */
#define def_ombrel_xml_node_document                                                                         \
    1                                   /**< the top of a tree; its children are the root element and others \
                                         */
#define def_ombrel_xml_node_element 2   /**< has a name, attributes, children */
#define def_ombrel_xml_node_attribute 3 /**< has a name and a text, its value; its parent is the element */
#define def_ombrel_xml_node_text 4      /**< has a text */
#define def_ombrel_xml_node_cdata 5     /**< has a text */
#define def_ombrel_xml_node_comment 6   /**< has a text */
#define def_ombrel_xml_node_instruction 7 /**< has a name, its target, and a text */
/** The document type: its name is that of the root element, its text what stands between that name and the
 * closing
 * ">", as written: "SYSTEM \"note.dtd\" [...]". */
#define def_ombrel_xml_node_doctype 8
/** @} */

/** @name What a tree leaves out when it reads
 * @{ */
#define def_ombrel_xml_tree_drop_comments 0x1u     /**< comments */
#define def_ombrel_xml_tree_drop_instructions 0x2u /**< processing instructions */
/** Text that is white space alone, CDATA sections excepted, where an element has other children. */
#define def_ombrel_xml_tree_drop_space 0x4u
#define def_ombrel_xml_tree_merge_cdata 0x8u /**< CDATA sections become text, one with that around them */
/** @} */

/** Settings of a tree. */
typedef struct ombrel_xml_tree_options_ts {
    uint32_t m_flags;      /**< def_ombrel_xml_tree_*; 0 */
    size_t m_memory_limit; /**< most bytes that the tree may take; 1 GiB, in a 64-bit program 8 GiB */
    const ombrel_xml_options_t* m_parser; /**< the parser's settings; null, the default, for its defaults. The
                                             record is copied, its texts must stay until all is read */
} ombrel_xml_tree_options_t;

/**
 * @name Reading
 * @{
 */

/**
 * @brief Fills settings with their defaults.
 * @param options the settings
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_xml_tree_options(ombrel_xml_tree_options_t* options);

/**
 * @brief A tree that holds nothing but its document node: to be filled by changes, or by
 * ombrel_xml_tree_push().
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the tree, closed by ombrel_close_xml_tree(); null with invalid or no_memory
 */
OMBREL_API ombrel_xml_tree_t* ombrel_open_xml_tree_tag(const ombrel_xml_tree_options_t* options,
                                                       const char* function, unsigned long line);
/** ombrel_open_xml_tree_tag() with the caller's own name and line. */
#define ombrel_open_xml_tree(options) ombrel_open_xml_tree_tag((options), __func__, __LINE__)

/**
 * @brief Reads a document from memory.
 * @param data     the document
 * @param size     its bytes
 * @param options  the settings; null for the defaults
 * @param fault    receives why and where it was refused, or that nothing was; may be null
 * @param function the function for whom the memory is accounted
 * @param line     its source line
 * @return the tree; null when the document is refused, for null data, and when memory runs out
 */
OMBREL_API ombrel_xml_tree_t* ombrel_parse_xml_tree_tag(const void* data, size_t size,
                                                        const ombrel_xml_tree_options_t* options,
                                                        ombrel_xml_fault_t* fault, const char* function,
                                                        unsigned long line);
/** ombrel_parse_xml_tree_tag() with the caller's own name and line. */
#define ombrel_parse_xml_tree(data, size, options, fault)                                                    \
    ombrel_parse_xml_tree_tag((data), (size), (options), (fault), __func__, __LINE__)

/**
 * @brief Reads a document from a file, in pieces.
 * @param path     the file
 * @param options  the settings; null for the defaults
 * @param fault    receives why and where it was refused, none also when the file cannot be read; may be null
 * @param function the function for whom the memory is accounted
 * @param line     its source line
 * @return the tree; null when it cannot be read, as ombrel_open_file() and ombrel_file_read() tell, and as
 *         ombrel_parse_xml_tree_tag()
 */
OMBREL_API ombrel_xml_tree_t* ombrel_load_xml_tree_tag(const char* path,
                                                       const ombrel_xml_tree_options_t* options,
                                                       ombrel_xml_fault_t* fault, const char* function,
                                                       unsigned long line);
/** ombrel_load_xml_tree_tag() with the caller's own name and line. */
#define ombrel_load_xml_tree(path, options, fault)                                                           \
    ombrel_load_xml_tree_tag((path), (options), (fault), __func__, __LINE__)

/**
 * @brief Reads the next piece of a document into a tree that was opened empty. Until
 * ombrel_xml_tree_push_end() it may be looked at, but not changed.
 * @param tree the tree
 * @param data the piece; may be null when `size` is 0
 * @param size its bytes
 * @return 0; -1 when the document is refused, also at every later call, and when something was put into the
 * tree in another way
 */
OMBREL_API int ombrel_xml_tree_push(ombrel_xml_tree_t* tree, const void* data, size_t size);

/** @brief Says that the document is complete. @return 0; -1 when it is refused or nothing was pushed */
OMBREL_API int ombrel_xml_tree_push_end(ombrel_xml_tree_t* tree);

/**
 * @brief Why and where a pushed document was refused.
 * @param tree the tree
 * @return a record in the tree, with the reason none while nothing was refused; null for null
 */
OMBREL_API const ombrel_xml_fault_t* ombrel_xml_tree_get_fault(const ombrel_xml_tree_t* tree);

/**
 * @brief Frees a tree with all its nodes.
 * @param tree the tree, or null
 * @return 0
 */
OMBREL_API int ombrel_close_xml_tree(ombrel_xml_tree_t* tree);

/** @} */
/**
 * @name Trees
 * @{
 */

/** @brief The document node. @return it, or null for null */
OMBREL_API ombrel_xml_node_t* ombrel_xml_tree_get_document(const ombrel_xml_tree_t* tree);

/** @brief The root element. @return it, or null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_tree_get_root(const ombrel_xml_tree_t* tree);

/** @brief How many nodes there are, attributes and the document node among them. @return -1 for null */
OMBREL_API int64_t ombrel_xml_tree_get_count(const ombrel_xml_tree_t* tree);

/** @brief How many bytes the tree takes. @return -1 for null */
OMBREL_API int64_t ombrel_xml_tree_get_memory(const ombrel_xml_tree_t* tree);

/**
 * @brief How many references were left out when the document was read: to external entities that no loader
 * supplied, and to entities whose declarations stand in such ones. Their text is lost to the tree.
 * @param tree the tree
 * @return their number; -1 for null
 */
OMBREL_API int64_t ombrel_xml_tree_get_skipped(const ombrel_xml_tree_t* tree);

/** @brief What the XML declaration says of itself. @return 1 for standalone="yes", 0 for "no", -1 for
 * neither; -2 when there is no declaration, and for null */
OMBREL_API int ombrel_xml_tree_get_standalone(const ombrel_xml_tree_t* tree);

/**
 * @brief Says what the XML declaration is to be.
 * @param tree       the tree
 * @param standalone 1, 0 or -1 as above; -2 for no declaration
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_tree_set_standalone(ombrel_xml_tree_t* tree, int standalone);

/** @} */
/**
 * @name Nodes
 * @{
 */

/** @brief The kind. @return def_ombrel_xml_node_*; 0 for null */
OMBREL_API int ombrel_xml_node_get_kind(const ombrel_xml_node_t* node);

/** @brief The tree of a node. @return it, or null for null */
OMBREL_API ombrel_xml_tree_t* ombrel_xml_node_get_tree(const ombrel_xml_node_t* node);

/** @brief The name as written, "svg:path". @return the text; "" for kinds without one, null for null */
OMBREL_API const char* ombrel_xml_node_get_name(const ombrel_xml_node_t* node);

/** @brief The name without prefix. @return the text; "" for kinds without one, null for null */
OMBREL_API const char* ombrel_xml_node_get_local_name(const ombrel_xml_node_t* node);

/** @brief The prefix. @return the text; "" without one, null for null */
OMBREL_API const char* ombrel_xml_node_get_prefix(const ombrel_xml_node_t* node);

/** @brief The namespace's name. @return the text; "" for none, null for null */
OMBREL_API const char* ombrel_xml_node_get_uri(const ombrel_xml_node_t* node);

/**
 * @brief The text of a node that has one of its own: all kinds except documents and elements.
 * @param node the node
 * @param size receives its bytes; may be null
 * @return the text; null for other kinds and for null
 */
OMBREL_API const char* ombrel_xml_node_get_text(const ombrel_xml_node_t* node, size_t* size);

/**
 * @brief The text of a node with everything inside it: of an element or document all text and CDATA below it,
 * of other nodes their own text.
 * @param node     the node
 * @param size     receives its bytes; may be null
 * @param function the function for whom the memory is accounted
 * @param line     its source line
 * @return the text, terminated, freed with ombrel_free(); null for null and when memory runs out
 */
OMBREL_API char* ombrel_xml_node_alloc_text_tag(const ombrel_xml_node_t* node, size_t* size,
                                                const char* function, unsigned long line);
/** ombrel_xml_node_alloc_text_tag() with the caller's own name and line. */
#define ombrel_xml_node_alloc_text(node, size)                                                               \
    ombrel_xml_node_alloc_text_tag((node), (size), __func__, __LINE__)

/**
 * @brief Copies the text of a node with everything inside it.
 * @param node   the node
 * @param buffer receives as much as fits, cut at a whole character, and a terminator; may be null when `room`
 *               is 0
 * @param room   its bytes
 * @return the bytes of the whole text without a terminator, so that less than `room` means it fitted; -1
 */
OMBREL_API int64_t ombrel_xml_node_copy_text(const ombrel_xml_node_t* node, char* buffer, size_t room);

/** @brief The line of the document where the node begins, from 1; an attribute's is that of its element.
 * @return the line; 0 for nodes that were made by changes, and for null. It stops at UINT32_MAX, as the
 * column does */
OMBREL_API int64_t ombrel_xml_node_get_line(const ombrel_xml_node_t* node);

/** @brief The column there, in characters, from 1. @return as ombrel_xml_node_get_line() */
OMBREL_API int64_t ombrel_xml_node_get_column(const ombrel_xml_node_t* node);

/** @brief Whether an attribute is there only because its declaration has a default. It is not written unless
 * its document type was changed or is gone; it no longer counts as a default when it or its element gets
 * another name.
 * @return 1 or 0 */
OMBREL_API int ombrel_xml_node_is_default(const ombrel_xml_node_t* node);

/** @} */
/**
 * @name Ways
 * @{
 */

/** @brief The node around a node; an attribute's element. @return null for documents */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_parent(const ombrel_xml_node_t* node);

/** @brief The first child, of any kind. @return null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_first_child(const ombrel_xml_node_t* node);

/** @brief The last child, of any kind. @return null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_last_child(const ombrel_xml_node_t* node);

/** @brief The next sibling, of any kind; of an attribute the next attribute. @return null when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_next(const ombrel_xml_node_t* node);

/** @brief The one before; of an attribute the attribute before. @return null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_previous(const ombrel_xml_node_t* node);

/**
 * @brief The first child that is an element.
 * @param node the node
 * @param name its name as written; null for any
 * @return null when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_child(const ombrel_xml_node_t* node, const char* name);

/**
 * @brief The next sibling that is an element.
 * @param node the node
 * @param name its name as written; null for any
 * @return null when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_sibling(const ombrel_xml_node_t* node, const char* name);

/**
 * @brief The first child that is an element of a namespace.
 * @param node  the node
 * @param uri   the namespace's name; "" for none
 * @param local its name without prefix; null for any
 * @return null when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_child_in(const ombrel_xml_node_t* node, const char* uri,
                                                           const char* local);

/** @brief The next sibling that is an element of a namespace, as ombrel_xml_node_get_child_in(). @return null
 * when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_sibling_in(const ombrel_xml_node_t* node, const char* uri,
                                                             const char* local);

/** @brief The node that follows in the document's order, below `top`: the first child, else the next sibling,
 * else that of the nearest node around. Attributes are left out. @return null after the last one below `top`
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_following(const ombrel_xml_node_t* node,
                                                            const ombrel_xml_node_t* top);

/** @} */
/**
 * @name Attributes
 * @{
 */

/** @brief The first attribute of an element. @return null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_first_attribute(const ombrel_xml_node_t* node);

/** @brief The attribute of a name as written. @return null when there is none */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_attribute(const ombrel_xml_node_t* node, const char* name);

/**
 * @brief The attribute of a name in a namespace.
 * @param node  the element
 * @param uri   the namespace's name; "" for none
 * @param local the name without prefix
 * @return null when there is none
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_get_attribute_in(const ombrel_xml_node_t* node, const char* uri,
                                                               const char* local);

/**
 * @brief The value of an attribute.
 * @param node      the element
 * @param name      the attribute's name as written
 * @param otherwise what is given when there is no such attribute; may be null
 * @return the value
 */
OMBREL_API const char* ombrel_xml_node_get_attribute_text(const ombrel_xml_node_t* node, const char* name,
                                                          const char* otherwise);

/** @} */
/**
 * @name Values
 * `attribute` names an attribute as written; null stands for the text of the node with all that is in it.
 * White space around a value does not count. What is not given leaves the target as it was, so that it may
 * hold a default.
 * @{
 */

/**
 * @brief A whole number in decimal digits, with "-" or "+" before it or neither.
 * @param node      the node
 * @param attribute see above
 * @param value     receives it
 * @return 1; 0 when there is no such attribute, or no node; -1 with violation when it is not a whole number,
 * too_large when it does not fit into 64 bits
 */
OMBREL_API int ombrel_xml_node_get_integer(const ombrel_xml_node_t* node, const char* attribute,
                                           int64_t* value);

/**
 * @brief A number with or without a fraction and an exponent, "-1.5e3", or "INF", "-INF" or "NaN". It is
 * rounded to the nearest double.
 * @return as ombrel_xml_node_get_integer(); a number too great for a double is infinite
 */
OMBREL_API int ombrel_xml_node_get_double(const ombrel_xml_node_t* node, const char* attribute,
                                          double* value);

/** @brief "true" or "1" as 1, "false" or "0" as 0. @return as ombrel_xml_node_get_integer() */
OMBREL_API int ombrel_xml_node_get_boolean(const ombrel_xml_node_t* node, const char* attribute, int* value);

/** @} */
/**
 * @name Changes
 * A document node takes one element, one document type before it, comments and instructions; an element takes
 * all but document types.
 * @{
 */

/**
 * @brief Makes a node.
 * @param parent the element or document that gets it
 * @param before the child before which it stands; null for the end
 * @param kind   def_ombrel_xml_node_* of what a parent takes
 * @param name   the name of an element, instruction or document type; null for other kinds
 * @param text   of an element: null, or the text that it holds; of others their text, null for ""
 * @return the node; null, with not_found for a prefix that is not bound
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_insert(ombrel_xml_node_t* parent, ombrel_xml_node_t* before,
                                                     int kind, const char* name, const char* text);

/** @brief Makes an element at the end of another: ombrel_xml_node_insert() shortened. @return the element, or
 * null */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_add_element(ombrel_xml_node_t* parent, const char* name,
                                                          const char* text);

/** @brief Makes text at the end of an element: ombrel_xml_node_insert() shortened. @return the text's node,
 * or null */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_add_text(ombrel_xml_node_t* parent, const char* text);

/**
 * @brief Makes an element of a namespace.
 * @param parent as for ombrel_xml_node_insert()
 * @param before likewise
 * @param uri    the namespace's name; "" for none, which goes with no prefix
 * @param name   its name; a prefix in it is what the writer tries
 * @return the element, or null
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_insert_element_in(ombrel_xml_node_t* parent,
                                                                ombrel_xml_node_t* before, const char* uri,
                                                                const char* name);

/**
 * @brief Copies a node with all that is in it.
 * @param node   the node, of the same tree or another, no attribute or document; it may hold the parent
 * @param parent as for ombrel_xml_node_insert()
 * @param before likewise
 * @return the copy, or null
 */
OMBREL_API ombrel_xml_node_t* ombrel_xml_node_copy(const ombrel_xml_node_t* node, ombrel_xml_node_t* parent,
                                                   ombrel_xml_node_t* before);

/**
 * @brief Moves a node with all that is in it, within its tree.
 * @param node   the node, no attribute or document
 * @param parent the element or document that gets it; not the node itself and nothing in it
 * @param before the child before which it stands; null for the end
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_move(ombrel_xml_node_t* node, ombrel_xml_node_t* parent,
                                    ombrel_xml_node_t* before);

/**
 * @brief Removes a node, or attribute, with all that is in it.
 * @param node the node, no document
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_remove(ombrel_xml_node_t* node);

/**
 * @brief Names an element, attribute or instruction anew.
 * @param node the node
 * @param name as for ombrel_xml_node_insert(); an attribute's must be new to its element
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_set_name(ombrel_xml_node_t* node, const char* name);

/**
 * @brief Sets a text: of an element in place of all its children, of others their own.
 * @param node the node, no document
 * @param text the text; null counts as ""
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_set_text(ombrel_xml_node_t* node, const char* text);

/**
 * @brief Sets an attribute, which is made at the end of the list when it is not there. A removed one comes
 * back for readers of the written document if its type declares a default for it: give it a value instead.
 * @param node  the element
 * @param name  its name as written; "xmlns" and "xmlns:PREFIX" declare namespaces, for names given later;
 *              an element in no namespace cannot declare a default one
 * @param value its value; null removes it, also when it is not there
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_set_attribute(ombrel_xml_node_t* node, const char* name, const char* value);

/**
 * @brief Sets an attribute of a namespace.
 * @param node  the element
 * @param uri   the namespace's name; "" for none
 * @param name  its name; the prefix in it is what the writer tries, and does not count when it is looked for
 * @param value its value; null removes it
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_node_set_attribute_in(ombrel_xml_node_t* node, const char* uri, const char* name,
                                                const char* value);

/** @brief Sets an attribute to a whole number, as ombrel_xml_node_set_attribute(). @return 0; -1 */
OMBREL_API int ombrel_xml_node_set_integer_attribute(ombrel_xml_node_t* node, const char* name,
                                                     int64_t value);

/** @} */
/**
 * @name Writing
 * @{
 */

/**
 * @brief Writes a node with all that is in it: to put a part of a tree into a document that a writer makes.
 * @param node   the node, no attribute; of a document its children, without the XML declaration
 * @param writer the writer
 * @return 0; -1, see ombrel_xml_writer_get_reason(); or what its handler returned
 */
OMBREL_API int ombrel_xml_node_write(const ombrel_xml_node_t* node, ombrel_xml_writer_t* writer);

/**
 * @brief Writes a document.
 * @param tree    the tree; it must have a root element
 * @param buffer  the chain at whose end it is queued; null for the handler of the options
 * @param options the writer's settings; null for the defaults. Of trees that were read without namespaces the
 *                flag for that is added
 * @return 0; -1; or what the handler returned
 */
OMBREL_API int ombrel_xml_tree_write(const ombrel_xml_tree_t* tree, ombrel_buffer_t* buffer,
                                     const ombrel_xml_writer_options_t* options);

/**
 * @brief Writes a document to a file, so that a crash leaves the old one or the new one.
 * @param tree    the tree
 * @param path    the file
 * @param options the writer's settings, without a handler; null for the defaults
 * @return 0; -1, as ombrel_xml_tree_write() and ombrel_open_file_store() tell
 */
OMBREL_API int ombrel_xml_tree_store(const ombrel_xml_tree_t* tree, const char* path,
                                     const ombrel_xml_writer_options_t* options);

/** @} */

OMBREL_END_C

#endif
