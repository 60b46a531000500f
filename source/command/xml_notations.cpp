#include "command/xml_notations.h"

#include <algorithm>

#include "command/command_input.h"

namespace ombrel::command {

bool xml_notations::begin(std::string_view root) {
    return append("<!DOCTYPE ") && append(root) && append(" [\n") && lines_.push({0, text_.size()});
}

bool xml_notations::append_literal(std::string_view before, const ombrel_xml_text_t& literal) {
    return append(before) && append("'") && append({literal.m_data, literal.m_size}) && append("'");
}

bool xml_notations::add(const ombrel_xml_event_t& declaration) {
    const size_t at = text_.size();
    const ombrel_xml_text_t& name = declaration.m_name.m_full;
    const bool has_public = (declaration.m_flags & def_ombrel_xml_mark_has_public) != 0;
    const bool has_system = (declaration.m_flags & def_ombrel_xml_mark_has_system) != 0;
    return append("<!NOTATION ") && append({name.m_data, name.m_size}) &&
           (!has_public || append_literal(" PUBLIC ", declaration.m_public_id)) &&
           (!has_system || append_literal(has_public ? " " : " SYSTEM ", declaration.m_system_id)) &&
           append(">\n") && lines_.push({at, text_.size() - at});
}

bool xml_notations::put() {
    if (lines_.size() < 2)
        return true;
    const auto text_of = [this](const line& one) {
        return std::string_view(text_.data() + one.at, one.size);
    };
    std::sort(lines_.begin() + 1, lines_.end(),
              [&](const line& left, const line& right) { return text_of(left) < text_of(right); });
    for (const line& one : lines_)
        if (!put_bytes(text_of(one).data(), one.size))
            return false;
    return put_bytes("]>\n", 3);
}

} // namespace ombrel::command
