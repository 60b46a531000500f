// Start tags: names, attributes, namespaces.
#include <algorithm>

#include <ombrel/printf.h>
#include <ombrel/xml.h>

#include "document/xml/xml_writing.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

/// So many names of a tag are compared with each other as they come; more are sorted when the tag ends.
constexpr size_t few_names = 16;

} // namespace

bool xml_writing::add_name(std::string_view prefix, std::string_view local, std::string_view value,
                           uint32_t binding) {
    const tag_name added = {tag_text_.size(), prefix.size() + (prefix.empty() ? 0 : 1) + local.size(),
                            is_canonical() ? value.size() : 0, binding};
    return tag_text_.append(prefix.data(), prefix.size()) && tag_text_.append(":", prefix.empty() ? 0 : 1) &&
           tag_text_.append(local.data(), local.size()) && tag_text_.append(value.data(), added.value_size) &&
           tag_.push(added);
}

bool xml_writing::is_name(std::string_view name) const {
    return ombrel_is_xml_name(name.data(), name.size(), with_namespaces()) == 1;
}

bool xml_writing::may_declare(std::string_view prefix, std::string_view uri, uint32_t mark) const {
    const uint32_t binding = scope_.find(prefix);
    return may_bind(prefix, uri) && binding < mark;
}

/// A binding for a name of a namespace, new if need be; unbound after a failure. What the element itself
/// declares, from `mark` on, is not changed, and with `mark` 0 nothing that is bound at all.
uint32_t xml_writing::choose(std::string_view uri, std::string_view wish, uint32_t mark, bool& is_new) {
    const bool is_attribute = mark == 0;
    if (uri == xml_uri)
        return scope_.find("xml");
    const uint32_t bound = scope_.find(wish);
    if (bound != namespace_scope::unbound && scope_.uri(bound) == uri && !(is_attribute && wish.empty()))
        return bound;
    if (uri == xmlns_uri || (uri.empty() && !wish.empty()) || !is_xml_text(uri))
        return fail(def_ombrel_xml_writer_fault_prefix), namespace_scope::unbound;
    char made[32];
    if (!may_declare(wish, uri, mark == 0 ? 1 : mark) || (is_attribute && wish.empty())) {
        if (const uint32_t other = scope_.find_uri(uri); other != namespace_scope::unbound)
            return other;
        wish = make_prefix(made);
    }
    is_new = true;
    if (!may_bind(wish, uri))
        return fail(def_ombrel_xml_writer_fault_prefix), namespace_scope::unbound;
    if (!scope_.bind(wish, uri))
        return fail(def_ombrel_xml_writer_fault_no_memory), namespace_scope::unbound;
    return scope_.find(wish);
}

/// A prefix that is not bound.
std::string_view xml_writing::make_prefix(char (&made)[32]) const {
    for (unsigned number = 1;; number++) {
        const int size = ombrel_snprintf(made, sizeof made, "ns%u", number);
        const std::string_view prefix(made, static_cast<size_t>(size));
        if (scope_.find(prefix) == namespace_scope::unbound)
            return prefix;
    }
}

int xml_writing::put_declaration_of(uint32_t binding, std::string_view uri) {
    const std::string_view prefix = scope_.prefix(binding);
    return prefix.empty() ? put_attribute("", "xmlns", uri) : put_attribute("xmlns", prefix, uri);
}

int xml_writing::put_attribute(std::string_view prefix, std::string_view local, std::string_view value,
                               uint32_t binding) {
    if (!add_name(prefix, local, value, binding))
        return fail(def_ombrel_xml_writer_fault_no_memory);
    const std::string_view name = name_of(tag_.last());
    if (tag_.size() <= few_names)
        for (size_t i = 1; i + 1 < tag_.size(); i++)
            if (name_of(tag_[i]) == name)
                return fail(def_ombrel_xml_writer_fault_attribute);
    if (name == "xml:space" && value == "preserve")
        top().is_announced = true;
    if (is_canonical())
        return 0;
    int result = put_all({" ", name, "=\""});
    result = result == 0 ? put_escaped(value, in_value) : result;
    return result == 0 ? put("\"") : result;
}

