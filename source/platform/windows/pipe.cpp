// Making pipes. Those of CreatePipe() cannot be waited for.
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

constexpr DWORD pipe_room = 65536;

struct pipe_name {
    wchar_t text[64];

    /// One that no pipe of the system has: of the process, the moment, and a count.
    pipe_name() {
        static std::atomic<unsigned> count;
        LARGE_INTEGER moment;
        QueryPerformanceCounter(&moment);
        swprintf(text, sizeof text / sizeof *text, L"\\\\.\\pipe\\ombrel-%lx-%llx-%x", GetCurrentProcessId(),
                 moment.QuadPart, count.fetch_add(1, std::memory_order_relaxed));
    }
};

/// The end of this process, which tells the state of the pipe to its writer too.
HANDLE create_end(const pipe_name& name, bool reads) {
    const DWORD direction = reads ? PIPE_ACCESS_INBOUND : PIPE_ACCESS_OUTBOUND;
    return CreateNamedPipeW(name.text, direction | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
                            pipe_room, pipe_room, 0, nullptr);
}

/// The other end. Programs expect standard streams that are not overlapped.
HANDLE connect_end(const pipe_name& name, bool reads, bool is_of_child) {
    const DWORD rights = reads ? GENERIC_READ | FILE_WRITE_ATTRIBUTES : GENERIC_WRITE | FILE_READ_ATTRIBUTES;
    return CreateFileW(name.text, rights, 0, nullptr, OPEN_EXISTING, is_of_child ? 0 : FILE_FLAG_OVERLAPPED,
                       nullptr);
}

} // namespace

bool open_pipe(int ends[2], pipe_side of_child) {
    const pipe_name name;
    const int own = of_child == pipe_side::write ? 0 : 1, other = 1 - own;
    HANDLE const first = create_end(name, own == 0);
    if (first == INVALID_HANDLE_VALUE)
        return fail_by_last_error() == 0;
    HANDLE const second = connect_end(name, other == 0, of_child != pipe_side::none);
    if (second == INVALID_HANDLE_VALUE) {
        fail_by_last_error();
        CloseHandle(first);
        return false;
    }
    ends[own] = adopt_handle(first, 0);
    ends[other] = adopt_handle(second, 0);
    if (ends[own] >= 0 && ends[other] >= 0)
        return true;
    const fault_keeper kept;
    const int left = ends[own] >= 0 ? ends[own] : ends[other];
    if (left >= 0)
        close_number(left);
    return false;
}

} // namespace ombrel::platform
