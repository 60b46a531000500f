/**
 * @file host_socket.h
 * @brief The platform's own header of sockets and their addresses: what a program includes to name families
 * and address records, in one line on every system.
 *
 * On Windows it brings Winsock 2 along, without the older one and without the parts of the Windows headers
 * that a program of sockets seldom wants (among them the macros `interface`, `min` and `max`). A program that
 * wants those includes them itself, before.
 */
#ifndef OMBREL_HOST_SOCKET_H
#define OMBREL_HOST_SOCKET_H

#if defined(_WIN32)
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#define OMBREL_MADE_LEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <winsock2.h>

#include <ws2tcpip.h>
#if defined(OMBREL_MADE_LEAN)
#undef WIN32_LEAN_AND_MEAN
#undef OMBREL_MADE_LEAN
#endif
#else
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#endif
