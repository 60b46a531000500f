#include "platform/system.h"

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

int process_id() {
    return static_cast<int>(GetCurrentProcessId());
}

// The kernel copies, so that an address without memory behind it is an error and no fault.
bool copy_if_readable(void* destination, const void* source, size_t size) {
    SIZE_T copied;
    return size == 0 || (ReadProcessMemory(GetCurrentProcess(), source, destination, size, &copied) != 0 &&
                         copied == size);
}

// The system answers for all of it, but gives a page when it is first written.
void* sparse_zeros(size_t size) {
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

} // namespace ombrel::platform
