#include "platform/socket.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/common/socket_option.h"
#include "platform/fault.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/socket_mode.h"
#include "platform/windows/winsock.h"

#if !defined(SIO_UDP_CONNRESET)
#define SIO_UDP_CONNRESET _WSAIOW(IOC_VENDOR, 12)
#endif

namespace ombrel::platform {

namespace {

/// Lengths are ints here, as results are.
int countable(size_t size) {
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

int fail() {
    return fail_by(static_cast<uint32_t>(WSAGetLastError()));
}

/// 0 for a call that succeeded.
int result_of(int result) {
    return result == 0 ? 0 : fail();
}

/// Whether the caller of a socket that blocks was told that nothing goes now, as another thread made the
/// system hold it for non-blocking for a moment; then it waits as it would have.
bool must_wait_itself(int s, SHORT events) {
    if (WSAGetLastError() != WSAEWOULDBLOCK || !has_blocking_mode(s) || !is_borrowed(s))
        return false;
    WSAPOLLFD one{socket_of(s), events, 0};
    return WSAPoll(&one, 1, -1) > 0;
}

/// What a new socket must have for one to behave here as elsewhere: an answer that a datagram met nobody
/// breaks no later receive, and an IPv6 socket serves IPv4 too.
void accustom(SOCKET made, int family, int type) {
    if (type == SOCK_DGRAM) {
        BOOL report = FALSE;
        DWORD unused = 0;
        WSAIoctl(made, SIO_UDP_CONNRESET, &report, sizeof report, nullptr, 0, &unused, nullptr, nullptr);
    }
    if (family == AF_INET6) {
        const DWORD off = 0;
        setsockopt(made, IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&off), sizeof off);
    }
}

/// An accepted socket has its listener's mode, which another thread may have borrowed, and is inherited by
/// child processes, unless both are taken back.
int make_own(int accepted) {
    const fault_keeper kept;
    SetHandleInformation(reinterpret_cast<HANDLE>(socket_of(accepted)), HANDLE_FLAG_INHERIT, 0);
    set_non_blocking(accepted, false);
    return accepted;
}

/// A pending error comes in the numbers of Winsock.
void translate_error(void* value, const int* size) {
    int error;
    if (*size < static_cast<int>(sizeof error))
        return;
    memcpy(&error, value, sizeof error);
    error = error_number_of(static_cast<uint32_t>(error));
    memcpy(value, &error, sizeof error);
}

/// Of a socket that was not bound, which elsewhere has the wildcard address of its family.
int unbound_address(int s, sockaddr* address, int* size) {
    WSAPROTOCOL_INFOW protocol;
    int protocol_size = sizeof protocol;
    if (getsockopt(socket_of(s), SOL_SOCKET, SO_PROTOCOL_INFOW, reinterpret_cast<char*>(&protocol),
                   &protocol_size) != 0)
        return fail();
    const int needed = protocol.iMaxSockAddr;
    if (address == nullptr || *size < needed) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    memset(address, 0, static_cast<size_t>(needed));
    address->sa_family = static_cast<ADDRESS_FAMILY>(protocol.iAddressFamily);
    *size = needed;
    return 0;
}

int shutdown_word(shutdown_side side) {
    switch (side) {
    case shutdown_side::send:
        return SD_SEND;
    case shutdown_side::both:
        return SD_BOTH;
    default:
        return SD_RECEIVE;
    }
}

} // namespace

int adopt_socket(SOCKET made) {
    if (made == INVALID_SOCKET)
        return fail();
    if (made > static_cast<SOCKET>(INT_MAX)) {
        closesocket(made);
        leave_fault(fault_code::no_descriptor);
        return -1;
    }
    const int s = static_cast<int>(made);
    reset_socket_mode(s);
    return s;
}

bool start_sockets() {
    return start_winsock();
}

void stop_sockets() {
    WSACleanup();
}

int open_socket(int family, int type, int protocol) {
    const auto open = [&] {
        return WSASocketW(family, type, protocol, nullptr, 0,
                          WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    };
    const SOCKET made = with_winsock(open, [](SOCKET result) { return result == INVALID_SOCKET; });
    const int s = adopt_socket(made);
    if (s >= 0)
        accustom(made, family, type);
    return s;
}

void close_socket(int s) {
    reset_socket_mode(s);
    closesocket(socket_of(s));
}

int shutdown_socket(int s, shutdown_side side) {
    return result_of(shutdown(socket_of(s), shutdown_word(side)));
}

int bind_socket(int s, const sockaddr* address, int size) {
    return result_of(bind(socket_of(s), address, size));
}

int listen_socket(int s, int backlog) {
    return result_of(listen(socket_of(s), backlog));
}

int accept_socket(int s, sockaddr* address, int* size) {
    SOCKET made;
    do
        made = accept(socket_of(s), address, size);
    while (made == INVALID_SOCKET && must_wait_itself(s, POLLRDNORM));
    const int accepted = adopt_socket(made);
    return accepted < 0 ? -1 : make_own(accepted);
}

int own_address(int s, sockaddr* address, int* size) {
    if (getsockname(socket_of(s), address, size) == 0)
        return 0;
    return WSAGetLastError() == WSAEINVAL ? unbound_address(s, address, size) : fail();
}

int peer_address(int s, sockaddr* address, int* size) {
    return result_of(getpeername(socket_of(s), address, size));
}

connect_state connect_socket(int s, const sockaddr* address, int size) {
    if (connect(socket_of(s), address, size) == 0)
        return connect_state::connected;
    switch (WSAGetLastError()) {
    case WSAEWOULDBLOCK:
    case WSAEINPROGRESS:
    case WSAEALREADY:
        errno = EINPROGRESS;
        return connect_state::in_progress;
    case WSAEINTR:
        fail();
        return connect_state::interrupted;
    default:
        fail();
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
    return has_blocking_mode(s);
}

int set_non_blocking(int s, bool on) {
    return set_socket_mode(s, !on) ? 0 : -1;
}

int accept_at_once(int s, sockaddr* address, int* size) {
    int accepted;
    {
        const borrowed_mode now(s);
        accepted = adopt_socket(accept(socket_of(s), address, size));
    }
    return accepted < 0 ? -1 : make_own(accepted);
}

namespace {

/// One receive, with the results that it has elsewhere: what is too long for the buffer is cut off, and one's
/// own end of receiving is the end.
int receive_once(int s, void* buffer, int size, int flags, sockaddr* address, int* address_size) {
    const int result = recvfrom(socket_of(s), static_cast<char*>(buffer), size, flags, address,
                                address != nullptr ? address_size : nullptr);
    if (result >= 0)
        return result;
    switch (WSAGetLastError()) {
    case WSAEMSGSIZE:
        return size;
    case WSAESHUTDOWN:
        return 0;
    default:
        return -1;
    }
}

int send_once(int s, const void* data, int size, int flags, const sockaddr* address, int address_size) {
    return sendto(socket_of(s), static_cast<const char*>(data), size, flags, address, address_size);
}

} // namespace

int receive(int s, void* buffer, size_t size, int flags, sockaddr* address, int* address_size) {
    int result;
    do
        result = receive_once(s, buffer, countable(size), flags, address, address_size);
    while (result < 0 && must_wait_itself(s, POLLRDNORM));
    return result >= 0 ? result : fail();
}

int receive_at_once(int s, void* buffer, size_t size, sockaddr* address, int* address_size) {
    const borrowed_mode now(s);
    const int result = receive_once(s, buffer, countable(size), 0, address, address_size);
    return result >= 0 ? result : fail();
}

int send(int s, const void* data, size_t size, int flags, const sockaddr* address, int address_size) {
    int result;
    do
        result = send_once(s, data, countable(size), flags, address, address_size);
    while (result < 0 && must_wait_itself(s, POLLWRNORM));
    return result >= 0 ? result : fail();
}

int send_at_once(int s, const void* data, size_t size, const sockaddr* address, int address_size) {
    const borrowed_mode now(s);
    const int result = send_once(s, data, countable(size), 0, address, address_size);
    return result >= 0 ? result : fail();
}

int64_t unacknowledged_bytes(int) {
    leave_fault(fault_code::not_supported);
    return -1;
}

int get_option(int s, int level, int name, void* value, int* size) {
    if (getsockopt(socket_of(s), level, name, static_cast<char*>(value), size) != 0)
        return fail();
    if (level == SOL_SOCKET && name == SO_ERROR)
        translate_error(value, size);
    return 0;
}

int set_option(int s, int level, int name, const void* value, int size) {
    return result_of(setsockopt(socket_of(s), level, name, static_cast<const char*>(value), size));
}

int get_option(int s, socket_option option, int& value) {
    const option_place place = place_of(option);
    int size = sizeof value;
    value = 0; // of some options fewer bytes come
    return get_option(s, place.level, place.name, &value, &size);
}

int set_option(int s, socket_option option, int value) {
    const option_place place = place_of(option);
    return set_option(s, place.level, place.name, &value, sizeof value);
}

int claim_port(int s) {
    const BOOL on = TRUE;
    return set_option(s, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, &on, sizeof on);
}

int set_linger(int s, bool on, uint16_t seconds) {
    const linger value{static_cast<u_short>(on ? 1 : 0), seconds};
    return set_option(s, SOL_SOCKET, SO_LINGER, &value, sizeof value);
}

int set_path_mtu_discovery(int s, int family, bool on) {
    const DWORD value = on ? 1 : 0;
    return family == AF_INET6 ? set_option(s, IPPROTO_IPV6, IPV6_DONTFRAG, &value, sizeof value)
                              : set_option(s, IPPROTO_IP, IP_DONTFRAGMENT, &value, sizeof value);
}

void prepare_wakeup_socket(int s) {
    const int on = 1;
    set_option(s, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    set_non_blocking(s, true);
}

void post_wakeup(int s) {
    const char byte = 0;
    ::send(socket_of(s), &byte, 1, 0);
}

void drain_wakeups(int s) {
    constexpr int size = 64;
    char bytes[size];
    while (recv(socket_of(s), bytes, size, 0) == size) {
    }
}

} // namespace ombrel::platform
