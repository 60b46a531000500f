// Faults in the words of contexts.
#pragma once

#include "core/fault.h"

namespace ombrel::context {

/// The error of a context (def_ombrel_ctx_error_…) that stands for a fault.
int ctx_error_of(fault_code code);

/// What commands say of a context's error; empty for none.
const char* ctx_error_text(int error);

} // namespace ombrel::context
