#include "platform/descriptor_limit.h"

#include <sys/resource.h>

#include "platform/fault.h"

namespace ombrel::platform {

void raise_descriptor_limit() {
    const fault_keeper kept;
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace ombrel::platform
