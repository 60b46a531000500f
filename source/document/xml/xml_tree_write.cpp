// Trees written. Nothing here recurses.
#include <ombrel/file.h>
#include <ombrel/xml_tree.h>

#include "core/fault.h"
#include "document/xml/namespace_scope.h"
#include "document/xml/xml_tree_record.h"
#include "document/xml/xml_writing.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

class node_writer {
public:
    node_writer(const node& top, xml_writing& to)
        : top_(top), to_(to), with_namespaces_(node_store::tree_of(top)->with_namespaces),
          skips_defaults_(top.m_kind == document_node && !to.is_canonical() && has_defaults(top)) {}

    int write();

private:
    static bool has_defaults(const node& document);
    int begin(const node& one);
    int begin_element(const node& element);
    int put_attribute(const node& one);
    int announce(const node& element);
    bool skips(const node& attribute) const {
        return skips_defaults_ && (attribute.m_flags & default_attribute) != 0;
    }
    bool is_replaced_space(const node& one) const;
    int end_to(const node* one);

    const node& top_;
    xml_writing& to_;
    bool with_namespaces_;
    bool skips_defaults_; ///< as the document type that is written has them
};

bool node_writer::has_defaults(const node& document) {
    const node* one = document.m_child;
    while (one != nullptr && (one->m_flags & defaults_source) == 0)
        one = one->m_next;
    return one != nullptr;
}

/// Whether an element has text that would be another with white space beside it.
bool has_own_text(const node& element) {
    bool has_other = false;
    for (const node* one = element.m_child; one != nullptr; one = one->m_next) {
        if (one->m_kind == cdata_node || (one->m_kind == text_node && !is_white(text_of(*one))))
            return true;
        has_other = has_other || one->m_kind != text_node;
    }
    return !has_other && element.m_child != nullptr;
}

/// Whether it is white space between children that get lines of their own.
bool node_writer::is_replaced_space(const node& one) const {
    return to_.is_indented() && one.m_kind == text_node && one.m_parent->m_kind == element_node &&
           &one != &top_ && !to_.keeps_space();
}

/// Says what the element will declare, so that its own name can use it.
int node_writer::announce(const node& element) {
    for (const node* one = element.m_attribute; one != nullptr; one = one->m_next) {
        std::string_view prefix;
        if (one->m_name->uri_text() != xmlns_uri || !is_declaration(one->m_name->full, prefix))
            continue;
        if (const int result = to_.announce(prefix, text_of(*one)); result != 0)
            return result;
    }
    return 0;
}

int node_writer::put_attribute(const node& one) {
    const node_name& name = *one.m_name;
    return with_namespaces_ ? to_.attribute_in(name.uri_text(), name.full, text_of(one))
                            : to_.attribute(name.full, text_of(one));
}

int node_writer::begin_element(const node& element) {
    int result = with_namespaces_ && to_.with_namespaces() ? announce(element) : 0;
    if (result == 0)
        result = with_namespaces_ ? to_.begin_in(element.m_name->uri_text(), element.m_name->full)
                                  : to_.begin(element.m_name->full);
    for (const node* one = element.m_attribute; one != nullptr && result == 0; one = one->m_next)
        result = skips(*one) ? 0 : put_attribute(*one);
    return result == 0 && to_.is_indented() && has_own_text(element) ? to_.keep_space() : result;
}

int node_writer::begin(const node& one) {
    switch (one.m_kind) {
    case element_node:
        return begin_element(one);
    case text_node:
        return is_replaced_space(one) ? 0 : to_.text(text_of(one));
    case cdata_node:
        return to_.cdata(text_of(one));
    case comment_node:
        return to_.comment(text_of(one));
    case instruction_node:
        return to_.instruction(one.m_name->full, text_of(one));
    case doctype_node:
        return to_.doctype(one.m_name->full, text_of(one));
    default:
        return 0;
    }
}

int node_writer::write() {
    const node* one = &top_;
    int result = begin(*one);
    while (result == 0) {
        if (has_children(*one) && one->m_child != nullptr) {
            one = one->m_child;
        } else {
            // Elements end where nothing more is in them.
            while (result == 0) {
                if (one->m_kind == element_node)
                    result = to_.end();
                if (one == &top_ || result != 0)
                    return result;
                if (one->m_next != nullptr)
                    break;
                one = one->m_parent;
            }
            one = one->m_next;
        }
        result = begin(*one);
    }
    return result;
}

int write_document(const tree& whole, xml_writing& to) {
    int result = whole.standalone != -2 ? to.declaration(whole.standalone) : 0;
    result = result == 0 ? node_writer(*whole.document, to).write() : result;
    return result == 0 ? to.finish() : result;
}

int put_in_file(const void* data, size_t size, void* context) {
    return ombrel_file_write_all(*static_cast<const int*>(context), data, size);
}

} // namespace

int ombrel_xml_node_write(const ombrel_xml_node_t* node, ombrel_xml_writer_t* writer) {
    if (node == nullptr || writer == nullptr || node->m_kind == attribute_node)
        return leave_fault(fault_code::invalid), -1;
    return node_writer(*node, writer->writing).write();
}

int ombrel_xml_tree_write(const ombrel_xml_tree_t* tree, ombrel_buffer_t* buffer,
                          const ombrel_xml_writer_options_t* options) {
    if (tree == nullptr)
        return leave_fault(fault_code::invalid), -1;
    ombrel_xml_writer_options_t chosen;
    ombrel_init_xml_writer_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (!tree->with_namespaces)
        chosen.m_flags |= def_ombrel_xml_writer_no_namespaces;
    const call_site& giver = tree->store.giver();
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer_tag(buffer, &chosen, giver.tag, giver.line);
    if (writer == nullptr)
        return -1;
    const int result = write_document(*tree, writer->writing);
    const fault_keeper keeper;
    ombrel_close_xml_writer(writer);
    return result;
}

int ombrel_xml_tree_store(const ombrel_xml_tree_t* tree, const char* path,
                          const ombrel_xml_writer_options_t* options) {
    if (tree == nullptr || path == nullptr || (options != nullptr && options->m_handler != nullptr))
        return leave_fault(fault_code::invalid), -1;
    ombrel_xml_writer_options_t chosen;
    ombrel_init_xml_writer_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    const call_site& giver = tree->store.giver();
    ombrel_file_store_t* const store = ombrel_open_file_store_tag(path, 0, 0666, giver.tag, giver.line);
    if (store == nullptr)
        return -1;
    int file = ombrel_file_store_get_descriptor(store);
    chosen.m_handler = put_in_file;
    chosen.m_context = &file;
    int result = ombrel_xml_tree_write(tree, nullptr, &chosen);
    result = result == 0 ? ombrel_file_store_commit(store) : result;
    const fault_keeper keeper;
    ombrel_close_file_store(store);
    return result;
}
