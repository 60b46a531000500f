#include "platform/windows/descriptor.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>

#include "platform/windows/host_error.h"

// The C run-time has it, headers of mingw-w64 do not always.
extern "C" ombrel::platform::tolerant_c_library::handler
    _set_thread_local_invalid_parameter_handler(ombrel::platform::tolerant_c_library::handler);

namespace ombrel::platform {

namespace {

/// Handles of the system are multiples of it.
constexpr int handle_step = 4;

void ignore_parameters(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {}

bool is_socket(int descriptor) {
    int type, size = sizeof type;
    return descriptor % handle_step == 0 &&
           getsockopt(socket_of(descriptor), SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) == 0;
}

/// A second number for the same handle, as the first may be taken for a socket; the first is given back.
int renumber(int descriptor) {
    int result = _dup(descriptor);
    if (result >= 0 && result % handle_step == 0)
        result = renumber(result);
    _close(descriptor);
    return result;
}

} // namespace

tolerant_c_library::tolerant_c_library()
    : before_(_set_thread_local_invalid_parameter_handler(ignore_parameters)) {}

tolerant_c_library::~tolerant_c_library() {
    _set_thread_local_invalid_parameter_handler(before_);
}

HANDLE handle_of(int descriptor) {
    const tolerant_c_library guard;
    const intptr_t handle = _get_osfhandle(descriptor);
    // A standard stream that the process was not given has a number and no handle.
    if (handle != -1 && handle != -2)
        return reinterpret_cast<HANDLE>(handle);
    errno = EBADF;
    return nullptr;
}

descriptor_kind kind_of(int descriptor) {
    if (descriptor < 0)
        return descriptor_kind::none;
    if (is_socket(descriptor))
        return descriptor_kind::socket;
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return descriptor_kind::none;
    switch (GetFileType(handle)) {
    case FILE_TYPE_DISK:
        return descriptor_kind::file;
    case FILE_TYPE_PIPE:
        return descriptor_kind::pipe;
    case FILE_TYPE_CHAR:
        return descriptor_kind::terminal;
    default:
        return descriptor_kind::none;
    }
}

int adopt_handle(HANDLE handle, int flags) {
    const tolerant_c_library guard;
    const int descriptor =
        _open_osfhandle(reinterpret_cast<intptr_t>(handle), flags | _O_BINARY | _O_NOINHERIT);
    if (descriptor < 0) {
        CloseHandle(handle);
        errno = EMFILE;
        return -1;
    }
    return descriptor % handle_step == 0 ? renumber(descriptor) : descriptor;
}

} // namespace ombrel::platform
