// The port that a socket of a fuzz target was given.
#pragma once

#include <ombrel/address.h>
#include <ombrel/host_socket.h>
#include <ombrel/socket.h>

inline int own_port(int s) {
    sockaddr_storage address;
    int size = sizeof address, port = 0;
    char text[64];
    auto* const record = reinterpret_cast<sockaddr*>(&address);
    if (ombrel_getsockname(s, record, &size) == 0)
        ombrel_inet_stopp(record, text, sizeof text, &port);
    return port;
}
