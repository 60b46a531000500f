// The platform's socket address records (sockaddr, sockaddr_in, sockaddr_in6), byte order and protocol
// numbers.
#pragma once

#if defined(_WIN32)
#include "platform/windows/windows_host.h"
#else
#include <netinet/in.h>
#include <sys/socket.h>
#endif
