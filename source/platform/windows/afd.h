// Readiness of sockets, asked of the system's driver for sockets, as the system's own select() does. One
// question asks for many sockets, and is answered when one of them is ready; or many questions are under way,
// whose answers arrive at a completion port, so that a wait costs what is ready and not what is watched.
#pragma once

#include <cstddef>

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// A way to the driver that child processes do not inherit; null where there is none.
HANDLE open_afd();

/// One socket of a question, or of the answer, which has only those that are ready. The layout is the
/// driver's.
struct afd_socket {
    HANDLE socket; ///< of the lowest provider
    ULONG events;
    LONG status;
};

template<size_t room>
struct afd_question {
    LARGE_INTEGER time_limit; ///< in units of 100 ns, negative from now on
    ULONG count;
    ULONG is_exclusive;
    afd_socket sockets[room];

    /// Bytes of it that the driver needs.
    DWORD size() const {
        return static_cast<DWORD>(offsetof(afd_question, sockets) + count * sizeof(afd_socket));
    }
};

constexpr ULONG afd_closed = 0x20; ///< the event that this process closed the handle

/// Asks. True when the answer is there or will come to `progress`; until then neither it nor the question may
/// go. Else false with the error of GetLastError().
bool ask_afd(HANDLE afd, void* question, DWORD size, OVERLAPPED& progress);

/// The events that make a socket ready for kinds of poll.h, and the kinds for which events make it ready.
ULONG afd_events_for(unsigned kinds);
unsigned kinds_for_afd(ULONG events);

/// The handle that the driver knows: programs may have put layers above it. INVALID_HANDLE_VALUE for what is
/// no socket.
HANDLE base_handle_of(int s);

} // namespace ombrel::platform
