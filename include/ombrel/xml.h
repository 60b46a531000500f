/**
 * @file xml.h
 * @brief XML 1.0 (fifth edition) and Namespaces in XML 1.0 (third edition), parsed as it comes in.
 *
 * A parser is given the bytes of a document in pieces of any size and calls a handler with events: elements
 * with their attributes, text, comments, instructions, what the document type declares. It checks that the
 * document is well-formed, and namespace-well-formed where that is asked for; it does not validate. To read a
 * document into a tree see xml_tree.h, to write one xml_writer.h.
 *
 * @code
 * static int show(const ombrel_xml_event_t* event, void* context)
 * {
 *     (void)context;
 *     if (event->m_kind == def_ombrel_xml_event_element)
 *         ombrel_printf("%.*s\n", (int)event->m_name.m_full.m_size, event->m_name.m_full.m_data);
 *     return 0;
 * }
 *
 * static int show_elements(const void* data, size_t size)
 * {
 *     ombrel_xml_fault_t fault;
 *     if (ombrel_parse_xml(data, size, NULL, show, NULL, &fault) == 0)
 *         return 0;
 *     ombrel_error_printf("%lld:%lld: %s\n", (long long)fault.m_line, (long long)fault.m_column,
 * fault.m_text); return -1;
 * }
 * @endcode
 *
 * **Texts** of events are UTF-8, whatever the document's encoding, and not terminated. They live until the
 * handler returns. Line ends are LF, references are replaced, values of attributes are normalised by their
 * declared type and defaults are supplied, all as the standard has it. Events do not depend on how the
 * document is cut, except for texts: text between two tags may come in any number of pieces.
 *
 * **Encodings** are all those of charset.h. The document's is taken from the caller, else from the byte order
 * mark, the pattern of the first bytes, or the declaration. Without any of these a document is UTF-8. Bytes
 * that are not valid in the encoding are refused.
 *
 * **Entities.** Internal ones are expanded. External ones, the external subset of the document type among
 * them, are read only if the caller gives a loader, which supplies their bytes; otherwise they are skipped,
 * and an event says so. Nothing is ever opened by the library itself.
 *
 * **Limits.** Documents from strangers cannot make a parser use more memory or time than the options allow:
 * there are limits on depth, attributes, names, tokens, the document type, and on what entities grow to. Of
 * the document only the token under way and the names in use are kept. Neither deep documents nor nested
 * entities use the stack, and names chosen by an attacker do not slow the tables down.
 *
 * **Threads.** A parser belongs to one thread at a time; different parsers share nothing.
 *
 * **Errors.** A refusal has a reason (`def_ombrel_xml_fault_*`), a place and a text; see
 * ombrel_xml_parser_get_fault(). ombrel_last_fault() is violation for what is not well-formed, too_large for
 * limits, not_supported for unknown encodings, no_memory, invalid for null and invalid arguments.
 */
#ifndef OMBREL_XML_H
#define OMBREL_XML_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A text of an event: UTF-8, not terminated. m_data is never null; it may point nowhere when m_size is 0. */
typedef struct ombrel_xml_text_ts {
    const char* m_data; /**< where it begins */
    size_t m_size;      /**< bytes */
} ombrel_xml_text_t;

/** The name of an element or attribute. Without namespaces m_local is the whole and the other two are empty.
 */
typedef struct ombrel_xml_name_ts {
    ombrel_xml_text_t m_full;   /**< as written: "svg:path" */
    ombrel_xml_text_t m_prefix; /**< "svg"; empty without one */
    ombrel_xml_text_t m_local;  /**< "path" */
    ombrel_xml_text_t m_uri;    /**< the namespace's name; empty for none */
} ombrel_xml_name_t;

/** @name Types of attributes
 * @{ */
#define def_ombrel_xml_type_cdata 0       /**< any text; also what is not declared */
#define def_ombrel_xml_type_id 1          /**< a name that no other element has */
#define def_ombrel_xml_type_idref 2       /**< the ID of another element */
#define def_ombrel_xml_type_idrefs 3      /**< several of them */
#define def_ombrel_xml_type_entity 4      /**< the name of an unparsed entity */
#define def_ombrel_xml_type_entities 5    /**< several of them */
#define def_ombrel_xml_type_nmtoken 6     /**< only characters that names may have */
#define def_ombrel_xml_type_nmtokens 7    /**< several such words */
#define def_ombrel_xml_type_notation 8    /**< the name of a notation */
#define def_ombrel_xml_type_enumeration 9 /**< one of the declared words */
/** @} */

