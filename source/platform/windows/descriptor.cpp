#include "platform/windows/descriptor.h"

#include <atomic>
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

/// A second number, for a copy of the handle, as the first may be taken for a socket; the first is given
/// back.
int renumber(int descriptor, HANDLE handle, int flags) {
    DWORD properties = 0;
    GetHandleInformation(handle, &properties);
    HANDLE const copy = copy_handle(handle, (properties & HANDLE_FLAG_INHERIT) != 0);
    const int result = copy != nullptr ? adopt_handle(copy, flags) : -1;
    _close(descriptor);
    return result;
}

/// More than the C library ever gives out.
constexpr size_t most_numbers = 8192;

/// The handle that a number had when something was noted about it, which is a multiple of 4, and the notes. A
/// number that stands for another one by now has none.
std::atomic<uintptr_t> all_notes[most_numbers];

constexpr uintptr_t note_bits = handle_step - 1;

uintptr_t notes_of(size_t descriptor, HANDLE handle) {
    const uintptr_t noted = all_notes[descriptor].load(std::memory_order_relaxed);
    return (noted & ~note_bits) == reinterpret_cast<uintptr_t>(handle) ? noted & note_bits : 0;
}

void forget_notes(int descriptor) {
    const auto number = static_cast<size_t>(descriptor);
    if (number < most_numbers)
        all_notes[number].store(0, std::memory_order_relaxed);
}

} // namespace

HANDLE copy_handle(HANDLE handle, bool is_inherited) {
    HANDLE const own = GetCurrentProcess();
    HANDLE copy;
    if (DuplicateHandle(own, handle, own, &copy, 0, is_inherited, DUPLICATE_SAME_ACCESS))
        return copy;
    fail_by_last_error();
    return nullptr;
}

bool has_note(int descriptor, HANDLE handle, descriptor_note note) {
    const auto number = static_cast<size_t>(descriptor);
    return number < most_numbers && (notes_of(number, handle) & note) != 0;
}

void set_note(int descriptor, HANDLE handle, descriptor_note note, bool on) {
    const auto number = static_cast<size_t>(descriptor);
    if (number >= most_numbers)
        return;
    const uintptr_t others = notes_of(number, handle) & ~uintptr_t{note};
    all_notes[number].store(reinterpret_cast<uintptr_t>(handle) | others | (on ? uintptr_t{note} : 0),
                            std::memory_order_relaxed);
}

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

void close_number(int descriptor) {
    const tolerant_c_library guard;
    forget_notes(descriptor);
    _close(descriptor);
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
    if (descriptor % handle_step == 0)
        return renumber(descriptor, handle, flags);
    forget_notes(descriptor);
    return descriptor;
}

} // namespace ombrel::platform
