// Ownership of a socket for a scope.
#pragma once

#include <utility>

#include <ombrel/socket.h>

namespace ombrel {

class socket_guard {
public:
    socket_guard() = default;
    explicit socket_guard(int s) : s_(s) {}
    ~socket_guard() { ombrel_close_socket(s_); }
    socket_guard(const socket_guard&) = delete;
    socket_guard& operator=(const socket_guard&) = delete;

    int get() const { return s_; }
    explicit operator bool() const { return s_ != def_ombrel_invalid_socket; }
    void reset(int s = def_ombrel_invalid_socket) { ombrel_close_socket(std::exchange(s_, s)); }
    int release() { return std::exchange(s_, def_ombrel_invalid_socket); }

private:
    int s_ = def_ombrel_invalid_socket;
};

} // namespace ombrel
