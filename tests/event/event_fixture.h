// What the tests of the event loop share.
#pragma once

#include <array>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ombrel/event.h>
#include <ombrel/event_base.h>

#include "support/heap_balance.h"

namespace ombrel_test {

/// Two connected stream sockets.
class socket_pair {
public:
    socket_pair() { EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data())); }
    ~socket_pair() {
        close_near();
        close_far();
    }
    socket_pair(const socket_pair&) = delete;
    socket_pair& operator=(const socket_pair&) = delete;

    int near() const { return ends_[0]; }
    int far() const { return ends_[1]; }
    void send(const std::string& text) const {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::send(far(), text.data(), text.size(), MSG_NOSIGNAL));
    }
    std::string receive() const {
        char part[4096];
        const ssize_t size = ::recv(far(), part, sizeof part, MSG_DONTWAIT);
        return std::string(part, size > 0 ? static_cast<size_t>(size) : 0);
    }
    void close_near() { close_end(0); }
    void close_far() { close_end(1); }

private:
    void close_end(size_t end) {
        if (ends_[end] >= 0)
            ::close(ends_[end]);
        ends_[end] = -1;
    }
    std::array<int, 2> ends_{-1, -1};
};

/// An event that keeps what its handler was told; `then` runs in the handler.
class recorder {
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
    recorder(const recorder&) = delete;
    recorder& operator=(const recorder&) = delete;

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
    while (::recv(fd, part, sizeof part, MSG_DONTWAIT) > 0) {
    }
}

/// What this thread has used; a loop that spins shows in it, however busy the machine is.
inline int processor_milliseconds() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<int>(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

class event_test : public balanced_test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, base = ombrel_new_event_base()); }
    void TearDown() override { EXPECT_EQ(0, ombrel_free_event_base(base)); }
    int once() { return ombrel_event_base_loop(base, def_ombrel_event_loop_once); }
    int poll() { return ombrel_event_base_loop(base, def_ombrel_event_loop_non_block); }

    ombrel_event_base_t* base = nullptr;
};

} // namespace ombrel_test
