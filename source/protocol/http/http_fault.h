// Reasons for which messages are refused.
#pragma once

#include "core/fault.h"

namespace ombrel::protocol {

struct http_fault_kind {
    int status; ///< by which a server answers
    fault_code code;
    const char* text;
};

/// Of the reasons `def_ombrel_http_fault_*`; that of others has the text "unknown".
const http_fault_kind& http_fault_kind_of(int reason);

} // namespace ombrel::protocol
