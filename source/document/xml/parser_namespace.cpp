#include <algorithm>

#include "document/xml/parser.h"

namespace ombrel::document {

namespace {

constexpr std::string_view xml_namespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view xmlns_namespace = "http://www.w3.org/2000/xmlns/";

} // namespace

/// The two prefixes that are bound from the beginning.
bool xml_parser::begin_namespaces() {
    no_prefix_ = names_.take({});
    xml_prefix_ = names_.take("xml");
    xmlns_prefix_ = names_.take("xmlns");
    xml_uri_ = names_.take(xml_namespace);
    xmlns_uri_ = names_.take(xmlns_namespace);
    if (no_prefix_ == nullptr || xml_prefix_ == nullptr || xmlns_prefix_ == nullptr || xml_uri_ == nullptr ||
        xmlns_uri_ == nullptr) {
        no_prefix_ = nullptr;
        return false;
    }
    xml_prefix_->uri = xml_uri_;
    xmlns_prefix_->uri = xmlns_uri_;
    return true;
}

/// Binds what the tag declares, then finds what its names are bound to.
step xml_parser::resolve_names(open_element& element) {
    if ((options_.m_flags & def_ombrel_xml_namespaces) == 0) {
        for (size_t i = 0; i < attributes_.size(); i++)
            attributes_[i].m_name = plain_event_name(attribute_names_[i]->full);
        return step::go_on;
    }
    if (no_prefix_ == nullptr && !begin_namespaces())
        return refuse_memory();
    for (size_t i = 0; i < attributes_.size(); i++)
        if (attribute_names_[i]->declares_namespace)
            if (const step done = bind_namespace(*attribute_names_[i], view_of(attributes_[i].m_value));
                done != step::go_on)
                return done;
    if (element.called->prefix == xmlns_prefix_)
        return refuse(def_ombrel_xml_fault_reserved);
    if (const step done = resolve(*element.called, no_prefix_->uri, element.uri); done != step::go_on)
        return done;
    return resolve_attributes();
}

step xml_parser::bind_namespace(name& attribute, std::string_view uri) {
    name& prefix = attribute.prefix != nullptr ? *attribute.local : *no_prefix_;
    if (const step done = check_binding(prefix, uri); done != step::go_on)
        return done;
    name* bound = nullptr;
    if (!uri.empty()) {
        bound = names_.take(uri);
        if (bound == nullptr)
            return refuse_memory();
        if (names_.size() > options_.m_name_count_limit)
            return refuse(def_ombrel_xml_fault_many_names);
    }
    if (!bindings_.push({&prefix, prefix.uri}))
        return refuse_memory();
    prefix.uri = bound;
    return step::go_on;
}

step xml_parser::check_binding(const name& prefix, std::string_view uri) {
    const bool is_xml = &prefix == xml_prefix_;
    if (&prefix == xmlns_prefix_ || uri == xmlns_namespace || is_xml != (uri == xml_namespace))
        return refuse(def_ombrel_xml_fault_reserved);
    return uri.empty() && &prefix != no_prefix_ ? refuse(def_ombrel_xml_fault_unbound, nullptr, prefix.full)
                                                : step::go_on;
}

/// @param otherwise the namespace of names without a prefix
step xml_parser::resolve(const name& called, name* otherwise, name*& uri) {
    uri = called.prefix != nullptr ? called.prefix->uri : otherwise;
    if (called.prefix != nullptr && uri == nullptr)
        return refuse(def_ombrel_xml_fault_prefix, nullptr, called.prefix->full);
    return step::go_on;
}

step xml_parser::resolve_attributes() {
    size_t prefixed = 0;
    for (size_t i = 0; i < attributes_.size(); i++) {
        name* const called = attribute_names_[i];
        name* uri = nullptr;
        if (const step done = resolve(*called, nullptr, uri); done != step::go_on)
            return done;
        attributes_[i].m_name = event_name(*called, called->declares_namespace ? xmlns_uri_ : uri);
        prefixed += called->prefix != nullptr && !called->declares_namespace;
    }
    return prefixed > 1 ? check_expanded_names(prefixed) : step::go_on;
}

/// No two attributes may have the same namespace and local name. The hashes of both are under a random key.
step xml_parser::check_expanded_names(size_t prefixed) {
    size_t slots = std::max<size_t>(expanded_.size(), 16);
    while (slots < 2 * prefixed)
        slots *= 2;
    if (slots > expanded_.size()) {
        expanded_.clear();
        if (!expanded_.reserve(slots))
            return refuse_memory();
        std::fill_n(expanded_.data(), slots, expanded_name{});
        expanded_.extend(slots);
    }
    for (const name* const called : std::span(attribute_names_.data(), attribute_names_.size())) {
        if (called->prefix == nullptr || called->declares_namespace)
            continue;
        const name *const uri = called->prefix->uri, *const local = called->local;
        size_t slot = static_cast<size_t>(uri->hash * 3 + local->hash) & (slots - 1);
        for (; expanded_[slot].tag == tag_; slot = (slot + 1) & (slots - 1))
            if (expanded_[slot].uri == uri && expanded_[slot].local == local)
                return refuse(def_ombrel_xml_fault_two_attributes, nullptr, called->full);
        expanded_[slot] = {uri, local, tag_};
    }
    return step::go_on;
}

void xml_parser::drop_bindings(size_t before) {
    while (bindings_.size() > before) {
        const namespace_binding& last = bindings_.last();
        last.prefix->uri = last.before;
        bindings_.truncate(bindings_.size() - 1);
    }
}

} // namespace ombrel::document
