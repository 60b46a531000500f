#include "platform/poll.h"

#include <algorithm>
#include <array>

#include <fcntl.h>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/posix/poll_kinds.h"

namespace ombrel::platform {

namespace {

/// How long a descriptor with nothing but a hang-up that nobody asked for is left out of the wait.
constexpr int pause_milliseconds = 5;

int shorter_pause(int left) {
    return left < 0 ? pause_milliseconds : std::min(left, pause_milliseconds);
}

/// A record of which poll() takes no notice.
void set_aside(pollfd& one) {
    one.fd = ~one.fd;
    one.revents = 0;
}

/// Counts the records with something that was asked for; sets the other ones that were reported aside.
int take_wanted(pollfd* records, size_t count) {
    int wanted = 0;
    for (pollfd* one = records; one != records + count; one++) {
        if (one->revents == 0)
            continue;
        if (kinds_at(*one) != 0 || (one->revents & POLLNVAL) != 0)
            wanted++;
        else
            set_aside(*one);
    }
    return wanted;
}

/// The same records as before in the end, whatever was set aside.
class taking_back {
public:
    taking_back(pollfd* records, size_t count) : records_(records), count_(count) {}
    ~taking_back() { now(); }
    taking_back(const taking_back&) = delete;
    taking_back& operator=(const taking_back&) = delete;

    void now() {
        for (pollfd* one = records_; one != records_ + count_; one++)
            one->fd = std::max(one->fd, ~one->fd);
    }

private:
    pollfd* records_;
    size_t count_;
};

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

bool is_open_descriptor(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

int poll_for_kinds(pollfd* records, size_t count, int timeout_milliseconds) {
    taking_back aside(records, count);
    const uint64_t end = moment_after(timeout_milliseconds);
    int wait = std::max(timeout_milliseconds, -1);
    while (true) {
        const int reported = poll(records, static_cast<nfds_t>(count), wait);
        if (reported < 0)
            return -1;
        const int wanted = take_wanted(records, count);
        const int left = milliseconds_until(end);
        if (wanted != 0 || left == 0)
            return wanted;
        wait = left;
        if (reported != 0)
            wait = shorter_pause(left);
        else
            aside.now();
    }
}

int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds) {
    std::array<pollfd, most_poll_requests> waiting;
    if (count > waiting.size()) {
        leave_fault(fault_code::invalid);
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
        leave_fault(fault_code::bad_descriptor);
        return -1;
    }
    return mark_ready(requests, waiting.data(), count);
}

} // namespace ombrel::platform
