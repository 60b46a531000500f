#include "platform/system.h"

#if defined(__linux__)
#include <malloc.h>
#endif
#include <unistd.h>

namespace ombrel::platform {

int process_id() {
    return static_cast<int>(getpid());
}

size_t allocated_size([[maybe_unused]] void* block) {
#if defined(__linux__)
    return malloc_usable_size(block);
#else
    return 0;
#endif
}

} // namespace ombrel::platform
