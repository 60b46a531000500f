// What symbolic links and junctions say.
#pragma once

#include "platform/host_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// Of a link that was opened itself; none, as "invalid", for what is no link.
host_text reparse_text(HANDLE link);

} // namespace ombrel::platform
