/**
 * @file xml_writer.h
 * @brief XML documents written piece by piece, into a buffer chain or a function of the caller's.
 *
 * What comes out is well-formed and namespace-well-formed, or the writer refuses to go on: it never writes
 * what ombrel_open_xml_parser() would not read. Characters that mean something to XML are escaped; names,
 * prefixes and characters are checked; namespaces are declared where they are needed.
 *
 * The first failure stays: later calls fail with it, and so does ombrel_xml_writer_finish(). So a document
 * is written without a look at each result and checked at its end:
 *
 * @code
 * static int write_note(ombrel_buffer_t* buffer)
 * {
 *     ombrel_xml_writer_options_t options;
 *     ombrel_init_xml_writer_options(&options);
 *     options.m_form = def_ombrel_xml_form_indented;
 *     ombrel_xml_writer_t* writer = ombrel_open_xml_writer(buffer, &options);
 *     ombrel_xml_writer_declaration(writer, -1);
 *     ombrel_xml_writer_begin(writer, "note");
 *     ombrel_xml_writer_attribute(writer, "to", "Tom & Jerry");
 *     ombrel_xml_writer_element(writer, "heading", "a < b");
 *     ombrel_xml_writer_integer_element(writer, "count", 3);
 *     ombrel_xml_writer_end(writer);
 *     const int result = ombrel_xml_writer_finish(writer);
 *     if (result != 0)
 *         ombrel_error_printf("%s\n", ombrel_xml_writer_fault_text(ombrel_xml_writer_get_reason(writer)));
 *     ombrel_close_xml_writer(writer);
 *     return result;
 * }
 * @endcode
 *
 * **Texts** are UTF-8. Where a function takes a size the text need not be terminated and may not hold zero
 * bytes; a null text counts as empty. CR is kept in text and values, where it becomes a reference; in
 * comments and instructions a reader takes it for a line end, as the standard has it.
 *
 * **Namespaces.** A name may have a prefix, "svg:path". Functions that take a namespace's name find or make
 * the prefix: the one that is written in the name where it is free, else another that is bound to the
 * namespace, else a new one, "ns1". Without a namespace's name a prefix must be bound where the start tag
 * ends: by the element itself, as the attribute "xmlns:svg", or by one around it.
 *
 * **Forms.** Plain writes what it is given and adds no white space. Indented puts each element, comment
 * and instruction on a line of its own, but never within an element that has text: its content is written
 * as it is. As the writer cannot look ahead, the first thing within an element decides; text that comes to
 * an element whose children are on lines of their own already is refused, unless
 * ombrel_xml_writer_keep_space() announced it. Within xml:space="preserve" nothing is indented. Canonical is
 * the first canonical form of the W3C's conformance suite: UTF-8, no declaration, no document type, no
 * comments, attributes sorted by the code points of their names, start and end tags for empty elements, CDATA
 * as text, tab, LF and CR as references.
 *
 * **Limits.** A writer holds the names of the open elements, what they declare, the names of the attributes
 * of a start tag (in the canonical form their values too), and up to 4 KiB of output.
 *
 * **Threads.** A writer belongs to one thread at a time.
 *
 * **Errors.** A refusal has a reason (`def_ombrel_xml_writer_fault_*`). ombrel_last_fault() is violation for
 * what would not be XML, invalid for null arguments, too_large for the limit, not_supported for an unknown
 * encoding, no_memory.
 */
#ifndef OMBREL_XML_WRITER_H
#define OMBREL_XML_WRITER_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** A writer; opaque. */
typedef struct ombrel_xml_writer_ts ombrel_xml_writer_t;

/**
 * Takes bytes of the document, in order.
 * @param data    the bytes, until the return
 * @param size    their number, at least 1
 * @param context the caller's
 * @return 0 to go on; anything else ends the call, which returns it, and the writer has failed
 */
typedef int (*ombrel_xml_writer_handler_t)(const void* data, size_t size, void* context);

/** @name Forms
 * @{ */
#define def_ombrel_xml_form_plain 0 /**< what it is given, and nothing else */
#define def_ombrel_xml_form_indented                                                                         \
    1                                   /**< children of elements without text have own lines                \
                                         */
#define def_ombrel_xml_form_canonical 2 /**< the first canonical form */
/** @} */

/** @name Flags of a writer
 * @{ */
/** Names may have colons anywhere, and namespaces are not looked at: the document need only be well-formed.
 */
#define def_ombrel_xml_writer_no_namespaces 0x1u
/** The document may have any number of elements, and text, at its top: it is a part of another one. It gets
 * no document type. */
#define def_ombrel_xml_writer_fragment 0x2u
/** @} */

/** Settings of a writer. */
typedef struct ombrel_xml_writer_options_ts {
    uint32_t m_flags;      /**< def_ombrel_xml_writer_*; 0 */
    int m_form;            /**< def_ombrel_xml_form_*; plain */
    int m_indent;          /**< spaces for each level of the indented form, 0 to 64; 2 */
    size_t m_depth_limit;  /**< nested elements, at least 1; 100 million */
    const char* m_charset; /**< the encoding; null, the default, for UTF-8. In others, characters that they
                              lack become references where references are allowed */
    ombrel_xml_writer_handler_t m_handler; /**< takes the bytes where there is no buffer chain; null */
    void* m_context;                       /**< handed to it */
} ombrel_xml_writer_options_t;

