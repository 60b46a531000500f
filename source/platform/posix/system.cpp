#include "platform/system.h"

#include <sys/mman.h>
#include <unistd.h>

namespace ombrel::platform {

int process_id() {
    return static_cast<int>(getpid());
}

void* sparse_zeros(size_t size) {
    int flags = MAP_PRIVATE | MAP_ANONYMOUS;
#if defined(MAP_NORESERVE)
    flags |= MAP_NORESERVE;
#endif
    void* area = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (area == MAP_FAILED)
        return nullptr;
#if defined(MADV_NOHUGEPAGE)
    madvise(area, size, MADV_NOHUGEPAGE); // a huge page would be written whole for its first byte
#endif
    return area;
}

} // namespace ombrel::platform
