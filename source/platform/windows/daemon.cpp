// Windows has services instead, which its own manager starts.
#include "platform/daemon.h"

#include <cstdlib>

#include "platform/fault.h"

namespace ombrel::platform {

bool can_detach() {
    return false;
}

detached_as detach_process(int& group) {
    group = 0;
    leave_fault(fault_code::not_supported);
    return detached_as::nobody;
}

void end_group(int) {}

void end_at_once(int exit_code) {
    _Exit(exit_code);
}

int raise_descriptor(int descriptor) {
    return descriptor;
}

bool enter_place(const daemon_place&) {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace ombrel::platform
