// Trees as a whole, and looking at nodes.
#include <ombrel/xml_tree.h>

#include <new>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "document/xml/xml_tree_record.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

using tree_t = ombrel_xml_tree_t;
using node_t = ombrel_xml_node_t;

constexpr size_t default_memory_limit =
    static_cast<size_t>(sizeof(size_t) > 4 ? uint64_t{8} << 30 : uint64_t{1} << 30);

constexpr uint32_t known_flags = def_ombrel_xml_tree_drop_comments | def_ombrel_xml_tree_drop_instructions |
                                 def_ombrel_xml_tree_drop_space | def_ombrel_xml_tree_merge_cdata;

int refuse_null() {
    leave_fault(fault_code::invalid);
    return -1;
}

node_t* step(const node_t* one, node_t* node_t::*way) {
    return one != nullptr ? one->*way : nullptr;
}

/// The first of these siblings that is an element and fits.
template<typename Fits>
node_t* find_element(node_t* one, Fits fits) {
    while (one != nullptr && !(one->m_kind == element_node && fits(*one->m_name)))
        one = one->m_next;
    return one;
}

node_t* find_named(node_t* one, const char* name) {
    return find_element(one, [=](const node_name& of) { return name == nullptr || of.full == name; });
}

node_t* find_named_in(node_t* one, const char* uri, const char* local) {
    if (uri == nullptr)
        return refuse_null(), nullptr;
    return find_element(one, [=](const node_name& of) {
        return of.uri_text() == uri && (local == nullptr || of.local == local);
    });
}

const char* part(const node_t* one, std::string_view node_name::*which) {
    if (one == nullptr)
        return nullptr;
    return one->m_name != nullptr ? (one->m_name->*which).data() : "";
}

} // namespace

int ombrel_init_xml_tree_options(ombrel_xml_tree_options_t* options) {
    if (options == nullptr)
        return refuse_null();
    *options = {0, default_memory_limit, nullptr};
    return 0;
}

