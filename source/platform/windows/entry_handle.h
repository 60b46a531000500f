// Names opened within directories that are open.
#pragma once

#include "platform/directory.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// What is to be opened, and how.
struct entry_opening {
    ACCESS_MASK rights;
    at_link link;
    ULONG disposition; ///< FILE_OPEN and the like
    ULONG options;     ///< FILE_DIRECTORY_FILE and the like
    ULONG attributes = FILE_ATTRIBUTE_NORMAL;
};

/// A handle of a name in an open directory, closed at the end of the scope unless it was released.
class entry_handle {
public:
    /// @param directory null makes it fail as a bad descriptor
    entry_handle(HANDLE directory, const char* name, const entry_opening& opening);
    ~entry_handle();
    entry_handle(const entry_handle&) = delete;
    entry_handle& operator=(const entry_handle&) = delete;

    /// False when it could not be opened, with its fault left.
    explicit operator bool() const { return handle_ != nullptr; }
    HANDLE get() const { return handle_; }
    HANDLE release();

private:
    HANDLE handle_ = nullptr;
};

/// Removes what a handle with the right to was opened for, read-only or not.
bool remove_open(HANDLE handle);

/// Gives it another name in a directory, in the place of what has that.
bool rename_open(HANDLE handle, HANDLE directory, const char* name);

} // namespace ombrel::platform
