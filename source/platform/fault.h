// Why a call failed, in words that are the same on every system.
#pragma once

#include <cerrno>
#include <cstdint>

namespace ombrel::platform {

enum class fault_code : uint8_t {
    none,

    // Not now: the same call may succeed later.
    would_block,
    interrupted, ///< by a signal
    in_progress, ///< it goes on by itself
    timed_out,
    busy,

    // The way to a peer.
    refused,
    unreachable,
    not_connected,
    aborted, ///< before it was accepted
    reset,
    closed, ///< by the other side
    address_in_use,
    address_not_available,

    // Files.
    not_found,
    not_directory,
    exists,
    access_denied,
    is_directory,
    not_empty,
    link_loop,
    other_device,
    not_seekable,
    no_space,
    too_large, ///< for the host, or for a limit that the caller gave
    input_output,

    // What there is not enough of.
    no_memory,
    no_descriptor, ///< the process or the system has none left

    // A call that cannot succeed.
    no_process,
    bad_descriptor,
    invalid,
    not_supported,
    other, ///< the host's number says more

    // What the library itself finds: no host has a number for these, so they have some of the library's own.
    unknown_host,
    violation, ///< the peer does not keep to the protocol
    rejected,  ///< the peer said no
};
inline constexpr unsigned fault_code_count = static_cast<unsigned>(fault_code::rejected) + 1;

struct fault {
    fault_code code = fault_code::none;
    int number = 0; ///< the host's, as `errno` has it; 0 for what the library found itself

    constexpr fault() = default;
    constexpr fault(fault_code what, int host_number = 0) : code(what), number(host_number) {}
    constexpr explicit operator bool() const { return code != fault_code::none; }
};

/// What an error number of the host means.
fault fault_of(int number);

/// The host's first number for a code, or the library's own; 0 when there is none.
int number_of(fault_code code);

/// The host's words for one of its numbers, null where it has none. They live until the next call of this
/// thread.
const char* host_fault_text(int number);

/// Why the calling thread's last call of the seam failed, to be asked at once: a call that succeeds may
/// change it. Failing calls of the seam leave it in `errno`, which the public interface promises to its
/// callers.
inline fault last_fault() {
    return fault_of(errno);
}

/// Makes it the last fault of the calling thread. Only `none` and `other` without a number leave none.
inline void leave_fault(const fault& why) {
    errno = why.number != 0 ? why.number : number_of(why.code);
}

/// Whether a call that gave `result` failed, and so.
inline bool failed_by(int64_t result, fault_code code) {
    return result == -1 && last_fault().code == code;
}

/// Whether it failed for a reason that passes.
inline bool failed_for_now(int64_t result) {
    return failed_by(result, fault_code::would_block) || failed_by(result, fault_code::interrupted);
}

/// Leaves the last fault at the end of a scope as it was at its start. May be used in signal handlers.
class fault_keeper {
public:
    fault_keeper() : number_(errno) {}
    ~fault_keeper() { errno = number_; }
    fault_keeper(const fault_keeper&) = delete;
    fault_keeper& operator=(const fault_keeper&) = delete;

private:
    int number_;
};

} // namespace ombrel::platform