ombrel_xml_tree_t* ombrel_open_xml_tree_tag(const ombrel_xml_tree_options_t* options, const char* function,
                                            unsigned long line) {
    ombrel_xml_tree_options_t chosen;
    ombrel_init_xml_tree_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (chosen.m_flags & ~known_flags)
        return refuse_null(), nullptr;
    void* const room = ombrel_alloc_tag(sizeof(tree_t), function, line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    auto* const made = new (room) tree_t(chosen, {function, line});
    made->document = made->store.take(document_node);
    if (made->document != nullptr)
        return made;
    const fault_keeper keeper;
    ombrel_close_xml_tree(made);
    return nullptr;
}

int ombrel_close_xml_tree(ombrel_xml_tree_t* tree) {
    if (tree == nullptr)
        return 0;
    close_reader(*tree);
    tree->~ombrel_xml_tree_ts();
    ombrel_free(tree);
    return 0;
}

ombrel_xml_node_t* ombrel_xml_tree_get_document(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? tree->document : nullptr;
}

ombrel_xml_node_t* ombrel_xml_tree_get_root(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? find_named(tree->document->m_child, nullptr) : nullptr;
}

int64_t ombrel_xml_tree_get_count(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? tree->store.count() : refuse_null();
}

int64_t ombrel_xml_tree_get_memory(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? static_cast<int64_t>(tree->store.memory()) : refuse_null();
}

int64_t ombrel_xml_tree_get_skipped(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? tree->skipped : refuse_null();
}

int ombrel_xml_tree_get_standalone(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? tree->standalone : -2;
}

int ombrel_xml_tree_set_standalone(ombrel_xml_tree_t* tree, int standalone) {
    if (tree == nullptr || standalone < -2 || standalone > 1 || tree->reader != nullptr)
        return refuse_null();
    tree->standalone = standalone;
    return 0;
}

int ombrel_xml_node_get_kind(const ombrel_xml_node_t* node) {
    return node != nullptr ? node->m_kind : 0;
}

ombrel_xml_tree_t* ombrel_xml_node_get_tree(const ombrel_xml_node_t* node) {
    return node != nullptr ? node_store::tree_of(*node) : nullptr;
}

const char* ombrel_xml_node_get_name(const ombrel_xml_node_t* node) {
    return part(node, &node_name::full);
}

const char* ombrel_xml_node_get_local_name(const ombrel_xml_node_t* node) {
    return part(node, &node_name::local);
}

const char* ombrel_xml_node_get_prefix(const ombrel_xml_node_t* node) {
    return part(node, &node_name::prefix);
}

const char* ombrel_xml_node_get_uri(const ombrel_xml_node_t* node) {
    if (node == nullptr)
        return nullptr;
    return node->m_name != nullptr ? node->m_name->uri_text().data() : "";
}

const char* ombrel_xml_node_get_text(const ombrel_xml_node_t* node, size_t* size) {
    if (node == nullptr || !has_text(*node))
        return refuse_null(), nullptr;
    if (size != nullptr)
        *size = node->m_size;
    return node->m_text;
}

int64_t ombrel_xml_node_get_line(const ombrel_xml_node_t* node) {
    return node != nullptr ? node->m_line : 0;
}

int64_t ombrel_xml_node_get_column(const ombrel_xml_node_t* node) {
    return node != nullptr ? node->m_column : 0;
}

int ombrel_xml_node_is_default(const ombrel_xml_node_t* node) {
    return node != nullptr && (node->m_flags & default_attribute) != 0;
}

ombrel_xml_node_t* ombrel_xml_node_get_parent(const ombrel_xml_node_t* node) {
    return step(node, &node_t::m_parent);
}

ombrel_xml_node_t* ombrel_xml_node_get_first_child(const ombrel_xml_node_t* node) {
    return node != nullptr && has_children(*node) ? node->m_child : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_last_child(const ombrel_xml_node_t* node) {
    return last_of(ombrel_xml_node_get_first_child(node));
}

ombrel_xml_node_t* ombrel_xml_node_get_next(const ombrel_xml_node_t* node) {
    return step(node, &node_t::m_next);
}

ombrel_xml_node_t* ombrel_xml_node_get_previous(const ombrel_xml_node_t* node) {
    // What stands before the first one is the last one, behind which there is none.
    node_t* const before = step(node, &node_t::m_previous);
    return before != nullptr && before->m_next != nullptr ? before : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_child(const ombrel_xml_node_t* node, const char* name) {
    return find_named(ombrel_xml_node_get_first_child(node), name);
}

ombrel_xml_node_t* ombrel_xml_node_get_sibling(const ombrel_xml_node_t* node, const char* name) {
    return node != nullptr && node->m_kind != attribute_node ? find_named(node->m_next, name) : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_child_in(const ombrel_xml_node_t* node, const char* uri,
                                                const char* local) {
    return find_named_in(ombrel_xml_node_get_first_child(node), uri, local);
}

ombrel_xml_node_t* ombrel_xml_node_get_sibling_in(const ombrel_xml_node_t* node, const char* uri,
                                                  const char* local) {
    return node != nullptr && node->m_kind != attribute_node ? find_named_in(node->m_next, uri, local)
                                                             : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_following(const ombrel_xml_node_t* node,
                                                 const ombrel_xml_node_t* top) {
    if (node == nullptr || node->m_kind == attribute_node)
        return nullptr;
    return const_cast<node_t*>(following(node, top));
}

ombrel_xml_node_t* ombrel_xml_node_get_first_attribute(const ombrel_xml_node_t* node) {
    return is_element(node) ? node->m_attribute : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_attribute(const ombrel_xml_node_t* node, const char* name) {
    return is_element(node) && name != nullptr ? find_attribute(*node, name) : nullptr;
}

ombrel_xml_node_t* ombrel_xml_node_get_attribute_in(const ombrel_xml_node_t* node, const char* uri,
                                                    const char* local) {
    const bool is_asked = is_element(node) && uri != nullptr && local != nullptr;
    return is_asked ? find_attribute(*node, uri, local) : nullptr;
}

const char* ombrel_xml_node_get_attribute_text(const ombrel_xml_node_t* node, const char* name,
                                               const char* otherwise) {
    const node_t* const found = ombrel_xml_node_get_attribute(node, name);
    return found != nullptr ? found->m_text : otherwise;
}
