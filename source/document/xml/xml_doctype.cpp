// Whether a document type can stand in a document: what reads documents tells.
#include <ombrel/xml.h>

#include "core/fault.h"
#include "document/xml/growing_array.h"
#include "document/xml/xml_writing.h"

namespace ombrel::document {

namespace {

/// Whether the parser has come behind the document type, as what the text may be must not lead out of it.
int watch(const ombrel_xml_event_t* event, void* context) {
    bool& is_behind = *static_cast<bool*>(context);
    if (event->m_kind == def_ombrel_xml_event_doctype_end)
        is_behind = true;
    const bool is_root =
        event->m_kind == def_ombrel_xml_event_element || event->m_kind == def_ombrel_xml_event_element_end;
    return is_behind && !is_root && event->m_kind != def_ombrel_xml_event_doctype_end ? 1 : 0;
}

} // namespace

bool is_doctype(std::string_view name, std::string_view rest, bool with_namespaces) {
    leave_fault({});
    growing_array<char> document({"ombrel_xml_writer_doctype", __LINE__});
    for (const std::string_view part :
         {std::string_view("<!DOCTYPE "), name, std::string_view(" "), rest, std::string_view("><_/>")})
        if (!document.append(part.data(), part.size()))
            return leave_fault(fault_code::no_memory), false;
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    options.m_flags = with_namespaces ? def_ombrel_xml_namespaces : 0;
    bool is_behind = false;
    if (ombrel_is_xml_name(name.data(), name.size(), with_namespaces) == 1 &&
        ombrel_parse_xml(document.data(), document.size(), &options, watch, &is_behind, nullptr) == 0)
        return true;
    if (last_fault().code != fault_code::no_memory)
        leave_fault(fault_code::violation);
    return false;
}

} // namespace ombrel::document
