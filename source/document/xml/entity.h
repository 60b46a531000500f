// What a document type declares.
#pragma once

#include <string_view>

#include <ombrel/xml.h>

#include "document/xml/name_table.h"

namespace ombrel::document {

struct entity {
    int kind; ///< def_ombrel_xml_entity_*
    const name* called;
    std::string_view text; ///< of internal ones
    std::string_view public_id, system_id, base;
    bool is_open;             ///< it is being read
    bool is_declared_outside; ///< in the external subset or a parameter entity
};

struct attribute_declaration {
    name* attribute;
    attribute_declaration* next; ///< of the same element, with a default
    int type;                    ///< def_ombrel_xml_type_*
    bool has_default;
    std::string_view value;
};

/// Brings the identifiers of an external entity together.
struct external_id {
    std::string_view public_id, system_id;
    bool has_public, has_system;
};

} // namespace ombrel::document
