// What tests ask the system itself about sockets.
#pragma once

#include <gtest/gtest.h>

#include <ombrel/host_socket.h>

#if defined(_WIN32)
#undef near // words of times gone by
#undef far
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace ombrel_test {

#if defined(_WIN32)

inline HANDLE handle_of(int s) {
    return reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(static_cast<unsigned>(s)));
}

inline bool is_open_socket(int s) {
    int type, size = sizeof type;
    return getsockopt(static_cast<SOCKET>(s), SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) ==
           0;
}

inline bool is_inherited(int s) {
    DWORD flags = 0;
    return GetHandleInformation(handle_of(s), &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

/// A second descriptor for a socket.
inline int copy_socket(int s) {
    WSAPROTOCOL_INFOW shared;
    WSADuplicateSocketW(static_cast<SOCKET>(s), GetCurrentProcessId(), &shared);
    return static_cast<int>(WSASocketW(-1, -1, -1, &shared, 0, WSA_FLAG_OVERLAPPED));
}

/// The system does not tell, but a receive with a limit does, where there is nothing to receive; of listeners
/// nothing can be said.
inline void expect_blocking(bool expected, int s) {
    const DWORD limit = 1, none = 0;
    const auto set_limit = [&](const DWORD& value) {
        setsockopt(static_cast<SOCKET>(s), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&value),
                   sizeof value);
    };
    set_limit(limit);
    char byte;
    if (recv(static_cast<SOCKET>(s), &byte, 1, MSG_PEEK) < 0 && WSAGetLastError() != WSAENOTCONN) {
        EXPECT_EQ(expected, WSAGetLastError() != WSAEWOULDBLOCK);
    }
    set_limit(none);
}

#else

inline bool is_open_socket(int s) {
    int type;
    socklen_t size = sizeof type;
    return getsockopt(s, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

inline bool is_inherited(int s) {
    return (fcntl(s, F_GETFD) & FD_CLOEXEC) == 0;
}

inline int copy_socket(int s) {
    return dup(s);
}

inline void expect_blocking(bool expected, int s) {
    EXPECT_EQ(expected, (fcntl(s, F_GETFL) & O_NONBLOCK) == 0);
}

#endif

} // namespace ombrel_test
