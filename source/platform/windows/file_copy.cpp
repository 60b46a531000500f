#include "platform/file_copy.h"

#include <algorithm>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/windows/descriptor.h"

#include <winioctl.h>

namespace ombrel::platform {

bool share_file_bytes(int, int) {
    leave_fault(fault_code::not_supported);
    return false;
}

int64_t copy_file_bytes(int, int, int64_t) {
    leave_fault(fault_code::not_supported);
    return -1;
}

bool find_file_run(int descriptor, int64_t offset, file_run& run) {
    HANDLE const handle = handle_of(descriptor);
    const int64_t size = file_size(descriptor);
    if (handle == nullptr || size < 0)
        return false;
    FILE_ALLOCATED_RANGE_BUFFER asked, found;
    asked.FileOffset.QuadPart = offset;
    asked.Length.QuadPart = std::max<int64_t>(size - offset, 0);
    DWORD bytes = 0;
    const bool is_told = DeviceIoControl(handle, FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, &found,
                                         sizeof found, &bytes, nullptr) ||
                         GetLastError() == ERROR_MORE_DATA;
    if (!is_told || bytes < sizeof found) {
        leave_fault(is_told ? fault_code::not_found : fault_code::not_supported);
        return false;
    }
    run.start = std::max<int64_t>(found.FileOffset.QuadPart, offset);
    run.end = found.FileOffset.QuadPart + found.Length.QuadPart;
    return true;
}

void allow_file_holes(int descriptor) {
    DWORD bytes = 0;
    if (HANDLE const handle = handle_of(descriptor))
        DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &bytes, nullptr);
}

} // namespace ombrel::platform
