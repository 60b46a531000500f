#include "document/xml/parser.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::document {

/// The value, put together at the end of values_: a place there, not a pointer, as values_ moves.
step xml_parser::normalise_value(std::string_view raw, bool is_own_text, int type, std::string_view& value) {
    const size_t start = values_.size();
    value_start_ = start;
    parts_.clear();
    if (!parts_.push({{raw.data(), raw.data() + raw.size()}, nullptr}))
        return refuse_memory();
    while (!parts_.empty()) {
        if (parts_.last().text.is_at_end()) {
            leave_part();
            continue;
        }
        if (const step done = expand_part(is_own_text && parts_.size() == 1); done != step::go_on)
            return done;
    }
    if (type != def_ombrel_xml_type_cdata)
        collapse_spaces(start);
    has_values_ = true;
    value = {reinterpret_cast<const char*>(start), values_.size() - start};
    return step::go_on;
}

void xml_parser::leave_part() {
    if (parts_.last().source != nullptr)
        parts_.last().source->is_open = false;
    parts_.truncate(parts_.size() - 1);
}

/// A run of plain text and what ends it. References may move parts_.
step xml_parser::expand_part(bool has_line_ends) {
    cursor at = parts_.last().text;
    const char* const start = at.at;
    at.at += scans_.value_run(at.at, at.left(), '<');
    if (const step done = add_value({start, static_cast<size_t>(at.at - start)}); done != step::go_on)
        return done;
    if (at.is_at_end()) {
        parts_.last().text = at;
        return step::go_on;
    }
    if (*at.at == '&')
        return expand_value_reference(at);
    if (*at.at == '<')
        return refuse(def_ombrel_xml_fault_value, at.at);
    const bool is_long = static_cast<unsigned char>(*at.at) == 0xEF;
    const std::string_view text = is_long ? std::string_view(at.at, 3) : " ";
    if (has_line_ends && *at.at == '\r' && at.left() > 1 && at.at[1] == '\n')
        at.at++;
    at.at += is_long ? 3 : 1;
    parts_.last().text = at;
    return add_value(text);
}

step xml_parser::expand_value_reference(cursor at) {
    reference read;
    if (const step done = read_part_reference(at, read); done != step::go_on)
        return done;
    if (read.is_number())
        return add_value(read.character());
    if (const std::string_view text = predefined_text(read.called); !text.empty())
        return add_value(text);
    entity* found = nullptr;
    if (const step done = find_entity(read.called, at.at, found); done != step::go_on)
        return done;
    // By design no event tells of entities that are skipped in values.
    return found != nullptr ? enter_part(*found, at.at) : step::go_on;
}

step xml_parser::enter_part(entity& entered, const char* at) {
    if (entered.kind != def_ombrel_xml_entity_internal)
        return refuse(def_ombrel_xml_fault_external_value, at, entered.called->full);
    if (frames_.size() + parts_.size() > options_.m_entity_depth_limit + 1)
        return refuse(def_ombrel_xml_fault_deep_entities, at);
    const bool is_nested = parts_.size() > 1 || frames_.size() > 1;
    if (const step done = count_expansion(entered.text.size(), is_nested); done != step::go_on)
        return done;
    entered.is_open = true;
    const char* const text = entered.text.data();
    return parts_.push({{text, text + entered.text.size()}, &entered}) ? step::go_on : refuse_memory();
}

step xml_parser::add_value(std::string_view text) {
    if (text.size() > options_.m_value_limit - (values_.size() - value_start_))
        return refuse(def_ombrel_xml_fault_long_value);
    return values_.append(text.data(), text.size()) ? step::go_on : refuse_memory();
}

/// Of types other than CDATA no space is kept at the ends, and one at most between words.
void xml_parser::collapse_spaces(size_t from) {
    size_t to = from;
    for (size_t i = from; i < values_.size(); i++)
        if (values_[i] != ' ' || (to > from && values_[to - 1] != ' '))
            values_[to++] = values_[i];
    if (to > from && values_[to - 1] == ' ')
        to--;
    values_.truncate(to);
}

} // namespace ombrel::document
