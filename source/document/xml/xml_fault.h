// Reasons for which documents are refused, and the faults that they are.
#pragma once

#include "core/fault.h"

namespace ombrel::document {

struct xml_fault_kind {
    fault_code code;
    const char* text;
    const char* text_with_name = nullptr; ///< a format for the name that it is about
};

/// @param reason a def_ombrel_xml_fault_*
const xml_fault_kind& xml_fault_kind_of(int reason);

} // namespace ombrel::document