/** @name What is special about an attribute
 * @{ */
#define def_ombrel_xml_attribute_default 0x1u   /**< not in the tag: the value is the declared default */
#define def_ombrel_xml_attribute_namespace 0x2u /**< it declares a namespace: xmlns or xmlns:PREFIX */
/** @} */

/** An attribute of an element. */
typedef struct ombrel_xml_attribute_ts {
    ombrel_xml_name_t m_name;  /**< the URI of namespace declarations is "http://www.w3.org/2000/xmlns/" */
    ombrel_xml_text_t m_value; /**< normalised */
    int m_type;                /**< def_ombrel_xml_type_* */
    uint32_t m_flags;          /**< def_ombrel_xml_attribute_* */
} ombrel_xml_attribute_t;

/** @name Kinds of events
 * @{ */
#define def_ombrel_xml_event_declaration 1 /**< m_version, m_encoding, m_flags; only if it is there */
/** The document type begins: m_name, m_public_id, m_system_id, m_flags. */
#define def_ombrel_xml_event_doctype 2
#define def_ombrel_xml_event_doctype_end                                                                     \
    3 /**< all of it has been read; m_text: the internal subset as it is written */
#define def_ombrel_xml_event_element 4 /**< a start tag: m_name, m_attributes, m_attribute_count, m_flags */
#define def_ombrel_xml_event_element_end 5  /**< an end tag, also of an empty element: m_name */
#define def_ombrel_xml_event_text 6         /**< a piece of text, also within CDATA, never empty: m_text */
#define def_ombrel_xml_event_cdata 7        /**< a CDATA section begins */
#define def_ombrel_xml_event_cdata_end 8    /**< it ends */
#define def_ombrel_xml_event_comment 9      /**< m_text */
#define def_ombrel_xml_event_instruction 10 /**< a processing instruction: m_name.m_full, m_text */
/** An entity that was not read; not reported within values of attributes: m_name.m_full, m_public_id,
 * m_system_id, m_entity. "[dtd]" is the external subset; a parameter entity has "%" before its name. */
#define def_ombrel_xml_event_skipped 11
/** A general or parameter entity: m_name.m_full, m_entity; m_text, or m_public_id, m_system_id, m_base and
 * m_notation. Later declarations of the same name have no effect and no event. */
#define def_ombrel_xml_event_entity_declaration 12
#define def_ombrel_xml_event_notation_declaration 13 /**< m_name.m_full, m_public_id, m_system_id, m_base */
#define def_ombrel_xml_event_element_declaration                                                             \
    14 /**< m_name.m_full; m_text: the content, without spaces                                               \
        */
/** An attribute: m_name.m_full is the element's name, m_attributes[0] the attribute with its default, if it
 * has one; m_flags; m_text: "(a|b)" of enumerations and notations. */
#define def_ombrel_xml_event_attribute_declaration 15
/** @} */

/** @name Marks of events
 * @{ */
#define def_ombrel_xml_mark_standalone 0x1u      /**< declaration: standalone="yes" */
#define def_ombrel_xml_mark_not_standalone 0x2u  /**< declaration: standalone="no" */
#define def_ombrel_xml_mark_internal_subset 0x4u /**< doctype: "[" follows */
#define def_ombrel_xml_mark_empty 0x8u           /**< element: written as "<a/>"; its end follows at once */
#define def_ombrel_xml_mark_required 0x10u       /**< attribute: "#REQUIRED" */
#define def_ombrel_xml_mark_fixed 0x20u          /**< attribute: "#FIXED" */
#define def_ombrel_xml_mark_default 0x40u        /**< attribute: it has a default */
#define def_ombrel_xml_mark_has_system 0x80u  /**< doctype and declarations: there is a system identifier */
#define def_ombrel_xml_mark_has_public 0x100u /**< and a public one; both may be empty texts */
/** @} */

/** @name Kinds of entities
 * @{ */
