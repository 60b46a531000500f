#if !defined(OMBREL_PLAIN_POLL)

#include "platform/poll.h"

#include <cerrno>
#include <cstdlib>
#include <limits.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "platform/posix/poll_kinds.h"

namespace ombrel::platform {

struct poll_set {
    int epoll;
    size_t room;
    epoll_event* ready;
};

namespace {

constexpr size_t least_room = 64;

// So that the mapping of the kinds is that of poll().
static_assert(EPOLLIN == POLLIN && EPOLLOUT == POLLOUT && EPOLLPRI == POLLPRI && EPOLLHUP == POLLHUP &&
              EPOLLERR == POLLERR);

uint32_t events_for(const watch_request& wanted) {
    return to_poll(wanted.bits) | (wanted.once ? static_cast<uint32_t>(EPOLLONESHOT) : 0u) |
           (wanted.quiet ? static_cast<uint32_t>(EPOLLET) : 0u);
}

} // namespace

poll_set* open_poll_set() {
    auto* set = static_cast<poll_set*>(malloc(sizeof(poll_set)));
    auto* ready = static_cast<epoll_event*>(malloc(least_room * sizeof(epoll_event)));
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    if (set != nullptr && ready != nullptr && epoll >= 0) {
        *set = {epoll, least_room, ready};
        return set;
    }
    if (epoll >= 0)
        close(epoll);
    free(ready);
    free(set);
    return nullptr;
}

void close_poll_set(poll_set* set) {
    close(set->epoll);
    free(set->ready);
    free(set);
}

watch_result watch_descriptor(poll_set& set, int descriptor, const watch_request& wanted) {
    epoll_event event{};
    event.events = events_for(wanted);
    event.data.u64 = (static_cast<uint64_t>(wanted.generation) << 32) | static_cast<uint32_t>(descriptor);
    int operation = wanted.known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (epoll_ctl(set.epoll, operation, descriptor, &event) == 0)
        return watch_result::watched;
    if (errno == EPERM)
        return watch_result::always_ready;
    if (errno != ENOENT && errno != EEXIST)
        return watch_result::failed;
    operation = errno == ENOENT ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    if (epoll_ctl(set.epoll, operation, descriptor, &event) == 0)
        return watch_result::watched;
    return errno == EPERM ? watch_result::always_ready : watch_result::failed;
}

void forget_descriptor(poll_set& set, int descriptor) {
    epoll_event unused{};
    epoll_ctl(set.epoll, EPOLL_CTL_DEL, descriptor, &unused);
}

bool renew_poll_set(poll_set& set) {
    const int fresh = epoll_create1(EPOLL_CLOEXEC);
    if (fresh < 0)
        return false;
    close(set.epoll);
    set.epoll = fresh;
    return true;
}

void prepare_wait(poll_set& set, size_t watched) {
    if (watched <= set.room || watched > INT_MAX / 2 / sizeof(epoll_event))
        return;
    const size_t room = watched * 2;
    // Without the memory the wait reports what has room, and the rest in the next one.
    if (auto* larger = static_cast<epoll_event*>(realloc(set.ready, room * sizeof(epoll_event)))) {
        set.ready = larger;
        set.room = room;
    }
}

int wait_for_descriptors(poll_set& set, int timeout_milliseconds) {
    const int timeout = timeout_milliseconds < 0 ? -1 : timeout_milliseconds;
    return epoll_wait(set.epoll, set.ready, static_cast<int>(set.room), timeout);
}

bool wait_sees_changes() {
    return true;
}

ready_descriptor ready_at(const poll_set& set, int index) {
    const epoll_event& event = set.ready[index];
    const uint64_t data = event.data.u64;
    return {static_cast<int>(static_cast<uint32_t>(data)), static_cast<uint32_t>(data >> 32),
            from_poll(event.events)};
}

} // namespace ombrel::platform

#endif