/** @name Why a writer refused
 * @{ */
#define def_ombrel_xml_writer_fault_none 0      /**< it has not */
#define def_ombrel_xml_writer_fault_argument 1  /**< null, or a number out of its range */
#define def_ombrel_xml_writer_fault_name 2      /**< not a name of XML, or the target "xml" */
#define def_ombrel_xml_writer_fault_character 3 /**< not UTF-8, or a character that XML does not allow */
#define def_ombrel_xml_writer_fault_encoding                                                                 \
    4 /**< a character that the encoding lacks, where no reference may be */
#define def_ombrel_xml_writer_fault_comment 5     /**< "--" in a comment, or "-" at its end */
#define def_ombrel_xml_writer_fault_instruction 6 /**< "?>" in an instruction */
#define def_ombrel_xml_writer_fault_doctype 7     /**< a document type that a parser would refuse */
#define def_ombrel_xml_writer_fault_attribute 8   /**< an attribute that the element has already */
#define def_ombrel_xml_writer_fault_prefix 9      /**< a prefix that is not bound, or may not be bound so */
#define def_ombrel_xml_writer_fault_order 10      /**< something where it may not stand */
#define def_ombrel_xml_writer_fault_root 11       /**< a second element at the top, or none at the end */
#define def_ombrel_xml_writer_fault_open 12       /**< elements that are open at the end */
#define def_ombrel_xml_writer_fault_end 13        /**< an end without an open element, or with another name */
#define def_ombrel_xml_writer_fault_mixed 14      /**< text among children that were indented */
#define def_ombrel_xml_writer_fault_deep 15       /**< more nested elements than the limit */
#define def_ombrel_xml_writer_fault_output 16 /**< the handler or the buffer chain did not take the bytes */
#define def_ombrel_xml_writer_fault_no_memory 17 /**< memory ran out */
/** @} */

/**
 * @brief Fills settings with their defaults.
 * @param options the settings
 * @return 0; -1 for null
 */
OMBREL_API int ombrel_init_xml_writer_options(ombrel_xml_writer_options_t* options);

/**
 * @brief A writer for one document.
 * @param buffer   the chain at whose end the document is queued; null for the handler of the options
 * @param options  the settings, copied; null for the defaults
 * @param function the function for whom the memory is accounted, kept by address
 * @param line     its source line
 * @return the writer, closed by ombrel_close_xml_writer(); null with invalid (neither a chain nor a handler,
 *         or both; unknown flags or form; numbers out of their range; an encoding other than UTF-8 for the
 *         canonical form), not_supported (no such encoding) or no_memory
 */
OMBREL_API ombrel_xml_writer_t* ombrel_open_xml_writer_tag(ombrel_buffer_t* buffer,
                                                           const ombrel_xml_writer_options_t* options,
                                                           const char* function, unsigned long line);
/** ombrel_open_xml_writer_tag() with the caller's own name and line. */
#define ombrel_open_xml_writer(buffer, options)                                                              \
    ombrel_open_xml_writer_tag((buffer), (options), __func__, __LINE__)

/**
 * @brief Frees a writer. It finishes nothing: what was not handed on by then is dropped.
 * @param writer the writer, or null
 * @return 0
 */
OMBREL_API int ombrel_close_xml_writer(ombrel_xml_writer_t* writer);

/**
 * @brief Hands on everything that was written so far, in the middle of a document.
 * @param writer the writer
 * @return 0; -1, or what the handler returned
 */
OMBREL_API int ombrel_xml_writer_flush(ombrel_xml_writer_t* writer);

/**
 * @brief Ends the document: checks that it is whole and hands on what is left. Nothing may follow.
 * @param writer the writer
 * @return 0; -1 when a call has failed, when there was no element or one is open (with the flag of a
 *         fragment only the latter), or what the handler returned
 */
OMBREL_API int ombrel_xml_writer_finish(ombrel_xml_writer_t* writer);

