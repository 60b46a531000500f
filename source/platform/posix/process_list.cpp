// POSIX has no calls that tell of other processes.
#include "platform/process_list.h"

#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

uint32_t processor_ticks_per_second() {
    const long ticks = sysconf(_SC_CLK_TCK);
    return ticks > 0 ? static_cast<uint32_t>(ticks) : 100;
}

#if !defined(__linux__)

namespace {

template<typename Result>
Result refuse(Result result) {
    leave_fault(fault_code::not_supported);
    return result;
}

} // namespace

process_walk* open_process_walk() {
    return refuse<process_walk*>(nullptr);
}

void close_process_walk(process_walk*) {}

int next_process(process_walk&, listed_process&) {
    return refuse(-1);
}

bool find_listed_process(process_walk&, int, listed_process&) {
    return refuse(false);
}

bool read_arguments(process_walk&, int, size_t, argument_text&) {
    return refuse(false);
}

bool signal_listed_process(process_walk&, const listed_process&, int) {
    return refuse(false);
}

bool get_processor_ticks(int, processor_ticks&) {
    return refuse(false);
}

bool get_system_load(system_load&) {
    return refuse(false);
}

#endif

} // namespace ombrel::platform
