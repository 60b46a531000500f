#include "document/xml/parser.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::document {

step xml_parser::read_entity_declaration(cursor& at) {
    if (const step done = take_space(at); done != step::go_on)
        return done;
    const bool is_parameter = at.skip("%");
    std::string_view called, notation;
    external_id id{};
    entity read{};
    step done = is_parameter ? take_space(at) : step::go_on;
    if (done == step::go_on)
        done = take_name(at, called, false);
    if (done == step::go_on)
        done = take_space(at);
    if (done != step::go_on)
        return done;
    if (!at.is_at_end() && (*at.at == '"' || *at.at == '\'')) {
        read.kind = is_parameter ? def_ombrel_xml_entity_parameter : def_ombrel_xml_entity_internal;
        done = read_entity_text(at);
    } else {
        read.kind = is_parameter ? def_ombrel_xml_entity_external_parameter : def_ombrel_xml_entity_external;
        done = read_entity_source(at, read, id, notation);
    }
    if (done == step::go_on)
        done = take_end(at);
    return done == step::go_on && keeps_declarations() ? keep_entity(called, read, notation, id) : done;
}

step xml_parser::read_entity_source(cursor& at, entity& read, external_id& id, std::string_view& notation) {
    if (const step done = take_external_id(at, id, false); done != step::go_on)
        return done;
    const bool has_space = at.skip_space();
    const char* const behind_space = at.at;
    if (read.kind != def_ombrel_xml_entity_external || !at.skip("NDATA"))
        return step::go_on;
    read.kind = def_ombrel_xml_entity_unparsed;
    if (!has_space)
        return refuse(def_ombrel_xml_fault_space, behind_space);
    const step done = take_space(at);
    return done == step::go_on ? take_name(at, notation, false) : done;
}

/// The literal with its numbers and parameter entities replaced.
step xml_parser::read_entity_text(cursor& at) {
    std::string_view raw;
    if (const step done = take_literal(at, raw); done != step::go_on)
        return done;
    entity_text_.clear();
    parts_.clear();
    if (!parts_.push({{raw.data(), raw.data() + raw.size()}, nullptr}))
        return refuse_memory();
    while (!parts_.empty()) {
        if (parts_.last().text.is_at_end()) {
            leave_part();
            continue;
        }
        if (const step done = expand_entity_part(); done != step::go_on)
            return done;
    }
    return step::go_on;
}

step xml_parser::expand_entity_part() {
    cursor at = parts_.last().text;
    const char* const start = at.at;
    while (!at.is_at_end() && *at.at != '&' && *at.at != '%' && *at.at != '\r')
        at.at++;
    parts_.last().text = at;
    if (at.at > start)
        return add_entity_text({start, static_cast<size_t>(at.at - start)});
    if (*at.at == '&')
        return expand_entity_reference(at);
    if (*at.at == '%')
        return expand_entity_parameter(at);
    parts_.last().text.at++;
    const bool is_own = parts_.size() == 1 && top().is_own_text;
    return add_entity_text(is_own && at.left() > 1 && at.at[1] == '\n' ? "" : is_own ? "\n" : "\r");
}

/// Numbers are replaced, entities stay references until they are used.
step xml_parser::expand_entity_reference(cursor at) {
    reference read;
    if (const step done = read_part_reference(at, read); done != step::go_on)
        return done;
    if (read.is_number())
        return add_entity_text(read.character());
    return add_entity_text({at.at, static_cast<size_t>(parts_.last().text.at - at.at)});
}

step xml_parser::expand_entity_parameter(cursor at) {
    const char* const start = at.at++;
    if (!top().is_outside)
        return refuse(def_ombrel_xml_fault_parameter, start);
    std::string_view called;
    if (const step done = read_reference_name(at, called); done != step::go_on)
        return done == step::starving ? refuse(def_ombrel_xml_fault_reference, start) : done;
    parts_.last().text = at;
    has_parameters_ = true;
    entity* found = nullptr;
    if (const step done = find_parameter(called, found); done != step::go_on)
        return done;
    if (found == nullptr) {
        entity unknown{};
        unknown.kind = def_ombrel_xml_entity_undeclared;
        return skip_parameter(unknown, called);
    }
    return enter_entity_part(*found);
}

step xml_parser::enter_entity_part(entity& entered) {
    if (frames_.size() + parts_.size() > options_.m_entity_depth_limit + 1)
        return refuse(def_ombrel_xml_fault_deep_entities);
    std::string_view text = entered.text;
    if (entered.kind == def_ombrel_xml_entity_external_parameter) {
        // By way of a frame, as its text may have a declaration.
        const size_t frames = frames_.size();
        if (const step done = enter_external(entered, frame_use::declaration); done != step::go_on)
            return done;
        if (frames_.size() == frames)
            return step::go_on;
        const text_frame& frame = top();
        if (frame.has_flaw)
            return refuse(def_ombrel_xml_fault_bytes, frame.end);
        text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
        if (const step done = check_characters(text); done != step::go_on)
            return done;
        const bool has_memory = with_line_ends(frame, text, text) && store_.keep(text, text);
        drop_frame();
        if (!has_memory)
            return refuse_memory();
    } else if (const step done = count_expansion(text.size(), true); done != step::go_on) {
        return done;
    }
    entered.is_open = true;
    return parts_.push({{text.data(), text.data() + text.size()}, &entered}) ? step::go_on : refuse_memory();
}

step xml_parser::add_entity_text(std::string_view text) {
    if (text.size() > options_.m_value_limit - entity_text_.size())
        return refuse(def_ombrel_xml_fault_long_value);
    return entity_text_.append(text.data(), text.size()) ? step::go_on : refuse_memory();
}

/// The first declaration of an entity is the one that counts.
step xml_parser::keep_entity(std::string_view called, entity& read, std::string_view notation,
                             const external_id& id) {
    name* const known = names_.take(called);
    if (known == nullptr)
        return refuse_memory();
    if (names_.size() > options_.m_name_count_limit)
        return refuse(def_ombrel_xml_fault_many_names);
    const bool is_parameter =
        read.kind == def_ombrel_xml_entity_parameter || read.kind == def_ombrel_xml_entity_external_parameter;
    entity*& slot = is_parameter ? known->parameter : known->general;
    if (slot != nullptr)
        return step::go_on;
    auto* const kept = store_.make<entity>();
    if (kept == nullptr ||
        !store_.keep({entity_text_.data(), id.has_system ? 0 : entity_text_.size()}, kept->text) ||
        !store_.keep(id.public_id, kept->public_id) || !store_.keep(id.system_id, kept->system_id))
        return refuse_memory();
    kept->kind = read.kind;
    kept->called = known;
    kept->base = top().base;
    kept->is_declared_outside = frames_.size() > 1;
    slot = kept;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_entity_declaration);
    event.m_name = plain_event_name(called);
    event.m_entity = kept->kind;
    event.m_text = event_text(kept->text);
    event.m_public_id = event_text(kept->public_id);
    event.m_system_id = event_text(kept->system_id);
    event.m_base = event_text(kept->base);
    event.m_notation = event_text(notation);
    event.m_flags = id_marks(id);
    return emit(event);
}

} // namespace ombrel::document