/**
 * @brief Writes the XML declaration, with the encoding.
 * @param writer     the writer, which has written nothing yet
 * @param standalone 1 for standalone="yes", 0 for "no", -1 for neither
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_declaration(ombrel_xml_writer_t* writer, int standalone);

/**
 * @brief Writes a document type: what stands between "<!DOCTYPE" and ">".
 *
 * A parser checks it first.
 * @param writer the writer, before the root element
 * @param text   "note SYSTEM \"note.dtd\" [<!ENTITY a 'b'>]"
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_doctype(ombrel_xml_writer_t* writer, const char* text);

/**
 * @brief Begins an element.
 * @param writer the writer
 * @param name   its name
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_begin(ombrel_xml_writer_t* writer, const char* name);

/**
 * @brief Begins an element of a namespace.
 * @param writer    the writer
 * @param uri       the namespace's name; null or "" for none
 * @param name      its name; a prefix in it is only a suggestion
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_begin_in(ombrel_xml_writer_t* writer, const char* uri, const char* name);

/**
 * @brief Says that the open element has text among its children, so that the indented form adds nothing
 * within it.
 * @param writer the writer, after the beginning of an element or its attributes
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_keep_space(ombrel_xml_writer_t* writer);

/**
 * @brief Writes an attribute of the element that was begun.
 * @param writer the writer, after the beginning of an element or another attribute
 * @param name   its name; "xmlns" and "xmlns:PREFIX" declare namespaces
 * @param value  its value
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_attribute(ombrel_xml_writer_t* writer, const char* name, const char* value);

/**
 * @brief Writes an attribute of a namespace.
 * @param writer the writer
 * @param uri    the namespace's name; null or "" for none
 * @param name   its name; a prefix in it is only a suggestion
 * @param value  its value
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_attribute_in(ombrel_xml_writer_t* writer, const char* uri, const char* name,
                                              const char* value);

/** @brief Writes an attribute whose value is a whole number. @return 0; -1 */
OMBREL_API int ombrel_xml_writer_integer_attribute(ombrel_xml_writer_t* writer, const char* name,
                                                   int64_t value);

/**
 * @brief Declares a namespace at the element that was begun. Only needed where values contain prefixes, or to
 * declare it once for many elements.
 * @param writer the writer, after the beginning of an element or its attributes
 * @param prefix the prefix; null or "" for the default
 * @param uri    the namespace's name; "" is allowed only for the default namespace, and ends it
 * @return 0, also when an element around it has the same declaration, and nothing is written; -1
 */
OMBREL_API int ombrel_xml_writer_namespace(ombrel_xml_writer_t* writer, const char* prefix, const char* uri);

/**
 * @brief Writes text within an element, in any number of pieces.
 * @param writer the writer
 * @param text   the text
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_text(ombrel_xml_writer_t* writer, const char* text);

/** @brief ombrel_xml_writer_text() with `size` bytes, which must be whole characters. @return 0; -1 */
OMBREL_API int ombrel_xml_writer_sized_text(ombrel_xml_writer_t* writer, const char* text, size_t size);

/**
 * @brief Writes a text made by the library's formatter.
 * @param writer the writer
 * @param format as for ombrel_snprintf()
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_printf(ombrel_xml_writer_t* writer, const char* format, ...)
    OMBREL_PRINTF_LIKE(2, 3);

/**
 * @brief Writes a CDATA section within an element. Where the text has "]]>" it becomes two sections; in the
 * canonical form it is written as text.
 * @param writer the writer
 * @param text   the text
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_cdata(ombrel_xml_writer_t* writer, const char* text);

/** @brief ombrel_xml_writer_cdata() with `size` bytes. @return 0; -1 */
OMBREL_API int ombrel_xml_writer_sized_cdata(ombrel_xml_writer_t* writer, const char* text, size_t size);

/**
 * @brief Writes a comment; in the canonical form it is left out.
 * @param writer the writer
 * @param text   the text, without "--" and without "-" at its end
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_comment(ombrel_xml_writer_t* writer, const char* text);

/**
 * @brief Writes a processing instruction.
 * @param writer the writer
 * @param target its name, which is not "xml" in upper or lower case
 * @param data   the rest, without "?>" and without white space at its beginning, which would be lost; null
 *               for none
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_instruction(ombrel_xml_writer_t* writer, const char* target,
                                             const char* data);

/** @brief Ends the element that was begun last. @return 0; -1 */
OMBREL_API int ombrel_xml_writer_end(ombrel_xml_writer_t* writer);

/**
 * @brief Writes an element that holds nothing but text.
 * @param writer the writer
 * @param name   its name
 * @param text   the text; null for an empty element
 * @return 0; -1
 */
OMBREL_API int ombrel_xml_writer_element(ombrel_xml_writer_t* writer, const char* name, const char* text);

/** @brief Writes an element that holds a whole number. @return 0; -1 */
OMBREL_API int ombrel_xml_writer_integer_element(ombrel_xml_writer_t* writer, const char* name,
                                                 int64_t value);

/** @brief How many elements are open. @return the depth; -1 for null */
OMBREL_API int64_t ombrel_xml_writer_get_depth(const ombrel_xml_writer_t* writer);

/** @brief The bytes written so far. @return their number; -1 when a call has failed, with its fault */
OMBREL_API int64_t ombrel_xml_writer_get_size(const ombrel_xml_writer_t* writer);

/** @brief Why the writer refused. @return def_ombrel_xml_writer_fault_*; -1 for null */
OMBREL_API int ombrel_xml_writer_get_reason(const ombrel_xml_writer_t* writer);

/**
 * @brief A reason in words for people: "an attribute that the element has already".
 * @param reason def_ombrel_xml_writer_fault_*
 * @return a static text; "unknown" for another number
 */
OMBREL_API const char* ombrel_xml_writer_fault_text(int reason);

OMBREL_END_C

#endif
