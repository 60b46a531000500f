// The records of a tree.
#pragma once

#include <cstdint>
#include <string_view>

#include <ombrel/xml_tree.h>

namespace ombrel::document {

/// A name, or a namespace's name, of which a tree has each one once.
struct node_name {
    std::string_view full; ///< terminated, as the others
    std::string_view prefix;
    std::string_view local;
    const node_name* uri; ///< null for none
    uint64_t hash;
    node_name* next; ///< with the same slot

    std::string_view uri_text() const { return uri != nullptr ? uri->full : std::string_view("", 0); }
};

enum node_kind : uint8_t {
    free_node,
    document_node,
    element_node,
    attribute_node,
    text_node,
    cdata_node,
    comment_node,
    instruction_node,
    doctype_node
};

enum node_flag : uint8_t {
    default_attribute = 1, ///< there by its declaration alone
    owned_text = 2,        ///< in a block of its own
    defaults_source = 4,   ///< the document type as it was read, which gave attributes their defaults
};

} // namespace ombrel::document

struct ombrel_xml_node_ts {
    ombrel_xml_node_t* m_parent;
    ombrel_xml_node_t* m_next;
    ombrel_xml_node_t* m_previous; ///< of the first one: the last, so that it is found
    union {
        ombrel_xml_node_t* m_child; ///< of documents and elements
        const char* m_text;         ///< of others, terminated
    };
    union {
        ombrel_xml_node_t* m_attribute; ///< of elements
        size_t m_size;                  ///< of the text
    };
    const ombrel::document::node_name* m_name; ///< null for kinds without one
    uint32_t m_line, m_column;
    uint8_t m_kind;
    uint8_t m_flags;
    uint16_t m_place; ///< in its block
};

namespace ombrel::document {

using node = ombrel_xml_node_t;

inline bool has_children(const node& one) {
    return one.m_kind == element_node || one.m_kind == document_node;
}
inline bool has_text(const node& one) {
    return !has_children(one);
}
inline std::string_view text_of(const node& one) {
    return {one.m_text, one.m_size};
}
inline bool is_text_like(const node& one) {
    return one.m_kind == text_node || one.m_kind == cdata_node;
}
inline bool is_element(const node* one) {
    return one != nullptr && one->m_kind == element_node;
}
inline node* last_of(node* first) {
    return first != nullptr ? first->m_previous : nullptr;
}
/// The one that follows below `top`, in the document's order.
const node* following(const node* one, const node* top);
/// The same behind all that is in it.
const node* following_outside(const node* one, const node* top);
bool is_white(std::string_view text);

/// The attribute of a name as written, or of a local name in a namespace; null when there is none.
node* find_attribute(const node& element, std::string_view name);
node* find_attribute(const node& element, std::string_view uri, std::string_view local);

} // namespace ombrel::document
