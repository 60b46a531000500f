// Texts as events have them.
#pragma once

#include <string_view>

#include <ombrel/xml.h>

#include "document/xml/name_table.h"

namespace ombrel::document {

inline ombrel_xml_text_t event_text(std::string_view text) {
    return {text.data() != nullptr ? text.data() : "", text.size()};
}

/// A name without a namespace.
inline ombrel_xml_name_t plain_event_name(std::string_view full) {
    return {event_text(full), event_text({}), event_text(full), event_text({})};
}

inline ombrel_xml_name_t event_name(const name& called, const name* uri) {
    return {event_text(called.full),
            event_text(called.prefix != nullptr ? called.prefix->full : std::string_view()),
            event_text(called.local->full), event_text(uri != nullptr ? uri->full : std::string_view())};
}

inline std::string_view view_of(const ombrel_xml_text_t& text) {
    return {text.m_data, text.m_size};
}

} // namespace ombrel::document