#define def_ombrel_xml_entity_internal 1           /**< general, with its text in the declaration */
#define def_ombrel_xml_entity_external 2           /**< general, read by the loader */
#define def_ombrel_xml_entity_unparsed 3           /**< never read: attributes of type ENTITY name it */
#define def_ombrel_xml_entity_parameter 4          /**< of document types, with its text in the declaration */
#define def_ombrel_xml_entity_external_parameter 5 /**< of document types, read by the loader */
#define def_ombrel_xml_entity_subset 6             /**< the external subset of the document type */
#define def_ombrel_xml_entity_undeclared                                                                     \
    7 /**< skipped, as its declaration may stand in what was not read                                        \
       */
/** @} */

/** One event. Only the fields that its kind lists are set. */
typedef struct ombrel_xml_event_ts {
    int m_kind;               /**< def_ombrel_xml_event_* */
    int m_entity;             /**< def_ombrel_xml_entity_* */
    uint32_t m_flags;         /**< def_ombrel_xml_mark_* */
    ombrel_xml_name_t m_name; /**< of an element, an instruction's target, an entity and so on */
    ombrel_xml_text_t m_text; /**< text, comment, data and so on */
    const ombrel_xml_attribute_t* m_attributes; /**< those of the tag in its order, then defaults */
    size_t m_attribute_count;                   /**< how many they are */
    ombrel_xml_text_t m_public_id;              /**< white space is normalised */
    ombrel_xml_text_t m_system_id;              /**< as written */
    ombrel_xml_text_t m_base;                   /**< what the system identifier is relative to */
    ombrel_xml_text_t m_notation;               /**< of an unparsed entity */
    ombrel_xml_text_t m_version;                /**< "1.0"; any other "1.x" is read as 1.0 */
    ombrel_xml_text_t m_encoding;               /**< as declared; empty without */
} ombrel_xml_event_t;

/**
 * @brief Takes an event.
 *
 * It must not push, end, reset or close the parser; the functions that only ask, such as
 * ombrel_xml_parser_get_position(), may be called.
 * @param event   the event, until the return
 * @param context the caller's
 * @return 0 to go on; anything else ends the call that pushed, which returns it, and the parser with it
 */
typedef int (*ombrel_xml_handler_t)(const ombrel_xml_event_t* event, void* context);

/** A parser; opaque. */
typedef struct ombrel_xml_parser_ts ombrel_xml_parser_t;

/** An external entity that is to be read. Texts are UTF-8 and live until the loader returns. */
typedef struct ombrel_xml_external_ts {
    int m_entity;                  /**< def_ombrel_xml_entity_external, _external_parameter or _subset */
    ombrel_xml_text_t m_name;      /**< of the entity; of the document's element for the subset */
    ombrel_xml_text_t m_public_id; /**< may be empty */
    ombrel_xml_text_t m_system_id; /**< as declared; empty only if it is so there */
    ombrel_xml_text_t
        m_base; /**< of the entity that declares it: the option's m_base, or what the loader set */
} ombrel_xml_external_t;

#define def_ombrel_xml_skip 1 /**< what a loader returns for an entity that it does not read */

/**
 * @brief Reads an external entity for a parser: calls ombrel_xml_parser_supply() with its bytes, in any
 * number of pieces, and ombrel_xml_parser_set_base() if it has declarations with relative identifiers of its
 * own.
 * @param parser   the parser
 * @param external which one
 * @param context  the caller's
 * @return 0 when all of it was supplied (it may be empty); def_ombrel_xml_skip to leave it out; anything else
 *         ends the call that pushed, which returns it
 */
typedef int (*ombrel_xml_loader_t)(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external,
                                   void* context);

/** @name Flags of a parser
 * @{ */
#define def_ombrel_xml_namespaces 0x1u /**< names have namespaces, and are checked by their rules */
/** A document with a document type is refused, whatever is in it: what strangers send seldom needs one. */
#define def_ombrel_xml_refuse_doctype 0x2u
#define def_ombrel_xml_all_flags 0x3u /**< all of these */
/** @} */

/** Settings of a parser. Sizes are bytes of UTF-8; a limit of 0 is refused when opening, unless its field
 * says otherwise. After each description stands the default. */
