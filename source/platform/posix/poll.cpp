#include "platform/poll.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/posix/poll_kinds.h"

namespace ombrel::platform {

namespace {

bool is_closed(const pollfd& one) {
    return (one.revents & POLLNVAL) != 0;
}

int mark_ready(poll_request* requests, const pollfd* found, size_t count) {
    int ready = 0;
    for (size_t i = 0; i < count; i++) {
        requests[i].ready = kinds_at(found[i]) != 0;
        ready += requests[i].ready;
    }
    return ready;
}

} // namespace

int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds) {
    std::array<pollfd, most_poll_requests> waiting;
    if (count > waiting.size()) {
        errno = EINVAL;
        return -1;
    }
    for (size_t i = 0; i < count; i++) {
        const unsigned events = to_poll(static_cast<unsigned>(requests[i].kind));
        waiting[i] = {requests[i].descriptor, static_cast<short>(events), 0};
        requests[i].ready = false;
    }
    const int found = poll_for_kinds(waiting.data(), count, timeout_milliseconds);
    if (found <= 0)
        return found;
    if (std::any_of(waiting.data(), waiting.data() + count, is_closed)) {
        errno = EBADF;
        return -1;
    }
    return mark_ready(requests, waiting.data(), count);
}

} // namespace ombrel::platform
