// What stands behind a descriptor. Sockets are the handles that the system gives, which are multiples of 4;
// files, pipes and terminals are numbers of the C library, of which the seam hands out none that is one. So
// the calls that take either know which it is, and only a small foreign number must be asked.
#pragma once

#include <cstdint>

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

enum class descriptor_kind {
    none, ///< it is not open
    socket,
    file,
    pipe,
    terminal, ///< and other devices that are read as characters come
};
descriptor_kind kind_of(int descriptor);

/// The handle behind a number of the C library; null, with its fault, when it has none.
HANDLE handle_of(int descriptor);

inline SOCKET socket_of(int descriptor) {
    return static_cast<SOCKET>(static_cast<UINT_PTR>(static_cast<unsigned>(descriptor)));
}

/// A number for a handle that it owns from now on, for binary transfers; -1, with its fault and the handle
/// closed, when there is none left.
/// @param flags those of _open_osfhandle()
int adopt_handle(HANDLE handle, int flags);

/// A second handle for the same thing; null, with its fault, when there is none left.
HANDLE copy_handle(HANDLE handle, bool is_inherited);

/// What the seam remembers about numbers of the C library, as the system does not tell it.
enum descriptor_note : uintptr_t {
    note_appends = 1,    ///< each write to the file goes to its end
    note_never_waits = 2 ///< reads and writes of the pipe do not wait
};
bool has_note(int descriptor, HANDLE handle, descriptor_note note);
void set_note(int descriptor, HANDLE handle, descriptor_note note, bool on);

/// Gives a number of the C library back, whatever it stands for.
void close_number(int descriptor);

/// Keeps the C library, which ends the process when it is asked about a number that is not open, from doing
/// that in a scope.
class tolerant_c_library {
public:
    tolerant_c_library();
    ~tolerant_c_library();
    tolerant_c_library(const tolerant_c_library&) = delete;
    tolerant_c_library& operator=(const tolerant_c_library&) = delete;

    using handler = void (*)(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t);

private:
    handler before_;
};

} // namespace ombrel::platform
