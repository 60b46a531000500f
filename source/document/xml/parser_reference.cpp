#include <algorithm>

#include "document/xml/parser.h"
#include "text/charset/utf8_sequence.h"
#include "text/digits.h"

namespace ombrel::document {

namespace {

struct predefined {
    std::string_view called, text;
};

constexpr predefined all_predefined[] = {
    {"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "\""}, {"apos", "'"}};

} // namespace

std::string_view predefined_text(std::string_view called) {
    for (const predefined& each : all_predefined)
        if (each.called == called)
            return each.text;
    return {};
}

/// Behind "&#": the number and the semicolon.
step xml_parser::read_number(cursor& at, uint32_t& code) {
    const char* const start = at.at;
    const unsigned base = at.skip("x") ? 16 : 10;
    const char* const digits = at.at;
    constexpr uint32_t beyond = 0x110000;
    code = 0;
    for (; !at.is_at_end() && digit_value(*at.at) < base; at.at++)
        code = std::min<uint32_t>(code * base + digit_value(*at.at), beyond);
    if (at.is_at_end())
        return step::starving;
    if (at.at == digits || *at.at != ';')
        return refuse(def_ombrel_xml_fault_reference, at.at);
    at.at++;
    return is_character(code) ? step::go_on : refuse(def_ombrel_xml_fault_number, start);
}

/// Behind "&" or "%": the name and the semicolon.
step xml_parser::read_reference_name(cursor& at, std::string_view& read) {
    const char* const start = at.at;
    const char* const behind = behind_name(start, at.end);
    read = {start, static_cast<size_t>(behind - start)};
    if (read.size() > options_.m_name_limit)
        return refuse(def_ombrel_xml_fault_long_name, start);
    if (behind == at.end)
        return step::starving;
    if (read.empty() || *behind != ';')
        return refuse(def_ombrel_xml_fault_reference, behind);
    at.at = behind + 1;
    return check_name(read, start, false);
}

/// Either of the two behind "&".
step xml_parser::read_reference(cursor& at, reference& read) {
    at.at++;
    if (!at.skip("#"))
        return read_reference_name(at, read.called);
    uint32_t code = 0;
    const step done = read_number(at, code);
    if (done == step::go_on)
        read.size = put_utf8(code, read.bytes);
    return done;
}

/// The same in a text that is all there, behind which the text under way then begins.
step xml_parser::read_part_reference(cursor at, reference& read) {
    const char* const start = at.at;
    const step done = read_reference(at, read);
    if (done == step::go_on)
        parts_.last().text = at;
    return done == step::starving ? refuse(def_ombrel_xml_fault_reference, start) : done;
}

step xml_parser::read_reference(text_frame& frame) {
    cursor at = {frame.at, token_limit(frame)};
    reference read;
    if (const step done = read_reference(at, read); done != step::go_on)
        return done;
    frame.at = at.at;
    if (read.is_number())
        return emit_text(read.character());
    if (const std::string_view text = predefined_text(read.called); !text.empty())
        return emit_text(text);
    return refer_to(read.called);
}

/// What an entity is called that is being read.
std::string_view xml_parser::source_name(const text_frame& frame) {
    return frame.source != nullptr ? frame.source->called->full : std::string_view();
}

/// A document that shows all of its declarations must have one for each entity.
bool xml_parser::must_be_declared() const {
    const bool is_in_document = frames_.size() == 1 || stage_ == stage::content;
    return is_in_document && (is_standalone_ || !(has_external_subset_ || has_parameters_));
}

/// Gives none, which is to be skipped, when the declaration may stand in what was not read.
step xml_parser::find_entity(std::string_view called, const char* at, entity*& found) {
    const name* const known = names_.find(called);
    found = known != nullptr ? known->general : nullptr;
    const bool is_strict = must_be_declared();
    if (found != nullptr && is_strict && is_standalone_ && found->is_declared_outside)
        found = nullptr;
    if (found == nullptr)
        return is_strict ? refuse(def_ombrel_xml_fault_undeclared, at, called) : step::go_on;
    if (found->kind == def_ombrel_xml_entity_unparsed)
        return refuse(def_ombrel_xml_fault_unparsed, at, called);
    return found->is_open ? refuse(def_ombrel_xml_fault_recursion, at, called) : step::go_on;
}

step xml_parser::refer_to(std::string_view called) {
    entity* found = nullptr;
    if (const step done = find_entity(called, nullptr, found); done != step::go_on)
        return done;
    if (found != nullptr)
        return enter(*found, frame_use::content);
    entity unknown{};
    unknown.kind = def_ombrel_xml_entity_undeclared;
    return skip_entity(unknown, called);
}

step xml_parser::skip_entity(const entity& skipped, std::string_view called) {
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_skipped);
    event.m_name = plain_event_name(called);
    event.m_entity = skipped.kind;
    event.m_public_id = event_text(skipped.public_id);
    event.m_system_id = event_text(skipped.system_id);
    return emit(event);
}

