// The kinds of readiness in the words of poll(), for all that waits for descriptors.
#pragma once

#include <cstddef>
#include <poll.h>

#include "platform/poll.h"

namespace ombrel::platform {

inline unsigned to_poll(unsigned kinds) {
    return ((kinds & poll_read) ? static_cast<unsigned>(POLLIN) : 0u) |
           ((kinds & poll_write) ? static_cast<unsigned>(POLLOUT) : 0u) |
           ((kinds & poll_exception) ? static_cast<unsigned>(POLLPRI) : 0u);
}

inline unsigned from_poll(unsigned events) {
    // An error together with a hang-up is how a connect fails.
    const bool failed = (events & (POLLERR | POLLHUP)) == (POLLERR | POLLHUP);
    return ((events & (POLLIN | POLLHUP | POLLERR)) ? poll_read : 0u) |
           ((events & (POLLOUT | POLLERR)) ? poll_write : 0u) |
           ((events & POLLPRI) || failed ? poll_exception : 0u);
}

/// The kinds asked for that poll_for_kinds() found; none when the descriptor is not open.
inline unsigned kinds_at(const pollfd& one) {
    return from_poll(static_cast<unsigned>(one.revents)) & from_poll(static_cast<unsigned>(one.events));
}

/// poll() without the hang-ups and errors that nobody asked for, which it would report again and again.
/// @param timeout_milliseconds negative waits for ever
/// @return records with a kind that was asked for or without an open descriptor, 0 on time-out, -1 on an
/// error; the others have no revents
int poll_for_kinds(pollfd* records, size_t count, int timeout_milliseconds);

} // namespace ombrel::platform
