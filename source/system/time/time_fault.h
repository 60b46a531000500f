// Failing, in a line.
#pragma once

#include "core/fault.h"

namespace ombrel::system {

/// Leaves the fault; -1.
inline int fail(fault_code code) {
    leave_fault(code);
    return -1;
}

inline int refuse() {
    return fail(fault_code::invalid);
}

} // namespace ombrel::system
