#include "platform/power.h"

#include <cerrno>
#include <sys/reboot.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ombrel::platform {

namespace {

/// The kernel asks for the right before it looks at the rest of the call, which makes no sense here and so
/// fails in any case.
bool has_right() {
    return syscall(SYS_reboot, 0, 0, 0, nullptr) != 0 && errno == EINVAL;
}

} // namespace

bool end_host(host_end how) {
    if (!has_right())
        return false;
    sync();
    return reboot(how == host_end::restart ? RB_AUTOBOOT : RB_POWER_OFF) == 0;
}

} // namespace ombrel::platform
