// Files by their handles.
#pragma once

#include "platform/file.h"
#include "platform/file_info.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// The rights that a handle needs.
DWORD rights_of(const file_access& access);

/// A number for what was opened, emptied if that is wanted; -1, with its fault and the handle closed.
int take_opened(HANDLE file, const file_access& access);

/// get_file_info() and set_file_times() of a handle.
bool get_handle_info(HANDLE handle, ombrel_file_info_t& info);
bool set_handle_times(HANDLE handle, const file_times& times);

} // namespace ombrel::platform
