// POSIX does not say how a machine is restarted.
#if !defined(__linux__)

#include "platform/power.h"

#include "platform/fault.h"

namespace ombrel::platform {

bool end_host(host_end) {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace ombrel::platform

#endif