typedef struct ombrel_xml_options_ts {
    uint32_t m_flags;             /**< def_ombrel_xml_*; #def_ombrel_xml_namespaces */
    const char* m_encoding;       /**< the document's encoding, if a protocol has told it: it overrides the
                                     declaration; null */
    const char* m_base;           /**< what identifiers of the document are relative to; null for "" */
    int64_t m_document_limit;     /**< bytes of the document; negative for any size; -1 */
    size_t m_depth_limit;         /**< nested elements, 24 bytes each while open; 10000 */
    size_t m_attribute_limit;     /**< attributes of an element, defaults included; 10000 */
    size_t m_name_limit;          /**< longest name; 10000 */
    size_t m_name_count_limit;    /**< different names, prefixes and bound namespaces; 1000000 */
    size_t m_value_limit;         /**< longest value of an attribute or entity; 10 MiB */
    size_t m_token_limit;         /**< longest tag, comment, instruction, declaration; 16 MiB */
    size_t m_doctype_limit;       /**< bytes of the document type, external parts included; 16 MiB */
    size_t m_external_limit;      /**< bytes of one external entity, as supplied; 16 MiB */
    size_t m_entity_depth_limit;  /**< nested entities; 40 */
    size_t m_nested_entity_limit; /**< references within entities that are followed; 1000000; may be 0 */
    size_t m_expansion_limit;     /**< bytes that entities may grow to in any document; 8 MiB; may be 0 */
    size_t m_amplification_limit; /**< above that: times the bytes of the document so far; 100; may be 0 */
    ombrel_xml_loader_t m_loader; /**< null: external entities are skipped */
    void* m_loader_context;       /**< handed to it */
} ombrel_xml_options_t;

/** @name Why a document was refused
 * @{ */
#define def_ombrel_xml_fault_none 0        /**< nothing was */
#define def_ombrel_xml_fault_syntax 1      /**< something else was expected here */
#define def_ombrel_xml_fault_empty 2       /**< there is no element */
#define def_ombrel_xml_fault_incomplete 3  /**< the document ends within a token, an element or a section */
#define def_ombrel_xml_fault_after_end 4   /**< something other than comments after the root element */
#define def_ombrel_xml_fault_before_root 5 /**< text before the root element */
#define def_ombrel_xml_fault_character 6   /**< a character that XML does not allow */
#define def_ombrel_xml_fault_bytes 7       /**< bytes that are not valid in the encoding */
#define def_ombrel_xml_fault_encoding 8    /**< an encoding that is not known */
#define def_ombrel_xml_fault_other_encoding                                                                  \
    9 /**< the declared encoding is not the one that the bytes have                                          \
       */
#define def_ombrel_xml_fault_declaration                                                                     \
    10                                   /**< the XML or text declaration is wrong, or not at the beginning */
#define def_ombrel_xml_fault_name 11     /**< a name was expected */
#define def_ombrel_xml_fault_tag 12      /**< a malformed tag */
#define def_ombrel_xml_fault_mismatch 13 /**< the end tag does not have the name of the element */
#define def_ombrel_xml_fault_two_attributes 14 /**< an attribute is there twice */
#define def_ombrel_xml_fault_value 15          /**< a value without quotation marks, or with "<" */
#define def_ombrel_xml_fault_space 16          /**< white space is missing */
#define def_ombrel_xml_fault_comment 17        /**< "--" within a comment */
#define def_ombrel_xml_fault_instruction 18    /**< a processing instruction without a proper target */
#define def_ombrel_xml_fault_section_end 19    /**< "]]>" in text */
#define def_ombrel_xml_fault_reference 20      /**< "&" that begins no reference */
#define def_ombrel_xml_fault_number 21         /**< a reference by number to what is no character of XML */
#define def_ombrel_xml_fault_undeclared 22     /**< an entity that is not declared */
#define def_ombrel_xml_fault_recursion 23      /**< an entity within itself */
#define def_ombrel_xml_fault_unparsed 24       /**< a reference to an unparsed entity */
#define def_ombrel_xml_fault_external_value 25 /**< an external entity in the value of an attribute */
#define def_ombrel_xml_fault_entity_part                                                                     \
    26 /**< an element or declaration begins and ends in different entities */
#define def_ombrel_xml_fault_doctype 27 /**< a document type where none may be, or a wrong one */
#define def_ombrel_xml_fault_markup 28  /**< a malformed declaration */
#define def_ombrel_xml_fault_parameter                                                                       \
    29 /**< a parameter entity within a declaration of the internal subset */
#define def_ombrel_xml_fault_section                                                                         \
    30 /**< a conditional section that is wrong, or not in an external part */
