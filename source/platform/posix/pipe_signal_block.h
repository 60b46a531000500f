// Writing to pipes without their signal.
#pragma once

#include <cerrno>
#include <signal.h>
#include <time.h>

#include "platform/fault.h"

namespace ombrel::platform {

/// Keeps SIGPIPE of one write from reaching the program: blocked for the calling thread, and taken back when
/// the write raised it, which errno tells.
class pipe_signal_block {
public:
    pipe_signal_block() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signals_, &before_);
        was_pending_ = sigismember(&before_, SIGPIPE) == 1 && is_pending();
    }
    ~pipe_signal_block() {
        const fault_keeper kept;
        if (errno == EPIPE && !was_pending_) {
            const timespec no_time{0, 0};
            while (sigtimedwait(&signals_, nullptr, &no_time) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
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

} // namespace ombrel::platform
