// Loop-back sockets for tests.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "support/host_socket.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <ombrel/address.h>
#include <ombrel/network.h>
#include <ombrel/socket.h>
#include <ombrel/time.h>

namespace ombrel_test {

/// Closes its socket at the end of the scope.
class owned_socket {
public:
    owned_socket(int s = -1) : s_(s) {}
    owned_socket(owned_socket&& other) noexcept : s_(std::exchange(other.s_, -1)) {}
    owned_socket& operator=(owned_socket&& other) noexcept {
        std::swap(s_, other.s_);
        return *this;
    }
    ~owned_socket() { close(); }
    void close() { s_ = ombrel_close_socket(s_); }
    int release() { return std::exchange(s_, -1); }
    operator int() const { return s_; }

private:
    int s_;
};

struct socket_address {
    sockaddr_storage storage{};
    int size = sizeof(sockaddr_storage);

    socket_address() = default;
    socket_address(int family, const char* text, int port) {
        EXPECT_EQ(0, ombrel_inet_ptos(family, text, port, &storage, sizeof storage)) << text;
        size = ombrel_sockaddr_size(get(), 0);
    }
    sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
    std::string text() {
        char buffer[64];
        return ombrel_inet_stop(get(), buffer, sizeof buffer) != nullptr ? buffer : "";
    }
    int port() {
        char buffer[64];
        int port = -1;
        ombrel_inet_stopp(get(), buffer, sizeof buffer, &port);
        return port;
    }
};

inline socket_address own_address(int s) {
    socket_address result;
    EXPECT_EQ(0, ombrel_getsockname(s, result.get(), &result.size));
    return result;
}

inline int own_port(int s) {
    return own_address(s).port();
}

/// A socket bound to the family's loop-back address; not open where the family is missing.
inline owned_socket bound(int family, int type, int port = 0) {
    owned_socket s(ombrel_open_socket(family, type, 0));
    socket_address address(family, family == AF_INET ? "127.0.0.1" : "::1", port);
    if (s != -1 && ombrel_bind(s, address.get(), address.size) != 0)
        s.close();
    return s;
}

inline bool has_ipv6() {
    return bound(AF_INET6, SOCK_STREAM) != -1;
}

/// The next client, or -1 when `ends` was set; a listener that is shut down ends the wait at once on POSIX
/// alone.
inline int accept_until(int listener, const std::atomic<bool>& ends) {
    constexpr int look_ms = 20;
    for (;;) {
        const int s = ombrel_accept(listener, nullptr, nullptr, look_ms);
        if (s != -1 || ends)
            return s;
    }
}

struct connected_pair {
    owned_socket a, b;
    connected_pair() {
        int ends[2];
        EXPECT_EQ(0, ombrel_socket_pipe(ends));
        a = owned_socket(ends[0]);
        b = owned_socket(ends[1]);
    }
};

/// Sends without waiting until the other side takes no more.
inline void fill_up(int s) {
    const std::string block(65536, 'x');
    for (const size_t size : {block.size(), size_t{1}})
        while (ombrel_send_now(s, block.data(), size) > 0) {
        }
}

/// Moves a socket to a descriptor far above the sets of select; -1 where the limit forbids it.
inline owned_socket move_high(owned_socket s) {
    constexpr int high = 5000;
#if defined(_WIN32)
    std::vector<HANDLE> below;
    do
        below.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    while (reinterpret_cast<UINT_PTR>(below.back()) < high);
    owned_socket moved(copy_socket(s));
    for (HANDLE one : below)
        CloseHandle(one);
    return moved;
#else
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur <= high + 64) {
        limit.rlim_cur = limit.rlim_max < 20000 ? limit.rlim_max : 20000;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    int descriptor = high;
    while (descriptor < high + 64 && dup2(descriptor, descriptor) != -1)
        descriptor++;
    return owned_socket(dup2(s, descriptor));
#endif
}

} // namespace ombrel_test
