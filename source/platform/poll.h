// Waiting for descriptors of any value.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// Both ways of waiting, here and in poll_set.h, give the kinds the meaning that `select` gives them: a
/// hang-up is readable, an error readable and writable; a failed connect, an error together with a hang-up,
/// is exceptional too.
inline constexpr unsigned poll_read = 1, poll_write = 2, poll_exception = 4;

enum class readiness : unsigned { read = poll_read, write = poll_write, exception = poll_exception };

/// One question about one descriptor, and its answer.
struct poll_request {
    int descriptor;
    readiness kind;
    bool ready;
};

inline constexpr size_t most_poll_requests = 192;

/// Waits until a request is ready. A descriptor may stand in several requests.
/// @param timeout_milliseconds negative waits for ever
/// @return ready requests, 0 on time-out, -1 on an error (errno), with no request marked ready
int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds);

} // namespace ombrel::platform
