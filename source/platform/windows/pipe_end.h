// An end of a pipe: transfers, and what those who wait for it must know. Ends that the seam makes for itself
// are overlapped; those that a child process gets, that this process was given, or that others made, mostly
// are not.
#pragma once

#include <cstddef>

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Whether transfers by the handle need an OVERLAPPED and go on by themselves. An overlapped read of no bytes
/// ends when there is something to read, or with ERROR_BROKEN_PIPE; other handles must be looked at again and
/// again.
bool is_overlapped(HANDLE handle);

enum class pipe_input {
    none,
    some,
    ended, ///< the writers are gone and everything was read; what is no read end counts as that
};
/// May wait while another thread reads by a handle that is not overlapped.
pipe_input look_for_input(HANDLE read_end);

/// Whether the other side is gone.
bool is_alone(HANDLE end);

enum class pipe_room {
    some, ///< or the reader is gone, which a write tells
    /// The pipe is full, or its reader waits with a large buffer, or the host does not tell: who waits for
    /// room makes a pause of some milliseconds and lets a write try, which never waits if it is told so.
    unclear,
};
pipe_room look_for_room(HANDLE write_end);

// Results of transfers are those of read_descriptor() and write_descriptor().

int read_pipe(HANDLE end, void* buffer, DWORD size, bool may_wait);
int write_pipe(HANDLE end, const void* data, DWORD size, bool may_wait);

} // namespace ombrel::platform
