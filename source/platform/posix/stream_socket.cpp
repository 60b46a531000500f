#include "platform/stream_socket.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/pipe.h"

namespace ombrel::platform {

namespace {

#if defined(MSG_NOSIGNAL)
constexpr int quiet = MSG_NOSIGNAL;
#else
constexpr int quiet = 0;
#endif

bool would_block(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

int transfer_result(ssize_t result) {
    if (result >= 0)
        return static_cast<int>(result);
    return would_block(errno) ? transfer_would_block : transfer_failed;
}

bool is_ready(int descriptor, short events) {
    pollfd probe{descriptor, events, 0};
    return poll(&probe, 1, 0) > 0;
}

} // namespace

connect_state start_connect(int socket, const sockaddr* address, int size) {
    const int flags = fcntl(socket, F_GETFL);
    if (flags < 0 || fcntl(socket, F_SETFL, flags | O_NONBLOCK) < 0)
        return connect_state::failed;
    if (connect(socket, address, static_cast<socklen_t>(size)) == 0 || errno == EISCONN)
        return connect_state::connected;
    // An interrupted connect goes on in the background.
    const bool going_on = errno == EINPROGRESS || errno == EALREADY || errno == EINTR;
    return going_on ? connect_state::in_progress : connect_state::failed;
}

bool is_connected(int socket) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
        return false;
    sockaddr_storage peer;
    size = sizeof peer;
    return getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

int receive_now(int socket, void* buffer, size_t size) {
    const size_t wanted = std::min<size_t>(size, INT_MAX);
    const ssize_t result = recv(socket, buffer, wanted, MSG_DONTWAIT);
    if (result >= 0 || errno != ENOTSOCK)
        return transfer_result(result);
    if (!is_ready(socket, POLLIN))
        return transfer_would_block;
    return transfer_result(read(socket, buffer, wanted));
}

int send_now(int socket, const void* data, size_t size) {
    const ssize_t result = send(socket, data, std::min<size_t>(size, INT_MAX), MSG_DONTWAIT | quiet);
    if (result >= 0 || errno != ENOTSOCK)
        return transfer_result(result);
    if (!is_ready(socket, POLLOUT))
        return transfer_would_block;
    // A pipe that is ready takes this much without waiting, whether it is blocking or not.
    return transfer_result(write_descriptor(socket, data, std::min<size_t>(size, _POSIX_PIPE_BUF)));
}

void prepare_wakeup_socket(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void post_wakeup(int socket) {
    const int error = errno;
    const char byte = 0;
    while (send(socket, &byte, 1, MSG_DONTWAIT | quiet) < 0 && errno == EINTR) {
    }
    errno = error;
}

void drain_wakeups(int socket) {
    char bytes[64];
    while (recv(socket, bytes, sizeof bytes, MSG_DONTWAIT) == static_cast<ssize_t>(sizeof bytes)) {
    }
}

} // namespace ombrel::platform
