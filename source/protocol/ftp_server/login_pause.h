// How long wrong passwords are made to wait, by where they come from.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/listener.h"

namespace ombrel::protocol {

/// Part of a server's record, all zero at first. It knows so many addresses; those whose last failure is the
/// longest ago are forgotten for others.
class login_pauses {
public:
    /// Counts one more failure. A log-in that succeeds takes none back: whoever has an account would so try
    /// the passwords of others without a pause.
    /// @return the pause before its answer, in milliseconds
    int after_failure(const client_place& of, int first_ms);

private:
    struct failing {
        uint8_t network[ipv6_size];
        int failures; ///< 0 for a free place
        uint64_t last;
    };
    failing& place_of(const client_place& of);

    static constexpr size_t known = 256;
    failing places_[known];
};

} // namespace ombrel::protocol
