#include "platform/windows/stream_poll.h"

#include <iterator>

#include "platform/file.h"
#include "platform/poll.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/pipe_end.h"

namespace ombrel::platform {

namespace {

/// As elsewhere, a writing end is readable, too, once its reader is gone.
unsigned ready_kinds_of_pipe(int descriptor, bool after_pause) {
    HANDLE const end = handle_of(descriptor);
    file_access access;
    get_file_access(descriptor, access);
    const bool has_input = access.read ? look_for_input(end) != pipe_input::none : is_alone(end);
    const bool has_room = access.write && (after_pause || look_for_room(end) == pipe_room::some);
    return (has_input ? poll_read : 0u) | (has_room ? poll_write : 0u);
}

/// A console's handle is signalled while there is input, be it a line or a part of one. Other devices never
/// wait.
unsigned ready_kinds_of_terminal(HANDLE terminal) {
    DWORD mode;
    const bool has_input =
        !GetConsoleMode(terminal, &mode) || WaitForSingleObject(terminal, 0) == WAIT_OBJECT_0;
    return poll_write | (has_input ? poll_read : 0u);
}

/// For want of the driver.
unsigned ready_kinds_of_socket(int s) {
    poll_request requests[] = {
        {s, readiness::read, false}, {s, readiness::write, false}, {s, readiness::exception, false}};
    unsigned kinds = 0;
    if (poll_descriptors(requests, std::size(requests), 0) > 0)
        for (const poll_request& one : requests)
            kinds |= one.ready ? static_cast<unsigned>(one.kind) : 0u;
    return kinds;
}

} // namespace

unsigned ready_kinds_of(int descriptor, bool after_pause) {
    switch (kind_of(descriptor)) {
    case descriptor_kind::pipe:
        return ready_kinds_of_pipe(descriptor, after_pause);
    case descriptor_kind::terminal:
        return ready_kinds_of_terminal(handle_of(descriptor));
    case descriptor_kind::file:
        return poll_read | poll_write;
    case descriptor_kind::socket:
        return ready_kinds_of_socket(descriptor);
    default:
        return 0;
    }
}

} // namespace ombrel::platform
