#include "platform/windows/afd.h"

#include <winternl.h>

#include "platform/poll.h"
#include "platform/windows/descriptor.h"

// Of headers that declare the older sockets' names again, or not all of these.
#if !defined(SIO_BASE_HANDLE)
#define SIO_BASE_HANDLE _WSAIOR(IOC_WS2, 34)
#endif
#if !defined(SIO_BSP_HANDLE_POLL)
#define SIO_BSP_HANDLE_POLL _WSAIOR(IOC_WS2, 29)
#endif

namespace ombrel::platform {

namespace {

constexpr DWORD afd_poll = 0x00012024;

enum afd_event : ULONG {
    afd_receive = 0x01,
    afd_expedited = 0x02,
    afd_send = 0x04,
    afd_disconnect = 0x08,
    afd_abort = 0x10,
    afd_accept = 0x80,
    afd_connect_failed = 0x100,
};

constexpr ULONG broken = afd_abort | afd_connect_failed;

struct kind_events {
    unsigned kind;
    ULONG events;
};

constexpr kind_events events_of_kinds[] = {
    {poll_read, afd_receive | afd_disconnect | afd_accept | broken},
    {poll_write, afd_send | broken},
    {poll_exception, afd_expedited | broken},
};

/// The handle of one layer further down, or INVALID_SOCKET.
SOCKET ask_for_handle(SOCKET socket, DWORD code) {
    SOCKET base = INVALID_SOCKET;
    DWORD size = 0;
    const int result = WSAIoctl(socket, code, nullptr, 0, &base, sizeof base, &size, nullptr, nullptr);
    return result == 0 ? base : INVALID_SOCKET;
}

} // namespace

HANDLE open_afd() {
#if defined(OMBREL_PLAIN_POLL)
    return nullptr;
#else
    wchar_t text[] = LR"(\Device\Afd\ombrel_tuk)";
    UNICODE_STRING name{sizeof text - sizeof text[0], sizeof text, text};
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.ObjectName = &name;
    IO_STATUS_BLOCK status;
    HANDLE afd = nullptr;
    const NTSTATUS result = NtCreateFile(&afd, SYNCHRONIZE, &attributes, &status, nullptr, 0,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_OPEN, 0, nullptr, 0);
    return NT_SUCCESS(result) ? afd : nullptr;
#endif
}

bool ask_afd(HANDLE afd, void* question, DWORD size, OVERLAPPED& progress) {
    return DeviceIoControl(afd, afd_poll, question, size, question, size, nullptr, &progress) ||
           GetLastError() == ERROR_IO_PENDING;
}

ULONG afd_events_for(unsigned kinds) {
    ULONG events = afd_closed;
    for (const kind_events& one : events_of_kinds)
        if ((kinds & one.kind) != 0)
            events |= one.events;
    return events;
}

unsigned kinds_for_afd(ULONG events) {
    unsigned kinds = 0;
    for (const kind_events& one : events_of_kinds)
        if ((events & one.events) != 0)
            kinds |= one.kind;
    return kinds;
}

// Some layers keep the first question from getting an answer, so that programs do not pass them by.
HANDLE base_handle_of(int s) {
    constexpr int most_layers = 16;
    SOCKET socket = socket_of(s);
    for (int layer = 0; layer < most_layers; layer++) {
        const SOCKET base = ask_for_handle(socket, SIO_BASE_HANDLE);
        if (base != INVALID_SOCKET)
            return reinterpret_cast<HANDLE>(base);
        if (WSAGetLastError() == WSAENOTSOCK)
            return INVALID_HANDLE_VALUE;
        const SOCKET below = ask_for_handle(socket, SIO_BSP_HANDLE_POLL);
        if (below == INVALID_SOCKET || below == socket)
            break;
        socket = below;
    }
    return reinterpret_cast<HANDLE>(socket);
}

} // namespace ombrel::platform