#define def_ombrel_xml_fault_public_id 31       /**< a character that public identifiers may not have */
#define def_ombrel_xml_fault_no_doctype 32      /**< a document type, which the options refuse */
#define def_ombrel_xml_fault_colon 33           /**< a colon where namespaces allow none */
#define def_ombrel_xml_fault_prefix 34          /**< a prefix that is not bound */
#define def_ombrel_xml_fault_reserved 35        /**< xml, xmlns or their namespaces bound to something else */
#define def_ombrel_xml_fault_unbound 36         /**< a prefix bound to nothing */
#define def_ombrel_xml_fault_deep 37            /**< nested elements above the limit */
#define def_ombrel_xml_fault_many_attributes 38 /**< attributes above the limit */
#define def_ombrel_xml_fault_long_name 39       /**< a name above the limit */
#define def_ombrel_xml_fault_many_names 40      /**< names above the limit */
#define def_ombrel_xml_fault_long_value 41      /**< a value above the limit */
#define def_ombrel_xml_fault_long_token                                                                      \
    42 /**< a tag, comment, instruction or declaration above the limit                                       \
        */
#define def_ombrel_xml_fault_large_doctype 43  /**< the document type is above the limit */
#define def_ombrel_xml_fault_large_external 44 /**< an external entity is above the limit */
#define def_ombrel_xml_fault_deep_entities 45  /**< nested entities above the limit */
#define def_ombrel_xml_fault_expansion 46      /**< entities grow above the limit */
#define def_ombrel_xml_fault_large_document 47 /**< the document is above the limit */
#define def_ombrel_xml_fault_no_memory 48      /**< memory ran out */
#define def_ombrel_xml_fault_broken_off 49     /**< a handler or loader ended it */
/** @} */

/** A place in a document. */
typedef struct ombrel_xml_position_ts {
    int64_t m_line;   /**< from 1 */
    int64_t m_column; /**< from 1, in characters */
    int64_t m_offset; /**< bytes before it, as pushed: in the document's own encoding */
} ombrel_xml_position_t;

#define def_ombrel_xml_fault_text_size 160 /**< bytes of the text in a fault, the zero after it included */

/** Why and where a document was refused. */
typedef struct ombrel_xml_fault_ts {
    int m_reason;     /**< def_ombrel_xml_fault_* */
    int64_t m_line;   /**< from 1 */
    int64_t m_column; /**< from 1, in characters */
    int64_t m_offset; /**< bytes before it, as pushed or supplied */
    /** The external entity in which that place is: its system identifier, in the parser; null for the
     * document. What is wrong in an internal entity is reported at the reference to it. Null after functions
     * that parse a whole document. */
    const char* m_system_id;
    const char* m_base; /**< its base: what the loader set, else m_system_id again; null as that is */
    /** The reason in words for people, with the name that it is about: "the end tag does not match <b>". In
     * UTF-8, one line; a long name is cut. */
    char m_text[def_ombrel_xml_fault_text_size];
} ombrel_xml_fault_t;

/**
 * @brief Fills settings with their defaults.
 * @param options the settings
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_xml_options(ombrel_xml_options_t* options);

/**
 * @brief A parser for one document.
 * @param options  the settings, copied with their texts; null for the defaults
 * @param handler  takes the events; null when the document is only to be checked
 * @param context  handed to it
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the parser, closed by ombrel_close_xml_parser(); null with invalid (unknown flags, a limit of 0),
 *         not_supported (no such encoding) or no_memory
 */
OMBREL_API ombrel_xml_parser_t* ombrel_open_xml_parser_tag(const ombrel_xml_options_t* options,
                                                           ombrel_xml_handler_t handler, void* context,
                                                           const char* function, unsigned long line);
/** ombrel_open_xml_parser_tag() with the caller's own name and line. */
#define ombrel_open_xml_parser(options, handler, context)                                                    \
    ombrel_open_xml_parser_tag((options), (handler), (context), __func__, __LINE__)

/**
 * @brief Frees a parser.
 * @param parser the parser, or null
 * @return 0
 */
OMBREL_API int ombrel_close_xml_parser(ombrel_xml_parser_t* parser);

