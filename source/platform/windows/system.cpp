#include "platform/system.h"

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

int process_id() {
    return static_cast<int>(GetCurrentProcessId());
}

namespace {

bool is_readable(const MEMORY_BASIC_INFORMATION& region) {
    return region.State == MEM_COMMIT && (region.Protect & (PAGE_NOACCESS | PAGE_GUARD)) == 0;
}

bool is_readable(const void* start, size_t size) {
    const auto* at = static_cast<const char*>(start);
    const char* const end = at + size;
    while (at < end) {
        MEMORY_BASIC_INFORMATION region;
        if (VirtualQuery(at, &region, sizeof region) == 0 || !is_readable(region))
            return false;
        at = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
    }
    return end >= start; // else it goes beyond the last address
}

} // namespace

// The kernel copies, so that an address whose memory goes meanwhile is an error and no fault. Pages that
// guard others are left as they are.
bool copy_if_readable(void* destination, const void* source, size_t size) {
    SIZE_T copied = 0;
    return size == 0 || (is_readable(source, size) &&
                         ReadProcessMemory(GetCurrentProcess(), source, destination, size, &copied) != 0 &&
                         copied == size);
}

// The system answers for all of it, but gives a page when it is first written.
void* sparse_zeros(size_t size) {
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

// Huge pages are not supported: they are for programs with a privilege.
void expect_full_use(void*, size_t) {}

} // namespace ombrel::platform
