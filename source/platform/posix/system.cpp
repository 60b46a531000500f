#include "platform/system.h"

#include <sys/mman.h>
#include <unistd.h>

#include "platform/fault.h"

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

// Pages around the block's own, which others share, are left as they are.
void expect_full_use([[maybe_unused]] void* block, [[maybe_unused]] size_t size) {
#if defined(MADV_HUGEPAGE)
    constexpr uintptr_t huge_page = uintptr_t{2} << 20; // the smallest there is; the host looks for its own
    const uintptr_t start = reinterpret_cast<uintptr_t>(block),
                    head = (huge_page - start % huge_page) % huge_page;
    if (size < head + huge_page)
        return;
    const fault_keeper kept;
    madvise(static_cast<char*>(block) + head, (size - head) / huge_page * huge_page, MADV_HUGEPAGE);
#endif
}

} // namespace ombrel::platform
