// Changes of trees. Whatever may fail comes before anything that is seen.
#include <ombrel/xml_tree.h>

#include "core/fault.h"
#include "document/xml/namespace_scope.h"
#include "document/xml/xml_tree_record.h"
#include "document/xml/xml_writing.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

node* none(fault_code why) {
    leave_fault(why);
    return nullptr;
}

std::string_view text_or_empty(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

/// The tree of a node if it may be changed; null after the fault invalid was left.
tree* changeable(const node* one) {
    tree* const whole = one != nullptr ? node_store::tree_of(*one) : nullptr;
    if (whole == nullptr || whole->reader != nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    return whole;
}

/// A node that is not bound yet, freed unless it becomes so.
class new_node {
public:
    new_node(tree& whole, node_kind kind) : tree_(whole), node_(whole.store.take(kind)) {}
    new_node(tree& whole, node* made) : tree_(whole), node_(made) {}
    new_node(const new_node&) = delete;
    new_node& operator=(const new_node&) = delete;
    ~new_node() {
        const fault_keeper keeper;
        if (node_ != nullptr)
            free_all(tree_, node_);
    }
    node* get() const { return node_; }
    node* operator->() const { return node_; }
    node& operator*() const { return *node_; }
    explicit operator bool() const { return node_ != nullptr; }
    node* release() { return std::exchange(node_, nullptr); }
    node* bind(node& parent, node* before) {
        link_child(parent, before, *node_);
        return release();
    }
    void bind_attribute(node& element) { link_attribute(element, *release()); }

private:
    tree& tree_;
    node* node_;
};

bool is_name(const tree& whole, std::string_view name) {
    return ombrel_is_xml_name(name.data(), name.size(), whole.with_namespaces) == 1;
}

/// The namespace that a prefix stands for around a node: by the nearest element that has it in its name, or
/// declares it. False after the fault not_found.
bool resolve(const node* around, std::string_view prefix, std::string_view& uri) {
    uri = prefix == "xml" ? xml_uri : prefix == "xmlns" ? xmlns_uri : std::string_view("", 0);
    if (!uri.empty())
        return true;
    for (; is_element(around); around = around->m_parent) {
        for (const node* one = around->m_attribute; one != nullptr; one = one->m_next) {
            std::string_view declared;
            if (one->m_name->uri_text() == xmlns_uri && is_declaration(one->m_name->full, declared) &&
                declared == prefix)
                return uri = text_of(*one), true;
        }
        if (around->m_name->prefix == prefix)
            return uri = around->m_name->uri_text(), true;
    }
    return prefix.empty() || (leave_fault(fault_code::not_found), false);
}

/// A name as users write it, in the namespace that its prefix stands for.
const node_name* resolve_name(tree& whole, const node* around, std::string_view name, bool is_attribute) {
    std::string_view uri("", 0), declared;
    if (!is_name(whole, name))
        return leave_fault(fault_code::violation), nullptr;
    if (!whole.with_namespaces)
        return take_name(whole, name, "");
    if (is_attribute && is_declaration(name, declared))
        return take_name(whole, name, xmlns_uri);
    const std::string_view prefix = prefix_of(name);
    if (!(is_attribute && prefix.empty()) && !resolve(around, prefix, uri))
        return nullptr;
    if (prefix == "xmlns")
        return leave_fault(fault_code::violation), nullptr;
    return take_name(whole, name, uri);
}

/// A name in a namespace that is told.
const node_name* name_in(tree& whole, std::string_view uri, std::string_view name, bool is_attribute) {
    const std::string_view prefix = prefix_of(name);
    if (!whole.with_namespaces || !is_name(whole, name) || !is_xml_text(uri) ||
        (uri.empty() && (!prefix.empty() || (is_attribute && name == "xmlns"))) || uri == xmlns_uri ||
        prefix == "xmlns" || (prefix == "xml" && uri != xml_uri))
        return leave_fault(fault_code::violation), nullptr;
    return take_name(whole, name, uri);
}

bool is_content(int kind, std::string_view text) {
    if (!is_xml_text(text))
        return false;
    switch (kind) {
    case comment_node:
        return !breaks_comment(text);
    case instruction_node:
        return !breaks_instruction(text);
    default:
        return true;
    }
}

bool has_kind(const node* first, int kind, const node* except) {
    while (first != nullptr && (first->m_kind != kind || first == except))
        first = first->m_next;
    return first != nullptr;
}

/// Whether a parent may get a child of a kind there; `moved` is the one that is on its way.
bool may_hold(const node& parent, const node* before, int kind, const node* moved) {
    if (before != nullptr && before->m_parent != &parent)
        return false;
    if (before != nullptr && before->m_kind == attribute_node)
        return false;
    if (parent.m_kind == element_node)
        return kind == element_node || (kind >= text_node && kind <= instruction_node);
    if (parent.m_kind != document_node)
        return false;
    switch (kind) {
    case element_node: // behind the document type
        return !has_kind(parent.m_child, element_node, moved) && !has_kind(before, doctype_node, moved);
    case doctype_node: { // before the element
        const node* element = parent.m_child;
        while (element != nullptr && element->m_kind != element_node)
            element = element->m_next;
        const bool is_before =
            element == nullptr || (before != nullptr && has_kind(before, element_node, nullptr));
        return is_before && !has_kind(parent.m_child, doctype_node, moved);
    }
    default:
        return kind == comment_node || kind == instruction_node;
    }
}

bool set_named(tree& whole, node& made, const node* around, int kind, const char* name) {
    const bool has_name = kind == element_node || kind == instruction_node || kind == doctype_node;
    if (has_name != (name != nullptr))
        return leave_fault(fault_code::invalid), false;
    if (kind == element_node)
        made.m_name = resolve_name(whole, around, name, false);
    else if (has_name && kind == instruction_node && !is_target(name, whole.with_namespaces))
        leave_fault(fault_code::violation);
    else if (has_name)
        made.m_name = take_name(whole, name, "");
    return !has_name || made.m_name != nullptr;
}

/// Gives a new node its text; an element a node for it.
bool set_first_text(tree& whole, node& made, std::string_view text) {
    if (!is_content(made.m_kind, text))
        return leave_fault(fault_code::violation), false;
    if (made.m_kind == doctype_node && !is_doctype(made.m_name->full, text, whole.with_namespaces))
        return false;
    if (made.m_kind != element_node)
        return text.empty() || whole.store.replace(made, text);
    if (text.empty())
        return true;
    new_node inner(whole, text_node);
    return inner && whole.store.replace(*inner, text) && inner.bind(made, nullptr) != nullptr;
}

bool is_within(const node* one, const node& top) {
    while (one != nullptr && one != &top)
        one = one->m_parent;
    return one != nullptr;
}

/// A node like another one, with its attributes and without children, not bound; null.
node* copy_one(tree& whole, const node& from) {
    new_node made(whole, static_cast<node_kind>(from.m_kind));
    if (!made)
        return nullptr;
    if (from.m_name != nullptr) {
        made->m_name = take_name(whole, from.m_name->full, from.m_name->uri_text());
        if (made->m_name == nullptr)
            return nullptr;
    }
    if (has_text(from) && !whole.store.replace(*made, text_of(from)))
        return nullptr;
    const node* one = from.m_kind == element_node ? from.m_attribute : nullptr;
    for (; one != nullptr; one = one->m_next) {
        new_node attribute(whole, copy_one(whole, *one)); // one step deep, as attributes have none
        if (!attribute)
            return nullptr;
        attribute.bind_attribute(*made);
    }
    return made.release();
}

/// The same with all that is in it.
node* copy_all(tree& whole, const node& top) {
    new_node made(whole, copy_one(whole, top));
    const node* from = &top;
    node* to = made.get();
    while (to != nullptr) {
        if (has_children(*from) && from->m_child != nullptr) {
            from = from->m_child;
        } else {
            while (from != &top && from->m_next == nullptr) {
                from = from->m_parent;
                to = to->m_parent;
            }
            if (from == &top)
                return made.release();
            from = from->m_next;
            to = to->m_parent;
        }
        node* const copied = copy_one(whole, *from);
        if (copied == nullptr)
            return nullptr;
        link_child(*to, nullptr, *copied);
        to = copied;
    }
    return nullptr;
}

/// Whether an attribute, if it declares a namespace, may do so: the default of an element in none cannot be
/// another.
bool may_declare(const node& element, const node_name& name, std::string_view value) {
    std::string_view prefix;
    if (name.uri_text() != xmlns_uri || !is_declaration(name.full, prefix))
        return true;
    return may_bind(prefix, value) && (!prefix.empty() || value.empty() || element.m_name->uri != nullptr);
}

node* find_same(const tree& whole, const node& element, const node_name& name) {
    return whole.with_namespaces ? find_attribute(element, name.uri_text(), name.local)
                                 : find_attribute(element, name.full);
}

/// A changed node is not what the document type has declared, and a changed document type declares something
/// else.
void forget_default(node& one) {
    one.m_flags &= static_cast<uint8_t>(~(default_attribute | defaults_source));
    for (node* each = one.m_kind == element_node ? one.m_attribute : nullptr; each != nullptr;
         each = each->m_next)
        forget_default(*each);
}

int set_attribute(tree& whole, node& element, const node_name* name, std::string_view value) {
    if (name == nullptr)
        return -1;
    if (!is_xml_text(value) || !may_declare(element, *name, value))
        return refuse(fault_code::violation);
    if (node* const known = find_same(whole, element, *name); known != nullptr) {
        if (!whole.store.replace(*known, value))
            return -1;
        forget_default(*known);
        return 0;
    }
    new_node made(whole, attribute_node);
    if (!made || !whole.store.replace(*made, value))
        return -1;
    made->m_name = name;
    made.bind_attribute(element);
    return 0;
}

int remove_attribute(tree& whole, node* one) {
    if (one == nullptr)
        return 0;
    unlink(*one);
    whole.store.free(*one);
    return 0;
}

int set_children(tree& whole, node& element, std::string_view text) {
    node* made = nullptr;
    if (!text.empty()) {
        new_node inner(whole, text_node);
        if (!inner || !whole.store.replace(*inner, text))
            return -1;
        made = inner.release();
    }
    while (node* const first = element.m_child) {
        unlink(*first);
        free_all(whole, first);
    }
    if (made != nullptr)
        link_child(element, nullptr, *made);
    return 0;
}

bool may_be_named(const tree& whole, const node& one, const node_name& name) {
    if (one.m_kind != attribute_node)
        return true;
    const node* const same = find_same(whole, *one.m_parent, name);
    return (same == nullptr || same == &one) && may_declare(*one.m_parent, name, text_of(one));
}

const node_name* new_name(tree& whole, const node& one, std::string_view name) {
    switch (one.m_kind) {
    case element_node:
        return resolve_name(whole, &one, name, false);
    case attribute_node:
        return resolve_name(whole, one.m_parent, name, true);
    case instruction_node:
        return is_target(name, whole.with_namespaces) ? take_name(whole, name, "")
                                                      : (leave_fault(fault_code::violation), nullptr);
    case doctype_node:
        return is_doctype(name, text_of(one), whole.with_namespaces) ? take_name(whole, name, "") : nullptr;
    default:
        return leave_fault(fault_code::invalid), nullptr;
    }
}

} // namespace

ombrel_xml_node_t* ombrel_xml_node_insert(ombrel_xml_node_t* parent, ombrel_xml_node_t* before, int kind,
                                          const char* name, const char* text) {
    tree* const whole = changeable(parent);
    if (whole == nullptr || !may_hold(*parent, before, kind, nullptr))
        return none(fault_code::invalid);
    new_node made(*whole, static_cast<node_kind>(kind));
    if (!made || !set_named(*whole, *made, parent, kind, name) ||
        !set_first_text(*whole, *made, text_or_empty(text)))
        return nullptr;
    return made.bind(*parent, before);
}

ombrel_xml_node_t* ombrel_xml_node_add_element(ombrel_xml_node_t* parent, const char* name,
                                               const char* text) {
    return ombrel_xml_node_insert(parent, nullptr, element_node, name, text);
}

ombrel_xml_node_t* ombrel_xml_node_add_text(ombrel_xml_node_t* parent, const char* text) {
    return ombrel_xml_node_insert(parent, nullptr, text_node, nullptr, text);
}

ombrel_xml_node_t* ombrel_xml_node_insert_element_in(ombrel_xml_node_t* parent, ombrel_xml_node_t* before,
                                                     const char* uri, const char* name) {
    tree* const whole = changeable(parent);
    if (whole == nullptr || uri == nullptr || name == nullptr ||
        !may_hold(*parent, before, element_node, nullptr))
        return none(fault_code::invalid);
    const node_name* const full = name_in(*whole, uri, name, false);
    new_node made(*whole, full != nullptr ? whole->store.take(element_node) : nullptr);
    if (!made)
        return nullptr;
    made->m_name = full;
    return made.bind(*parent, before);
}

ombrel_xml_node_t* ombrel_xml_node_copy(const ombrel_xml_node_t* node, ombrel_xml_node_t* parent,
                                        ombrel_xml_node_t* before) {
    tree* const whole = changeable(parent);
    if (whole == nullptr || node == nullptr || !may_hold(*parent, before, node->m_kind, nullptr) ||
        node_store::tree_of(*node)->with_namespaces != whole->with_namespaces)
        return none(fault_code::invalid);
    new_node made(*whole, copy_all(*whole, *node));
    return made ? made.bind(*parent, before) : nullptr;
}

int ombrel_xml_node_move(ombrel_xml_node_t* node, ombrel_xml_node_t* parent, ombrel_xml_node_t* before) {
    if (before == node && node != nullptr)
        before = node->m_next;
    if (changeable(node) == nullptr || changeable(parent) != node_store::tree_of(*node) ||
        node->m_kind == document_node || !may_hold(*parent, before, node->m_kind, node) ||
        is_within(parent, *node))
        return refuse(fault_code::invalid);
    unlink(*node);
    link_child(*parent, before, *node);
    return 0;
}

int ombrel_xml_node_remove(ombrel_xml_node_t* node) {
    tree* const whole = changeable(node);
    if (whole == nullptr || node->m_kind == document_node)
        return refuse(fault_code::invalid);
    unlink(*node);
    free_all(*whole, node);
    return 0;
}

int ombrel_xml_node_set_name(ombrel_xml_node_t* node, const char* name) {
    tree* const whole = changeable(node);
    if (whole == nullptr || name == nullptr)
        return refuse(fault_code::invalid);
    const node_name* const full = new_name(*whole, *node, name);
    if (full == nullptr)
        return -1;
    if (!may_be_named(*whole, *node, *full))
        return refuse(fault_code::violation);
    node->m_name = full;
    forget_default(*node);
    return 0;
}

int ombrel_xml_node_set_text(ombrel_xml_node_t* node, const char* text) {
    tree* const whole = changeable(node);
    const std::string_view wanted = text_or_empty(text);
    if (whole == nullptr || node->m_kind == document_node)
        return refuse(fault_code::invalid);
    if (!is_content(node->m_kind, wanted) ||
        (node->m_kind == attribute_node && !may_declare(*node->m_parent, *node->m_name, wanted)))
        return refuse(fault_code::violation);
    if (node->m_kind == doctype_node && !is_doctype(node->m_name->full, wanted, whole->with_namespaces))
        return -1;
    if (node->m_kind == element_node)
        return set_children(*whole, *node, wanted);
    if (!whole->store.replace(*node, wanted))
        return -1;
    forget_default(*node);
    return 0;
}

int ombrel_xml_node_set_attribute(ombrel_xml_node_t* node, const char* name, const char* value) {
    tree* const whole = changeable(node);
    if (whole == nullptr || !is_element(node) || name == nullptr)
        return refuse(fault_code::invalid);
    if (value == nullptr)
        return remove_attribute(*whole, find_attribute(*node, name));
    return set_attribute(*whole, *node, resolve_name(*whole, node, name, true), value);
}

int ombrel_xml_node_set_attribute_in(ombrel_xml_node_t* node, const char* uri, const char* name,
                                     const char* value) {
    tree* const whole = changeable(node);
    if (whole == nullptr || !is_element(node) || uri == nullptr || name == nullptr)
        return refuse(fault_code::invalid);
    if (value == nullptr)
        return remove_attribute(*whole, find_attribute(*node, uri, local_of(name)));
    return set_attribute(*whole, *node, name_in(*whole, uri, name, true), value);
}

int ombrel_xml_node_set_integer_attribute(ombrel_xml_node_t* node, const char* name, int64_t value) {
    char digits[24];
    return ombrel_xml_node_set_attribute(node, name, put_integer(digits, value));
}
