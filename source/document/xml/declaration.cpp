#include "document/xml/parser.h"
#include "text/slice.h"

namespace ombrel::document {

uint32_t id_marks(const external_id& id) {
    return (id.has_system ? def_ombrel_xml_mark_has_system : 0u) |
           (id.has_public ? def_ombrel_xml_mark_has_public : 0u);
}

step xml_parser::read_markup_declaration(text_frame& frame) {
    std::string_view text;
    bool is_unknown = false;
    if (const step done = gather(frame, '>', text, is_unknown); done != step::go_on)
        return done;
    if (is_unknown)
        return step::go_on;
    cursor at = {text.data() + 2, text.data() + text.size()};
    if (at.skip("ELEMENT"))
        return read_element_declaration(at);
    if (at.skip("ATTLIST"))
        return read_attribute_declarations(at);
    if (at.skip("ENTITY"))
        return read_entity_declaration(at);
    if (at.skip("NOTATION"))
        return read_notation_declaration(at);
    return refuse(def_ombrel_xml_fault_markup, at.at);
}

step xml_parser::check_name(std::string_view text, const char* at, bool may_have_colon) {
    if (text.size() > options_.m_name_limit)
        return refuse(def_ombrel_xml_fault_long_name, at);
    if ((options_.m_flags & def_ombrel_xml_namespaces) == 0)
        return step::go_on;
    const bool is_fine = may_have_colon ? is_qualified_name(text) : text.find(':') == std::string_view::npos;
    return is_fine ? step::go_on : refuse(def_ombrel_xml_fault_colon, at, text);
}

step xml_parser::take_name(cursor& at, std::string_view& read, bool may_have_colon) {
    const char* const behind = behind_name(at.at, at.end);
    read = {at.at, static_cast<size_t>(behind - at.at)};
    if (read.empty())
        return refuse(def_ombrel_xml_fault_name, at.at);
    const step done = check_name(read, at.at, may_have_colon);
    at.at = behind;
    return done;
}

step xml_parser::take_space(cursor& at) {
    return at.skip_space() ? step::go_on : refuse(def_ombrel_xml_fault_space, at.at);
}

/// What a declaration ends with.
step xml_parser::take_end(cursor& at) {
    at.skip_space();
    return at.rest() == ">" ? step::go_on : refuse(def_ombrel_xml_fault_markup, at.at);
}

step xml_parser::take_literal(cursor& at, std::string_view& read) {
    if (at.is_at_end() || (*at.at != '"' && *at.at != '\''))
        return refuse(def_ombrel_xml_fault_markup, at.at);
    const size_t size = slice(at.rest(), 1).find(*at.at);
    if (size == std::string_view::npos)
        return refuse(def_ombrel_xml_fault_markup, at.at);
    read = slice(at.rest(), 1, size);
    at.at += size + 2;
    return check_characters(read);
}

/// Public identifiers have single spaces for any white space.
step xml_parser::take_public_id(cursor& at, std::string_view& read) {
    if (const step done = take_literal(at, read); done != step::go_on)
        return done;
    public_id_.clear();
    for (const char& c : read) {
        if (!has_class(c, class_public_id))
            return refuse(def_ombrel_xml_fault_public_id, &c);
        const bool is_blank = is_space(c);
        if (is_blank && (public_id_.empty() || public_id_.last() == ' '))
            continue;
        if (!public_id_.push(is_blank ? ' ' : c))
            return refuse_memory();
    }
    if (!public_id_.empty() && public_id_.last() == ' ')
        public_id_.truncate(public_id_.size() - 1);
    read = {public_id_.data(), public_id_.size()};
    return step::go_on;
}

/// @param may_lack_system as those of notations may
step xml_parser::take_external_id(cursor& at, external_id& read, bool may_lack_system) {
    read.has_public = at.skip("PUBLIC");
    if (!read.has_public && !at.skip("SYSTEM"))
        return refuse(def_ombrel_xml_fault_markup, at.at);
    if (const step done = take_space(at); done != step::go_on)
        return done;
    if (read.has_public) {
        if (const step done = take_public_id(at, read.public_id); done != step::go_on)
            return done;
        const cursor behind = at;
        const bool has_space = at.skip_space();
        if (may_lack_system && !at.is_at_end() && *at.at == '>')
            return step::go_on;
        if (!has_space)
            return refuse(def_ombrel_xml_fault_space, behind.at);
    }
    read.has_system = true;
    return take_literal(at, read.system_id);
}

step xml_parser::read_notation_declaration(cursor& at) {
    std::string_view called;
    external_id id{};
    step done = take_space(at);
    if (done == step::go_on)
        done = take_name(at, called, false);
    if (done == step::go_on)
        done = take_space(at);
    if (done == step::go_on)
        done = take_external_id(at, id, true);
    if (done == step::go_on)
        done = take_end(at);
    if (done != step::go_on || !keeps_declarations())
        return done;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_notation_declaration);
    event.m_name = plain_event_name(called);
    event.m_public_id = event_text(id.public_id);
    event.m_system_id = event_text(id.system_id);
    event.m_base = event_text(top().base);
    event.m_flags = id_marks(id);
    return emit(event);
}

} // namespace ombrel::document
