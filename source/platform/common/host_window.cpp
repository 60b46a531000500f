// For hosts without such windows.
#if !defined(_WIN32)

#include "platform/host_window.h"

namespace ombrel::platform {

int open_host_window(const host_window_wish&) {
    return -1;
}

} // namespace ombrel::platform

#endif
