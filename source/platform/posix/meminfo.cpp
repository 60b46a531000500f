// POSIX itself tells nothing of memory.
#if !defined(__linux__)

#include "platform/meminfo.h"

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

bool refuse() {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace

bool get_machine_memory(machine_memory&) {
    return refuse();
}

bool get_process_memory(int, process_memory&) {
    return refuse();
}

bool get_container_memory(container_memory&) {
    return refuse();
}

} // namespace ombrel::platform

#endif
