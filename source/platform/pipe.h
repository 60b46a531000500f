// Anonymous pipes.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// Makes a pipe that child processes do not inherit: read end first.
bool open_pipe(int ends[2]);

void close_descriptor(int descriptor);

inline constexpr int read_timed_out = -2;

/// Bytes read, 0 at the end, -1 on an error, `read_timed_out`; a negative limit waits for ever.
int read_descriptor(int descriptor, void* buffer, size_t size, int timeout_milliseconds);

/// Bytes written or -1; a closed reader raises no signal.
int write_descriptor(int descriptor, const void* data, size_t size);

} // namespace ombrel::platform
