// Transfers within a deadline that signals do not cut short.
#pragma once

#include <cstddef>

#include <ombrel/select.h>
#include <ombrel/socket.h>

#include "core/deadline.h"
#include "core/fault.h"

namespace ombrel::protocol {

/// @return as ombrel_recv()
inline int receive_until(int s, void* buffer, size_t size, const deadline& limit) {
    for (;;) {
        const int result = ombrel_recv(s, buffer, size, limit.left());
        if (!failed_by(result, fault_code::interrupted))
            return result;
    }
}

/// @return as ombrel_send()
inline int send_until(int s, const void* data, size_t size, const deadline& limit) {
    for (;;) {
        const int result = ombrel_send(s, data, size, limit.left());
        if (!failed_by(result, fault_code::interrupted))
            return result;
    }
}

/// @param flags what to wait for, as ombrel_single_select()
/// @return 1 when the socket is ready, 0 when the time ran out, -1 on an error
inline int wait_until_ready(int s, int flags, const deadline& limit) {
    for (;;) {
        const int result = ombrel_single_select(s, flags, limit.left());
        if (!failed_by(result, fault_code::interrupted))
            return result > 0 ? 1 : result;
    }
}

} // namespace ombrel::protocol
