#include "platform/file_lock.h"

#include "platform/fault.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

/// The region as the calls take it: where it begins stands in the record, its size in two words.
struct host_region {
    OVERLAPPED start{};
    DWORD low, high;

    explicit host_region(const file_region& region) {
        const uint64_t size = region.size != 0 ? static_cast<uint64_t>(region.size)
                                               : UINT64_MAX - static_cast<uint64_t>(region.offset);
        start.Offset = static_cast<DWORD>(region.offset);
        start.OffsetHigh = static_cast<DWORD>(region.offset >> 32);
        low = static_cast<DWORD>(size);
        high = static_cast<DWORD>(size >> 32);
    }
};

bool lock(int descriptor, const file_region& region, DWORD flags) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return false;
    host_region place(region);
    flags |= region.is_shared ? 0 : LOCKFILE_EXCLUSIVE_LOCK;
    if (LockFileEx(handle, flags, 0, place.low, place.high, &place.start))
        return true;
    const DWORD error = GetLastError();
    if (error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING)
        leave_fault(fault_code::would_block);
    else
        fail_by(error);
    return false;
}

} // namespace

bool try_lock_region(int descriptor, const file_region& region) {
    return lock(descriptor, region, LOCKFILE_FAIL_IMMEDIATELY);
}

bool lock_region(int descriptor, const file_region& region) {
    return lock(descriptor, region, 0);
}

bool unlock_region(int descriptor, const file_region& region) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return false;
    host_region place(region);
    return UnlockFileEx(handle, 0, place.low, place.high, &place.start) || fail_by_last_error() == 0;
}

} // namespace ombrel::platform
