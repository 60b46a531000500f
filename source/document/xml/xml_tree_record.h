// A tree.
#pragma once

#include "core/heap_ptr.h"
#include "document/xml/name_store.h"
#include "document/xml/node_store.h"

namespace ombrel::document {
class tree_reader;
} // namespace ombrel::document

struct ombrel_xml_tree_ts {
    ombrel_xml_tree_ts(const ombrel_xml_tree_options_t& options, const ombrel::call_site& giver)
        : store(this, options.m_memory_limit, giver), names(giver), flags(options.m_flags) {
        ombrel_init_xml_options(&parser_options);
        if (options.m_parser != nullptr)
            parser_options = *options.m_parser;
        with_namespaces = (parser_options.m_flags & def_ombrel_xml_namespaces) != 0;
    }

    ombrel::document::node_store store;
    ombrel::document::name_store names;
    uint32_t flags;
    bool with_namespaces;
    int standalone = -2;
    int64_t skipped = 0; ///< references that were left out
    ombrel::document::node* document = nullptr;
    ombrel::document::tree_reader* reader = nullptr; ///< while a document is pushed
    bool is_refused = false;                         ///< what was pushed
    ombrel_xml_fault_t fault = {};
    ombrel_xml_options_t parser_options;
};

namespace ombrel::document {

using tree = ombrel_xml_tree_t;

void close_reader(tree& whole);

/// A name of the tree; null after the fault no_memory or too_large was left.
const node_name* take_name(tree& whole, std::string_view full, std::string_view uri);

/// Binds a node that is bound to nothing, before a child or at the end.
void link_child(node& parent, node* before, node& one);
void link_attribute(node& element, node& one);
/// Takes a child or attribute out.
void unlink(node& one);
/// Frees a node that is bound to nothing with all that is in it.
void free_all(tree& whole, node* one);

} // namespace ombrel::document
