// How what is about terminals and ports fails.
#pragma once

#include "core/fault.h"

namespace ombrel::system {

/// Leaves the fault; gives -1.
inline int failed_with(fault_code why) {
    leave_fault(why);
    return -1;
}

} // namespace ombrel::system
