// Waiting for descriptors of any value.
#pragma once

#include <cstddef>

namespace ombrel::platform {

enum class readiness { read, write, exception };

/// One question about one descriptor, and its answer.
struct poll_request {
    int descriptor;
    readiness kind;
    bool ready;
};

inline constexpr size_t most_poll_requests = 192;

/// Waits until a request is ready, with the meaning that `select` gives to the kinds; a failed connect is
/// exceptional too. A descriptor may stand in several requests.
/// @param timeout_milliseconds negative waits for ever
/// @return ready requests, 0 on time-out, -1 on an error (errno), with no request marked ready
int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds);

} // namespace ombrel::platform
