#include "platform/socket.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/common/socket_option.h"
#include "platform/fault.h"

namespace ombrel::platform {

namespace {

#if defined(MSG_NOSIGNAL)
constexpr int no_signal = MSG_NOSIGNAL;
#else
constexpr int no_signal = 0;
#endif

/// Results are ints, so one call moves no more than an int can count.
size_t countable(size_t size) {
    return size > INT_MAX ? INT_MAX : size;
}

/// Lends an int as the size that a platform call reads and writes.
class size_exchange {
public:
    explicit size_exchange(int* size)
        : size_(size), value_(size != nullptr ? static_cast<socklen_t>(*size) : 0) {}
    ~size_exchange() {
        if (size_ != nullptr)
            *size_ = static_cast<int>(value_);
    }
    size_exchange(const size_exchange&) = delete;
    size_exchange& operator=(const size_exchange&) = delete;

    socklen_t* get() { return size_ != nullptr ? &value_ : nullptr; }

private:
    int* size_;
    socklen_t value_;
};

#if !defined(__linux__)
/// For platforms that cannot do this while they open the socket.
int prepare(int s) {
    if (s < 0)
        return s;
    fcntl(s, F_SETFD, FD_CLOEXEC);
#if defined(SO_NOSIGPIPE)
    const int on = 1;
    setsockopt(s, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
    return s;
}
#endif

} // namespace

bool start_sockets() {
    return true;
}

void stop_sockets() {}

int open_socket(int family, int type, int protocol) {
#if defined(__linux__)
    return socket(family, type | SOCK_CLOEXEC, protocol);
#else
    return prepare(socket(family, type, protocol));
#endif
}

void close_socket(int s) {
    close(s);
}

int shutdown_socket(int s, shutdown_side side) {
    switch (side) {
    case shutdown_side::send:
        return shutdown(s, SHUT_WR);
    case shutdown_side::both:
        return shutdown(s, SHUT_RDWR);
    default:
        return shutdown(s, SHUT_RD);
    }
}

int bind_socket(int s, const sockaddr* address, int size) {
    return bind(s, address, static_cast<socklen_t>(size));
}

int listen_socket(int s, int backlog) {
    return listen(s, backlog);
}

int accept_socket(int s, sockaddr* address, int* size) {
    size_exchange exchange(size);
#if defined(__linux__)
    return accept4(s, address, exchange.get(), SOCK_CLOEXEC);
#else
    return prepare(accept(s, address, exchange.get()));
#endif
}

int own_address(int s, sockaddr* address, int* size) {
    size_exchange exchange(size);
    return getsockname(s, address, exchange.get());
}

int peer_address(int s, sockaddr* address, int* size) {
    size_exchange exchange(size);
    return getpeername(s, address, exchange.get());
}

connect_state connect_socket(int s, const sockaddr* address, int size) {
    if (connect(s, address, static_cast<socklen_t>(size)) == 0)
        return connect_state::connected;
    switch (errno) {
    case EINPROGRESS:
    case EALREADY:
        return connect_state::in_progress;
    case EINTR:
        return connect_state::interrupted;
    default:
        return connect_state::failed;
    }
}

connect_state start_connect(int s, const sockaddr* address, int size) {
    if (set_non_blocking(s, true) != 0)
        return connect_state::failed;
    const connect_state state = connect_socket(s, address, size);
    if (state == connect_state::interrupted)
        return connect_state::in_progress;
    return state == connect_state::failed && errno == EISCONN ? connect_state::connected : state;
}

bool is_connected(int s) {
    int error = 0;
    if (get_option(s, socket_option::pending_error, error) != 0 || error != 0)
        return false;
    sockaddr_storage peer;
    int size = sizeof peer;
    return peer_address(s, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

bool is_blocking(int s) {
    return (fcntl(s, F_GETFL) & O_NONBLOCK) == 0;
}

int set_non_blocking(int s, bool on) {
    int value = on ? 1 : 0;
    return ioctl(s, FIONBIO, &value);
}

// No flag of the call keeps it from waiting. A listener that the caller made non-blocking stays so.
int accept_at_once(int s, sockaddr* address, int* size) {
    const bool blocking = is_blocking(s);
    if (blocking)
        set_non_blocking(s, true);
    const int accepted = accept_socket(s, address, size);
    if (blocking) {
        const fault_keeper why;
        set_non_blocking(s, false);
#if !defined(__linux__)
        if (accepted >= 0) // it took the mode over from the listener
            set_non_blocking(accepted, false);
#endif
    }
    return accepted;
}

int receive(int s, void* buffer, size_t size, int flags, sockaddr* address, int* address_size) {
    size_exchange exchange(address_size);
    return static_cast<int>(recvfrom(s, buffer, countable(size), flags, address, exchange.get()));
}

int receive_at_once(int s, void* buffer, size_t size, sockaddr* address, int* address_size) {
    return receive(s, buffer, size, MSG_DONTWAIT, address, address_size);
}

int send(int s, const void* data, size_t size, int flags, const sockaddr* address, int address_size) {
    return static_cast<int>(
        sendto(s, data, countable(size), flags | no_signal, address, static_cast<socklen_t>(address_size)));
}

int send_at_once(int s, const void* data, size_t size, const sockaddr* address, int address_size) {
    return send(s, data, size, MSG_DONTWAIT, address, address_size);
}

int64_t unacknowledged_bytes(int s) {
#if defined(__linux__)
    int bytes;
    return ioctl(s, TIOCOUTQ, &bytes) == 0 ? bytes : -1;
#else
    static_cast<void>(s);
    leave_fault(fault_code::not_supported);
    return -1;
#endif
}

int get_option(int s, int level, int name, void* value, int* size) {
    size_exchange exchange(size);
    return getsockopt(s, level, name, value, exchange.get());
}

int set_option(int s, int level, int name, const void* value, int size) {
    return setsockopt(s, level, name, value, static_cast<socklen_t>(size));
}

int get_option(int s, socket_option option, int& value) {
    const option_place place = place_of(option);
    int size = sizeof value;
    return get_option(s, place.level, place.name, &value, &size);
}

int set_option(int s, socket_option option, int value) {
    const option_place place = place_of(option);
    return set_option(s, place.level, place.name, &value, sizeof value);
}

int claim_port(int s) {
    return set_option(s, socket_option::reuse_address, 1);
}

int set_linger(int s, bool on, uint16_t seconds) {
    const linger value{on ? 1 : 0, seconds};
    return set_option(s, SOL_SOCKET, SO_LINGER, &value, sizeof value);
}

int set_path_mtu_discovery(int s, int family, bool on) {
#if defined(IP_MTU_DISCOVER)
    const bool is_ipv6 = family == AF_INET6;
    const int value =
        is_ipv6 ? (on ? IPV6_PMTUDISC_DO : IPV6_PMTUDISC_DONT) : (on ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
    return is_ipv6 ? set_option(s, IPPROTO_IPV6, IPV6_MTU_DISCOVER, &value, sizeof value)
                   : set_option(s, IPPROTO_IP, IP_MTU_DISCOVER, &value, sizeof value);
#elif defined(IP_DONTFRAG)
    const int value = on ? 1 : 0;
    return family == AF_INET6 ? set_option(s, IPPROTO_IPV6, IPV6_DONTFRAG, &value, sizeof value)
                              : set_option(s, IPPROTO_IP, IP_DONTFRAG, &value, sizeof value);
#else
    static_cast<void>(s), static_cast<void>(family), static_cast<void>(on);
    leave_fault(fault_code::not_supported);
    return -1;
#endif
}

void prepare_wakeup_socket(int s) {
    const int on = 1;
    set_option(s, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void post_wakeup(int s) {
    const fault_keeper kept;
    const char byte = 0;
    while (send_at_once(s, &byte, 1, nullptr, 0) == -1 && errno == EINTR) {
    }
}

void drain_wakeups(int s) {
    constexpr int size = 64;
    char bytes[size];
    while (receive_at_once(s, bytes, size, nullptr, nullptr) == size) {
    }
}

} // namespace ombrel::platform
