// Faults in the words of contexts.
#pragma once

#include "core/fault.h"

namespace ombrel::context {

/// The error of a context (def_ombrel_ctx_error_…) that stands for a fault.
int ctx_error_of(fault_code code);

/// The fault that an error of a context is nearest to.
fault_code fault_of_ctx_error(int error);

} // namespace ombrel::context
