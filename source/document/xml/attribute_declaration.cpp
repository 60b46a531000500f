#include "document/xml/parser.h"

namespace ombrel::document {

namespace {

struct type_word {
    std::string_view word;
    int type;
};

// The longer ones before those that they begin with.
constexpr type_word type_words[] = {
    {"CDATA", def_ombrel_xml_type_cdata},       {"IDREFS", def_ombrel_xml_type_idrefs},
    {"IDREF", def_ombrel_xml_type_idref},       {"ID", def_ombrel_xml_type_id},
    {"ENTITIES", def_ombrel_xml_type_entities}, {"ENTITY", def_ombrel_xml_type_entity},
    {"NMTOKENS", def_ombrel_xml_type_nmtokens}, {"NMTOKEN", def_ombrel_xml_type_nmtoken},
};

} // namespace

step xml_parser::read_attribute_declarations(cursor& at) {
    std::string_view element;
    step done = take_space(at);
    if (done == step::go_on)
        done = take_name(at, element, true);
    while (done == step::go_on) {
        const bool has_space = at.skip_space();
        if (at.rest() == ">")
            return step::go_on;
        done =
            has_space ? read_attribute_declaration(at, element) : refuse(def_ombrel_xml_fault_space, at.at);
    }
    return done;
}

step xml_parser::read_attribute_declaration(cursor& at, std::string_view element) {
    std::string_view called;
    attribute_declaration read{};
    uint32_t flags = 0;
    model_.clear();
    step done = take_name(at, called, true);
    if (done == step::go_on)
        done = take_space(at);
    if (done == step::go_on)
        done = read_attribute_type(at, read.type);
    if (done == step::go_on)
        done = take_space(at);
    if (done == step::go_on)
        done = read_default(at, read, flags);
    return done == step::go_on && keeps_declarations() ? keep_attribute(element, called, read, flags) : done;
}

step xml_parser::read_attribute_type(cursor& at, int& type) {
    if (!at.is_at_end() && *at.at == '(') {
        type = def_ombrel_xml_type_enumeration;
        return read_enumeration(at, false);
    }
    if (at.skip("NOTATION")) {
        type = def_ombrel_xml_type_notation;
        const step done = take_space(at);
        return done == step::go_on ? read_enumeration(at, true) : done;
    }
    for (const type_word& each : type_words)
        if (at.skip(each.word)) {
            type = each.type;
            return step::go_on;
        }
    return refuse(def_ombrel_xml_fault_markup, at.at);
}

step xml_parser::read_enumeration(cursor& at, bool are_names) {
    if (!at.skip("("))
        return refuse(def_ombrel_xml_fault_markup, at.at);
    step done = add_model("(");
    while (done == step::go_on) {
        at.skip_space();
        const char* const start = at.at;
        at.at = are_names ? behind_name(start, at.end) : behind_token(start, at.end);
        if (at.at == start)
            return refuse(def_ombrel_xml_fault_name, start);
        const std::string_view word = {start, static_cast<size_t>(at.at - start)};
        done = are_names ? check_name(word, start, false) : step::go_on;
        if (done == step::go_on)
            done = add_model(word);
        at.skip_space();
        if (done == step::go_on && !at.skip("|"))
            return at.skip(")") ? add_model(")") : refuse(def_ombrel_xml_fault_markup, at.at);
        if (done == step::go_on)
            done = add_model("|");
    }
    return done;
}

step xml_parser::read_default(cursor& at, attribute_declaration& read, uint32_t& flags) {
    if (at.skip("#REQUIRED")) {
        flags = def_ombrel_xml_mark_required;
        return step::go_on;
    }
    if (at.skip("#IMPLIED"))
        return step::go_on;
    if (at.skip("#FIXED")) {
        flags = def_ombrel_xml_mark_fixed;
        if (const step done = take_space(at); done != step::go_on)
            return done;
    }
    std::string_view raw, place;
    if (const step done = take_literal(at, raw); done != step::go_on)
        return done;
    values_.clear();
    if (const step done = normalise_value(raw, top().is_own_text, read.type, place); done != step::go_on)
        return done;
    read.has_default = true;
    flags |= def_ombrel_xml_mark_default;
    return store_.keep({values_.data(), place.size()}, read.value) ? step::go_on : refuse_memory();
}

/// Which attributes elements have is known by a name made of both, in which no name has a space.
name* xml_parser::find_pair(std::string_view element, std::string_view attribute, bool may_add) {
    scratch_.clear();
    if (!scratch_.append(element.data(), element.size()) || !scratch_.push(' ') ||
        !scratch_.append(attribute.data(), attribute.size()))
        return nullptr;
    const std::string_view both = {scratch_.data(), scratch_.size()};
    return may_add ? names_.take(both) : names_.find(both);
}

/// The first declaration of an attribute is the one that counts.
step xml_parser::keep_attribute(std::string_view element, std::string_view attribute,
                                const attribute_declaration& read, uint32_t flags) {
    name *const pair = find_pair(element, attribute, true), *const owner = names_.take(element),
                *const called = names_.take(attribute);
    auto* const kept = store_.make<attribute_declaration>();
    if (pair == nullptr || owner == nullptr || called == nullptr || kept == nullptr)
        return refuse_memory();
    if (pair->declaration != nullptr)
        return step::go_on;
    if (names_.size() > options_.m_name_count_limit)
        return refuse(def_ombrel_xml_fault_many_names);
    *kept = read;
    kept->attribute = called;
    pair->declaration = kept;
    owner->has_attributes = true;
    if (kept->has_default) {
        *(owner->last_default != nullptr ? &owner->last_default->next : &owner->defaults) = kept;
        owner->last_default = kept;
    }
    ombrel_xml_attribute_t shown{};
    shown.m_name = plain_event_name(attribute);
    shown.m_value = event_text(kept->value);
    shown.m_type = kept->type;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_attribute_declaration);
    event.m_name = plain_event_name(element);
    event.m_attributes = &shown;
    event.m_attribute_count = 1;
    event.m_text = event_text({model_.data(), model_.size()});
    event.m_flags = flags;
    return emit(event);
}

} // namespace ombrel::document
