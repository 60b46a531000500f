#include <algorithm>
#include <cstring>

#include "document/xml/parser.h"

namespace ombrel::document {

/// The name that came behind the last one before, if it stands here again. Most documents repeat themselves.
name* xml_parser::guessed_name(const cursor& at) const {
    name* const guess = last_name_->follower;
    if (guess == nullptr || at.left() <= guess->full.size())
        return nullptr;
    const char behind = at.at[guess->full.size()];
    return memcmp(at.at, guess->full.data(), guess->full.size()) == 0 &&
                   !has_class(behind, class_name | class_beyond_ascii)
               ? guess
               : nullptr;
}

step xml_parser::read_tag_name(cursor& at, name*& read) {
    read = guessed_name(at);
    if (read == nullptr) {
        const char* const behind = behind_name(at.at, at.end);
        const std::string_view text = {at.at, static_cast<size_t>(behind - at.at)};
        if (text.size() > options_.m_name_limit)
            return refuse(def_ombrel_xml_fault_long_name, at.at);
        if (behind == at.end)
            return step::starving;
        if (text.empty())
            return refuse(def_ombrel_xml_fault_name, at.at);
        if (const step done = take_known_name(text, at.at, read); done != step::go_on)
            return done;
        last_name_->follower = read;
    }
    last_name_ = read;
    at.at += read->full.size();
    return step::go_on;
}

/// The name's record, which may be new.
step xml_parser::take_known_name(std::string_view text, const char* at, name*& known) {
    known = names_.take(text);
    if (known == nullptr)
        return refuse_memory();
    if (names_.size() > options_.m_name_count_limit)
        return refuse(def_ombrel_xml_fault_many_names, at);
    return (options_.m_flags & def_ombrel_xml_namespaces) && !known->is_qualified
               ? refuse(def_ombrel_xml_fault_colon, at, text)
               : step::go_on;
}

step xml_parser::read_start_tag(text_frame& frame) {
    cursor at = {frame.at + 1, token_limit(frame)};
    name* element = nullptr;
    if (const step done = read_tag_name(at, element); done != step::go_on)
        return done;
    tag_++;
    attributes_.clear();
    attribute_names_.clear();
    values_.clear();
    has_values_ = false;
    for (;;) {
        const bool has_space = at.skip_space();
        if (at.is_at_end())
            return step::starving;
        if (*at.at == '>' || *at.at == '/')
            break;
        if (!has_space)
            return refuse(behind_name(at.at, at.end) > at.at || *at.at == '"' || *at.at == '\''
                              ? def_ombrel_xml_fault_space
                              : def_ombrel_xml_fault_tag,
                          at.at);
        if (const step done = read_attribute(at, *element); done != step::go_on)
            return done;
    }
    const bool is_empty = *at.at == '/';
    if (is_empty && ++at.at == at.end)
        return step::starving;
    if (*at.at != '>')
        return refuse(def_ombrel_xml_fault_tag, at.at);
    frame.at = at.at + 1;
    return finish_start_tag(*element, is_empty);
}

step xml_parser::read_attribute(cursor& at, name& element) {
    const char* const start = at.at;
    name* called = nullptr;
    if (const step done = read_tag_name(at, called); done != step::go_on)
        return done;
    if (called->seen == tag_)
        return refuse(def_ombrel_xml_fault_two_attributes, start, called->full);
    at.skip_space();
    if (at.is_at_end())
        return step::starving;
    if (*at.at != '=')
        return refuse(def_ombrel_xml_fault_tag, at.at);
    at.at++;
    at.skip_space();
    const int type = element.has_attributes ? declared_type(element, *called) : def_ombrel_xml_type_cdata;
    std::string_view value;
    uint32_t flags = 0;
    if (const step done = read_value(at, type, value, flags); done != step::go_on)
        return done;
    if (attributes_.size() >= options_.m_attribute_limit)
        return refuse(def_ombrel_xml_fault_many_attributes, start);
    return add_attribute(*called, value, type, flags);
}

int xml_parser::declared_type(const name& element, const name& attribute) {
    const name* const pair = find_pair(element.full, attribute.full, false);
    return pair != nullptr && pair->declaration != nullptr ? pair->declaration->type
                                                           : def_ombrel_xml_type_cdata;
}

step xml_parser::read_value(cursor& at, int type, std::string_view& value, uint32_t& flags) {
    if (at.is_at_end())
        return step::starving;
    const char quote = *at.at;
    if (quote != '"' && quote != '\'')
        return refuse(def_ombrel_xml_fault_value, at.at);
    const char* const start = ++at.at;
    at.at += scans_.value_run(at.at, at.left(), quote);
    const bool is_plain = !at.is_at_end() && *at.at == quote;
    if (!is_plain)
        if (const step done = find_value_end(at, quote); done != step::go_on)
            return done;
    value = {start, static_cast<size_t>(at.at - start)};
    at.at++;
    if (is_plain && value.size() <= options_.m_value_limit && type == def_ombrel_xml_type_cdata)
        return step::go_on;
    flags |= value_is_kept;
    return normalise_value(value, top().is_own_text, type, value);
}

/// From a byte on that needs a look.
step xml_parser::find_value_end(cursor& at, char quote) {
    for (; !at.is_at_end(); at.at += scans_.value_run(at.at, at.left(), quote)) {
        const char c = *at.at;
        if (c == quote)
            return step::go_on;
        if (c == '<')
            return refuse(def_ombrel_xml_fault_value, at.at);
        const bool is_long = static_cast<unsigned char>(c) == 0xEF;
        if (is_long ? is_no_character(at.at) : static_cast<unsigned char>(c) < 0x20 && !is_space(c))
            return refuse(def_ombrel_xml_fault_character, at.at);
        at.at += is_long ? 3 : 1;
    }
    return step::starving;
}

step xml_parser::add_attribute(name& called, std::string_view value, int type, uint32_t flags) {
    called.seen = tag_;
    const bool is_declaration = (options_.m_flags & def_ombrel_xml_namespaces) && called.declares_namespace;
    ombrel_xml_attribute_t added;
    added.m_value =
        (flags & value_is_kept) ? ombrel_xml_text_t{value.data(), value.size()} : event_text(value);
    added.m_type = type;
    added.m_flags = flags | (is_declaration ? def_ombrel_xml_attribute_namespace : 0);
    return attributes_.push(added) && attribute_names_.push(&called) ? step::go_on : refuse_memory();
}

step xml_parser::add_defaults(name& element) {
    for (const attribute_declaration* each = element.defaults; each != nullptr; each = each->next) {
        if (each->attribute->seen == tag_)
            continue;
        if (attributes_.size() >= options_.m_attribute_limit)
            return refuse(def_ombrel_xml_fault_many_attributes);
        step done = count_expansion(each->attribute->full.size() + each->value.size(), false);
        if (done == step::go_on)
            done = add_attribute(*each->attribute, each->value, each->type, def_ombrel_xml_attribute_default);
        if (done != step::go_on)
            return done;
    }
    return step::go_on;
}

/// The tag has been read whole.
step xml_parser::finish_start_tag(name& element, bool is_empty) {
    if (elements_.size() >= options_.m_depth_limit)
        return refuse(def_ombrel_xml_fault_deep);
    if (element.defaults != nullptr)
        if (const step done = add_defaults(element); done != step::go_on)
            return done;
    if (has_values_)
        place_values();
    open_element opened = {&element, nullptr, bindings_.size()};
    if (const step done = resolve_names(opened); done != step::go_on)
        return done;
    if (!elements_.push(opened))
        return refuse_memory();
    element_event_.m_name = name_of(element, opened.uri);
    element_event_.m_attributes = attributes_.data();
    element_event_.m_attribute_count = attributes_.size();
    element_event_.m_flags = is_empty ? def_ombrel_xml_mark_empty : 0;
    const step done = emit(element_event_);
    return done == step::go_on && is_empty ? close_element() : done;
}

/// Values that were put together have their places in values_, which may have moved while it grew.
void xml_parser::place_values() {
    for (ombrel_xml_attribute_t& each : std::span(attributes_.data(), attributes_.size()))
        if (each.m_flags & value_is_kept) {
            each.m_value.m_data = values_.data() + reinterpret_cast<uintptr_t>(each.m_value.m_data);
            each.m_flags &= ~value_is_kept;
        }
}

step xml_parser::read_end_tag(text_frame& frame) {
    const open_element& element = elements_.last();
    if (elements_.size() <= frame.depth)
        return refuse(def_ombrel_xml_fault_entity_part, nullptr, source_name(frame));
    const std::string_view called = element.called->full;
    cursor at = {frame.at + 2, token_limit(frame)};
    if (at.left() > called.size() && memcmp(at.at, called.data(), called.size()) == 0 &&
        at.at[called.size()] == '>') {
        frame.at = at.at + called.size() + 1;
        return close_element();
    }
    const char* const behind = behind_name(at.at, at.end);
    if (behind == at.end)
        return step::starving;
    if (behind == at.at)
        return refuse(def_ombrel_xml_fault_name, at.at);
    if (std::string_view(at.at, static_cast<size_t>(behind - at.at)) != called)
        return refuse(def_ombrel_xml_fault_mismatch, nullptr, called);
    at.at = behind;
    at.skip_space();
    if (at.is_at_end())
        return step::starving;
    if (*at.at != '>')
        return refuse(def_ombrel_xml_fault_tag, at.at);
    frame.at = at.at + 1;
    return close_element();
}

step xml_parser::close_element() {
    const open_element closed = elements_.last();
    elements_.truncate(elements_.size() - 1);
    end_event_.m_name = name_of(*closed.called, closed.uri);
    const step done = emit(end_event_);
    drop_bindings(closed.bindings);
    if (elements_.empty())
        stage_ = stage::epilog;
    return done;
}

} // namespace ombrel::document
