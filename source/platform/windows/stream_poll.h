// Readiness of pipes and terminals, of which the system mostly gives no notice: they are looked at again and
// again.
#pragma once

#include <algorithm>

namespace ombrel::platform {

/// The pauses of one wait between two looks, which grow, so that a long wait costs little.
class growing_pause {
public:
    /// The next one, no longer than what is left; negative for no limit.
    int next(int left) {
        constexpr int longest_milliseconds = 16;
        const int pause = milliseconds_;
        milliseconds_ = std::min(pause * 2, longest_milliseconds);
        return left < 0 ? pause : std::min(left, pause);
    }

private:
    int milliseconds_ = 1;
};

/// The kinds of poll.h for which an open file, pipe or terminal is ready. Of the room in a pipe the system
/// does not always tell; then it counts as ready after a pause, or at once for who does not wait, so that a
/// write may try.
unsigned ready_kinds_of(int descriptor, bool after_pause);

} // namespace ombrel::platform
