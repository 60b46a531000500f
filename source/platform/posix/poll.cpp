#include "platform/poll.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>

#include "platform/clock.h"

namespace ombrel::platform {

namespace {

short events_of(readiness kind) {
    switch (kind) {
    case readiness::read:
        return POLLIN;
    case readiness::write:
        return POLLOUT;
    default:
        return POLLPRI;
    }
}

bool is_ready(readiness kind, short events) {
    switch (kind) {
    case readiness::read:
        return (events & (POLLIN | POLLHUP | POLLERR)) != 0;
    case readiness::write:
        return (events & (POLLOUT | POLLERR)) != 0;
    default:
        // An error together with a hang-up is how a connect fails.
        return (events & POLLPRI) != 0 || (events & (POLLERR | POLLHUP)) == (POLLERR | POLLHUP);
    }
}

/// Marks the ready requests and counts them; -1 for a descriptor that is not open.
int collect(poll_request* requests, const pollfd* waiting, size_t count) {
    const bool all_open = std::none_of(waiting, waiting + count,
                                       [](const pollfd& one) { return (one.revents & POLLNVAL) != 0; });
    if (!all_open) {
        errno = EBADF;
        return -1;
    }
    int ready = 0;
    for (size_t i = 0; i < count; i++) {
        requests[i].ready = is_ready(requests[i].kind, waiting[i].revents);
        ready += requests[i].ready;
    }
    return ready;
}

/// The time until a limit, in what poll() takes; rounded up, so that a wait never ends early.
class time_limit {
public:
    explicit time_limit(int milliseconds)
        : milliseconds_(milliseconds),
          end_(milliseconds > 0 ? monotonic_nanoseconds() + to_nanoseconds(milliseconds) : 0) {}

    int left() const {
        if (milliseconds_ <= 0)
            return milliseconds_ < 0 ? -1 : 0;
        const uint64_t now = monotonic_nanoseconds();
        return now >= end_ ? 0 : static_cast<int>((end_ - now + 999'999u) / 1'000'000u);
    }

private:
    static uint64_t to_nanoseconds(int milliseconds) {
        return static_cast<uint64_t>(milliseconds) * 1'000'000u;
    }

    int milliseconds_;
    uint64_t end_;
};

/// poll() wakes for a hang-up that nobody asked about, and would again at once: such a wait goes on in short
/// sleeps.
int sleep_shortly(int left) {
    constexpr int pause = 5;
    return poll(nullptr, 0, left < 0 ? pause : std::min(left, pause));
}

} // namespace

int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds) {
    std::array<pollfd, most_poll_requests> waiting;
    if (count > waiting.size()) {
        errno = EINVAL;
        return -1;
    }
    for (size_t i = 0; i < count; i++) {
        waiting[i] = {requests[i].descriptor, events_of(requests[i].kind), 0};
        requests[i].ready = false;
    }
    const time_limit limit(timeout_milliseconds);
    int left = timeout_milliseconds < 0 ? -1 : timeout_milliseconds;
    while (true) {
        const int woken = poll(waiting.data(), static_cast<nfds_t>(count), left);
        if (woken <= 0)
            return woken;
        const int ready = collect(requests, waiting.data(), count);
        left = limit.left();
        if (ready != 0 || left == 0)
            return ready;
        if (sleep_shortly(left) < 0)
            return -1;
        left = limit.left();
    }
}

} // namespace ombrel::platform
