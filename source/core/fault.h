// Why something failed: the one vocabulary for it, from the seam up to contexts and commands.
#pragma once

#include "platform/fault.h"

namespace ombrel {

using platform::failed_by;
using platform::failed_for_now;
using platform::fault;
using platform::fault_code;
using platform::fault_keeper;
using platform::last_fault;
using platform::leave_fault;

/// The host's words where it has some for the fault, the library's own for the others. They live until
/// the next call of this thread.
const char* fault_text(const fault& why);

} // namespace ombrel
