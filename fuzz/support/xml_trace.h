// Events of the parser of XML as text, in which cuts of texts do not show, and the suite's canonical forms.
#pragma once

#include <map>
#include <string>

#include <ombrel/xml.h>

namespace xml_trace {

inline std::string text_of(const ombrel_xml_text_t& text) {
    return {text.m_data, text.m_size};
}

struct recorder {
    std::string events;
    std::string canonical;
    std::map<std::string, std::string> notations;
    size_t doctype = 0; ///< where it stands in the canonical form
    size_t starts = 0, ends = 0;
    bool is_in_text = false;

    static int take(const ombrel_xml_event_t* event, void* context) {
        static_cast<recorder*>(context)->add(*event);
        return 0;
    }

    void add(const ombrel_xml_event_t& event) {
        const bool is_text = event.m_kind == def_ombrel_xml_event_text;
        if (!is_text || !is_in_text)
            events += "\n" + std::to_string(event.m_kind) + "|";
        is_in_text = is_text;
        starts += event.m_kind == def_ombrel_xml_event_element;
        ends += event.m_kind == def_ombrel_xml_event_element_end;
        events += text_of(event.m_text);
        if (!is_text)
            add_parts(event);
        add_canonical(event);
    }

    /// The second form has the notations, too.
    std::string second() const {
        std::string all;
        for (const auto& [called, source] : notations)
            all += "<!NOTATION " + called + " " + source + ">\n";
        if (notations.empty())
            return canonical;
        return canonical.substr(0, doctype) + "<!DOCTYPE " + root + " [\n" + all + "]>\n" +
               canonical.substr(doctype);
    }

private:
    std::string root;

    void add_name(const ombrel_xml_name_t& name) {
        events += text_of(name.m_full) + "|" + text_of(name.m_prefix) + "|" + text_of(name.m_local) + "|" +
                  text_of(name.m_uri) + "|";
    }
    void add_parts(const ombrel_xml_event_t& event) {
        events += "|";
        add_name(event.m_name);
        events += std::to_string(event.m_entity) + "|" + std::to_string(event.m_flags);
        for (const auto* text : {&event.m_public_id, &event.m_system_id, &event.m_base, &event.m_notation,
                                 &event.m_version, &event.m_encoding})
            events += "|" + text_of(*text);
        for (size_t i = 0; i < event.m_attribute_count; i++) {
            const ombrel_xml_attribute_t& each = event.m_attributes[i];
            events += "\n  ";
            add_name(each.m_name);
            events += text_of(each.m_value) + "|" + std::to_string(each.m_type) + "|" +
                      std::to_string(each.m_flags);
        }
    }

    static std::string escaped(const ombrel_xml_text_t& text) {
        static const std::map<char, std::string> escapes = {{'&', "&amp;"},  {'<', "&lt;"},  {'>', "&gt;"},
                                                            {'"', "&quot;"}, {'\t', "&#9;"}, {'\n', "&#10;"},
                                                            {'\r', "&#13;"}};
        std::string to;
        for (const char c : text_of(text))
            to += escapes.count(c) ? escapes.at(c) : std::string(1, c);
        return to;
    }
    void add_canonical(const ombrel_xml_event_t& event) {
        std::map<std::string, std::string> attributes;
        switch (event.m_kind) {
        case def_ombrel_xml_event_doctype:
            root = text_of(event.m_name.m_full);

            break;
        case def_ombrel_xml_event_doctype_end:
            doctype = canonical.size();
            break;
        case def_ombrel_xml_event_notation_declaration:
            notations[text_of(event.m_name.m_full)] =
                (event.m_flags & def_ombrel_xml_mark_has_public)
                    ? "PUBLIC '" + text_of(event.m_public_id) + "'" +
                          ((event.m_flags & def_ombrel_xml_mark_has_system)
                               ? " '" + text_of(event.m_system_id) + "'"
                               : std::string())
                    : "SYSTEM '" + text_of(event.m_system_id) + "'";
            break;
        case def_ombrel_xml_event_element:
            canonical += "<" + text_of(event.m_name.m_full);
            for (size_t i = 0; i < event.m_attribute_count; i++)
                attributes[text_of(event.m_attributes[i].m_name.m_full)] =
                    escaped(event.m_attributes[i].m_value);
            for (const auto& [called, value] : attributes)
                canonical += " " + called + "=\"" + value + "\"";
            canonical += ">";
            break;
        case def_ombrel_xml_event_element_end:
            canonical += "</" + text_of(event.m_name.m_full) + ">";
            break;
        case def_ombrel_xml_event_text:
            canonical += escaped(event.m_text);
            break;
        case def_ombrel_xml_event_instruction:
            canonical += "<?" + text_of(event.m_name.m_full) + " " + text_of(event.m_text) + "?>";
            break;
        default:
            break;
        }
    }
};

} // namespace xml_trace
