// The public names of faults.
#include <iterator>

#include <ombrel/fault.h>

#include "core/fault.h"

using namespace ombrel;

namespace {

struct public_fault {
    int number;
    fault_code code;
    const char* name;
};

#define OMBREL_PUBLIC_FAULT(name)                                                                            \
    { def_ombrel_fault_##name, fault_code::name, #name }

constexpr public_fault public_faults[] = {
    OMBREL_PUBLIC_FAULT(none),           OMBREL_PUBLIC_FAULT(would_block),
    OMBREL_PUBLIC_FAULT(interrupted),    OMBREL_PUBLIC_FAULT(in_progress),
    OMBREL_PUBLIC_FAULT(timed_out),      OMBREL_PUBLIC_FAULT(busy),
    OMBREL_PUBLIC_FAULT(refused),        OMBREL_PUBLIC_FAULT(unreachable),
    OMBREL_PUBLIC_FAULT(not_connected),  OMBREL_PUBLIC_FAULT(aborted),
    OMBREL_PUBLIC_FAULT(reset),          OMBREL_PUBLIC_FAULT(closed),
    OMBREL_PUBLIC_FAULT(address_in_use), OMBREL_PUBLIC_FAULT(address_not_available),
    OMBREL_PUBLIC_FAULT(not_found),      OMBREL_PUBLIC_FAULT(not_directory),
    OMBREL_PUBLIC_FAULT(exists),         OMBREL_PUBLIC_FAULT(access_denied),
    OMBREL_PUBLIC_FAULT(is_directory),   OMBREL_PUBLIC_FAULT(not_empty),
    OMBREL_PUBLIC_FAULT(link_loop),      OMBREL_PUBLIC_FAULT(other_device),
    OMBREL_PUBLIC_FAULT(not_seekable),   OMBREL_PUBLIC_FAULT(no_space),
    OMBREL_PUBLIC_FAULT(too_large),      OMBREL_PUBLIC_FAULT(input_output),
    OMBREL_PUBLIC_FAULT(no_memory),      OMBREL_PUBLIC_FAULT(no_descriptor),
    OMBREL_PUBLIC_FAULT(no_process),     OMBREL_PUBLIC_FAULT(bad_descriptor),
    OMBREL_PUBLIC_FAULT(invalid),        OMBREL_PUBLIC_FAULT(not_supported),
    OMBREL_PUBLIC_FAULT(other),          OMBREL_PUBLIC_FAULT(unknown_host),
    OMBREL_PUBLIC_FAULT(violation),      OMBREL_PUBLIC_FAULT(rejected),
};

constexpr bool are_in_order() {
    for (size_t i = 0; i < std::size(public_faults); i++)
        if (public_faults[i].number != static_cast<int>(i) ||
            public_faults[i].code != static_cast<fault_code>(i))
            return false;
    return true;
}
// A public number is its code's own and its place in the table.
static_assert(are_in_order() && std::size(public_faults) == platform::fault_code_count);

const public_fault* find(int number) {
    return number >= 0 && static_cast<size_t>(number) < std::size(public_faults) ? &public_faults[number]
                                                                                 : nullptr;
}

} // namespace

int ombrel_last_fault() {
    return static_cast<int>(last_fault().code);
}

const char* ombrel_fault_text() {
    return fault_text(last_fault());
}

const char* ombrel_fault_name(int fault) {
    const public_fault* const found = find(fault);
    return found != nullptr ? found->name : "unknown";
}

void ombrel_leave_fault(int fault) {
    const public_fault* const found = find(fault);
    leave_fault(found != nullptr ? found->code : fault_code::none);
}
