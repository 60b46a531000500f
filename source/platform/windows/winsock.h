// Winsock's start, and its sockets as descriptors.
#pragma once

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Asks for version 2.2; false, with its fault and Winsock stopped again, when another answers.
bool start_winsock();

/// Once in a process, for calls that come before anyone started it: elsewhere sockets need no start. It
/// stays.
bool start_winsock_unasked();

/// The descriptor of a new socket, held for one that blocks; -1, with its fault and the socket closed, for
/// one that no descriptor can stand for, and for none.
int adopt_socket(SOCKET made);

/// A call of Winsock that gives what `has_failed` tells from success, tried again if Winsock had not been
/// started.
template<typename Call, typename Failed>
auto with_winsock(Call call, Failed has_failed) {
    auto result = call();
    if (has_failed(result) && WSAGetLastError() == WSANOTINITIALISED && start_winsock_unasked())
        result = call();
    return result;
}

} // namespace ombrel::platform
