// The children of this process, by their numbers: Windows knows them by handles.
#pragma once

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Notes a child that was started. Its handles belong to the table from now on, which keeps them until the
/// child's end was collected, so that nobody else gets its number.
/// @param job what holds the child and its children, or null
/// @return whether there was memory for it; else the handles are closed, with the fault left
bool note_child(int number, HANDLE process, HANDLE job);

/// signal_process() for a process that is held by a handle with the right to end it.
bool signal_by_handle(HANDLE process, int signal_number);

/// Closes the descriptor of a process; false when it is none.
bool close_process_descriptor(int descriptor);

} // namespace ombrel::platform