/// @param is_nested whether the reference stands in an entity itself
step xml_parser::count_expansion(size_t size, bool is_nested) {
    expansion_ += size;
    nested_ += is_nested;
    if (nested_ > options_.m_nested_entity_limit)
        return refuse(def_ombrel_xml_fault_expansion);
    if (expansion_ <= options_.m_expansion_limit)
        return step::go_on;
    const auto here = static_cast<uint64_t>(main_done_ + (frames_[0].token - window_start_));
    return expansion_ / std::max<uint64_t>(options_.m_amplification_limit, 1) > here ||
                   options_.m_amplification_limit == 0
               ? refuse(def_ombrel_xml_fault_expansion)
               : step::go_on;
}

/// Reading goes on in the entity.
step xml_parser::enter(entity& entered, frame_use use) {
    if (frames_.size() > options_.m_entity_depth_limit)
        return refuse(def_ombrel_xml_fault_deep_entities);
    const bool is_external = entered.kind == def_ombrel_xml_entity_external ||
                             entered.kind == def_ombrel_xml_entity_external_parameter;
    if (is_external)
        return enter_external(entered, use);
    if (const step done = count_expansion(entered.text.size(), frames_.size() > 1); done != step::go_on)
        return done;
    text_frame frame{};
    frame.token = frame.at = entered.text.data();
    frame.end = frame.at + entered.text.size();
    frame.source = &entered;
    frame.base = top().base;
    frame.depth = elements_.size();
    frame.use = use;
    frame.is_outside = top().is_outside;
    entered.is_open = true;
    return frames_.push(frame) ? step::go_on : refuse_memory();
}

step xml_parser::enter_external(entity& entered, frame_use use) {
    ombrel_xml_external_t wanted{};
    wanted.m_entity = entered.kind;
    wanted.m_name = event_text(entered.called->full);
    wanted.m_public_id = event_text(entered.public_id);
    wanted.m_system_id = event_text(entered.system_id);
    wanted.m_base = event_text(entered.base);
    bool is_skipped = false;
    text_frame loaded{};
    if (const step done = load(wanted, loaded, is_skipped); done != step::go_on)
        return done;
    if (is_skipped && use == frame_use::content)
        return skip_entity(entered, entered.called->full);
    if (is_skipped)
        return skip_parameter(entered, entered.called->full);
    loaded.source = &entered;
    loaded.use = use;
    loaded.is_outside = true;
    entered.is_open = true;
    return begin_external(loaded);
}

step xml_parser::begin_external(text_frame& loaded) {
    loaded.depth = elements_.size();
    if (!frames_.push(loaded)) {
        free_text(loaded);
        return refuse_memory();
    }
    text_frame& frame = top();
    const auto size = static_cast<size_t>(frame.end - frame.at);
    if (const step done = count_expansion(size, false); done != step::go_on)
        return done;
    if (size < 6 || std::string_view(frame.at, 5) != "<?xml" || !is_space(frame.at[5]))
        return step::go_on;
    const step done = read_declaration(frame, true);
    return done == step::starving ? refuse(def_ombrel_xml_fault_declaration) : done;
}

/// The end of an entity's text.
step xml_parser::leave_frame() {
    const text_frame& frame = top();
    if (frame.has_flaw)
        return refuse(def_ombrel_xml_fault_bytes, frame.end);
    const bool is_content = frame.use == frame_use::content;
    // Conditional sections may end in another entity as long as both lie in the same part of the document
    // type.
    if (is_content ? in_section_ || elements_.size() != frame.depth : frames_.size() == 2 && sections_ > 0)
        return refuse(def_ombrel_xml_fault_entity_part, frame.end, source_name(frame));
    const bool is_subset = frame.use == frame_use::subset && frame.source == nullptr;
    drop_frame();
    return is_subset ? end_doctype() : step::go_on;
}

void xml_parser::drop_frame() {
    const text_frame& frame = top();
    if (frame.source != nullptr)
        frame.source->is_open = false;
    free_text(frame);
    frames_.truncate(frames_.size() - 1);
}

void xml_parser::free_text(const text_frame& frame) {
    if (frame.owned != nullptr)
        ombrel_free_tag(frame.owned, giver_.tag, giver_.line);
}

} // namespace ombrel::document
