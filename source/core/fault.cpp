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

/// For what a host has a number but no words, as Windows for all that has to do with networks.
const char* text_for_silent_host(fault_code code) {
    switch (code) {
    case fault_code::in_progress:
        return "it goes on by itself";
    case fault_code::timed_out:
        return "the time limit passed";
    case fault_code::refused:
        return "nobody listens there";
    case fault_code::unreachable:
        return "no way leads to the peer";
    case fault_code::not_connected:
        return "there is no peer";
    case fault_code::aborted:
        return "the peer left before it was accepted";
    case fault_code::reset:
        return "the peer broke the connection off";
    case fault_code::address_in_use:
        return "another has the address";
    case fault_code::address_not_available:
        return "it is no address of this host";
    case fault_code::link_loop:
        return "symbolic links lead round in a circle";
    case fault_code::not_supported:
        return "this host has no such thing";
    default:
        return "it failed";
    }
}

} // namespace

const char* fault_text(const fault& why) {
    if (const char* const own = own_text(why.code))
        return own;
    const int number = why.number != 0 ? why.number : platform::number_of(why.code);
    const char* const of_host = number != 0 ? platform::host_fault_text(number) : nullptr;
    return of_host != nullptr ? of_host : text_for_silent_host(why.code);
}

} // namespace ombrel