int xml_writing::check_attribute(std::string_view name, std::string_view value) {
    if (reason_ != def_ombrel_xml_writer_fault_none || !tag_is_open_ || announced_from_ != 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (!is_name(name))
        return fail(def_ombrel_xml_writer_fault_name);
    return is_xml_text(value) ? 0 : fail(def_ombrel_xml_writer_fault_character);
}

/// Binds what an attribute declares, unless that was announced.
int xml_writing::bind_by_attribute(std::string_view prefix, std::string_view uri) {
    const uint32_t bound = scope_.find(prefix);
    if (!may_bind(prefix, uri))
        return fail(def_ombrel_xml_writer_fault_prefix);
    if (bound >= top().mark)
        return scope_.uri(bound) == uri ? 0 : fail(def_ombrel_xml_writer_fault_attribute);
    return scope_.bind(prefix, uri) ? 0 : fail(def_ombrel_xml_writer_fault_no_memory);
}

int xml_writing::attribute(std::string_view name, std::string_view value) {
    if (const int result = check_attribute(name, value); result != 0)
        return result;
    std::string_view prefix;
    if (with_namespaces() && is_declaration(name, prefix))
        if (const int result = bind_by_attribute(prefix, value); result != 0)
            return result;
    return put_attribute("", name, value, namespace_scope::unbound);
}

int xml_writing::attribute_in(std::string_view uri, std::string_view name, std::string_view value) {
    std::string_view declared;
    if (!with_namespaces() || (uri == xmlns_uri && is_declaration(name, declared)) ||
        (uri.empty() && prefix_of(name).empty()))
        return attribute(name, value);
    if (const int result = check_attribute(name, value); result != 0)
        return result;
    bool is_new = false;
    const uint32_t binding = choose(uri, prefix_of(name), 0, is_new);
    if (binding == namespace_scope::unbound)
        return -1;
    if (const int result = is_new ? put_declaration_of(binding, uri) : 0; result != 0)
        return result;
    return put_attribute(scope_.prefix(binding), local_of(name), value, binding);
}

int xml_writing::declare(std::string_view prefix, std::string_view uri) {
    if (!tag_is_open_ || !with_namespaces() || announced_from_ != 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (!prefix.empty() && (!is_name(prefix) || prefix.find(':') != std::string_view::npos))
        return fail(def_ombrel_xml_writer_fault_name);
    const uint32_t bound = scope_.find(prefix);
    if (bound != namespace_scope::unbound && scope_.uri(bound) == uri)
        return 0;
    if (const int result = check_attribute("xmlns", uri); result != 0)
        return result;
    if (const int result = bind_by_attribute(prefix, uri); result != 0)
        return result;
    return put_declaration_of(scope_.find(prefix), uri);
}

bool xml_writing::sort_names(bool by_namespace) {
    order_.clear();
    for (uint32_t i = 1; i < tag_.size(); i++)
        if ((!by_namespace || has_namespace(name_of(tag_[i]))) && !order_.push(i))
            return false;
    std::sort(order_.begin(), order_.end(), [=, this](uint32_t left, uint32_t right) {
        const std::string_view a = name_of(tag_[left]), b = name_of(tag_[right]);
        if (!by_namespace)
            return a < b;
        const int order = uri_of(a).compare(uri_of(b));
        return order != 0 ? order < 0 : local_of(a) < local_of(b);
    });
    return true;
}

/// Whether it is the name of an attribute in a namespace, other than that of declarations.
bool xml_writing::has_namespace(std::string_view name) {
    std::string_view prefix;
    return !prefix_of(name).empty() && !is_declaration(name, prefix);
}

std::string_view xml_writing::uri_of(std::string_view name) const {
    return scope_.uri(scope_.find(prefix_of(name)));
}

int xml_writing::check_prefix(const tag_name& one, bool is_element) {
    const std::string_view name = name_of(one);
    if (!is_element && !has_namespace(name))
        return 0;
    const uint32_t bound = scope_.find(prefix_of(name));
    const bool is_right = bound != namespace_scope::unbound && prefix_of(name) != "xmlns" &&
                          (one.binding == namespace_scope::unbound || one.binding == bound);
    return is_right ? 0 : fail(def_ombrel_xml_writer_fault_prefix);
}

/// What can be told of the names of a tag only when it has all of them.
int xml_writing::check_names() {
    if (tag_.size() > few_names || is_canonical()) {
        if (!sort_names(false))
            return fail(def_ombrel_xml_writer_fault_no_memory);
        for (size_t i = 1; i < order_.size(); i++)
            if (name_of(tag_[order_[i]]) == name_of(tag_[order_[i - 1]]))
                return fail(def_ombrel_xml_writer_fault_attribute);
    }
    return with_namespaces() ? check_namespaces() : 0;
}

int xml_writing::check_namespaces() {
    size_t count = 0;
    for (size_t i = 0; i < tag_.size(); i++) {
        if (const int result = check_prefix(tag_[i], i == 0); result != 0)
            return result;
        count += i > 0 && has_namespace(name_of(tag_[i])) ? 1 : 0;
    }
    if (count < 2)
        return 0;
    if (!sort_names(true))
        return fail(def_ombrel_xml_writer_fault_no_memory);
    for (size_t i = 1; i < order_.size(); i++) {
        const std::string_view a = name_of(tag_[order_[i]]), b = name_of(tag_[order_[i - 1]]);
        if (local_of(a) == local_of(b) && uri_of(a) == uri_of(b))
            return fail(def_ombrel_xml_writer_fault_attribute);
    }
    return 0;
}

int xml_writing::put_sorted() {
    if (!sort_names(false))
        return fail(def_ombrel_xml_writer_fault_no_memory);
    for (const uint32_t i : order_) {
        const tag_name& one = tag_[i];
        int result = put_all({" ", name_of(one), "=\""});
        result = result == 0 ? put_escaped(value_of(one), in_value) : result;
        result = result == 0 ? put("\"") : result;
        if (result != 0)
            return result;
    }
    return 0;
}

int xml_writing::close_tag(std::string_view end) {
    tag_is_open_ = false;
    if (const int result = check_names(); result != 0)
        return result;
    const int result = is_canonical() ? put_sorted() : 0;
    return result != 0 ? result : put(end);
}

} // namespace ombrel::document
