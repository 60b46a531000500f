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

/// Programs expect standard streams that are not overlapped.
DWORD overlapped_unless(bool is_of_child) {
    return is_of_child ? 0 : FILE_FLAG_OVERLAPPED;
}

HANDLE create_read_end(const pipe_name& name, pipe_side of_child) {
    constexpr DWORD mode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS;
    const DWORD flags = PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE;
    return CreateNamedPipeW(name.text, flags | overlapped_unless(of_child == pipe_side::read), mode, 1,
                            pipe_room, pipe_room, 0, nullptr);
}

/// That which was not created, as only so its rights let it be asked about the pipe.
HANDLE connect_write_end(const pipe_name& name, pipe_side of_child) {
    return CreateFileW(name.text, GENERIC_WRITE | FILE_READ_ATTRIBUTES, 0, nullptr, OPEN_EXISTING,
                       overlapped_unless(of_child == pipe_side::write), nullptr);
}

} // namespace

bool open_pipe(int ends[2], pipe_side of_child) {
    const pipe_name name;
    HANDLE const reader = create_read_end(name, of_child);
    if (reader == INVALID_HANDLE_VALUE)
        return fail_by_last_error() == 0;
    HANDLE const writer = connect_write_end(name, of_child);
    if (writer == INVALID_HANDLE_VALUE) {
        fail_by_last_error();
        CloseHandle(reader);
        return false;
    }
    ends[0] = adopt_handle(reader, 0);
    ends[1] = adopt_handle(writer, 0);
    if (ends[0] >= 0 && ends[1] >= 0)
        return true;
    const fault_keeper kept;
    const int left = ends[0] >= 0 ? ends[0] : ends[1];
    if (left >= 0)
        close_number(left);
    return false;
}

} // namespace ombrel::platform
