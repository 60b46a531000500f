// Readiness of pipes and terminals, of which the system mostly gives no notice: they are looked at again and
// again.
#pragma once

#include <algorithm>

namespace ombrel::platform {

/// How long a wait pauses between two looks.
constexpr int pause_milliseconds = 5;

inline int shorter_pause(int left) {
    return left < 0 ? pause_milliseconds : std::min(left, pause_milliseconds);
}

/// The kinds of poll.h for which an open file, pipe or terminal is ready. Of the room in a pipe the system
/// does not always tell; then it counts as ready after a pause, so that a write may try.
unsigned ready_kinds_of(int descriptor, bool after_pause);

} // namespace ombrel::platform
