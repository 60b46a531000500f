// The headers of Windows, in the order and with the restraint that they need.
#pragma once

#if !defined(_WIN32_WINNT)
#define _WIN32_WINNT 0x0602 // Windows 8
#endif
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif

#include <winsock2.h>

#include <ws2tcpip.h>

#include <windows.h>

// Words that are good names elsewhere. FAR and NEAR, which they stand for, are left empty.
#undef interface
#undef near
#undef far
#undef NEAR
#undef FAR
#define NEAR
#define FAR
