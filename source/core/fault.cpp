#include "core/fault.h"

namespace ombrel {

namespace {

/// Null where the host has words.
const char* own_text(fault_code code) {
    switch (code) {
    case fault_code::none:
        return "no fault";
    case fault_code::unknown_host:
        return "the host has no address";
    case fault_code::violation:
        return "the peer does not keep to the protocol";
    case fault_code::rejected:
        return "the peer said no";
    default:
        return nullptr;
    }
}

} // namespace

const char* fault_text(const fault& why) {
    if (const char* const own = own_text(why.code))
        return own;
    const int number = why.number != 0 ? why.number : platform::number_of(why.code);
    return number != 0 ? platform::host_fault_text(number) : "it failed";
}

} // namespace ombrel