/**
 * @brief Resets a parser for another document. Settings and handler stay.
 * @param parser the parser
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_xml_parser_reset(ombrel_xml_parser_t* parser);

/**
 * @brief Parses the next piece of the document.
 * @param parser the parser
 * @param data   the piece; may be null when `size` is 0
 * @param size   its bytes
 * @return 0; -1 when the document is refused, also at every later call, and for null arguments; else what the
 * handler or loader returned to end it
 */
OMBREL_API int ombrel_xml_parser_push(ombrel_xml_parser_t* parser, const void* data, size_t size);

/**
 * @brief Says that the document is complete. Some of the last events may come only now.
 * @param parser the parser; afterwards it takes nothing more until it is reset
 * @return as ombrel_xml_parser_push()
 */
OMBREL_API int ombrel_xml_parser_end(ombrel_xml_parser_t* parser);

/**
 * @brief Parses a document that lies in memory.
 * @param data    the document
 * @param size    its bytes
 * @param options the settings; null for the defaults
 * @param handler takes the events; null when the document is only to be checked
 * @param context handed to it
 * @param fault   receives why and where the document was refused, or that nothing was; may be null
 * @return as ombrel_xml_parser_push()
 */
OMBREL_API int ombrel_parse_xml(const void* data, size_t size, const ombrel_xml_options_t* options,
                                ombrel_xml_handler_t handler, void* context, ombrel_xml_fault_t* fault);

/**
 * @brief Gives bytes of the external entity that is being read; only a loader may call it.
 * @param parser the parser
 * @param data   the bytes, copied
 * @param size   how many
 * @return 0; -1 with invalid outside a loader and for null arguments, too_large above the option's limit,
 *         no_memory; the entity is then refused, whatever the loader returns
 */
OMBREL_API int ombrel_xml_parser_supply(ombrel_xml_parser_t* parser, const void* data, size_t size);

/**
 * @brief Sets the base of identifiers that are declared within the external entity that is being read; only a
 * loader may call it. Without it the base is the entity's system identifier.
 * @param parser the parser
 * @param base   the base, copied
 * @return 0; -1 with invalid outside a loader and for null arguments, no_memory
 */
OMBREL_API int ombrel_xml_parser_set_base(ombrel_xml_parser_t* parser, const char* base);

/**
 * @brief Tells the encoding of the external entity that is being read, if a protocol has told it; only a
 * loader may call it.
 * @param parser   the parser
 * @param encoding its name
 * @return 0; -1 with invalid outside a loader and for null arguments, not_supported when it is not known
 */
OMBREL_API int ombrel_xml_parser_set_encoding(ombrel_xml_parser_t* parser, const char* encoding);

/**
 * @brief Where the event that a handler is called with begins; between calls, where parsing will continue.
 *
 * Within an entity it is the place of the reference in the document. Asking at every event costs one pass
 * over the bytes in between.
 * @param parser   the parser
 * @param position receives the place
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_xml_parser_get_position(ombrel_xml_parser_t* parser, ombrel_xml_position_t* position);

/**
 * @brief How many elements are open.
 * @param parser the parser
 * @return the depth; 0 outside the root element; -1 for null
 */
OMBREL_API int64_t ombrel_xml_parser_get_depth(const ombrel_xml_parser_t* parser);

/**
 * @brief The encoding in which the document is read: the charset's own name, "UTF-8".
 * @param parser the parser
 * @return a static text; null for null and while it is not known yet
 */
OMBREL_API const char* ombrel_xml_parser_get_encoding(const ombrel_xml_parser_t* parser);

/**
 * @brief Why and where a document was refused.
 * @param parser the parser
 * @return a record in the parser, with the reason none while nothing was refused; null for null
 */
OMBREL_API const ombrel_xml_fault_t* ombrel_xml_parser_get_fault(const ombrel_xml_parser_t* parser);

/**
 * @brief A reason in words for people, without a name: "the end tag does not match its element".
 * @param reason def_ombrel_xml_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_xml_fault_text(int reason);

/**
 * @brief Whether a text is a Name of XML. Namespaces allow fewer names: "a:b:c" is a Name, but see
 * `is_qualified`.
 * @param text         the text, UTF-8
 * @param size         its bytes
 * @param is_qualified not 0: it must also be a name of Namespaces: one colon at most, and that inside
 * @return 1 or 0
 */
OMBREL_API int ombrel_is_xml_name(const char* text, size_t size, int is_qualified);

OMBREL_END_C

#endif
