// What the tests of the event loop share.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/socket.h>

#include "support/host_socket.h"

#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// What handlers were told, call after call.
using results = std::vector<uint32_t>;

constexpr uint32_t on_read = def_ombrel_event_read, on_write = def_ombrel_event_write,
                   on_exception = def_ombrel_event_exception, on_timeout = def_ombrel_event_timeout,
                   on_signal = def_ombrel_event_signal, persist = def_ombrel_event_persist;

/// Two signals for a program's own use.
#if defined(_WIN32)
inline constexpr int own_signal = SIGTERM, other_signal = SIGINT;
#else
inline constexpr int own_signal = SIGUSR1, other_signal = SIGUSR2;
#endif

/// What a piece of work writes to the standard error stream.
template<typename Work>
std::string errors_of(const Work& work) {
    capture errors(stderr);
    work();
    return errors.text();
}

/// Two connected stream sockets, local ones where the system makes those.
inline int connect_pair(int ends[2]) {
#if defined(_WIN32)
    return ombrel_socket_pipe(ends);
#else
    return ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
#endif
}

class socket_pair : no_copy {
public:
    socket_pair() { EXPECT_EQ(0, connect_pair(ends_.data())); }
    ~socket_pair() {
        close_near();
        close_far();
    }
    int near() const { return ends_[0]; }
    int far() const { return ends_[1]; }
    void send(const std::string& text) const {
        EXPECT_EQ(static_cast<int>(text.size()), ombrel_send_now(far(), text.data(), text.size()));
    }
    std::string receive() const {
        char part[4096];
        const int size = ombrel_recv_now(far(), part, sizeof part);
        return std::string(part, size > 0 ? static_cast<size_t>(size) : 0);
    }
    void close_near() { close_end(0); }
    void close_far() { close_end(1); }

private:
    void close_end(size_t end) { ends_[end] = ombrel_close_socket(ends_[end]); }
    std::array<int, 2> ends_{-1, -1};
};

/// An event that keeps what its handler was told; `then` runs in the handler.
class recorder : no_copy {
public:
    recorder(ombrel_event_base_t* base, int fd, uint32_t flags, std::function<void(recorder&)> action = {})
        : then(std::move(action)) {
        EXPECT_EQ(0, ombrel_assign_event(base, &event, fd, flags, handle, this));
    }
    recorder() = default;
    ~recorder() {
        if (event.m_flags != 0)
            ombrel_unassign_event(&event);
    }
    int add(int timeout = -1) { return ombrel_add_event(&event, timeout); }
    int del() { return ombrel_del_event(&event); }

    static void handle(ombrel_event_t* event, int fd, uint32_t result, void* context) {
        auto& self = *static_cast<recorder*>(context);
        if (result == def_ombrel_event_assigned) {
            self.notices++;
            return;
        }
        EXPECT_EQ(&self.event, event);
        self.fds.push_back(fd);
        self.results.push_back(result);
        if (self.log != nullptr)
            self.log->append(self.name);
        if (self.then)
            self.then(self);
    }

    ombrel_event_t event{};
    int notices = 0;
    std::vector<uint32_t> results;
    std::vector<int> fds;
    std::function<void(recorder&)> then;
    std::string* log = nullptr; ///< gets the name at each call
    std::string name;
};

inline void drain(int fd) {
    char part[4096];
    while (ombrel_recv_now(fd, part, sizeof part) > 0) {
    }
}

/// What this thread has used; a loop that spins shows in it, however busy the machine is.
inline int processor_milliseconds() {
#if defined(_WIN32)
    FILETIME begun, ended, kernel, user;
    GetThreadTimes(GetCurrentThread(), &begun, &ended, &kernel, &user);
    return static_cast<int>((kernel.dwLowDateTime + user.dwLowDateTime) / 10000);
#else
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<int>(used.tv_sec * 1000 + used.tv_nsec / 1000000);
#endif
}

class event_test : public balanced_test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, base = ombrel_new_event_base()); }
    void TearDown() override { EXPECT_EQ(0, ombrel_free_event_base(base)); }
    /// Iterations that wait for something to happen.
    void once(int count = 1) { loop(def_ombrel_event_loop_once, count); }
    /// Iterations that do not wait.
    void poll(int count = 1) { loop(def_ombrel_event_loop_non_block, count); }
    void loop(uint32_t flags, int count) {
        for (int i = 0; i < count; i++)
            ASSERT_EQ(0, ombrel_event_base_loop(base, flags));
    }
    static void add(std::initializer_list<recorder*> events, int timeout = -1) {
        for (recorder* event : events)
            EXPECT_EQ(0, event->add(timeout));
    }
    /// The loop sleeps for a moment: it uses next to no processor time.
    void expect_sleep() {
        EXPECT_EQ(0, ombrel_event_base_exit_loop(base, 200));
        const int before = processor_milliseconds();
        EXPECT_EQ(0, ombrel_event_base_dispatch(base));
        EXPECT_LT(processor_milliseconds() - before, 25);
    }

    ombrel_event_base_t* base = nullptr;
};

} // namespace ombrel_test
