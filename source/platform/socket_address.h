// The platform's socket address records (sockaddr, sockaddr_in, sockaddr_in6), byte order and protocol
// numbers.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
