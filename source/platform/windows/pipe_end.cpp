#include "platform/windows/pipe_end.h"

#include <winternl.h>

namespace ombrel::platform {

namespace {

// Kinds of information and their records that the headers for programs leave out.
constexpr auto mode_information = static_cast<FILE_INFORMATION_CLASS>(16);
constexpr auto local_pipe_information = static_cast<FILE_INFORMATION_CLASS>(24);

constexpr ULONG synchronous_modes = 0x10 | 0x20; // with and without alerts

struct local_pipe {
    ULONG type, configuration, most_instances, instances, inbound_quota, bytes_to_read, outbound_quota,
        write_quota;
    ULONG state, end;
};

constexpr ULONG is_connected = 3;

template<typename Record>
bool ask(HANDLE handle, FILE_INFORMATION_CLASS kind, Record& answer) {
    IO_STATUS_BLOCK unused;
    return NT_SUCCESS(NtQueryInformationFile(handle, &unused, &answer, sizeof answer, kind));
}

} // namespace

bool is_overlapped(HANDLE handle) {
    ULONG mode;
    return ask(handle, mode_information, mode) && (mode & synchronous_modes) == 0;
}

pipe_input look_for_input(HANDLE read_end) {
    DWORD bytes;
    if (!PeekNamedPipe(read_end, nullptr, 0, nullptr, &bytes, nullptr))
        return pipe_input::ended;
    return bytes > 0 ? pipe_input::some : pipe_input::none;
}

// The quota that is left is less by what a waiting reader asked for.
pipe_room look_for_room(HANDLE write_end) {
    local_pipe pipe;
    if (!ask(write_end, local_pipe_information, pipe))
        return pipe_room::unclear;
    return pipe.write_quota > 0 || pipe.state != is_connected ? pipe_room::some : pipe_room::unclear;
}

} // namespace ombrel::platform
