// Handlers of the console's events.
#pragma once

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Takes one away, but for the time in which a handler waits for the program's own end: until it returns the
/// system lets nobody change the list.
void remove_console_handler(PHANDLER_ROUTINE handler);

} // namespace ombrel::platform
