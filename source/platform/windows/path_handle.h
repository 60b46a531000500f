// Names that are opened for what is no transfer of bytes, and why that fails.
#pragma once

#include "platform/file_info.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Leaves why a call with a path failed by the last error: the system has one number for a path that leads
/// through what is no directory and for one that leads nowhere. Gives -1.
int fail_by_path(const wchar_t* path);

/// A handle of a file or directory, closed at the end of the scope.
class path_handle {
public:
    path_handle(const char* path, DWORD rights, at_link link) : path_handle(wide_path(path), rights, link) {}
    path_handle(const wide_path& path, DWORD rights, at_link link);
    ~path_handle();
    path_handle(const path_handle&) = delete;
    path_handle& operator=(const path_handle&) = delete;

    /// False when it could not be opened, with its fault left.
    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_ = INVALID_HANDLE_VALUE;
};

/// Whether the attributes, with the tag of a reparse point, are those of a name that leads elsewhere: a
/// symbolic link, a junction, or what another subsystem has for one. A host that plays Windows tells no tag.
bool leads_elsewhere(DWORD attributes, DWORD tag);

/// The same for what was opened itself.
bool is_link(HANDLE handle);

/// Attributes of a path itself; a link's are those of a link. INVALID_FILE_ATTRIBUTES with the last error.
inline DWORD attributes_of(const wide_path& path) {
    return GetFileAttributesW(path.get());
}

} // namespace ombrel::platform
