#include "platform/pipe.h"

#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

namespace ombrel::platform {

bool open_pipe(int ends[2]) {
#if defined(__linux__)
    return pipe2(ends, O_CLOEXEC) == 0;
#else
    if (pipe(ends) != 0)
        return false;
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return true;
#endif
}

void close_descriptor(int descriptor) {
    close(descriptor);
}

int read_descriptor(int descriptor, void* buffer, size_t size, int timeout_milliseconds) {
    pollfd waiting{descriptor, POLLIN, 0};
    const int ready = poll(&waiting, 1, timeout_milliseconds < 0 ? -1 : timeout_milliseconds);
    if (ready == 0)
        return read_timed_out;
    if (ready < 0)
        return -1;
    return static_cast<int>(read(descriptor, buffer, size > INT_MAX ? INT_MAX : size));
}

namespace {

// Keeps SIGPIPE of one write from reaching the program: blocked for the calling thread, and taken back when
// the write raised it.
class pipe_signal_block {
public:
    pipe_signal_block() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signals_, &before_);
        was_pending_ = sigismember(&before_, SIGPIPE) == 1 && is_pending();
    }
    ~pipe_signal_block() {
        const int error = errno;
        if (error == EPIPE && !was_pending_) {
            const timespec no_time{0, 0};
            while (sigtimedwait(&signals_, nullptr, &no_time) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    pipe_signal_block(const pipe_signal_block&) = delete;
    pipe_signal_block& operator=(const pipe_signal_block&) = delete;

private:
    // Only a thread that had blocked the signal itself can have kept an earlier one waiting.
    static bool is_pending() {
        sigset_t waiting;
        sigpending(&waiting);
        return sigismember(&waiting, SIGPIPE) == 1;
    }

    sigset_t signals_, before_;
    bool was_pending_;
};

} // namespace

int write_descriptor(int descriptor, const void* data, size_t size) {
    const pipe_signal_block guard;
    errno = 0;
    return static_cast<int>(write(descriptor, data, size > INT_MAX ? INT_MAX : size));
}

} // namespace ombrel::platform
