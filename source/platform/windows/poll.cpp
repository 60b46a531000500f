#include "platform/poll.h"

#include <algorithm>
#include <array>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/windows/afd.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/stream_poll.h"

namespace ombrel::platform {

namespace {

/// One wait for several requests.
class poll_wait {
public:
    poll_wait(poll_request* requests, size_t count) : requests_(requests), count_(count) {}

    /// False, with its fault, when one of them is of no open descriptor.
    bool open();
    /// As poll_descriptors().
    int wait(int timeout_milliseconds);

private:
    int look_at_streams(bool after_pause);
    int wait_for_sockets(int milliseconds);
    int ask(HANDLE afd, int milliseconds);
    using plain_questions = std::array<WSAPOLLFD, most_poll_requests>;
    ULONG fill_plain_questions(plain_questions& asked) const;
    int poll_plainly(int milliseconds);
    int mark(HANDLE socket, unsigned kinds);

    poll_request* requests_;
    size_t count_;
    size_t sockets_ = 0;
    std::array<HANDLE, most_poll_requests> socket_; ///< null for what is none
};

/// The process's way to the driver for single questions, which stays.
HANDLE common_afd() {
    static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    void* afd = nullptr;
    const auto open = [](INIT_ONCE*, void*, void** opened) CALLBACK -> BOOL {
        *opened = open_afd();
        return TRUE;
    };
    InitOnceExecuteOnce(&once, open, nullptr, &afd);
    return afd;
}

LARGE_INTEGER time_limit_of(int milliseconds) {
    LARGE_INTEGER limit;
    limit.QuadPart = milliseconds < 0 ? INT64_MAX : -int64_t{10'000} * milliseconds;
    return limit;
}

/// Is set when an answer has come.
class event_of_answer {
public:
    event_of_answer() { progress_.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    ~event_of_answer() {
        if (progress_.hEvent != nullptr)
            CloseHandle(progress_.hEvent);
    }
    event_of_answer(const event_of_answer&) = delete;
    event_of_answer& operator=(const event_of_answer&) = delete;

    explicit operator bool() const { return progress_.hEvent != nullptr; }
    OVERLAPPED& progress() { return progress_; }
    /// False with the error of GetLastError(); a time limit that passed is none, and has a status above 0.
    bool wait(HANDLE afd) {
        DWORD size;
        return GetOverlappedResult(afd, &progress_, &size, TRUE) || static_cast<LONG>(progress_.Internal) > 0;
    }

private:
    OVERLAPPED progress_{};
};

SHORT plain_events_for(readiness kind) {
    switch (kind) {
    case readiness::read:
        return POLLRDNORM;
    case readiness::write:
        return POLLWRNORM;
    default:
        return POLLRDBAND;
    }
}

unsigned kinds_for_plain(SHORT events) {
    const bool is_broken = (events & POLLERR) != 0;
    return ((events & (POLLRDNORM | POLLHUP)) != 0 || is_broken ? poll_read : 0u) |
           ((events & POLLWRNORM) != 0 || is_broken ? poll_write : 0u) |
           ((events & POLLRDBAND) != 0 || is_broken ? poll_exception : 0u);
}

int fail_as_closed() {
    leave_fault(fault_code::bad_descriptor);
    return -1;
}

void forget_results(poll_request* requests, size_t count) {
    for (poll_request* one = requests; one != requests + count; one++)
        one->ready = false;
}

bool poll_wait::open() {
    for (size_t i = 0; i < count_; i++) {
        const descriptor_kind kind = kind_of(requests_[i].descriptor);
        const bool is_socket = kind == descriptor_kind::socket;
        socket_[i] = is_socket ? base_handle_of(requests_[i].descriptor) : nullptr;
        if (kind == descriptor_kind::none || socket_[i] == INVALID_HANDLE_VALUE)
            return fail_as_closed() == 0;
        sockets_ += is_socket ? 1 : 0;
    }
    return true;
}

int poll_wait::wait(int timeout_milliseconds) {
    const bool has_streams = sockets_ < count_;
    const uint64_t end = moment_after(timeout_milliseconds);
    growing_pause pause;
    for (bool after_pause = timeout_milliseconds == 0;; after_pause = true) {
        const int streams = has_streams ? look_at_streams(after_pause) : 0;
        const int left = streams > 0 ? 0 : milliseconds_until(end);
        const int sockets = wait_for_sockets(has_streams ? pause.next(left) : left);
        if (sockets < 0)
            forget_results(requests_, count_);
        if (sockets < 0 || streams + sockets != 0 || left == 0)
            return sockets < 0 ? -1 : streams + sockets;
    }
}

int poll_wait::look_at_streams(bool after_pause) {
    int ready = 0;
    for (size_t i = 0; i < count_; i++) {
        if (socket_[i] != nullptr)
            continue;
        const unsigned kinds = ready_kinds_of(requests_[i].descriptor, after_pause);
        requests_[i].ready = (kinds & static_cast<unsigned>(requests_[i].kind)) != 0;
        ready += requests_[i].ready;
    }
    return ready;
}

int poll_wait::wait_for_sockets(int milliseconds) {
    if (sockets_ == 0) {
        Sleep(milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds));
        return 0;
    }
    HANDLE const afd = common_afd();
    return afd != nullptr ? ask(afd, milliseconds) : poll_plainly(milliseconds);
}

int poll_wait::ask(HANDLE afd, int milliseconds) {
    afd_question<most_poll_requests> question;
    question.time_limit = time_limit_of(milliseconds);
    question.count = 0;
    question.is_exclusive = FALSE;
    for (size_t i = 0; i < count_; i++)
        if (socket_[i] != nullptr)
            question.sockets[question.count++] = {
                socket_[i], afd_events_for(static_cast<unsigned>(requests_[i].kind)), 0};
    event_of_answer answer;
    if (!answer || !ask_afd(afd, &question, question.size(), answer.progress()) || !answer.wait(afd))
        return fail_by_last_error();
    int ready = 0;
    for (const afd_socket* one = question.sockets; one != question.sockets + question.count; one++) {
        if ((one->events & afd_closed) != 0)
            return fail_as_closed();
        ready += mark(one->socket, kinds_for_afd(one->events));
    }
    return ready;
}

/// Counts those that were not marked before.
int poll_wait::mark(HANDLE socket, unsigned kinds) {
    int marked = 0;
    for (size_t i = 0; i < count_; i++)
        if (socket_[i] == socket && !requests_[i].ready &&
            (kinds & static_cast<unsigned>(requests_[i].kind)) != 0) {
            requests_[i].ready = true;
            marked++;
        }
    return marked;
}

/// One for each socket: of one that is asked for twice not every host answers each time. Gives their number.
ULONG poll_wait::fill_plain_questions(plain_questions& asked) const {
    ULONG count = 0;
    for (size_t i = 0; i < count_; i++) {
        const auto socket = reinterpret_cast<SOCKET>(socket_[i]);
        if (socket_[i] == nullptr)
            continue;
        WSAPOLLFD* const end = asked.data() + count;
        WSAPOLLFD* const same =
            std::find_if(asked.data(), end, [&](const WSAPOLLFD& one) { return one.fd == socket; });
        if (same == end)
            asked[count++] = {socket, 0, 0};
        same->events = static_cast<SHORT>(same->events | plain_events_for(requests_[i].kind));
    }
    return count;
}

// For want of the driver. Older systems leave a failed connect out.
int poll_wait::poll_plainly(int milliseconds) {
    plain_questions asked;
    const ULONG count = fill_plain_questions(asked);
    if (WSAPoll(asked.data(), count, milliseconds) < 0)
        return fail_by_last_error();
    int ready = 0;
    for (const WSAPOLLFD* one = asked.data(); one != asked.data() + count; one++) {
        if ((one->revents & POLLNVAL) != 0)
            return fail_as_closed();
        ready += mark(reinterpret_cast<HANDLE>(one->fd), kinds_for_plain(one->revents));
    }
    return ready;
}

} // namespace

bool is_open_descriptor(int descriptor) {
    return kind_of(descriptor) != descriptor_kind::none;
}

int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds) {
    if (count > most_poll_requests) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    forget_results(requests, count);
    poll_wait all(requests, count);
    return all.open() ? all.wait(timeout_milliseconds) : -1;
}

} // namespace ombrel::platform
