#include "platform/system.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

#if defined(SYS_futex)
constexpr long futex_call = SYS_futex;
#else
constexpr long futex_call = SYS_futex_time64;
#endif

// The kernel reads the word before it moves sleepers, of which it is to move none: emulators and sandboxes
// know the call as well.
bool is_readable(uintptr_t address) {
    uint32_t own = 0;
    const uintptr_t word = address & ~(sizeof own - 1);
    return syscall(futex_call, word, FUTEX_CMP_REQUEUE_PRIVATE, 0L, 0L, &own, 0L) != -1 || errno != EFAULT;
}

bool is_readable(uintptr_t address, size_t size) {
    constexpr size_t page_size = 4096; // the smallest there is; a longer page is looked at more than once
    const uintptr_t last = address + size - 1;
    if (last < address)
        return false;
    for (size_t offset = 0; offset < size; offset += page_size)
        if (!is_readable(address + offset))
            return false;
    return is_readable(last);
}

// Byte by byte, so that memory checkers do not take the look at foreign bytes for a mistake.
__attribute__((no_sanitize("address"), no_sanitize("thread"))) void
copy_unchecked(void* destination, const void* source, size_t size) {
    auto* to = static_cast<unsigned char*>(destination);
    const auto* from = static_cast<const volatile unsigned char*>(source);
    for (size_t i = 0; i < size; i++)
        to[i] = from[i];
}

} // namespace

// The kernel copies, so that an address without memory behind it is an error and no fault; and the call is
// made by number, so that memory checkers see nothing of it. Small kernels and sandboxes do not have the
// call.
bool copy_if_readable(void* destination, const void* source, size_t size) {
    if (size == 0)
        return true;
    const fault_keeper kept; // whoever frees memory after a failure still has its reason to tell
    iovec to{destination, size};
    iovec from{const_cast<void*>(source), size};
    const long copied = syscall(SYS_process_vm_readv, static_cast<long>(getpid()), &to, 1L, &from, 1L, 0L);
    if (copied == static_cast<long>(size))
        return true;
    if (copied >= 0 || errno == EFAULT || !is_readable(reinterpret_cast<uintptr_t>(source), size))
        return false;
    copy_unchecked(destination, source, size);
    return true;
}

} // namespace ombrel::platform
