// How nodes are bound to one another. Nothing here recurses.
#include <ombrel/heap.h>

#include "core/fault.h"
#include "document/xml/character.h"
#include "document/xml/xml_tree_record.h"

namespace ombrel::document {

namespace {

/// Binds a node into a ring of siblings, of which the first is known.
void link(node*& first, node* before, node& one) {
    if (first == nullptr) {
        first = one.m_previous = &one;
        one.m_next = nullptr;
        return;
    }
    node* const last = first->m_previous;
    one.m_next = before;
    if (before == nullptr) {
        one.m_previous = last;
        last->m_next = first->m_previous = &one;
        return;
    }
    one.m_previous = before->m_previous;
    if (before == first)
        first = &one;
    else
        before->m_previous->m_next = &one;
    before->m_previous = &one;
}

void unlink(node*& first, node& one) {
    if (first == &one) {
        first = one.m_next;
        if (first != nullptr)
            first->m_previous = one.m_previous;
    } else {
        one.m_previous->m_next = one.m_next;
        (one.m_next != nullptr ? one.m_next : first)->m_previous = one.m_previous;
    }
}

/// Frees the attributes of an element.
void free_attributes(tree& whole, node& element) {
    while (node* const first = element.m_attribute) {
        element.m_attribute = first->m_next;
        whole.store.free(*first);
    }
}

} // namespace

void link_child(node& parent, node* before, node& one) {
    link(parent.m_child, before, one);
    one.m_parent = &parent;
}

void link_attribute(node& element, node& one) {
    link(element.m_attribute, nullptr, one);
    one.m_parent = &element;
}

void unlink(node& one) {
    unlink(one.m_kind == attribute_node ? one.m_parent->m_attribute : one.m_parent->m_child, one);
    one.m_parent = one.m_next = one.m_previous = nullptr;
}

void free_all(tree& whole, node* one) {
    node* const top = one;
    while (one != nullptr) {
        while (has_children(*one) && one->m_child != nullptr)
            one = one->m_child;
        node* const next = one == top ? nullptr : one->m_next != nullptr ? one->m_next : one->m_parent;
        if (next != nullptr && next == one->m_parent)
            next->m_child = nullptr; // all of them are gone
        if (one->m_kind == element_node)
            free_attributes(whole, *one);
        whole.store.free(*one);
        one = next;
    }
}

const node* following_outside(const node* one, const node* top) {
    while (one != top && one != nullptr && one->m_next == nullptr)
        one = one->m_parent;
    return one == top || one == nullptr ? nullptr : one->m_next;
}

const node* following(const node* one, const node* top) {
    return has_children(*one) && one->m_child != nullptr ? one->m_child : following_outside(one, top);
}

bool is_white(std::string_view text) {
    for (const char c : text)
        if (!is_space(c))
            return false;
    return true;
}

node* find_attribute(const node& element, std::string_view name) {
    node* one = element.m_attribute;
    while (one != nullptr && one->m_name->full != name)
        one = one->m_next;
    return one;
}

node* find_attribute(const node& element, std::string_view uri, std::string_view local) {
    node* one = element.m_attribute;
    while (one != nullptr && (one->m_name->local != local || one->m_name->uri_text() != uri))
        one = one->m_next;
    return one;
}

const node_name* take_name(tree& whole, std::string_view full, std::string_view uri) {
    const node_name* const name = whole.names.take(full, uri);
    whole.store.set_other_memory(whole.names.memory());
    if (name == nullptr)
        leave_fault(fault_code::no_memory);
    return name;
}

} // namespace ombrel::document
